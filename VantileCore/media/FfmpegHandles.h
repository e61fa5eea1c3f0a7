#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

namespace vantile {

// One owning handle per FFmpeg object type, so no business code frees anything by hand.
struct CodecContextDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct SwsContextDeleter {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};
struct SwrContextDeleter {
    void operator()(SwrContext* context) const { swr_free(&context); }
};
struct AudioFifoDeleter {
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};
struct FilterGraphDeleter {
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};
struct FilterInOutDeleter {
    void operator()(AVFilterInOut* list) const { avfilter_inout_free(&list); }
};
// Input contexts are closed; output contexts are freed after their file is closed.
struct InputFormatDeleter {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct OutputFormatDeleter {
    void operator()(AVFormatContext* context) const
    {
        if (context->pb && !(context->oformat->flags & AVFMT_NOFILE)) avio_closep(&context->pb);
        avformat_free_context(context);
    }
};

using CodecContextHandle = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using FrameHandle = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketHandle = std::unique_ptr<AVPacket, PacketDeleter>;
using SwsContextHandle = std::unique_ptr<SwsContext, SwsContextDeleter>;
using SwrContextHandle = std::unique_ptr<SwrContext, SwrContextDeleter>;
using AudioFifoHandle = std::unique_ptr<AVAudioFifo, AudioFifoDeleter>;
using FilterGraphHandle = std::unique_ptr<AVFilterGraph, FilterGraphDeleter>;
using FilterInOutHandle = std::unique_ptr<AVFilterInOut, FilterInOutDeleter>;
using InputFormatHandle = std::unique_ptr<AVFormatContext, InputFormatDeleter>;
using OutputFormatHandle = std::unique_ptr<AVFormatContext, OutputFormatDeleter>;

// av_strerror's text for an AVERROR code.
std::string averrorText(int code);

// Allocation failures throw std::bad_alloc.
FrameHandle allocateFrame();
PacketHandle allocatePacket();
// A frame with its own buffers of the given format and size.
FrameHandle allocateFrame(AVPixelFormat format, int width, int height);

// FFmpeg prints encoder statistics and notices on stderr by default; command-line tools keep
// only real errors.
void quietMediaLibraryLogs();

}  // namespace vantile
