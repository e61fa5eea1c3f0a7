#include "render/MovieWriter.h"

#include "render/ExportFormat.h"
#include "render/ImageConversion.h"
#include "render/RenderError.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <algorithm>

namespace vantile {

namespace {

bool takesCodec(const AVFormatContext& format, AVCodecID codec)
{
    return avformat_query_codec(format.oformat, codec, FF_COMPLIANCE_NORMAL) == 1;
}

// Realtime VP9 with row threads: the good-quality deadline runs about eight times slower,
// far below libx264's pace on two cores.
void tuneVp9(AVCodecContext& video)
{
    av_opt_set(video.priv_data, "deadline", "realtime", 0);
    av_opt_set_int(video.priv_data, "cpu-used", 8, 0);
    av_opt_set_int(video.priv_data, "row-mt", 1, 0);
    // Constant quality, as libx264's crf; 31 is libvpx's suggestion for 1080p.
    av_opt_set_int(video.priv_data, "crf", 31, 0);
    video.bit_rate = 0;
}

}  // namespace

std::string containerFormatName(const std::filesystem::path& path)
{
    switch (exportContainer(path)) {
    case ExportContainer::mpeg4:
        return "mp4";
    case ExportContainer::matroska:
        return "matroska";
    case ExportContainer::webM:
        return "webm";
    case ExportContainer::quickTime:
    case ExportContainer::gif:
        break;
    }
    return "mov";
}

void MovieWriter::fail(const std::string& step, int code)
{
    throw RenderError(RenderError::Kind::media,
                      "Cannot write the movie " + path_.filename().string() + " (" + step + "): " + averrorText(code));
}

MovieWriter::MovieWriter(const std::filesystem::path& path, const VideoEncoderSettings& settings, int audioTrackCount)
    : path_(path), packet_(allocatePacket())
{
    if (settings.width < 2 || settings.height < 2 || settings.width % 2 || settings.height % 2 || settings.fps < 1) {
        throw RenderError::cannotAddWriterInput();
    }
    const std::string container = containerFormatName(path);
    AVFormatContext* allocated = nullptr;
    if (const int code = avformat_alloc_output_context2(&allocated, nullptr, container.c_str(), path.c_str());
        code < 0 || !allocated) {
        fail("container", code);
    }
    format_.reset(allocated);

    const bool h264 = takesCodec(*format_, AV_CODEC_ID_H264);
    const AVCodec* videoCodec = avcodec_find_encoder_by_name(h264 ? "libx264" : "libvpx-vp9");
    if (!videoCodec) throw RenderError::cannotAddWriterInput();
    videoEncoder_.reset(avcodec_alloc_context3(videoCodec));
    videoStream_ = avformat_new_stream(format_.get(), nullptr);
    if (!videoEncoder_ || !videoStream_) throw RenderError::cannotAddWriterInput();
    AVCodecContext& video = *videoEncoder_;
    video.width = settings.width;
    video.height = settings.height;
    video.pix_fmt = AV_PIX_FMT_YUV420P;
    video.time_base = AVRational{1, settings.fps};
    video.framerate = AVRational{settings.fps, 1};
    video.sample_aspect_ratio = AVRational{1, 1};
    // The encoder's threads; the API's default of one thread runs far below the encoder's speed.
    video.thread_count = 0;
    video.colorspace = encoderYuvTagging.colorSpace;
    video.color_range = encoderYuvTagging.range;
    video.color_primaries = encoderYuvTagging.primaries;
    video.color_trc = encoderYuvTagging.transfer;
    if (format_->oformat->flags & AVFMT_GLOBALHEADER) video.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (!h264) {
        tuneVp9(video);
    } else {
        if (!settings.preset.empty()) av_opt_set(video.priv_data, "preset", settings.preset.c_str(), 0);
        if (settings.crf >= 0) av_opt_set_double(video.priv_data, "crf", settings.crf, 0);
        if (!settings.tune.empty()) av_opt_set(video.priv_data, "tune", settings.tune.c_str(), 0);
        if (!settings.options.empty()) av_opt_set(video.priv_data, "x264-params", settings.options.c_str(), 0);
    }
    if (const int code = avcodec_open2(&video, videoCodec, nullptr); code < 0) {
        fail(h264 ? "H.264 encoder" : "VP9 encoder", code);
    }
    if (const int code = avcodec_parameters_from_context(videoStream_->codecpar, &video); code < 0) {
        fail("video track", code);
    }
    videoStream_->time_base = video.time_base;
    videoStream_->avg_frame_rate = video.framerate;

    if (audioTrackCount > 0 && !takesCodec(*format_, AV_CODEC_ID_AAC)) throw RenderError::cannotAddWriterInput();
    const AVCodec* aac = audioTrackCount > 0 ? avcodec_find_encoder(AV_CODEC_ID_AAC) : nullptr;
    for (int index = 0; index < audioTrackCount; ++index) {
        AudioTrack track;
        track.encoder.reset(aac ? avcodec_alloc_context3(aac) : nullptr);
        track.stream = avformat_new_stream(format_.get(), nullptr);
        if (!track.encoder || !track.stream) throw RenderError::cannotAddWriterInput();
        AVCodecContext& audio = *track.encoder;
        audio.sample_fmt = AV_SAMPLE_FMT_FLTP;
        audio.sample_rate = audioSampleRate;
        audio.bit_rate = 160000;
        av_channel_layout_default(&audio.ch_layout, 2);
        audio.time_base = AVRational{1, audioSampleRate};
        if (format_->oformat->flags & AVFMT_GLOBALHEADER) audio.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        if (const int code = avcodec_open2(&audio, aac, nullptr); code < 0) fail("AAC encoder", code);
        if (const int code = avcodec_parameters_from_context(track.stream->codecpar, &audio); code < 0) {
            fail("audio track", code);
        }
        track.stream->time_base = audio.time_base;
        track.frame = allocateFrame();
        track.frame->format = AV_SAMPLE_FMT_FLTP;
        track.frame->nb_samples = audio.frame_size;
        track.frame->sample_rate = audioSampleRate;
        av_channel_layout_copy(&track.frame->ch_layout, &audio.ch_layout);
        if (av_frame_get_buffer(track.frame.get(), 0) < 0) throw RenderError::pixelBufferCreationFailed();
        audioTracks_.push_back(std::move(track));
    }

    if (!(format_->oformat->flags & AVFMT_NOFILE)) {
        if (const int code = avio_open(&format_->pb, path.c_str(), AVIO_FLAG_WRITE); code < 0) fail("open", code);
    }
    AVDictionary* options = nullptr;
    if (container == "mp4" || container == "mov") {
        av_dict_set(&options, "movflags", container == "mp4" ? "+faststart+write_colr" : "+write_colr", 0);
    }
    const int written = avformat_write_header(format_.get(), &options);
    av_dict_free(&options);
    if (written < 0) fail("header", written);
    headerWritten_ = true;
}

MovieWriter::~MovieWriter() = default;

FrameHandle MovieWriter::makeVideoFrame() const
{
    FrameHandle frame = allocateFrame(AV_PIX_FMT_YUV420P, videoEncoder_->width, videoEncoder_->height);
    frame->colorspace = encoderYuvTagging.colorSpace;
    frame->color_range = encoderYuvTagging.range;
    frame->color_primaries = encoderYuvTagging.primaries;
    frame->color_trc = encoderYuvTagging.transfer;
    return frame;
}

void MovieWriter::drain(AVCodecContext& encoder, AVStream& stream)
{
    while (true) {
        const int received = avcodec_receive_packet(&encoder, packet_.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
        if (received < 0) fail("encode", received);
        av_packet_rescale_ts(packet_.get(), encoder.time_base, stream.time_base);
        packet_->stream_index = stream.index;
        if (const int code = av_interleaved_write_frame(format_.get(), packet_.get()); code < 0) fail("write", code);
    }
}

void MovieWriter::encodeVideo(const AVFrame* frame)
{
    if (const int code = avcodec_send_frame(videoEncoder_.get(), frame); code < 0) fail("encode", code);
    drain(*videoEncoder_, *videoStream_);
}

void MovieWriter::appendVideo(AVFrame& frame, std::int64_t index)
{
    frame.pts = index;
    frame.pict_type = AV_PICTURE_TYPE_NONE;
    encodeVideo(&frame);
}

void MovieWriter::encodeAudioFrame(AudioTrack& track, bool flush)
{
    AVCodecContext& encoder = *track.encoder;
    const int frameSize = encoder.frame_size;
    while (track.pending.size() >= static_cast<std::size_t>(frameSize) * 2 || (flush && !track.pending.empty())) {
        if (av_frame_make_writable(track.frame.get()) < 0) throw RenderError::pixelBufferCreationFailed();
        const int available = static_cast<int>(track.pending.size() / 2);
        const int count = std::min(frameSize, available);
        auto* left = reinterpret_cast<float*>(track.frame->data[0]);
        auto* right = reinterpret_cast<float*>(track.frame->data[1]);
        for (int i = 0; i < frameSize; ++i) {
            left[i] = i < count ? track.pending[2 * i] : 0.0F;
            right[i] = i < count ? track.pending[2 * i + 1] : 0.0F;
        }
        track.pending.erase(track.pending.begin(), track.pending.begin() + 2 * count);
        track.frame->pts = track.samplesWritten;
        track.samplesWritten += frameSize;
        if (const int code = avcodec_send_frame(&encoder, track.frame.get()); code < 0) fail("encode audio", code);
        drain(encoder, *track.stream);
    }
}

void MovieWriter::appendAudio(int track, const std::vector<float>& interleavedStereo)
{
    AudioTrack& target = audioTracks_.at(static_cast<std::size_t>(track));
    target.pending.insert(target.pending.end(), interleavedStereo.begin(), interleavedStereo.end());
    encodeAudioFrame(target, false);
}

void MovieWriter::finish()
{
    if (finished_) return;
    encodeVideo(nullptr);
    for (AudioTrack& track : audioTracks_) {
        encodeAudioFrame(track, true);
        if (const int code = avcodec_send_frame(track.encoder.get(), nullptr); code < 0) fail("encode audio", code);
        drain(*track.encoder, *track.stream);
    }
    if (const int code = av_write_trailer(format_.get()); code < 0) fail("finish", code);
    if (format_->pb) {
        if (const int code = avio_closep(&format_->pb); code < 0) fail("close", code);
    }
    finished_ = true;
}

}  // namespace vantile
