#include "render/FfmpegHandles.h"

namespace vantile {

std::string averrorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    if (av_strerror(code, text, sizeof text) < 0) return "error " + std::to_string(code);
    return text;
}

int checkAv(int code, const std::string& step)
{
    if (code < 0) throw RenderError(RenderError::Kind::media, step + ": " + averrorText(code));
    return code;
}

FrameHandle allocateFrame()
{
    FrameHandle frame(av_frame_alloc());
    if (!frame) throw RenderError::pixelBufferCreationFailed();
    return frame;
}

PacketHandle allocatePacket()
{
    PacketHandle packet(av_packet_alloc());
    if (!packet) throw RenderError::writerFailed();
    return packet;
}

FrameHandle allocateFrame(AVPixelFormat format, int width, int height)
{
    FrameHandle frame = allocateFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw RenderError::pixelBufferCreationFailed();
    return frame;
}

}  // namespace vantile

namespace vantile {

void quietMediaLibraryLogs()
{
    av_log_set_level(AV_LOG_ERROR);
}

}  // namespace vantile
