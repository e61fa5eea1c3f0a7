#include "render/ImageConversion.h"

#include "media/FfmpegHandles.h"
#include "render/RenderError.h"

#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>

#include <algorithm>

extern "C" {
#include <libswscale/swscale.h>
}

namespace vantile {

void convertImageToYuv420(const QImage& image, AVFrame& frame)
{
    if (image.width() != frame.width || image.height() != frame.height || image.depth() != 32 ||
        frame.format != AV_PIX_FMT_YUV420P) {
        throw RenderError::pixelBufferCreationFailed();
    }
    libyuv::ARGBToI420(image.constBits(), static_cast<int>(image.bytesPerLine()), frame.data[0], frame.linesize[0],
                       frame.data[1], frame.linesize[1], frame.data[2], frame.linesize[2], frame.width,
                       frame.height);
}

void convertImageToYuv420(const QImage& image, AVFrame& frame, const QRect& area)
{
    if (image.width() != frame.width || image.height() != frame.height || image.depth() != 32 ||
        frame.format != AV_PIX_FMT_YUV420P) {
        throw RenderError::pixelBufferCreationFailed();
    }
    const QRect bounded = area.intersected(image.rect());
    if (bounded.isEmpty()) return;
    const int left = bounded.left() & ~1;
    const int top = bounded.top() & ~1;
    const int right = std::min((bounded.right() + 2) & ~1, frame.width);
    const int bottom = std::min((bounded.bottom() + 2) & ~1, frame.height);
    const auto stride = static_cast<int>(image.bytesPerLine());
    libyuv::ARGBToI420(image.constBits() + static_cast<std::ptrdiff_t>(top) * stride + left * 4, stride,
                       frame.data[0] + static_cast<std::ptrdiff_t>(top) * frame.linesize[0] + left,
                       frame.linesize[0],
                       frame.data[1] + static_cast<std::ptrdiff_t>(top / 2) * frame.linesize[1] + left / 2,
                       frame.linesize[1],
                       frame.data[2] + static_cast<std::ptrdiff_t>(top / 2) * frame.linesize[2] + left / 2,
                       frame.linesize[2], right - left, bottom - top);
}

const libyuv::YuvConstants& yuvToRgbConstants(const AVFrame& frame)
{
    const bool full = frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P;
    switch (frame.colorspace) {
    case AVCOL_SPC_BT709:
        return full ? libyuv::kYuvF709Constants : libyuv::kYuvH709Constants;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
        return full ? libyuv::kYuvV2020Constants : libyuv::kYuv2020Constants;
    default:
        // Untagged streams are read as BT.601, as players do for standard-definition defaults.
        return full ? libyuv::kYuvJPEGConstants : libyuv::kYuvI601Constants;
    }
}

namespace {

void convertWithSwscale(const AVFrame& frame, QImage& image)
{
    SwsContextHandle context(sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
                                            frame.width, frame.height, AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr,
                                            nullptr, nullptr));
    if (!context) throw RenderError(RenderError::Kind::unreadableMovie, "Unsupported pixel format in the raw movie.");
    uint8_t* destination[4] = {image.bits(), nullptr, nullptr, nullptr};
    int strides[4] = {static_cast<int>(image.bytesPerLine()), 0, 0, 0};
    sws_scale(context.get(), frame.data, frame.linesize, 0, frame.height, destination, strides);
}

}  // namespace

void convertFrameToImage(const AVFrame& frame, QImage& image)
{
    if (image.width() != frame.width || image.height() != frame.height || image.format() != QImage::Format_RGB32) {
        image = QImage(frame.width, frame.height, QImage::Format_RGB32);
        if (image.isNull()) throw RenderError::pixelBufferCreationFailed();
    }
    if (frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUVJ420P) {
        libyuv::I420ToARGBMatrix(frame.data[0], frame.linesize[0], frame.data[1], frame.linesize[1], frame.data[2],
                                 frame.linesize[2], image.bits(), static_cast<int>(image.bytesPerLine()),
                                 &yuvToRgbConstants(frame), frame.width, frame.height);
        return;
    }
    convertWithSwscale(frame, image);
}

std::vector<std::uint8_t> averageTable(std::size_t count)
{
    std::vector<std::uint8_t> table(255 * count + 1);
    for (std::size_t sum = 0; sum < table.size(); ++sum) table[sum] = static_cast<std::uint8_t>((sum + count / 2) / count);
    return table;
}

}  // namespace vantile
