#include "render/AudioMerger.h"

#include "media/FfmpegHandles.h"
#include "render/EditedAudioTrack.h"
#include "render/FfmpegCheck.h"
#include "render/MovieWriter.h"
#include "render/VideoFileWriter.h"
#include "render/RenderError.h"
#include "store/AtomicFile.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

namespace vantile::AudioMerger {

namespace {

InputFormatHandle openInput(const std::filesystem::path& path)
{
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) return nullptr;
    InputFormatHandle format(opened);
    if (avformat_find_stream_info(format.get(), nullptr) < 0) return nullptr;
    return format;
}

std::vector<int> streamsOfType(const AVFormatContext& format, AVMediaType type)
{
    std::vector<int> streams;
    for (unsigned i = 0; i < format.nb_streams; ++i) {
        if (format.streams[i]->codecpar->codec_type == type) streams.push_back(static_cast<int>(i));
    }
    return streams;
}

double durationOf(const AVFormatContext& format)
{
    return format.duration > 0 ? static_cast<double>(format.duration) / AV_TIME_BASE : 0;
}

// Reads packets of the wanted streams of one input, one ahead, so two inputs can be interleaved.
class PacketSource {
public:
    PacketSource(AVFormatContext& format, std::vector<int> wanted) : format_(format), wanted_(std::move(wanted))
    {
        advance();
    }

    AVPacket* current() { return hasPacket_ ? packet_.get() : nullptr; }
    double currentSeconds() const
    {
        const AVStream* stream = format_.streams[packet_->stream_index];
        const int64_t stamp = packet_->dts != AV_NOPTS_VALUE ? packet_->dts : packet_->pts;
        return stamp == AV_NOPTS_VALUE ? 0 : static_cast<double>(stamp) * av_q2d(stream->time_base);
    }
    void advance()
    {
        hasPacket_ = false;
        av_packet_unref(packet_.get());
        while (av_read_frame(&format_, packet_.get()) >= 0) {
            for (std::size_t i = 0; i < wanted_.size(); ++i) {
                if (packet_->stream_index == wanted_[i]) {
                    outputSlot_ = static_cast<int>(i);
                    hasPacket_ = true;
                    return;
                }
            }
            av_packet_unref(packet_.get());
        }
    }
    int outputSlot() const { return outputSlot_; }

private:
    AVFormatContext& format_;
    std::vector<int> wanted_;
    PacketHandle packet_ = allocatePacket();
    bool hasPacket_ = false;
    int outputSlot_ = 0;
};

std::filesystem::path temporaryMergeURL(const std::filesystem::path& outputURL)
{
    return processTemporarySiblingPath(outputURL, "merge", outputURL.extension().string());
}

OutputFormatHandle createOutput(const std::filesystem::path& target, const std::filesystem::path& outputURL)
{
    AVFormatContext* allocated = nullptr;
    checkAv(avformat_alloc_output_context2(&allocated, nullptr, containerFormatName(outputURL).c_str(), target.c_str()),
            "Cannot create the movie " + outputURL.filename().string());
    return OutputFormatHandle(allocated);
}

AVStream* copyStream(AVFormatContext& output, const AVStream& source)
{
    AVStream* stream = avformat_new_stream(&output, nullptr);
    if (!stream) throw RenderError::cannotAddWriterInput();
    checkAv(avcodec_parameters_copy(stream->codecpar, source.codecpar), "Cannot copy a track");
    stream->codecpar->codec_tag = 0;
    stream->time_base = source.time_base;
    stream->avg_frame_rate = source.avg_frame_rate;
    av_dict_copy(&stream->metadata, source.metadata, 0);
    return stream;
}

void writeHeader(AVFormatContext& output, const std::filesystem::path& target, const std::filesystem::path& outputURL)
{
    const std::string name = outputURL.filename().string();
    checkAv(avio_open(&output.pb, target.c_str(), AVIO_FLAG_WRITE), "Cannot write the movie " + name);
    AVDictionary* options = nullptr;
    const std::string container = containerFormatName(outputURL);
    if (container == "mp4" || container == "mov") {
        av_dict_set(&options, "movflags", container == "mp4" ? "+faststart+write_colr" : "+write_colr", 0);
    }
    const int header = avformat_write_header(&output, &options);
    av_dict_free(&options);
    checkAv(header, "Cannot write the movie " + name);
}

// Copies a packet that starts before `duration` into the output; later ones are dropped.
void writePacketBefore(double duration, AVPacket& packet, const AVStream& inputStream, const AVStream& outputStream,
                       AVFormatContext& output, const std::string& name)
{
    const int64_t stamp = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    const double seconds = stamp == AV_NOPTS_VALUE ? 0 : static_cast<double>(stamp) * av_q2d(inputStream.time_base);
    if (seconds >= duration - 1e-9) return;
    av_packet_rescale_ts(&packet, inputStream.time_base, outputStream.time_base);
    packet.stream_index = outputStream.index;
    packet.pos = -1;
    checkAv(av_interleaved_write_frame(&output, &packet), "Cannot write the movie " + name);
}

void writeMerged(AVFormatContext& rendered, int videoStream, AVFormatContext& raw, const std::vector<int>& audioStreams,
                 double duration, const std::filesystem::path& target, const std::filesystem::path& outputURL)
{
    OutputFormatHandle output = createOutput(target, outputURL);
    std::vector<AVStream*> videoOut{copyStream(*output, *rendered.streams[videoStream])};
    std::vector<AVStream*> audioOut;
    for (const int index : audioStreams) audioOut.push_back(copyStream(*output, *raw.streams[index]));
    const std::string name = outputURL.filename().string();
    writeHeader(*output, target, outputURL);

    PacketSource video(rendered, {videoStream});
    PacketSource audio(raw, audioStreams);
    while (video.current() || audio.current()) {
        const bool takeVideo = video.current() && (!audio.current() || video.currentSeconds() <= audio.currentSeconds());
        PacketSource& source = takeVideo ? video : audio;
        AVPacket* packet = source.current();
        const AVFormatContext& input = takeVideo ? rendered : raw;
        AVStream* outputStream = takeVideo ? videoOut[0] : audioOut[static_cast<std::size_t>(source.outputSlot())];
        writePacketBefore(duration, *packet, *input.streams[packet->stream_index], *outputStream, *output, name);
        source.advance();
    }
    checkAv(av_write_trailer(output.get()), "Cannot write the movie " + name);
    checkAv(avio_closep(&output->pb), "Cannot write the movie " + name);
}

void writeEditedMerge(AVFormatContext& rendered, int videoStream, const std::filesystem::path& rawVideoURL,
                      const std::vector<int>& audioStreams, const OutputTimeline& timeline, double duration,
                      const std::filesystem::path& target, const std::filesystem::path& outputURL)
{
    OutputFormatHandle output = createOutput(target, outputURL);
    AVStream* videoOut = copyStream(*output, *rendered.streams[videoStream]);
    std::vector<std::unique_ptr<EditedAudioTrack>> tracks;
    for (const int index : audioStreams) {
        tracks.push_back(std::make_unique<EditedAudioTrack>(rawVideoURL, index, timeline, duration, *output));
    }
    const std::string name = outputURL.filename().string();
    writeHeader(*output, target, outputURL);

    PacketSource video(rendered, {videoStream});
    while (AVPacket* packet = video.current()) {
        // Audio up to this frame first, so the muxer interleaves without holding much back.
        for (const auto& track : tracks) track->writeUntil(std::min(video.currentSeconds(), duration));
        writePacketBefore(duration, *packet, *rendered.streams[packet->stream_index], *videoOut, *output, name);
        video.advance();
    }
    for (const auto& track : tracks) track->finish();
    checkAv(av_write_trailer(output.get()), "Cannot write the movie " + name);
    checkAv(avio_closep(&output->pb), "Cannot write the movie " + name);
}

// Writes the merged movie beside the output, puts it in place, then removes the video-only one;
// on failure the output stays as it was.
void placeMerged(const std::filesystem::path& renderedVideoURL, const std::filesystem::path& outputURL,
                 InputFormatHandle& rendered, const std::function<void(const std::filesystem::path&)>& write)
{
    std::error_code error;
    const std::filesystem::path merged = temporaryMergeURL(outputURL);
    try {
        write(merged);
        VideoFileWriter::replace(outputURL, merged);
    } catch (...) {
        std::filesystem::remove(merged, error);
        throw;
    }
    rendered.reset();
    std::filesystem::remove(renderedVideoURL, error);
}

// The raw movie's audio streams, or nothing when the movie is missing, unreadable or silent.
struct RawAudio {
    InputFormatHandle movie;
    std::vector<int> streams;
};

// Whether the output's container takes every one of these tracks as it is (WebM takes no AAC).
bool containerTakesTracks(const std::filesystem::path& outputURL, const AVFormatContext& raw,
                          const std::vector<int>& streams)
{
    const AVOutputFormat* muxer = av_guess_format(containerFormatName(outputURL).c_str(), nullptr, nullptr);
    if (!muxer) return false;
    return std::all_of(streams.begin(), streams.end(), [&](int index) {
        return avformat_query_codec(muxer, raw.streams[index]->codecpar->codec_id, FF_COMPLIANCE_NORMAL) == 1;
    });
}

std::optional<RawAudio> rawAudioOf(const std::filesystem::path& rawVideoURL)
{
    std::error_code error;
    if (!std::filesystem::exists(rawVideoURL, error)) return std::nullopt;
    InputFormatHandle raw = openInput(rawVideoURL);
    if (!raw) return std::nullopt;
    std::vector<int> streams = streamsOfType(*raw, AVMEDIA_TYPE_AUDIO);
    if (streams.empty()) return std::nullopt;
    return RawAudio{std::move(raw), std::move(streams)};
}

}  // namespace

std::optional<double> audioMergeDuration(const std::filesystem::path& rawVideoURL)
{
    const auto raw = rawAudioOf(rawVideoURL);
    if (!raw) return std::nullopt;
    const double duration = durationOf(*raw->movie);
    if (!(duration > 0)) return std::nullopt;
    return duration;
}

void mergeAudioTracksIfPresent(const std::filesystem::path& renderedVideoURL, const std::filesystem::path& rawVideoURL,
                               const std::filesystem::path& outputURL)
{
    const auto moveIntoPlace = [&] { VideoFileWriter::replace(outputURL, renderedVideoURL); };
    auto raw = rawAudioOf(rawVideoURL);
    if (!raw) return moveIntoPlace();
    if (!containerTakesTracks(outputURL, *raw->movie, raw->streams)) {
        // Re-encoded whole, to the codec the container takes.
        const OutputTimeline whole(durationOf(*raw->movie), std::nullopt, {});
        raw.reset();
        return mergeEditedAudioTracksIfPresent(renderedVideoURL, rawVideoURL, outputURL, whole);
    }
    InputFormatHandle rendered = openInput(renderedVideoURL);
    if (!rendered) throw RenderError::writerFailed();
    const std::vector<int> videoStreams = streamsOfType(*rendered, AVMEDIA_TYPE_VIDEO);
    if (videoStreams.empty()) return moveIntoPlace();
    const double duration = std::min(durationOf(*raw->movie), durationOf(*rendered));
    if (!std::isfinite(duration) || duration <= 0) return moveIntoPlace();

    placeMerged(renderedVideoURL, outputURL, rendered, [&](const std::filesystem::path& merged) {
        writeMerged(*rendered, videoStreams.front(), *raw->movie, raw->streams, duration, merged, outputURL);
    });
}

void mergeEditedAudioTracksIfPresent(const std::filesystem::path& renderedVideoURL,
                                     const std::filesystem::path& rawVideoURL, const std::filesystem::path& outputURL,
                                     const OutputTimeline& timeline)
{
    const auto moveIntoPlace = [&] { VideoFileWriter::replace(outputURL, renderedVideoURL); };
    // The edited merge reads the raw movie afresh for every kept range; only its streams are kept here.
    auto raw = rawAudioOf(rawVideoURL);
    if (!raw) return moveIntoPlace();
    const std::vector<int> audioStreams = std::move(raw->streams);
    raw.reset();
    InputFormatHandle rendered = openInput(renderedVideoURL);
    if (!rendered) throw RenderError::writerFailed();
    const std::vector<int> videoStreams = streamsOfType(*rendered, AVMEDIA_TYPE_VIDEO);
    if (videoStreams.empty()) return moveIntoPlace();
    const double duration = std::min(timeline.duration(), durationOf(*rendered));
    if (!std::isfinite(duration) || duration <= 0) return moveIntoPlace();

    placeMerged(renderedVideoURL, outputURL, rendered, [&](const std::filesystem::path& merged) {
        writeEditedMerge(*rendered, videoStreams.front(), rawVideoURL, audioStreams, timeline, duration, merged,
                         outputURL);
    });
}

}  // namespace vantile::AudioMerger
