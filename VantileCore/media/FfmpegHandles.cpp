#include "media/FfmpegHandles.h"

#include <new>

namespace vantile {

std::string averrorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    if (av_strerror(code, text, sizeof text) < 0) return "error " + std::to_string(code);
    return text;
}

FrameHandle allocateFrame()
{
    FrameHandle frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    return frame;
}

PacketHandle allocatePacket()
{
    PacketHandle packet(av_packet_alloc());
    if (!packet) throw std::bad_alloc();
    return packet;
}

FrameHandle allocateFrame(AVPixelFormat format, int width, int height)
{
    FrameHandle frame = allocateFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
    return frame;
}

void quietMediaLibraryLogs()
{
    av_log_set_level(AV_LOG_ERROR);
}

}  // namespace vantile
