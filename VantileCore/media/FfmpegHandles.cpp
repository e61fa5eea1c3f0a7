#include "media/FfmpegHandles.h"

#include <new>

#include <cstdlib>
#include <string_view>

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
    // Our own errors name the user's files; the library's lines are for debugging only.
    const char* debug = std::getenv("VANTILE_DEBUG");
    av_log_set_level(debug && std::string_view(debug) == "1" ? AV_LOG_INFO : AV_LOG_QUIET);
}

}  // namespace vantile
