#include "render/SoundCleanup.h"

#include "render/AudioFilterGraph.h"
#include "render/FfmpegCheck.h"
#include "render/RecordedAudioReader.h"
#include "render/RenderError.h"
#include "render/VideoFileWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <locale>
#include <new>
#include <optional>
#include <sstream>

namespace vantile::SoundCleanup {

namespace {

constexpr const char* failure = "Cannot write the cleaned audio";
// Below this a measured loudness is silence, which no gain can bring to the target.
constexpr double silentLoudness = -70;
constexpr double noiseWindowSeconds = 0.05;

// Filter arguments are written with a point whatever the process's locale says.
std::string number(double value)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(6);
    text << std::fixed << value;
    return text.str();
}

std::string layoutName(const AVChannelLayout& layout)
{
    char name[128] = {};
    checkAv(av_channel_layout_describe(&layout, name, sizeof name), failure);
    return name;
}

// What the first passes found in one track.
struct TrackMeasures {
    double noiseFloor = -80;  // dBFS of the quiet stretches
    std::optional<double> loudness;  // integrated, LUFS
    double loudnessRange = 0;
    double truePeak = -99;  // dBTP
};

void throwIfCancelled(const ExportMonitor* monitor)
{
    if (monitor && monitor->isCancelled()) throw RenderError::cancelled();
}

// The level of each track's quiet stretches: the 10th percentile of its 50 ms RMS levels,
// leaving out digital silence (the padding of a late or short track).
std::vector<double> measureNoiseFloors(RecordedAudioReader& reader, const ExportMonitor* monitor)
{
    const std::size_t count = reader.tracks().size();
    std::vector<std::vector<double>> levels(count);
    std::vector<double> energy(count, 0);
    std::vector<std::int64_t> samplesInWindow(count, 0);
    reader.readAll([&](std::size_t track, const AVFrame& frame) {
        throwIfCancelled(monitor);
        const auto window =
            static_cast<std::int64_t>(std::llround(noiseWindowSeconds * reader.tracks()[track].sampleRate));
        const int channels = frame.ch_layout.nb_channels;
        for (int sample = 0; sample < frame.nb_samples; ++sample) {
            for (int channel = 0; channel < channels; ++channel) {
                const float value = reinterpret_cast<const float*>(frame.extended_data[channel])[sample];
                energy[track] += static_cast<double>(value) * value;
            }
            if (++samplesInWindow[track] < window) continue;
            const double meanSquare = energy[track] / static_cast<double>(window * channels);
            if (meanSquare > 1e-14) levels[track].push_back(10 * std::log10(meanSquare));
            energy[track] = 0;
            samplesInWindow[track] = 0;
        }
    });
    std::vector<double> floors(count, -80);
    for (std::size_t track = 0; track < count; ++track) {
        auto& found = levels[track];
        if (found.empty()) continue;
        const auto tenth = found.begin() + static_cast<std::ptrdiff_t>(found.size() / 10);
        std::nth_element(found.begin(), tenth, found.end());
        floors[track] = *tenth;
    }
    return floors;
}

// afftdn removes what lies under its noise floor; set just above the measured one, it takes
// the hiss and leaves speech and tones, which stand well above it.
std::string noiseReduction(double noiseFloor)
{
    return "afftdn=nr=15:nf=" + number(std::clamp(noiseFloor + 6, -80.0, -20.0));
}

double metadataNumber(const AVFrame& frame, const char* key, double fallback)
{
    const AVDictionaryEntry* entry = av_dict_get(frame.metadata, key, nullptr, 0);
    if (!entry) return fallback;
    char* end = nullptr;
    const double value = std::strtod(entry->value, &end);
    return end != entry->value && std::isfinite(value) ? value : fallback;
}

// The first loudnorm pass, read from ebur128's running figures on the last frame.
void measureLoudness(RecordedAudioReader& reader, const std::vector<std::string>& prefilters,
                     std::vector<TrackMeasures>& measures, const ExportMonitor* monitor)
{
    std::vector<AudioFilterGraph::Source> sources;
    std::vector<std::string> sinks;
    std::string description;
    for (std::size_t track = 0; track < reader.tracks().size(); ++track) {
        const auto& info = reader.tracks()[track];
        sources.push_back({"t" + std::to_string(track), info.sampleRate, AV_SAMPLE_FMT_FLTP, info.layout});
        sinks.push_back("m" + std::to_string(track));
        description += (description.empty() ? "" : ";") + std::string("[t") + std::to_string(track) + "]" +
                       prefilters[track] + (prefilters[track].empty() ? "" : ",") +
                       "ebur128=metadata=1:peak=true[m" + std::to_string(track) + "]";
    }
    AudioFilterGraph graph(sources, sinks, description);
    const auto drain = [&](std::size_t track) {
        return graph.pull(track, [&](AVFrame& frame) {
            // Frames without the figures (the filter's last) change nothing.
            if (!av_dict_get(frame.metadata, "lavfi.r128.I", nullptr, 0)) return;
            TrackMeasures& measured = measures[track];
            const double loudness = metadataNumber(frame, "lavfi.r128.I", silentLoudness);
            measured.loudness = loudness > silentLoudness ? std::optional(loudness) : std::nullopt;
            measured.loudnessRange = metadataNumber(frame, "lavfi.r128.LRA", 0);
            const double peak = metadataNumber(frame, "lavfi.r128.true_peak", 0);
            measured.truePeak = peak > 0 ? 20 * std::log10(peak) : -99;
        });
    };
    reader.readAll([&](std::size_t track, const AVFrame& frame) {
        throwIfCancelled(monitor);
        graph.push(track, &frame);
        drain(track);
    });
    for (std::size_t track = 0; track < sources.size(); ++track) {
        graph.push(track, nullptr);
        drain(track);
    }
}

// loudnorm's second pass: a plain gain to the target when the peaks allow it (linear), its
// dynamic mode otherwise. It works at 192 kHz, so the track's own rate follows.
std::string loudnessNormalisation(const TrackMeasures& measured, int sampleRate)
{
    const double loudness = *measured.loudness;
    return "loudnorm=I=" + number(targetLoudness) + ":TP=-1.5:LRA=50:measured_I=" + number(loudness) +
           ":measured_TP=" + number(std::clamp(measured.truePeak, -99.0, 99.0)) +
           // loudnorm reads a range of 0 as "not measured"; a steady track measures 0.
           ":measured_LRA=" + number(std::clamp(measured.loudnessRange, 0.01, 99.0)) +
           // The gate sits 10 LU under the integrated loudness (EBU R128's relative gate).
           ":measured_thresh=" + number(std::max(loudness - 10, -99.0)) + ":linear=true,aresample=" +
           std::to_string(sampleRate);
}

std::string joined(const std::vector<std::string>& filters)
{
    std::string chain;
    for (const std::string& filter : filters) chain += (chain.empty() ? "" : ",") + filter;
    return chain.empty() ? "anull" : chain;
}

// One 32-bit float track of the cleaned file.
struct CleanedTrack {
    CodecContextHandle encoder;
    AVStream* stream = nullptr;
    std::int64_t samplesWritten = 0;
};

class CleanedFile {
public:
    CleanedFile(const std::filesystem::path& target, const std::vector<RecordedAudioReader::Track>& tracks)
    {
        AVFormatContext* allocated = nullptr;
        checkAv(avformat_alloc_output_context2(&allocated, nullptr, "mov", target.c_str()), failure);
        output_.reset(allocated);
        const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PCM_F32LE);
        if (!codec) throw RenderError::cannotAddWriterInput();
        for (const auto& info : tracks) {
            CleanedTrack track;
            track.encoder.reset(avcodec_alloc_context3(codec));
            if (!track.encoder) throw std::bad_alloc();
            track.encoder->sample_fmt = AV_SAMPLE_FMT_FLT;
            track.encoder->sample_rate = info.sampleRate;
            track.encoder->time_base = AVRational{1, info.sampleRate};
            checkAv(av_channel_layout_copy(&track.encoder->ch_layout, &info.layout), failure);
            checkAv(avcodec_open2(track.encoder.get(), codec, nullptr), failure);
            track.stream = avformat_new_stream(output_.get(), nullptr);
            if (!track.stream) throw RenderError::cannotAddWriterInput();
            checkAv(avcodec_parameters_from_context(track.stream->codecpar, track.encoder.get()), failure);
            track.stream->time_base = track.encoder->time_base;
            av_dict_copy(&track.stream->metadata, info.metadata, 0);
            tracks_.push_back(std::move(track));
        }
        checkAv(avio_open(&output_->pb, target.c_str(), AVIO_FLAG_WRITE), failure);
        checkAv(avformat_write_header(output_.get(), nullptr), failure);
    }

    // Frames come out of the graph back to back, so the track's own count places them.
    void write(std::size_t index, AVFrame* frame)
    {
        CleanedTrack& track = tracks_[index];
        if (frame) {
            frame->pts = track.samplesWritten;
            track.samplesWritten += frame->nb_samples;
        }
        checkAv(avcodec_send_frame(track.encoder.get(), frame), failure);
        while (true) {
            const int received = avcodec_receive_packet(track.encoder.get(), packet_.get());
            if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
            checkAv(received, failure);
            av_packet_rescale_ts(packet_.get(), track.encoder->time_base, track.stream->time_base);
            packet_->stream_index = track.stream->index;
            checkAv(av_interleaved_write_frame(output_.get(), packet_.get()), failure);
        }
    }

    void finish()
    {
        for (std::size_t index = 0; index < tracks_.size(); ++index) write(index, nullptr);
        checkAv(av_write_trailer(output_.get()), failure);
        checkAv(avio_closep(&output_->pb), failure);
    }

private:
    OutputFormatHandle output_;
    std::vector<CleanedTrack> tracks_;
    PacketHandle packet_ = allocatePacket();
};

// The second pass over every track, sources "tN" to sinks "oN": noise reduction, loudness,
// volume or mute, then the ducked track compressed under the other.
std::string cleaningGraph(const std::vector<RecordedAudioReader::Track>& tracks, const std::vector<AudioTrackRole>& roles,
                          const RenderSettings& settings, const std::vector<std::string>& prefilters,
                          const std::vector<TrackMeasures>& measures)
{
    const auto roleOf = [&](std::size_t track) {
        return track < roles.size() ? std::optional(roles[track]) : std::nullopt;
    };
    std::vector<std::string> chains;
    for (std::size_t track = 0; track < tracks.size(); ++track) {
        std::vector<std::string> filters;
        if (!prefilters[track].empty()) filters.push_back(prefilters[track]);
        if (settings.normalizeLoudness && measures[track].loudness) {
            filters.push_back(loudnessNormalisation(measures[track], tracks[track].sampleRate));
        }
        if (const auto role = roleOf(track)) {
            if (settings.muted(*role)) {
                filters.push_back("volume=0");
            } else if (settings.volume(*role) != 0) {
                filters.push_back("volume=" + number(settings.volume(*role)) + "dB");
            }
        }
        chains.push_back("[t" + std::to_string(track) + "]" + joined(filters));
    }

    const auto trackWithRole = [&](AudioTrackRole role) -> std::optional<std::size_t> {
        for (std::size_t track = 0; track < tracks.size(); ++track) {
            if (roleOf(track) == role) return track;
        }
        return std::nullopt;
    };
    std::optional<std::size_t> ducked;
    std::optional<std::size_t> key;
    if (settings.duckedTrack) {
        ducked = trackWithRole(*settings.duckedTrack);
        key = trackWithRole(*settings.duckedTrack == AudioTrackRole::system ? AudioTrackRole::microphone
                                                                            : AudioTrackRole::system);
    }
    std::string description;
    for (std::size_t track = 0; track < tracks.size(); ++track) {
        const auto& info = tracks[track];
        const std::string out = "[o" + std::to_string(track) + "]";
        const std::string format = "aformat=sample_fmts=flt:sample_rates=" + std::to_string(info.sampleRate) +
                                   ":channel_layouts=" + layoutName(info.layout);
        std::string chain = chains[track];
        if (ducked && key && track == *key) {
            chain += ",asplit[keep][key];[key]aresample=" + std::to_string(tracks[*ducked].sampleRate) +
                     "[sidechain];[keep]" + format + out;
        } else if (ducked && key && track == *ducked) {
            // About 20 dB under a voice or a sound at normal level; it comes back over 0.4 s.
            chain += "[duck];[duck][sidechain]sidechaincompress=threshold=0.02:ratio=10:attack=20:release=400,"
                     + format + out;
        } else {
            chain += "," + format + out;
        }
        description += (description.empty() ? "" : ";") + chain;
    }
    return description;
}


}  // namespace

void writeCleanedTracks(const std::filesystem::path& rawVideoURL, const std::vector<AudioTrackRole>& roles,
                        const RenderSettings& settings, const std::filesystem::path& target,
                        const ExportMonitor* monitor)
{
    RecordedAudioReader reader(rawVideoURL);
    const auto& tracks = reader.tracks();
    if (tracks.empty()) throw RenderError(RenderError::Kind::unreadableMovie, "The recording has no audio to clean.");

    std::vector<TrackMeasures> measures(tracks.size());
    std::vector<std::string> prefilters(tracks.size());
    if (settings.reduceNoise) {
        const std::vector<double> floors = measureNoiseFloors(reader, monitor);
        for (std::size_t track = 0; track < tracks.size(); ++track) prefilters[track] = noiseReduction(floors[track]);
    }
    if (settings.normalizeLoudness) measureLoudness(reader, prefilters, measures, monitor);

    std::vector<AudioFilterGraph::Source> sources;
    std::vector<std::string> sinks;
    for (std::size_t track = 0; track < tracks.size(); ++track) {
        const auto& info = tracks[track];
        sources.push_back({"t" + std::to_string(track), info.sampleRate, AV_SAMPLE_FMT_FLTP, info.layout});
        sinks.push_back("o" + std::to_string(track));
    }
    const std::string description = cleaningGraph(tracks, roles, settings, prefilters, measures);
    AudioFilterGraph graph(sources, sinks, description);
    CleanedFile file(target, tracks);
    std::vector<bool> ended(tracks.size(), false);
    const auto drain = [&] {
        for (std::size_t track = 0; track < tracks.size(); ++track) {
            if (ended[track]) continue;
            ended[track] = graph.pull(track, [&](AVFrame& frame) { file.write(track, &frame); });
        }
    };
    reader.readAll([&](std::size_t track, const AVFrame& frame) {
        throwIfCancelled(monitor);
        graph.push(track, &frame);
        drain();
    });
    for (std::size_t track = 0; track < tracks.size(); ++track) graph.push(track, nullptr);
    drain();
    file.finish();
}

}  // namespace vantile::SoundCleanup
