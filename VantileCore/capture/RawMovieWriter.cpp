#include "capture/RawMovieWriter.h"

#include "capture/AudioSource.h"
#include "capture/RecordingError.h"

#include "media/FfmpegHandles.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace vantile {

namespace {

std::string errorText(int code) { return averrorText(code); }

using OutputHandle = OutputFormatHandle;

struct Track {
    CodecContextHandle codec;
    AVStream* stream = nullptr;
    FrameHandle frame;
    // Audio only: samples waiting for a full encoder frame, one vector per channel.
    std::vector<float> pending[AudioSource::channelCount];
    std::int64_t nextPts = -1;
};

}  // namespace

struct RawMovieWriter::State {
    OutputHandle output;
    Track video;
    std::vector<Track> audio;
    PacketHandle packet{av_packet_alloc()};
    bool headerWritten = false;
    bool finished = false;

    void drain(Track& track)
    {
        for (;;) {
            const int received = avcodec_receive_packet(track.codec.get(), packet.get());
            if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
            if (received < 0) throw RecordingError::captureStopFailed("encoding failed: " + errorText(received));
            av_packet_rescale_ts(packet.get(), track.codec->time_base, track.stream->time_base);
            packet->stream_index = track.stream->index;
            const int written = av_interleaved_write_frame(output.get(), packet.get());
            if (written < 0) throw RecordingError::captureStopFailed("cannot write the movie: " + errorText(written));
        }
    }

    void send(Track& track, const AVFrame* frame)
    {
        const int sent = avcodec_send_frame(track.codec.get(), frame);
        if (sent < 0 && sent != AVERROR_EOF) throw RecordingError::captureStopFailed("encoding failed: " + errorText(sent));
        drain(track);
    }

    void encodePendingAudio(Track& track, bool flushPartial)
    {
        const auto frameSize = static_cast<std::size_t>(track.codec->frame_size);
        while (track.pending[0].size() >= frameSize || (flushPartial && !track.pending[0].empty())) {
            const std::size_t count = std::min(frameSize, track.pending[0].size());
            if (av_frame_make_writable(track.frame.get()) < 0) throw RecordingError::captureStopFailed("out of memory");
            for (int channel = 0; channel < AudioSource::channelCount; ++channel) {
                auto* plane = reinterpret_cast<float*>(track.frame->data[channel]);
                std::copy_n(track.pending[channel].begin(), count, plane);
                // The last frame is padded with silence to the encoder's fixed frame size.
                std::fill(plane + count, plane + frameSize, 0.0f);
                track.pending[channel].erase(track.pending[channel].begin(),
                                             track.pending[channel].begin() + static_cast<std::ptrdiff_t>(count));
            }
            track.frame->pts = track.nextPts;
            track.nextPts += static_cast<std::int64_t>(count);
            send(track, track.frame.get());
        }
    }
};

RawMovieWriter::RawMovieWriter(const std::filesystem::path& file, int width, int height, int audioTrackCount,
                               VideoEncoding encoding)
    : state_(std::make_unique<State>())
{
    if (std::filesystem::exists(file)) std::filesystem::remove(file);
    av_log_set_level(AV_LOG_ERROR);

    AVFormatContext* rawOutput = nullptr;
    if (avformat_alloc_output_context2(&rawOutput, nullptr, "mov", file.c_str()) < 0 || !rawOutput)
        throw RecordingError::writerSetupFailed();
    state_->output.reset(rawOutput);
    AVFormatContext* output = rawOutput;
    // Bounds how long packets wait for interleaving, so the file on disk trails by at most a second.
    output->max_interleave_delta = 1000000;

    const AVCodec* videoCodec = avcodec_find_encoder_by_name("libx264");
    if (!videoCodec || !state_->packet) throw RecordingError::writerSetupFailed();
    Track& video = state_->video;
    video.codec.reset(avcodec_alloc_context3(videoCodec));
    if (!video.codec) throw RecordingError::writerSetupFailed();
    AVCodecContext* codec = video.codec.get();
    codec->width = width;
    codec->height = height;
    codec->pix_fmt = AV_PIX_FMT_YUV420P;
    const int fps = encoding.fps;
    codec->time_base = {1, fps};
    codec->framerate = {fps, 1};
    // A keyframe each second starts a fragment each second and keeps seeking in the preview cheap.
    codec->gop_size = fps;
    codec->thread_count = 0;
    // No B-frames: a fragmented movie has no edit list, so reordering would start the video a
    // few frames after the audio.
    codec->max_b_frames = 0;
    // The BGRA to YUV conversion uses BT.601 limited range; tag what it produced.
    codec->colorspace = AVCOL_SPC_SMPTE170M;
    codec->color_range = AVCOL_RANGE_MPEG;
    codec->color_primaries = AVCOL_PRI_BT709;
    codec->color_trc = AVCOL_TRC_IEC61966_2_1;
    if (output->oformat->flags & AVFMT_GLOBALHEADER) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    // Capture must keep up in real time on two cores shared with other work while the screen
    // changes every frame: veryfast fell behind there, superfast holds at 1080p30, and more
    // pixels a second (larger screens, 60 fps) need ultrafast (about 2.4 times cheaper than
    // veryfast, files twice as large).
    const bool moreThanFullHd30 = static_cast<long>(width) * height * fps > 1920L * 1080L * 30L;
    const char* preset = encoding.preset ? encoding.preset : moreThanFullHd30 ? "ultrafast" : "superfast";
    av_opt_set(codec->priv_data, "preset", preset, 0);
    av_opt_set_int(codec->priv_data, "crf", encoding.constantRateFactor, 0);
    if (avcodec_open2(codec, videoCodec, nullptr) < 0) throw RecordingError::writerSetupFailed();
    video.stream = avformat_new_stream(output, nullptr);
    if (!video.stream || avcodec_parameters_from_context(video.stream->codecpar, codec) < 0)
        throw RecordingError::writerSetupFailed();
    video.stream->time_base = codec->time_base;
    video.stream->avg_frame_rate = {fps, 1};
    video.frame.reset(av_frame_alloc());
    if (!video.frame) throw RecordingError::writerSetupFailed();
    video.frame->format = AV_PIX_FMT_YUV420P;
    video.frame->width = width;
    video.frame->height = height;
    if (av_frame_get_buffer(video.frame.get(), 0) < 0) throw RecordingError::writerSetupFailed();

    const AVCodec* audioCodec = avcodec_find_encoder_by_name("aac");
    for (int index = 0; index < audioTrackCount; ++index) {
        if (!audioCodec) throw RecordingError::writerSetupFailed();
        Track& track = state_->audio.emplace_back();
        track.codec.reset(avcodec_alloc_context3(audioCodec));
        if (!track.codec) throw RecordingError::writerSetupFailed();
        AVCodecContext* audio = track.codec.get();
        audio->sample_fmt = AV_SAMPLE_FMT_FLTP;
        audio->sample_rate = AudioSource::sampleRate;
        av_channel_layout_default(&audio->ch_layout, AudioSource::channelCount);
        audio->bit_rate = 160000;
        audio->time_base = {1, AudioSource::sampleRate};
        if (output->oformat->flags & AVFMT_GLOBALHEADER) audio->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        if (avcodec_open2(audio, audioCodec, nullptr) < 0) throw RecordingError::writerSetupFailed();
        track.stream = avformat_new_stream(output, nullptr);
        if (!track.stream || avcodec_parameters_from_context(track.stream->codecpar, audio) < 0)
            throw RecordingError::writerSetupFailed();
        track.stream->time_base = audio->time_base;
        track.frame.reset(av_frame_alloc());
        if (!track.frame) throw RecordingError::writerSetupFailed();
        track.frame->format = AV_SAMPLE_FMT_FLTP;
        track.frame->sample_rate = AudioSource::sampleRate;
        track.frame->nb_samples = audio->frame_size;
        if (av_channel_layout_copy(&track.frame->ch_layout, &audio->ch_layout) < 0 ||
            av_frame_get_buffer(track.frame.get(), 0) < 0)
            throw RecordingError::writerSetupFailed();
    }

    if (avio_open(&output->pb, file.c_str(), AVIO_FLAG_WRITE) < 0) throw RecordingError::writerSetupFailed();
    AVDictionary* rawOptions = nullptr;
    av_dict_set(&rawOptions, "movflags", "frag_keyframe+empty_moov+default_base_moof", 0);
    const std::unique_ptr<AVDictionary*, void (*)(AVDictionary**)> options(&rawOptions, av_dict_free);
    if (avformat_write_header(output, &rawOptions) < 0) throw RecordingError::writerSetupFailed();
    // Hand every fragment to the kernel as soon as it is complete, so a killed process leaves it behind.
    output->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    avio_flush(output->pb);
    state_->headerWritten = true;
}

RawMovieWriter::~RawMovieWriter()
{
    if (state_ && state_->headerWritten && !state_->finished) {
        try {
            finish();
        } catch (const RecordingError&) {
            // Already reported by the write that failed; the fragments written so far stay playable.
        }
    }
}

int RawMovieWriter::width() const { return state_->video.codec->width; }
int RawMovieWriter::height() const { return state_->video.codec->height; }
int RawMovieWriter::fps() const { return state_->video.codec->framerate.num; }

void RawMovieWriter::writeVideo(const PlanarFrame& frame, std::int64_t frameIndex)
{
    Track& video = state_->video;
    AVFrame* target = video.frame.get();
    if (av_frame_make_writable(target) < 0) throw RecordingError::captureStopFailed("out of memory");
    const int rows[3] = {frame.height, frame.chromaHeight(), frame.chromaHeight()};
    const int widths[3] = {frame.width, frame.chromaWidth(), frame.chromaWidth()};
    const std::uint8_t* sources[3] = {frame.luma.data(), frame.blueDifference.data(), frame.redDifference.data()};
    for (int plane = 0; plane < 3; ++plane) {
        for (int row = 0; row < rows[plane]; ++row)
            std::memcpy(target->data[plane] + static_cast<std::ptrdiff_t>(row) * target->linesize[plane],
                        sources[plane] + static_cast<std::ptrdiff_t>(row) * widths[plane],
                        static_cast<std::size_t>(widths[plane]));
    }
    target->pts = frameIndex;
    state_->send(video, target);
}

void RawMovieWriter::writeAudio(int track, std::int64_t firstSample, const float* interleaved,
                                std::size_t frameCount)
{
    Track& audio = state_->audio.at(static_cast<std::size_t>(track));
    if (audio.nextPts < 0) audio.nextPts = 0;
    // Every track starts at the first video frame and stays on its clock: a late start or a pause
    // in delivery (an idle monitor sends nothing) becomes silence; small jitter is ignored.
    const std::int64_t expected = audio.nextPts + static_cast<std::int64_t>(audio.pending[0].size());
    if (firstSample > expected + AudioSource::sampleRate / 20) {
        for (auto& channel : audio.pending) channel.resize(channel.size() + static_cast<std::size_t>(firstSample - expected), 0.0f);
    }
    for (std::size_t index = 0; index < frameCount; ++index) {
        for (int channel = 0; channel < AudioSource::channelCount; ++channel)
            audio.pending[channel].push_back(interleaved[index * AudioSource::channelCount + static_cast<std::size_t>(channel)]);
    }
    state_->encodePendingAudio(audio, false);
}

void RawMovieWriter::finish()
{
    if (state_->finished) return;
    state_->finished = true;
    state_->send(state_->video, nullptr);
    for (Track& audio : state_->audio) {
        if (audio.nextPts >= 0) state_->encodePendingAudio(audio, true);
        state_->send(audio, nullptr);
    }
    const int trailer = av_write_trailer(state_->output.get());
    if (trailer < 0) throw RecordingError::captureStopFailed("cannot finish the movie: " + errorText(trailer));
}

}  // namespace vantile
