#include "render/TimelineStripReader.h"

#include "engine/WaveformPeaks.h"
#include "media/FfmpegHandles.h"
#include "render/FfmpegCheck.h"
#include "render/ImageConversion.h"
#include "render/MovieReader.h"

#include <algorithm>
#include <cmath>

namespace vantile {

namespace {

constexpr const char* failure = "Cannot read the audio for the timeline";

bool stopped(const std::atomic<bool>* cancelled) { return cancelled && cancelled->load(); }

void readThumbnails(const std::filesystem::path& movie, const TimelineStripRequest& request, TimelineStrip& strip,
                    const std::atomic<bool>* cancelled)
{
    const int count = std::max(request.thumbnailCount, 0);
    for (int index = 0; index < count; ++index) {
        strip.thumbnailTimes.push_back((index + 0.5) * request.duration / count);
    }
    strip.thumbnails.resize(static_cast<std::size_t>(count));
    try {
        MovieReader reader(movie);
        QImage full;
        const double stretch = count > 0 ? request.duration / count : 0;
        for (std::size_t index = 0; index < strip.thumbnails.size() && !stopped(cancelled); ++index) {
            const double time = strip.thumbnailTimes[index];
            // A keyframe inside the picture's own stretch stands for it: one frame decoded instead
            // of up to a whole group, which on a long recording is most of the strip's cost.
            const auto keyframe = reader.keyframeTimeAtOrBefore(time);
            FrameHandle frame;
            if (keyframe && time - *keyframe <= stretch / 2) {
                reader.seek(time);
                frame = reader.readFrame();
            } else {
                frame = reader.frameAt(time);
            }
            if (!frame) continue;
            convertFrameToImage(*frame, full);
            strip.thumbnails[index] = full.scaledToHeight(std::max(request.thumbnailHeight, 1), Qt::SmoothTransformation);
        }
    } catch (const std::exception&) {
        // No pictures: the strip shows the track's plain background.
    }
}

// Decodes one audio stream to interleaved floats at its own rate and reduces it to peaks.
std::vector<float> readWaveform(AVFormatContext& input, int streamIndex, const TimelineStripRequest& request,
                                const std::atomic<bool>* cancelled)
{
    const AVStream& stream = *input.streams[streamIndex];
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (!codec) return std::vector<float>(static_cast<std::size_t>(std::max(request.peaksPerTrack, 0)), 0.0F);
    CodecContextHandle decoder(avcodec_alloc_context3(codec));
    if (!decoder) throw std::bad_alloc();
    checkAv(avcodec_parameters_to_context(decoder.get(), stream.codecpar), failure);
    checkAv(avcodec_open2(decoder.get(), codec, nullptr), failure);
    const int rate = std::max(decoder->sample_rate, 1);
    const int channels = std::max(decoder->ch_layout.nb_channels, 1);
    SwrContext* opened = nullptr;
    checkAv(swr_alloc_set_opts2(&opened, &decoder->ch_layout, AV_SAMPLE_FMT_FLT, rate, &decoder->ch_layout,
                                decoder->sample_fmt, rate, 0, nullptr),
            failure);
    SwrContextHandle converter(opened);
    checkAv(swr_init(converter.get()), failure);

    WaveformPeaks peaks(request.duration, rate, request.peaksPerTrack);
    PacketHandle packet = allocatePacket();
    FrameHandle decoded = allocateFrame();
    FrameHandle converted = allocateFrame();
    std::int64_t nextFrame = 0;
    const auto drain = [&] {
        while (avcodec_receive_frame(decoder.get(), decoded.get()) == 0) {
            const std::int64_t stamp = decoded->best_effort_timestamp;
            // Samples keep their place in time even after a gap in the track.
            const std::int64_t first = stamp == AV_NOPTS_VALUE
                                           ? nextFrame
                                           : std::llround(static_cast<double>(stamp) * av_q2d(stream.time_base) * rate);
            av_frame_unref(converted.get());
            converted->format = AV_SAMPLE_FMT_FLT;
            converted->sample_rate = rate;
            checkAv(av_channel_layout_copy(&converted->ch_layout, &decoder->ch_layout), failure);
            checkAv(swr_convert_frame(converter.get(), converted.get(), decoded.get()), failure);
            peaks.add(first, reinterpret_cast<const float*>(converted->data[0]), converted->nb_samples, channels);
            nextFrame = first + converted->nb_samples;
            av_frame_unref(decoded.get());
        }
    };
    av_seek_frame(&input, -1, 0, AVSEEK_FLAG_BACKWARD);
    while (!stopped(cancelled) && av_read_frame(&input, packet.get()) >= 0) {
        if (packet->stream_index == streamIndex) {
            // A damaged packet loses its samples, not the waveform.
            if (avcodec_send_packet(decoder.get(), packet.get()) >= 0) drain();
        }
        av_packet_unref(packet.get());
    }
    avcodec_send_packet(decoder.get(), nullptr);
    drain();
    return peaks.peaks();
}

void readWaveforms(const std::filesystem::path& movie, const TimelineStripRequest& request, TimelineStrip& strip,
                   const std::atomic<bool>* cancelled)
{
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, movie.c_str(), nullptr, nullptr) < 0) return;
    InputFormatHandle input(opened);
    if (avformat_find_stream_info(input.get(), nullptr) < 0) return;
    for (unsigned index = 0; index < input->nb_streams && !stopped(cancelled); ++index) {
        if (input->streams[index]->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
        // One pass per track, reading only that track's packets.
        for (unsigned other = 0; other < input->nb_streams; ++other) {
            input->streams[other]->discard = other == index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
        }
        try {
            strip.waveforms.push_back(readWaveform(*input, static_cast<int>(index), request, cancelled));
        } catch (const std::exception&) {
            strip.waveforms.emplace_back(static_cast<std::size_t>(std::max(request.peaksPerTrack, 0)), 0.0F);
        }
    }
}

}  // namespace

TimelineStrip readTimelineStrip(const std::filesystem::path& movie, const TimelineStripRequest& request,
                                const std::atomic<bool>* cancelled)
{
    TimelineStrip strip;
    std::error_code error;
    if (!std::filesystem::is_regular_file(movie, error) || !(request.duration > 0)) return strip;
    readWaveforms(movie, request, strip, cancelled);
    readThumbnails(movie, request, strip, cancelled);
    return strip;
}

}  // namespace vantile
