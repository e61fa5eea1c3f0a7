#include "render/MovieReader.h"
#include "render/RenderError.h"

#include <cmath>

namespace vantile {

namespace {

RenderError unreadable(const std::filesystem::path& path, const std::string& reason)
{
    return {RenderError::Kind::unreadableMovie, "Cannot read the movie " + path.filename().string() + ": " + reason};
}

}  // namespace

MovieReader::MovieReader(const std::filesystem::path& path, Fidelity fidelity) : path_(path), packet_(allocatePacket())
{
    AVFormatContext* opened = nullptr;
    if (const int code = avformat_open_input(&opened, path.c_str(), nullptr, nullptr); code < 0) {
        throw unreadable(path, averrorText(code));
    }
    format_.reset(opened);
    if (const int code = avformat_find_stream_info(format_.get(), nullptr); code < 0) {
        throw unreadable(path, averrorText(code));
    }
    const AVCodec* codec = nullptr;
    streamIndex_ = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (streamIndex_ < 0 || !codec) throw unreadable(path, "it has no video track");

    decoder_.reset(avcodec_alloc_context3(codec));
    if (!decoder_) throw unreadable(path, "cannot allocate a decoder");
    const AVStream* stream = format_->streams[streamIndex_];
    if (const int code = avcodec_parameters_to_context(decoder_.get(), stream->codecpar); code < 0) {
        throw unreadable(path, averrorText(code));
    }
    decoder_->pkt_timebase = stream->time_base;
    if (fidelity == Fidelity::shownSmall) {
        decoder_->skip_loop_filter = AVDISCARD_ALL;
        decoder_->flags2 |= AV_CODEC_FLAG2_FAST;
        // Such a movie decodes quickly on the caller's thread; frame threads would cost a
        // third more CPU in handing frames over.
        decoder_->thread_count = 1;
    } else {
        // The API defaults to one thread; auto lets the decoder keep up with the encoder.
        decoder_->thread_count = 0;
        decoder_->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    }
    if (const int code = avcodec_open2(decoder_.get(), codec, nullptr); code < 0) {
        throw unreadable(path, averrorText(code));
    }
    if (decoder_->width <= 0 || decoder_->height <= 0) throw unreadable(path, "its video has no size");
}

double MovieReader::duration() const
{
    if (format_->duration > 0) return static_cast<double>(format_->duration) / AV_TIME_BASE;
    const AVStream* stream = format_->streams[streamIndex_];
    if (stream->duration > 0) return static_cast<double>(stream->duration) * av_q2d(stream->time_base);
    return 0;
}

double MovieReader::frameTime(const AVFrame& frame) const
{
    const int64_t pts = frame.best_effort_timestamp != AV_NOPTS_VALUE ? frame.best_effort_timestamp : frame.pts;
    if (pts == AV_NOPTS_VALUE) return 0;
    return std::max(0.0, static_cast<double>(pts) * av_q2d(format_->streams[streamIndex_]->time_base));
}

FrameHandle MovieReader::readFrame()
{
    FrameHandle frame = allocateFrame();
    while (!finished_) {
        const int received = avcodec_receive_frame(decoder_.get(), frame.get());
        if (received == 0) return frame;
        if (received == AVERROR_EOF || (received < 0 && received != AVERROR(EAGAIN))) {
            finished_ = true;
            break;
        }
        if (draining_) {
            finished_ = true;
            break;
        }
        const int read = av_read_frame(format_.get(), packet_.get());
        if (read < 0) {
            draining_ = true;
            avcodec_send_packet(decoder_.get(), nullptr);
            continue;
        }
        if (packet_->stream_index == streamIndex_) {
            const int sent = avcodec_send_packet(decoder_.get(), packet_.get());
            // A corrupt packet is skipped; the decoder conceals what it can.
            (void)sent;
        }
        av_packet_unref(packet_.get());
    }
    return nullptr;
}

void MovieReader::seek(double time)
{
    const AVStream* stream = format_->streams[streamIndex_];
    const auto target = static_cast<int64_t>(std::floor(time / av_q2d(stream->time_base)));
    av_seek_frame(format_.get(), streamIndex_, target, AVSEEK_FLAG_BACKWARD);
    avcodec_flush_buffers(decoder_.get());
    draining_ = false;
    finished_ = false;
}

std::optional<double> MovieReader::keyframeTimeAtOrBefore(double time) const
{
    AVStream* stream = format_->streams[streamIndex_];
    const auto target = static_cast<int64_t>(std::floor(time / av_q2d(stream->time_base)));
    const int index = av_index_search_timestamp(stream, target, AVSEEK_FLAG_BACKWARD);
    const AVIndexEntry* entry = index >= 0 ? avformat_index_get_entry(stream, index) : nullptr;
    if (!entry) return std::nullopt;
    return static_cast<double>(entry->timestamp) * av_q2d(stream->time_base);
}

FrameHandle MovieReader::frameAt(double time)
{
    seek(time);
    FrameHandle best;
    while (FrameHandle frame = readFrame()) {
        if (best && frameTime(*frame) > time + 1e-9) break;
        best = std::move(frame);
    }
    return best;
}

}  // namespace vantile
