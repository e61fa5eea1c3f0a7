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

using Placement = CropScaler::Placement;

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

bool isTrackable(const Placement& placement)
{
    return BilinearPlaneScaler::suits(placement.block.width(), placement.block.height(), placement.virtualSize.width(),
                                      placement.virtualSize.height());
}

const std::uint8_t* planeAt(const AVFrame& frame, int index, int x, int y)
{
    return frame.data[index] + static_cast<std::ptrdiff_t>(y) * frame.linesize[index] + x;
}

// Points the three scalers at the block's planes, for row-by-row scaling into the virtual image.
void startScalers(const AVFrame& source, const Placement& placement, BilinearPlaneScaler& lumaScaler,
                  BilinearPlaneScaler& blueScaler, BilinearPlaneScaler& redScaler)
{
    const QRect& block = placement.block;
    const int blockChromaWidth = (block.width() + 1) / 2;
    const int blockChromaHeight = (block.height() + 1) / 2;
    const int width = placement.virtualSize.width();
    const int height = placement.virtualSize.height();
    lumaScaler.start(planeAt(source, 0, block.left(), block.top()), source.linesize[0], block.width(), block.height(),
                     width, height);
    blueScaler.start(planeAt(source, 1, block.left() / 2, block.top() / 2), source.linesize[1], blockChromaWidth,
                     blockChromaHeight, (width + 1) / 2, (height + 1) / 2);
    redScaler.start(planeAt(source, 2, block.left() / 2, block.top() / 2), source.linesize[2], blockChromaWidth,
                    blockChromaHeight, (width + 1) / 2, (height + 1) / 2);
}

// The whole block scaled into scratch memory as yuv420p planes.
std::optional<ScaledPlanes> scaleBlock(std::vector<std::uint8_t>& scratch, const AVFrame& source,
                                       const Placement& placement, BilinearPlaneScaler& lumaScaler,
                                       BilinearPlaneScaler& blueScaler, BilinearPlaneScaler& redScaler)
{
    const QRect& block = placement.block;
    ScaledPlanes scaled;
    scaled.width = placement.virtualSize.width();
    const int height = placement.virtualSize.height();
    scaled.chromaWidth = (scaled.width + 1) / 2;
    const int chromaHeight = (height + 1) / 2;
    const auto lumaSize = static_cast<std::size_t>(scaled.width) * static_cast<std::size_t>(height);
    const auto chromaSize = static_cast<std::size_t>(scaled.chromaWidth) * static_cast<std::size_t>(chromaHeight);
    scratch.resize(lumaSize + 2 * chromaSize);
    scaled.luma = scratch.data();
    scaled.blue = scaled.luma + lumaSize;
    scaled.red = scaled.blue + chromaSize;
    if (isTrackable(placement)) {
        startScalers(source, placement, lumaScaler, blueScaler, redScaler);
        for (int y = 0; y < height; ++y) lumaScaler.scaleRow(y, scaled.luma + static_cast<std::ptrdiff_t>(y) * scaled.width);
        for (int y = 0; y < chromaHeight; ++y) {
            const auto offset = static_cast<std::ptrdiff_t>(y) * scaled.chromaWidth;
            blueScaler.scaleRow(y, scaled.blue + offset);
            redScaler.scaleRow(y, scaled.red + offset);
        }
        return scaled;
    }
    // Reductions below half size (a large source on a small card) are rare; libyuv steps
    // through any factor.
    if (libyuv::I420Scale(planeAt(source, 0, block.left(), block.top()), source.linesize[0],
                          planeAt(source, 1, block.left() / 2, block.top() / 2), source.linesize[1],
                          planeAt(source, 2, block.left() / 2, block.top() / 2), source.linesize[2], block.width(),
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
    const auto scaled = scaleBlock(scratch_, source, *placement, lumaScaler_, blueScaler_, redScaler_);
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

std::optional<CropScaler::Placement> CropScaler::placeInto(const AVFrame& canvas, const AVFrame& source,
                                                           const QRectF& crop, const QRectF& target)
{
    if (!isPlanar420(source) || !isPlanar420(canvas)) return std::nullopt;
    if (crop.isEmpty() || target.isEmpty()) return Placement{};
    return place(QSize(canvas.width, canvas.height), QSize(source.width, source.height), crop, target, 2);
}

std::optional<CropScaler::SourceRows> CropScaler::sourceRowsOf(const Placement& placement, int chromaRow)
{
    if (!isTrackable(placement)) return std::nullopt;
    const QRect& window = placement.window;
    const QRect& block = placement.block;
    const int height = placement.virtualSize.height();
    const int top = std::max(2 * chromaRow, window.top());
    const int bottom = std::min(2 * chromaRow + 1, window.bottom());
    const auto lumaRow = [&](int canvasRow) {
        return BilinearPlaneScaler::tap(canvasRow - window.top() + placement.clip.y(), block.height(), height).first;
    };
    const int blockChromaHeight = (block.height() + 1) / 2;
    const BilinearPlaneScaler::Tap chroma = BilinearPlaneScaler::tap((top - window.top() + placement.clip.y()) / 2,
                                                                     blockChromaHeight, (height + 1) / 2);
    return SourceRows{block.top() + lumaRow(top), block.top() + std::min(lumaRow(bottom) + 1, block.height() - 1),
                      block.top() / 2 + chroma.first, block.top() / 2 + std::min(chroma.first + 1, blockChromaHeight - 1)};
}

bool CropScaler::drawPlaced(AVFrame& canvas, const AVFrame& source, const Placement& placement,
                            const std::function<bool(int chromaRow)>& redraws)
{
    const QRect& window = placement.window;
    if (window.isEmpty()) return true;
    const QPoint clip = placement.clip;
    const int virtualWidth = placement.virtualSize.width();
    const int chromaWidth = (virtualWidth + 1) / 2;
    // Rows are scaled one at a time into a small buffer that stays in cache, unless the
    // factor needs libyuv, which scales the whole block.
    const bool rowWise = isTrackable(placement);
    std::optional<ScaledPlanes> whole;
    if (rowWise) {
        startScalers(source, placement, lumaScaler_, blueScaler_, redScaler_);
        rows_.resize(static_cast<std::size_t>(virtualWidth + 2 * chromaWidth));
    } else {
        whole = scaleBlock(scratch_, source, placement, lumaScaler_, blueScaler_, redScaler_);
        if (!whole) return false;
    }
    std::uint8_t* const lumaRow = rows_.data();
    std::uint8_t* const blueRow = lumaRow + virtualWidth;
    std::uint8_t* const redRow = blueRow + chromaWidth;
    const auto scaledLuma = [&](int virtualRow) -> const std::uint8_t* {
        if (!rowWise) return whole->luma + static_cast<std::ptrdiff_t>(virtualRow) * virtualWidth;
        lumaScaler_.scaleRow(virtualRow, lumaRow);
        return lumaRow;
    };
    const auto scaledChroma = [&](int plane, int virtualRow) -> const std::uint8_t* {
        if (!rowWise) {
            return (plane == 1 ? whole->blue : whole->red) + static_cast<std::ptrdiff_t>(virtualRow) * chromaWidth;
        }
        (plane == 1 ? blueScaler_ : redScaler_).scaleRow(virtualRow, plane == 1 ? blueRow : redRow);
        return plane == 1 ? blueRow : redRow;
    };

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
        if (!redraws(y)) continue;
        for (int row = std::max(2 * y, window.top()); row <= std::min(2 * y + 1, bottom - 1); ++row) {
            std::memcpy(canvas.data[0] + static_cast<std::ptrdiff_t>(row) * canvas.linesize[0] + window.left(),
                        scaledLuma(row - window.top() + clip.y()) + clip.x(), static_cast<std::size_t>(window.width()));
        }
        const int rows = sharedPixels(2 * y, window.top(), bottom);
        const int virtualRow = (std::max(2 * y, window.top()) - window.top() + clip.y()) / 2;
        for (int plane = 1; plane <= 2; ++plane) {
            std::uint8_t* row = canvas.data[plane] + static_cast<std::ptrdiff_t>(y) * canvas.linesize[plane];
            const std::uint8_t* scaledRow = scaledChroma(plane, virtualRow);
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
    return true;
}

std::optional<QRect> CropScaler::drawInto(AVFrame& canvas, const AVFrame& source, const QRectF& crop,
                                          const QRectF& target)
{
    const auto placement = placeInto(canvas, source, crop, target);
    if (!placement || !drawPlaced(canvas, source, *placement, [](int) { return true; })) return std::nullopt;
    return placement->window;
}

}  // namespace vantile
