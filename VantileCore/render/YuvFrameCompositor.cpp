#include "render/YuvFrameCompositor.h"

#include "render/ImageConversion.h"
#include "render/RenderError.h"

#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>

#include <algorithm>
#include <cstring>
#include <functional>

namespace vantile {

namespace {

QRectF toQt(const CGRectCodable& rect)
{
    return {rect.x, rect.y, rect.width, rect.height};
}

// The output is tagged BT.601 limited range, the matrix the raw movie is captured in, so the
// camera crop's samples go to the encoder untouched. BT.709 would be the better tag for HD,
// but it would mean re-matrixing every shown sample each frame, the very work this path
// saves; a source in another matrix or range is drawn in RGB instead.
bool passesThrough(const AVFrame& source)
{
    const bool matrix = source.colorspace == AVCOL_SPC_SMPTE170M || source.colorspace == AVCOL_SPC_BT470BG ||
                        source.colorspace == AVCOL_SPC_UNSPECIFIED;
    return source.format == AV_PIX_FMT_YUV420P && source.color_range != AVCOL_RANGE_JPEG && matrix &&
           encoderYuvTagging.colorSpace == AVCOL_SPC_SMPTE170M && encoderYuvTagging.range == AVCOL_RANGE_MPEG;
}

// `rect` grown to even coordinates, so every 2 × 2 chroma block it touches is whole, and kept inside `bounds`.
QRect evenAligned(const QRect& rect, const QRect& bounds)
{
    const int left = rect.left() & ~1;
    const int top = rect.top() & ~1;
    const int right = (rect.right() + 2) & ~1;
    const int bottom = (rect.bottom() + 2) & ~1;
    return QRect(QPoint(left, top), QPoint(right - 1, bottom - 1)).intersected(bounds);
}

std::uint8_t* at(const AVFrame& frame, int plane, int x, int y)
{
    return frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane] + x;
}

// Copies an even-aligned area of one yuv420p frame into another of the same size.
void copyArea(const AVFrame& from, AVFrame& to, const QRect& area)
{
    for (int y = area.top(); y <= area.bottom(); ++y) {
        std::memcpy(at(to, 0, area.left(), y), at(from, 0, area.left(), y), static_cast<std::size_t>(area.width()));
    }
    for (int y = area.top() / 2; y <= area.bottom() / 2; ++y) {
        for (int plane = 1; plane <= 2; ++plane) {
            std::memcpy(at(to, plane, area.left() / 2, y), at(from, plane, area.left() / 2, y),
                        static_cast<std::size_t>(area.width() / 2));
        }
    }
}

YuvFrameCompositor::CleanPatch savePatch(const AVFrame& frame, const QRect& area)
{
    YuvFrameCompositor::CleanPatch patch{area, {}, {}};
    const auto width = static_cast<std::size_t>(area.width());
    patch.luma.resize(width * static_cast<std::size_t>(area.height()));
    patch.chroma.resize(width / 2 * static_cast<std::size_t>(area.height()));
    std::uint8_t* luma = patch.luma.data();
    for (int y = area.top(); y <= area.bottom(); ++y, luma += width) std::memcpy(luma, at(frame, 0, area.left(), y), width);
    std::uint8_t* chroma = patch.chroma.data();
    for (int plane = 1; plane <= 2; ++plane) {
        for (int y = area.top() / 2; y <= area.bottom() / 2; ++y, chroma += width / 2) {
            std::memcpy(chroma, at(frame, plane, area.left() / 2, y), width / 2);
        }
    }
    return patch;
}

// Puts back what the patch holds, except inside `keep` on the rows 2 × c and 2 × c + 1 for
// which `keeps(c)` holds (even-aligned).
void restorePatch(const YuvFrameCompositor::CleanPatch& patch, AVFrame& frame, const QRect& keep,
                  const std::function<bool(int chromaRow)>& keeps)
{
    const QRect& area = patch.area;
    if (area.isEmpty()) return;
    const auto width = static_cast<std::size_t>(area.width());
    const auto chromaRows = static_cast<std::size_t>(area.height() / 2);
    const auto copyColumns = [&](int row, int left, int right) {
        if (right < left) return;
        const auto index = static_cast<std::size_t>(row - area.top() / 2);
        const auto skip = static_cast<std::size_t>(left - area.left());
        const auto count = static_cast<std::size_t>(right - left + 1);
        for (int half = 0; half < 2; ++half) {
            std::memcpy(at(frame, 0, left, 2 * row + half), patch.luma.data() + (2 * index + half) * width + skip, count);
        }
        for (int plane = 1; plane <= 2; ++plane) {
            const auto offset = (static_cast<std::size_t>(plane - 1) * chromaRows + index) * (width / 2) + skip / 2;
            std::memcpy(at(frame, plane, left / 2, row), patch.chroma.data() + offset, count / 2);
        }
    };
    for (int row = area.top() / 2; row <= area.bottom() / 2; ++row) {
        if (keep.isEmpty() || 2 * row > keep.bottom() || 2 * row + 1 < keep.top() || !keeps(row)) {
            copyColumns(row, area.left(), area.right());
        } else {
            copyColumns(row, area.left(), std::min(area.right(), keep.left() - 1));
            copyColumns(row, std::max(area.left(), keep.right() + 1), area.right());
        }
    }
}

// The edges of the window's redrawn rows outside `inside`: they are mixed with the static
// layer, so they are restored before the rows are drawn again.
QRegion edgesOfRedrawnRows(const std::vector<bool>& redraw, const QRect& window, const QRect& inside)
{
    QRegion edges;
    const int firstRow = window.top() / 2;
    for (std::size_t index = 0; index < redraw.size();) {
        if (!redraw[index]) {
            ++index;
            continue;
        }
        const std::size_t start = index;
        while (index < redraw.size() && redraw[index]) ++index;
        const QRect band(window.left(), 2 * (firstRow + static_cast<int>(start)), window.width(),
                         2 * static_cast<int>(index - start));
        edges += QRegion(band.intersected(window)).subtracted(QRegion(inside));
    }
    return edges;
}

}  // namespace

YuvFrameCompositor::YuvFrameCompositor(FrameCompositor& compositor, DecodedFrameLookup source)
    : compositor_(compositor),
      source_(std::move(source)),
      obscurer_(compositor.scene().blurRegions, compositor.scene().videoWidth, compositor.scene().videoHeight)
{
}

YuvFrameCompositor::HeldVideo* YuvFrameCompositor::heldVideo(const AVFrame& frame)
{
    for (HeldVideo& held : heldVideos_) {
        if (held.pixels == frame.data[0]) return &held;
    }
    return nullptr;
}

void YuvFrameCompositor::forget(const AVFrame& frame)
{
    std::erase_if(heldVideos_, [&](const HeldVideo& held) { return held.pixels == frame.data[0]; });
}

std::vector<bool> YuvFrameCompositor::rowsToRedraw(const HeldVideo& held) const
{
    const QRect& window = held.placement.window;
    const int firstRow = window.top() / 2;
    std::vector<bool> redraw(static_cast<std::size_t>(window.bottom() / 2 - firstRow + 1), false);
    for (std::size_t index = 0; index < redraw.size(); ++index) {
        const auto rows = CropScaler::sourceRowsOf(held.placement, firstRow + static_cast<int>(index));
        redraw[index] = !rows || sourceRows_.lastChange(rows->lumaFirst, rows->lumaLast, rows->chromaFirst,
                                                        rows->chromaLast) > held.generation;
    }
    return redraw;
}

QRegion YuvFrameCompositor::drawFrameInRgb(AVFrame& frame, double time)
{
    forget(frame);
    if (rgbCanvas_.width() != frame.width || rgbCanvas_.height() != frame.height) {
        rgbCanvas_ = QImage(frame.width, frame.height, QImage::Format_RGB32);
        if (rgbCanvas_.isNull()) throw RenderError::pixelBufferCreationFailed();
        rgbCanvas_.fill(Qt::black);
    }
    compositor_.drawFrame(rgbCanvas_, time);
    convertImageToYuv420(rgbCanvas_, frame);
    return QRegion(0, 0, frame.width, frame.height);
}

QRegion YuvFrameCompositor::drawFrame(AVFrame& frame, const std::optional<QRegion>& previous, double time)
{
    const AVFrame* decoded = obscurer_.obscured(source_ ? source_(time) : nullptr, time);
    if (!decoded || !passesThrough(*decoded) || frame.format != AV_PIX_FMT_YUV420P) {
        return drawFrameInRgb(frame, time);
    }
    const QRect bounds(0, 0, frame.width, frame.height);
    const QRectF canvas(bounds);
    const CompositorGeometry::FrameLayout& layout = compositor_.layout(canvas);
    if (!staticFrame_ || staticCanvas_ != canvas) {
        const QImage& layer = compositor_.staticLayer(canvas);
        staticFrame_ = allocateFrame(AV_PIX_FMT_YUV420P, frame.width, frame.height);
        convertImageToYuv420(layer, *staticFrame_);
        staticCanvas_ = canvas;
        heldVideos_.clear();
    }
    const QRectF video = toQt(layout.video);
    const CameraKeyframe camera = compositor_.cameraAt(time);
    const CGRectCodable crop = CompositorGeometry::cropRect(decoded->width, decoded->height, layout.video, camera);
    const auto placement = CropScaler::placeInto(frame, *decoded, toQt(crop), video);
    if (!placement) return drawFrameInRgb(frame, time);
    // A moving camera under motion blur: the window is the average of several crops, so no
    // row of it is kept, and none is kept from it.
    const std::vector<CameraKeyframe> cameras = compositor_.shutterCameras(time, camera);
    const bool blurred = cameras.size() > 1;
    // Only the rows this crop shows are compared: a frame held with another crop is drawn whole.
    const std::int64_t generation =
        sourceRows_.observe(*decoded, placement->block.top(), placement->block.bottom());

    // Start from the static layer: restore what the frame's last use changed, except deep
    // inside the video, which is written whole below (its edges are mixed with the layer).
    // A frame whose video shows the same crop keeps the rows whose source is unchanged, and
    // the same cursor over them.
    const QRect& window = placement->window;
    const QRect inside = video.toAlignedRect().adjusted(2, 2, -2, -2);
    // The overlays in drawing order: the cursor, then the layers' tiles.
    std::vector<DrawnOverlay> overlays;
    if (auto cursor = compositor_.cursorOverlay(time, camera)) {
        const QRect area = evenAligned(cursor->bounds, bounds);
        if (!area.isEmpty()) overlays.push_back(DrawnOverlay{area, std::move(cursor), std::nullopt, {}});
    }
    for (const OverlayTile& tile : compositor_.overlayTiles(time, canvas, TileForm::planesWhereOffered)) {
        const QRect area = evenAligned(tile.rect, bounds);
        if (!area.isEmpty()) overlays.push_back(DrawnOverlay{area, std::nullopt, tile, {}});
    }
    HeldVideo* held = previous ? heldVideo(frame) : nullptr;
    const bool keepsRows = !blurred && held && held->placement == *placement && !window.isEmpty();
    const int firstRow = window.top() / 2;
    const QRect evenWindow = evenAligned(window, bounds);
    std::vector<bool> redraw;
    // Which of the held frame's overlays stay as they are. Each overlay's patch holds what lay
    // beneath it, overlays below included, so one is lifted off by a copy; one that meets an
    // overlay below it that changes, or rows of video drawn again, is drawn again too.
    std::vector<bool> kept(held ? held->overlays.size() : 0, false);
    if (keepsRows) {
        redraw = rowsToRedraw(*held);
        const auto rowsRedrawn = [&](const QRect& area) {
            const QRect covered = area.intersected(evenWindow);
            if (covered.isEmpty()) return false;
            const int first = std::max(covered.top() / 2, firstRow) - firstRow;
            const int last = std::min(covered.bottom() / 2, window.bottom() / 2) - firstRow;
            return first <= last && std::any_of(redraw.begin() + first, redraw.begin() + last + 1, std::identity());
        };
        QRegion changingBelow;
        for (std::size_t index = 0; index < std::max(kept.size(), overlays.size()); ++index) {
            const bool wasHeld = index < kept.size();
            const bool shown = index < overlays.size();
            const DrawnOverlay* before = wasHeld ? &held->overlays[index] : nullptr;
            if (wasHeld && shown && before->sameAs(overlays[index]) && !rowsRedrawn(before->area) &&
                !changingBelow.intersects(before->area)) {
                kept[index] = true;
                continue;
            }
            if (wasHeld) changingBelow += before->area;
            if (shown) changingBelow += overlays[index].area;
        }
    }
    const auto keeps = [&](std::size_t index) { return index < kept.size() && kept[index]; };
    // Restore the static layer where the frame's last use changed it. Reusing the window's
    // rows, the held overlays come off by their patches instead, which may hold kept ones.
    QRegion restore = (previous ? *previous : QRegion(bounds)).subtracted(QRegion(keepsRows ? window : inside));
    if (keepsRows) {
        for (const DrawnOverlay& overlay : held->overlays) restore -= overlay.area;
        restore += edgesOfRedrawnRows(redraw, window, inside);
    }
    for (const QRect& rect : restore) {
        const QRect area = evenAligned(rect, bounds);
        if (!area.isEmpty()) copyArea(*staticFrame_, frame, area);
    }
    const auto redraws = [&](int row) {
        return !keepsRows || (row >= firstRow && row <= window.bottom() / 2 &&
                              redraw[static_cast<std::size_t>(row - firstRow)]);
    };
    if (keepsRows) {
        // Top first, so each patch lands on what lay beneath it.
        for (std::size_t index = kept.size(); index-- > 0;) {
            if (kept[index]) continue;
            // Rows drawn again come from the video, and their edges from the static layer.
            restorePatch(held->overlays[index].under, frame, evenWindow, redraws);
        }
    }
    if (blurred ? !drawBlurredVideo(frame, *decoded, cameras, layout)
                : !cropScaler_.drawPlaced(frame, *decoded, *placement, redraws)) {
        return drawFrameInRgb(frame, time);
    }

    QRegion changed(window);
    for (std::size_t index = 0; index < overlays.size(); ++index) {
        DrawnOverlay& overlay = overlays[index];
        changed += overlay.area;
        if (keeps(index)) {
            overlay.under = std::move(held->overlays[index].under);
            continue;
        }
        // What lies beneath, kept before the overlay is drawn over it.
        overlay.under = savePatch(frame, overlay.area);
        if (overlay.cursor) {
            blendOverlay(frame, overlay.area,
                         [&](QPainter& painter) { compositor_.drawCursorOverlay(painter, *overlay.cursor); });
        } else {
            blendTile(frame, overlay.area, *overlay.tile);
        }
    }
    if (!held) {
        forget(frame);
        // The export's pool is a handful of frames; an unbounded number of buffers would mean
        // a caller that never reuses one.
        if (heldVideos_.size() >= 32) heldVideos_.erase(heldVideos_.begin());
        heldVideos_.push_back(HeldVideo{});
        held = &heldVideos_.back();
    }
    *held = HeldVideo{frame.data[0], blurred ? CropScaler::Placement{} : *placement, generation, std::move(overlays)};
    return changed;
}

void YuvFrameCompositor::blendOverlay(AVFrame& frame, const QRect& area, const std::function<void(QPainter&)>& draw)
{
    const int width = area.width();
    const int height = area.height();
    if (overlay_.width() < width || overlay_.height() < height) {
        const QSize size(std::max(width, overlay_.width()), std::max(height, overlay_.height()));
        overlay_ = QImage(size, QImage::Format_RGB32);
        overlayBefore_ = QImage(size, QImage::Format_RGB32);
        overlayPlanes_ = allocateFrame(AV_PIX_FMT_YUV420P, (size.width() + 1) & ~1, (size.height() + 1) & ~1);
        if (overlay_.isNull() || overlayBefore_.isNull()) throw RenderError::pixelBufferCreationFailed();
    }
    const auto stride = static_cast<int>(overlay_.bytesPerLine());
    libyuv::I420ToARGBMatrix(at(frame, 0, area.left(), area.top()), frame.linesize[0],
                             at(frame, 1, area.left() / 2, area.top() / 2), frame.linesize[1],
                             at(frame, 2, area.left() / 2, area.top() / 2), frame.linesize[2], overlay_.bits(), stride,
                             &libyuv::kYuvI601Constants, width, height);
    for (int y = 0; y < height; ++y) {
        std::memcpy(overlayBefore_.scanLine(y), overlay_.constScanLine(y), static_cast<std::size_t>(width) * 4);
    }
    {
        QPainter painter(&overlay_);
        painter.setClipRect(0, 0, width, height);
        painter.translate(-area.topLeft());
        draw(painter);
    }
    AVFrame& planes = *overlayPlanes_;
    libyuv::ARGBToI420(overlay_.constBits(), stride, planes.data[0], planes.linesize[0], planes.data[1],
                       planes.linesize[1], planes.data[2], planes.linesize[2], width, height);
    // Blocks the overlay did not touch keep their samples, so the round trip through RGB
    // leaves no trace around it.
    for (int y = 0; y < height; y += 2) {
        const auto* drawnTop = reinterpret_cast<const std::uint32_t*>(overlay_.constScanLine(y));
        const auto* drawnBottom = reinterpret_cast<const std::uint32_t*>(overlay_.constScanLine(y + 1));
        const auto* beforeTop = reinterpret_cast<const std::uint32_t*>(overlayBefore_.constScanLine(y));
        const auto* beforeBottom = reinterpret_cast<const std::uint32_t*>(overlayBefore_.constScanLine(y + 1));
        for (int x = 0; x < width; x += 2) {
            if (drawnTop[x] == beforeTop[x] && drawnTop[x + 1] == beforeTop[x + 1] &&
                drawnBottom[x] == beforeBottom[x] && drawnBottom[x + 1] == beforeBottom[x + 1]) {
                continue;
            }
            for (int row = 0; row < 2; ++row) {
                std::memcpy(at(frame, 0, area.left() + x, area.top() + y + row), at(planes, 0, x, y + row), 2);
            }
            for (int plane = 1; plane <= 2; ++plane) {
                *at(frame, plane, (area.left() + x) / 2, (area.top() + y) / 2) = *at(planes, plane, x / 2, y / 2);
            }
        }
    }
}

void YuvFrameCompositor::blendTile(AVFrame& frame, const QRect& area, const OverlayTile& tile)
{
    const int width = area.width();
    const int height = area.height();
    std::uint8_t* y = at(frame, 0, area.left(), area.top());
    std::uint8_t* u = at(frame, 1, area.left() / 2, area.top() / 2);
    std::uint8_t* v = at(frame, 2, area.left() / 2, area.top() / 2);
    if (tile.planes && tile.rect.contains(area) && (area.left() - tile.rect.left()) % 2 == 0 &&
        (area.top() - tile.rect.top()) % 2 == 0) {
        const AVFrame& planes = *tile.planes->planes;
        const int left = area.left() - tile.rect.left();
        const int top = area.top() - tile.rect.top();
        libyuv::I420Blend(at(planes, 0, left, top), planes.linesize[0], at(planes, 1, left / 2, top / 2),
                          planes.linesize[1], at(planes, 2, left / 2, top / 2), planes.linesize[2], y,
                          frame.linesize[0], u, frame.linesize[1], v, frame.linesize[2],
                          tile.planes->alpha.data() + static_cast<std::ptrdiff_t>(top) * tile.rect.width() + left,
                          tile.rect.width(), y, frame.linesize[0], u, frame.linesize[1], v, frame.linesize[2], width,
                          height);
        return;
    }
    if (!tile.image) return;
    if (tileColours_.width() < width || tileColours_.height() < height) {
        const QSize size(std::max(width, tileColours_.width()), std::max(height, tileColours_.height()));
        tileColours_ = QImage(size, QImage::Format_ARGB32);
        tilePlanes_ = allocateFrame(AV_PIX_FMT_YUV420P, size.width(), size.height());
        tileAlpha_.resize(static_cast<std::size_t>(size.width()) * static_cast<std::size_t>(size.height()));
        if (tileColours_.isNull()) throw RenderError::pixelBufferCreationFailed();
    }
    const auto stride = static_cast<int>(tileColours_.bytesPerLine());
    // The tile's pixels inside the area; the area's even margins around them stay transparent.
    const QRect shown = tile.rect.intersected(area);
    if (shown != area) tileColours_.fill(Qt::transparent);
    const QImage& image = *tile.image;
    for (int y = shown.top(); y <= shown.bottom(); ++y) {
        std::memcpy(tileColours_.scanLine(y - area.top()) + static_cast<std::ptrdiff_t>(shown.left() - area.left()) * 4,
                    image.constScanLine(y - tile.rect.top()) + static_cast<std::ptrdiff_t>(shown.left() - tile.rect.left()) * 4,
                    static_cast<std::size_t>(shown.width()) * 4);
    }
    AVFrame& planes = *tilePlanes_;
    libyuv::ARGBUnattenuate(tileColours_.constBits(), stride, tileColours_.bits(), stride, width, height);
    libyuv::ARGBExtractAlpha(tileColours_.constBits(), stride, tileAlpha_.data(), width, width, height);
    libyuv::ARGBToI420(tileColours_.constBits(), stride, planes.data[0], planes.linesize[0], planes.data[1],
                       planes.linesize[1], planes.data[2], planes.linesize[2], width, height);
    libyuv::I420Blend(planes.data[0], planes.linesize[0], planes.data[1], planes.linesize[1], planes.data[2],
                      planes.linesize[2], y, frame.linesize[0], u, frame.linesize[1], v, frame.linesize[2],
                      tileAlpha_.data(), width, y, frame.linesize[0], u, frame.linesize[1], v, frame.linesize[2],
                      width, height);
}

bool YuvFrameCompositor::drawBlurredVideo(AVFrame& frame, const AVFrame& decoded,
                                          const std::vector<CameraKeyframe>& cameras,
                                          const CompositorGeometry::FrameLayout& layout)
{
    const QRect bounds(0, 0, frame.width, frame.height);
    const QRectF video = toQt(layout.video);
    if (!blurMoment_ || blurMoment_->width != frame.width || blurMoment_->height != frame.height) {
        blurMoment_ = allocateFrame(AV_PIX_FMT_YUV420P, frame.width, frame.height);
    }
    std::vector<CropScaler::Placement> placements;
    QRect area;
    for (const CameraKeyframe& camera : cameras) {
        const CGRectCodable crop = CompositorGeometry::cropRect(decoded.width, decoded.height, layout.video, camera);
        const auto placement = CropScaler::placeInto(*blurMoment_, decoded, toQt(crop), video);
        if (!placement) return false;
        area |= evenAligned(placement->window, bounds);
        placements.push_back(*placement);
    }
    if (area.isEmpty()) return true;
    const auto width = static_cast<std::size_t>(area.width());
    const auto height = static_cast<std::size_t>(area.height());
    blurSums_.assign(width * height * 3 / 2, 0);
    for (const CropScaler::Placement& placement : placements) {
        // Each moment over the static layer, so the window's edges mix with it as a sharp frame's do.
        copyArea(*staticFrame_, *blurMoment_, area);
        if (!cropScaler_.drawPlaced(*blurMoment_, decoded, placement, [](int) { return true; })) return false;
        std::uint16_t* sum = blurSums_.data();
        for (int y = area.top(); y <= area.bottom(); ++y, sum += width) {
            const std::uint8_t* row = at(*blurMoment_, 0, area.left(), y);
            for (std::size_t x = 0; x < width; ++x) sum[x] += row[x];
        }
        for (int plane = 1; plane <= 2; ++plane) {
            for (int y = area.top() / 2; y <= area.bottom() / 2; ++y, sum += width / 2) {
                const std::uint8_t* row = at(*blurMoment_, plane, area.left() / 2, y);
                for (std::size_t x = 0; x < width / 2; ++x) sum[x] += row[x];
            }
        }
    }
    const std::vector<std::uint8_t> average = averageTable(cameras.size());
    const std::uint16_t* sum = blurSums_.data();
    for (int y = area.top(); y <= area.bottom(); ++y, sum += width) {
        std::uint8_t* row = at(frame, 0, area.left(), y);
        for (std::size_t x = 0; x < width; ++x) row[x] = average[sum[x]];
    }
    for (int plane = 1; plane <= 2; ++plane) {
        for (int y = area.top() / 2; y <= area.bottom() / 2; ++y, sum += width / 2) {
            std::uint8_t* row = at(frame, plane, area.left() / 2, y);
            for (std::size_t x = 0; x < width / 2; ++x) row[x] = average[sum[x]];
        }
    }
    return true;
}

}  // namespace vantile
