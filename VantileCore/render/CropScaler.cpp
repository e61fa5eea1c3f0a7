#include "render/CropScaler.h"

#include "render/ImageConversion.h"

#include <libyuv/convert_argb.h>
#include <libyuv/scale.h>
#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

extern "C" {
#include <libavutil/frame.h>
}

namespace vantile {

namespace {

// Where a scaled crop goes. The scalers take whole pixels: the source pixels the crop touches
// (the block) are scaled by the crop's factor into a virtual image, and the part of it the
// target covers (the window) is written.
struct Placement {
    QRect window;       // canvas pixels written; empty when the target covers none
    QRect block;        // source pixels scaled
    QSize virtualSize;  // what the block is scaled to
    QPoint clip;        // the window's top-left inside the virtual image
};

// The pixels whose centres lie in [from, to): what Qt's non-antialiased fill covers.
std::pair<int, int> coveredPixels(double from, double to, int limit)
{
    const int first = std::max(0, static_cast<int>(std::ceil(from - 0.5)));
    const int end = std::min(limit, static_cast<int>(std::ceil(to - 0.5)));
    return {first, end};
}

// `alignment` 2 starts the block on even pixels, so 4:2:0 chroma stays whole.
std::optional<Placement> place(QSize canvas, QSize source, const QRectF& crop, const QRectF& target, int alignment)
{
    // Qt fills what lies outside the source; the camera's crops never do.
    if (!QRectF(QPointF(0, 0), QSizeF(source)).contains(crop)) return std::nullopt;
    Placement placement;
    const auto [left, right] = coveredPixels(target.left(), target.right(), canvas.width());
    const auto [top, bottom] = coveredPixels(target.top(), target.bottom(), canvas.height());
    if (left >= right || top >= bottom) return placement;
    placement.window = QRect(left, top, right - left, bottom - top);

    const double scaleX = target.width() / crop.width();
    const double scaleY = target.height() / crop.height();
    const int blockLeft = static_cast<int>(std::floor(crop.left())) / alignment * alignment;
    const int blockTop = static_cast<int>(std::floor(crop.top())) / alignment * alignment;
    const int blockRight = std::min(static_cast<int>(std::ceil(crop.right())), source.width());
    const int blockBottom = std::min(static_cast<int>(std::ceil(crop.bottom())), source.height());
    if (blockRight <= blockLeft || blockBottom <= blockTop) return std::nullopt;
    placement.block = QRect(blockLeft, blockTop, blockRight - blockLeft, blockBottom - blockTop);

    // Where the virtual image's first pixel lies on the canvas.
    const double virtualLeft = target.left() + (blockLeft - crop.left()) * scaleX;
    const double virtualTop = target.top() + (blockTop - crop.top()) * scaleY;
    placement.clip = QPoint(std::max(0, static_cast<int>(std::floor(left - virtualLeft + 0.5))),
                            std::max(0, static_cast<int>(std::floor(top - virtualTop + 0.5))));
    // Rounding may leave the virtual image a pixel short of the window; stretch it by that
    // pixel rather than leave a seam.
    placement.virtualSize =
        QSize(std::max(static_cast<int>(std::lround(placement.block.width() * scaleX)),
                       placement.clip.x() + placement.window.width()),
              std::max(static_cast<int>(std::lround(placement.block.height() * scaleY)),
                       placement.clip.y() + placement.window.height()));
    return placement;
}

// The image the painter writes to when libyuv may write there too.
QImage* directCanvas(QPainter& painter)
{
    QPaintDevice* device = painter.device();
    if (!device || device->devType() != QInternal::Image || !painter.transform().isIdentity() ||
        painter.hasClipping()) {
        return nullptr;
    }
    auto* canvas = static_cast<QImage*>(device);
    const bool writable = canvas->format() == QImage::Format_RGB32 ||
                          canvas->format() == QImage::Format_ARGB32_Premultiplied;
    return writable && canvas->devicePixelRatio() == 1 ? canvas : nullptr;
}

bool scaleImage(QImage& canvas, const QImage& source, const QRectF& crop, const QRectF& target)
{
    const auto placement = place(canvas.size(), source.size(), crop, target, 1);
    if (!placement) return false;
    if (placement->window.isEmpty()) return true;
    const QRect& window = placement->window;
    const QRect& block = placement->block;
    const qsizetype stride = canvas.bytesPerLine();
    uchar* const windowPixels = canvas.bits() + window.top() * stride + window.left() * 4;
    // libyuv adds the clip offsets back before writing, so only the window is touched; the
    // virtual image's origin itself may lie before the canvas and is only ever an address.
    const auto origin = reinterpret_cast<std::uint8_t*>(
        reinterpret_cast<std::uintptr_t>(windowPixels) -
        static_cast<std::uintptr_t>(placement->clip.y() * stride + placement->clip.x() * 4));
    const std::uint8_t* blockPixels = source.constBits() + block.top() * source.bytesPerLine() + block.left() * 4;
    return libyuv::ARGBScaleClip(blockPixels, static_cast<int>(source.bytesPerLine()), block.width(), block.height(),
                                 origin, static_cast<int>(stride), placement->virtualSize.width(),
                                 placement->virtualSize.height(), placement->clip.x(), placement->clip.y(),
                                 window.width(), window.height(), libyuv::kFilterBilinear) == 0;
}

}  // namespace

void CropScaler::draw(QPainter& painter, const QImage& source, const QRectF& crop, const QRectF& target)
{
    if (crop.isEmpty() || target.isEmpty()) return;
    QImage* canvas = directCanvas(painter);
    if (canvas && source.format() == QImage::Format_RGB32 && scaleImage(*canvas, source, crop, target)) return;
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, source, crop);
    painter.restore();
}

namespace {

// A virtual image scaled from a source block, as yuv420p planes in scratch memory.
struct ScaledPlanes {
    std::uint8_t* luma = nullptr;
    std::uint8_t* blue = nullptr;
    std::uint8_t* red = nullptr;
    int width = 0;
    int chromaWidth = 0;
};

bool isPlanar420(const AVFrame& frame)
{
    return frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUVJ420P;
}

// With `rescale` false the scratch memory already holds this block scaled; only its planes are found.
std::optional<ScaledPlanes> scaleBlock(std::vector<std::uint8_t>& scratch, const AVFrame& source,
                                       const Placement& placement, bool rescale, BilinearPlaneScaler& lumaScaler,
                                       BilinearPlaneScaler& chromaScaler)
{
    const QRect& block = placement.block;
    ScaledPlanes scaled;
    scaled.width = placement.virtualSize.width();
    const int height = placement.virtualSize.height();
    scaled.chromaWidth = (scaled.width + 1) / 2;
    const auto lumaSize = static_cast<std::size_t>(scaled.width) * static_cast<std::size_t>(height);
    const auto chromaSize = static_cast<std::size_t>(scaled.chromaWidth) * static_cast<std::size_t>((height + 1) / 2);
    scratch.resize(lumaSize + 2 * chromaSize);
    scaled.luma = scratch.data();
    scaled.blue = scaled.luma + lumaSize;
    scaled.red = scaled.blue + chromaSize;
    if (!rescale) return scaled;
    const auto plane = [&](int index, int x, int y) {
        return source.data[index] + static_cast<std::ptrdiff_t>(y) * source.linesize[index] + x;
    };
    const int chromaHeight = (height + 1) / 2;
    if (BilinearPlaneScaler::suits(block.width(), block.height(), scaled.width, height)) {
        const int blockChromaWidth = (block.width() + 1) / 2;
        const int blockChromaHeight = (block.height() + 1) / 2;
        lumaScaler.scale(plane(0, block.left(), block.top()), source.linesize[0], block.width(), block.height(),
                         scaled.luma, scaled.width, scaled.width, height);
        chromaScaler.scale(plane(1, block.left() / 2, block.top() / 2), source.linesize[1], blockChromaWidth,
                           blockChromaHeight, scaled.blue, scaled.chromaWidth, scaled.chromaWidth, chromaHeight);
        chromaScaler.scale(plane(2, block.left() / 2, block.top() / 2), source.linesize[2], blockChromaWidth,
                           blockChromaHeight, scaled.red, scaled.chromaWidth, scaled.chromaWidth, chromaHeight);
        return scaled;
    }
    // Reductions below half size (a large source on a small card) are rare; libyuv steps
    // through any factor.
    if (libyuv::I420Scale(plane(0, block.left(), block.top()), source.linesize[0],
                          plane(1, block.left() / 2, block.top() / 2), source.linesize[1],
                          plane(2, block.left() / 2, block.top() / 2), source.linesize[2], block.width(),
                          block.height(), scaled.luma, scaled.width, scaled.blue, scaled.chromaWidth, scaled.red,
                          scaled.chromaWidth, scaled.width, height, libyuv::kFilterBilinear) != 0) {
        return std::nullopt;
    }
    return scaled;
}

// How many of the pixels first, first + 1 lie in [from, to).
int sharedPixels(int first, int from, int to)
{
    return static_cast<int>(first >= from && first < to) + static_cast<int>(first + 1 >= from && first + 1 < to);
}

}  // namespace

bool CropScaler::draw(QPainter& painter, const AVFrame& source, const QRectF& crop, const QRectF& target)
{
    if (!isPlanar420(source)) return false;
    QImage* canvas = directCanvas(painter);
    if (!canvas) return false;
    if (crop.isEmpty() || target.isEmpty()) return true;
    const auto placement = place(canvas->size(), QSize(source.width, source.height), crop, target, 2);
    if (!placement) return false;
    if (placement->window.isEmpty()) return true;
    const auto scaled = scaleBlock(scratch_, source, *placement, true, lumaScaler_, chromaScaler_);
    scratchContent_ = {};
    if (!scaled) return false;
    // A window starting on an odd virtual pixel pairs its chroma half a chroma sample early;
    // that shift is below what 4:2:0 resolves anyway.
    const QRect& window = placement->window;
    const QPoint clip = placement->clip;
    const auto chromaOffset = static_cast<std::ptrdiff_t>(clip.y() / 2) * scaled->chromaWidth + clip.x() / 2;
    const qsizetype stride = canvas->bytesPerLine();
    return libyuv::I420ToARGBMatrix(scaled->luma + static_cast<std::ptrdiff_t>(clip.y()) * scaled->width + clip.x(),
                                    scaled->width, scaled->blue + chromaOffset, scaled->chromaWidth,
                                    scaled->red + chromaOffset, scaled->chromaWidth,
                                    canvas->bits() + window.top() * stride + window.left() * 4,
                                    static_cast<int>(stride), &yuvToRgbConstants(source), window.width(),
                                    window.height()) == 0;
}

std::optional<QRect> CropScaler::drawInto(AVFrame& canvas, const AVFrame& source, const QRectF& crop,
                                          const QRectF& target)
{
    if (!isPlanar420(source) || !isPlanar420(canvas)) return std::nullopt;
    if (crop.isEmpty() || target.isEmpty()) return QRect();
    const auto placement = place(QSize(canvas.width, canvas.height), QSize(source.width, source.height), crop, target, 2);
    if (!placement) return std::nullopt;
    const QRect& window = placement->window;
    if (window.isEmpty()) return QRect();
    const ScratchContent content{source.data[0], source.pts, placement->block, placement->virtualSize};
    const bool rescale = content != scratchContent_ || !source.data[0] || source.pts == AV_NOPTS_VALUE;
    scratchContent_ = {};
    const auto scaled = scaleBlock(scratch_, source, *placement, rescale, lumaScaler_, chromaScaler_);
    if (!scaled) return std::nullopt;
    scratchContent_ = content;
    const QPoint clip = placement->clip;
    for (int y = window.top(); y <= window.bottom(); ++y) {
        std::memcpy(canvas.data[0] + static_cast<std::ptrdiff_t>(y) * canvas.linesize[0] + window.left(),
                    scaled->luma + static_cast<std::ptrdiff_t>(y - window.top() + clip.y()) * scaled->width + clip.x(),
                    static_cast<std::size_t>(window.width()));
    }
    // Chroma sample (x, y) covers canvas pixels 2x, 2x + 1 by 2y, 2y + 1; it takes the
    // virtual image's sample under its first pixel inside the window.
    const int right = window.left() + window.width();
    const int bottom = window.top() + window.height();
    const int firstColumn = window.left() / 2;
    const int lastColumn = (right - 1) / 2;
    // Whole samples run from the first even pixel to the last pair that ends inside.
    const int wholeFirst = (window.left() + 1) / 2;
    const int wholeEnd = right / 2;
    const auto virtualColumn = [&](int x) { return (std::max(2 * x, window.left()) - window.left() + clip.x()) / 2; };
    for (int y = window.top() / 2; y <= (bottom - 1) / 2; ++y) {
        const int rows = sharedPixels(2 * y, window.top(), bottom);
        const int virtualRow = (std::max(2 * y, window.top()) - window.top() + clip.y()) / 2;
        for (int plane = 1; plane <= 2; ++plane) {
            std::uint8_t* row = canvas.data[plane] + static_cast<std::ptrdiff_t>(y) * canvas.linesize[plane];
            const std::uint8_t* scaledRow = (plane == 1 ? scaled->blue : scaled->red) +
                                            static_cast<std::ptrdiff_t>(virtualRow) * scaled->chromaWidth;
            const auto mix = [&](int x) {
                const int share = rows * sharedPixels(2 * x, window.left(), right);
                row[x] = static_cast<std::uint8_t>((row[x] * (4 - share) + scaledRow[virtualColumn(x)] * share + 2) / 4);
            };
            if (rows < 2) {
                for (int x = firstColumn; x <= lastColumn; ++x) mix(x);
                continue;
            }
            if (firstColumn < wholeFirst) mix(firstColumn);
            if (wholeEnd > wholeFirst) {
                std::memcpy(row + wholeFirst, scaledRow + virtualColumn(wholeFirst),
                            static_cast<std::size_t>(wholeEnd - wholeFirst));
            }
            if (lastColumn >= wholeEnd && lastColumn >= wholeFirst) mix(lastColumn);
        }
    }
    return window;
}

}  // namespace vantile
