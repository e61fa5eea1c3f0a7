#include "render/AudioTempoStage.h"

#include "render/FfmpegCheck.h"
#include "render/RenderError.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

namespace vantile {

namespace {

constexpr const char* failure = "Cannot change the audio's speed";

// atempo takes 0.5–2 in one step on every FFmpeg we build with; slower speeds chain two.
std::string tempoChain(double speed)
{
    if (speed >= 0.5) return "atempo=" + std::to_string(speed);
    const std::string half = std::to_string(std::sqrt(speed));
    return "atempo=" + half + ",atempo=" + half;
}

}  // namespace

AudioTempoStage::AudioTempoStage(double speed, int sampleRate, AVSampleFormat format, const AVChannelLayout& layout,
                                 std::int64_t outputSamples)
    : speed_(speed),
      sampleRate_(sampleRate),
      format_(format),
      channels_(layout.nb_channels),
      interleaved_(!av_sample_fmt_is_planar(format)),
      owed_(std::max<std::int64_t>(outputSamples, 0))
{
    checkAv(av_channel_layout_copy(&layout_, &layout), failure);
    if (speed_ > fastestAudibleSpeed) {
        fade_ = std::min(static_cast<std::int64_t>(std::llround(fadeSeconds * sampleRate_)), owed_ / 2);
        tail_.assign(static_cast<std::size_t>(planeCount()), {});
        return;
    }
    AudioFilterGraph::Source source{"in", sampleRate_, format_, {}};
    checkAv(av_channel_layout_copy(&source.layout, &layout_), failure);
    try {
        graph_ = std::make_unique<AudioFilterGraph>(std::vector{source}, std::vector<std::string>{"out"},
                                                    "[in]" + tempoChain(speed_) + ",aformat=sample_fmts=" +
                                                        av_get_sample_fmt_name(format_) + "[out]");
    } catch (...) {
        av_channel_layout_uninit(&source.layout);
        throw;
    }
    av_channel_layout_uninit(&source.layout);
}

AudioTempoStage::~AudioTempoStage()
{
    av_channel_layout_uninit(&layout_);
}

void AudioTempoStage::emitOwed(const float* const* planes, std::int64_t count, const Emit& emit)
{
    const std::int64_t wanted = std::min(count, owed_ - given_);
    if (wanted <= 0) return;
    emit(planes, wanted);
    given_ += wanted;
}

void AudioTempoStage::emitSilence(std::int64_t count, const Emit& emit)
{
    constexpr std::int64_t chunk = 4096;
    const std::vector<float> zeros(static_cast<std::size_t>(chunk * valuesPerSample()), 0.0F);
    const std::vector<const float*> planes(static_cast<std::size_t>(planeCount()), zeros.data());
    for (std::int64_t left = std::min(count, owed_ - given_); left > 0; left -= chunk) {
        emitOwed(planes.data(), std::min(left, chunk), emit);
    }
}

void AudioTempoStage::push(const float* const* planes, std::int64_t count, const Emit& emit)
{
    if (count <= 0) return;
    if (!graph_) {
        pushMuted(planes, count, emit);
        return;
    }
    av_frame_unref(input_.get());
    input_->format = format_;
    input_->sample_rate = sampleRate_;
    checkAv(av_channel_layout_copy(&input_->ch_layout, &layout_), failure);
    input_->nb_samples = static_cast<int>(count);
    input_->pts = taken_;
    checkAv(av_frame_get_buffer(input_.get(), 0), failure);
    for (int plane = 0; plane < planeCount(); ++plane) {
        std::memcpy(input_->extended_data[plane], planes[plane],
                    static_cast<std::size_t>(count * valuesPerSample()) * sizeof(float));
    }
    taken_ += count;
    graph_->push(0, input_.get());
    pullFiltered(emit);
}

void AudioTempoStage::pullFiltered(const Emit& emit)
{
    graph_->pull(0, [&](AVFrame& frame) {
        emitOwed(reinterpret_cast<const float* const*>(frame.extended_data), frame.nb_samples, emit);
    });
}

void AudioTempoStage::pushMuted(const float* const* planes, std::int64_t count, const Emit& emit)
{
    // The head: the stretch's first samples, fading out.
    if (given_ < fade_) {
        const std::int64_t head = std::min(count, fade_ - given_);
        std::vector<std::vector<float>> faded(static_cast<std::size_t>(planeCount()));
        std::vector<const float*> pointers;
        for (int plane = 0; plane < planeCount(); ++plane) {
            auto& values = faded[static_cast<std::size_t>(plane)];
            values.assign(planes[plane], planes[plane] + head * valuesPerSample());
            for (std::int64_t sample = 0; sample < head; ++sample) {
                const auto gain = static_cast<float>(1.0 - static_cast<double>(given_ + sample) / static_cast<double>(fade_));
                for (int value = 0; value < valuesPerSample(); ++value) {
                    values[static_cast<std::size_t>(sample * valuesPerSample() + value)] *= gain;
                }
            }
            pointers.push_back(values.data());
        }
        emitOwed(pointers.data(), head, emit);
    }
    taken_ += count;
    // The last samples seen, kept for the fade back in.
    for (int plane = 0; plane < planeCount(); ++plane) {
        auto& kept = tail_[static_cast<std::size_t>(plane)];
        kept.insert(kept.end(), planes[plane], planes[plane] + count * valuesPerSample());
        const auto limit = static_cast<std::size_t>(fade_ * valuesPerSample());
        if (kept.size() > limit) kept.erase(kept.begin(), kept.end() - static_cast<std::ptrdiff_t>(limit));
    }
    // Silence keeps pace with the input, short of the tail that fades in at the end.
    const auto paced = static_cast<std::int64_t>(static_cast<double>(taken_) / speed_);
    const std::int64_t silentUntil = std::min(paced, owed_ - fade_);
    if (silentUntil > given_) emitSilence(silentUntil - given_, emit);
}

void AudioTempoStage::finish(const Emit& emit)
{
    if (graph_) {
        graph_->push(0, nullptr);
        pullFiltered(emit);
        emitSilence(owed_ - given_, emit);
        return;
    }
    emitSilence(owed_ - fade_ - given_, emit);
    // The tail fades in; a stretch shorter than the fade is padded in front with silence.
    const std::int64_t kept =
        tail_.empty() ? 0 : static_cast<std::int64_t>(tail_.front().size()) / valuesPerSample();
    emitSilence(owed_ - given_ - kept, emit);
    std::vector<const float*> pointers;
    for (auto& values : tail_) {
        for (std::int64_t sample = 0; sample < kept; ++sample) {
            const std::int64_t position = fade_ - kept + sample;
            const auto gain = static_cast<float>(static_cast<double>(position + 1) / static_cast<double>(fade_));
            for (int value = 0; value < valuesPerSample(); ++value) {
                values[static_cast<std::size_t>(sample * valuesPerSample() + value)] *= gain;
            }
        }
        pointers.push_back(values.data());
    }
    if (kept > 0) emitOwed(pointers.data(), kept, emit);
}

}  // namespace vantile
