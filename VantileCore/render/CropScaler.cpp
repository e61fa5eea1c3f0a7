#include "render/CropScaler.h"

#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vantile {

namespace {

bool isOpaque32Bit(const QImage& image)
{
    return image.format() == QImage::Format_RGB32;
}

bool isPaintable32Bit(const QImage& image)
{
    return image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32_Premultiplied;
}

// The pixels whose centres lie in [from, to): what Qt's non-antialiased fill covers.
std::pair<int, int> coveredPixels(double from, double to, int limit)
{
    const int first = std::max(0, static_cast<int>(std::ceil(from - 0.5)));
    const int end = std::min(limit, static_cast<int>(std::ceil(to - 0.5)));
    return {first, end};
}

bool scaleWithLibyuv(QImage& canvas, const QImage& source, const QRectF& crop, const QRectF& target)
{
    const auto [left, right] = coveredPixels(target.left(), target.right(), canvas.width());
    const auto [top, bottom] = coveredPixels(target.top(), target.bottom(), canvas.height());
    if (left >= right || top >= bottom) return true;

    // libyuv scales whole pixels: take the source pixels the crop touches, scale them by the
    // crop's factor into a virtual image, and write the window of it the target covers.
    const double scaleX = target.width() / crop.width();
    const double scaleY = target.height() / crop.height();
    // Qt fills what lies outside the source; the camera's crops never do.
    if (!QRectF(source.rect()).contains(crop)) return false;
    const int blockLeft = static_cast<int>(std::floor(crop.left()));
    const int blockTop = static_cast<int>(std::floor(crop.top()));
    const int blockWidth = std::min(static_cast<int>(std::ceil(crop.right())), source.width()) - blockLeft;
    const int blockHeight = std::min(static_cast<int>(std::ceil(crop.bottom())), source.height()) - blockTop;
    if (blockWidth <= 0 || blockHeight <= 0) return false;

    // Where the virtual image's first pixel lies on the canvas.
    const double virtualLeft = target.left() + (blockLeft - crop.left()) * scaleX;
    const double virtualTop = target.top() + (blockTop - crop.top()) * scaleY;
    const int clipX = std::max(0, static_cast<int>(std::floor(left - virtualLeft + 0.5)));
    const int clipY = std::max(0, static_cast<int>(std::floor(top - virtualTop + 0.5)));
    const int clipWidth = right - left;
    const int clipHeight = bottom - top;
    // Rounding may leave the virtual image a pixel short of the window; stretch it by that
    // pixel rather than leave a seam.
    const int virtualWidth = std::max(static_cast<int>(std::lround(blockWidth * scaleX)), clipX + clipWidth);
    const int virtualHeight = std::max(static_cast<int>(std::lround(blockHeight * scaleY)), clipY + clipHeight);

    const qsizetype stride = canvas.bytesPerLine();
    uchar* const window = canvas.bits() + top * stride + left * 4;
    // libyuv adds the clip offsets back before writing, so only the window is touched; the
    // origin itself may lie before the canvas and is only ever an address.
    const auto origin = reinterpret_cast<std::uint8_t*>(reinterpret_cast<std::uintptr_t>(window) -
                                                        static_cast<std::uintptr_t>(clipY * stride + clipX * 4));
    const std::uint8_t* block = source.constBits() + blockTop * source.bytesPerLine() + blockLeft * 4;
    return libyuv::ARGBScaleClip(block, static_cast<int>(source.bytesPerLine()), blockWidth, blockHeight, origin,
                                 static_cast<int>(stride), virtualWidth, virtualHeight, clipX, clipY, clipWidth,
                                 clipHeight, libyuv::kFilterBilinear) == 0;
}

}  // namespace

void drawScaledCrop(QPainter& painter, const QImage& source, const QRectF& crop, const QRectF& target)
{
    if (crop.isEmpty() || target.isEmpty()) return;
    QPaintDevice* device = painter.device();
    if (device && device->devType() == QInternal::Image && painter.transform().isIdentity() &&
        !painter.hasClipping() && isOpaque32Bit(source)) {
        auto& canvas = static_cast<QImage&>(*device);
        if (isPaintable32Bit(canvas) && canvas.devicePixelRatio() == 1 && scaleWithLibyuv(canvas, source, crop, target))
            return;
    }
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, source, crop);
    painter.restore();
}

}  // namespace vantile
