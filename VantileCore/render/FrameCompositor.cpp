#include "render/FrameCompositor.h"

#include "engine/CameraPathBuilder.h"
#include "engine/CroppedRecording.h"
#include "render/GeneratedWallpaper.h"
#include "render/ImageConversion.h"
#include "render/ShadowPainter.h"

#include <QLinearGradient>
#include <QPainterPath>
#include <QPolygonF>

#include <cmath>
#include <cstring>

namespace vantile {

CompositorScene CompositorScene::of(const RecordingProject& project, const RenderSettings& settings,
                                    const std::filesystem::path& projectDirectory)
{
    const RecordingProject view = CroppedRecording::view(project);
    const double width = static_cast<double>(view.video.width);
    const double height = static_cast<double>(view.video.height);
    return {width, height, settings,
            CameraPathBuilder::buildKeyframes(view.focusSegments, view.duration, width, height),
            view.cursorFrames,
            projectDirectory.empty() ? nullptr : BackgroundPicture::forSettings(settings, projectDirectory),
            view.blurRegions};
}

namespace {

QColor color(const RGBAColor& value)
{
    return QColor::fromRgbF(static_cast<float>(value.red), static_cast<float>(value.green),
                            static_cast<float>(value.blue), static_cast<float>(value.alpha));
}

QColor color(const RGBAColor& value, double alpha)
{
    return color(RGBAColor{value.red, value.green, value.blue, alpha});
}

QColor rgb(int red, int green, int blue, double alpha = 1)
{
    return color(RGBAColor{red / 255.0, green / 255.0, blue / 255.0, alpha});
}

QRectF toQt(const CGRectCodable& rect)
{
    return {rect.x, rect.y, rect.width, rect.height};
}

CGRectCodable fromQt(const QRectF& rect)
{
    return {rect.x(), rect.y(), rect.width(), rect.height()};
}

QPainterPath roundedRect(const QRectF& rect, double radius)
{
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

const QPolygonF& pointerOutline()
{
    static const QPolygonF outline{QVector<QPointF>{
        {0, 0}, {0, 28}, {8, 21}, {14, 34}, {20, 31}, {14, 18}, {25, 18}}};
    return outline;
}

}  // namespace

FrameCompositor::FrameCompositor(CompositorScene scene, SourceImageLookup source)
    : scene_(std::move(scene)),
      preset_(RenderPreset::forSettings(scene_.settings)),
      palette_(CursorPalette::forTheme(scene_.settings.cursorTheme)),
      source_(std::move(source)),
      obscurer_(scene_.blurRegions, scene_.videoWidth, scene_.videoHeight),
      camera_(scene_.keyframes),
      cursor_(scene_.cursorFrames)
{
}

const CompositorGeometry::FrameLayout& FrameCompositor::layout(const QRectF& canvas)
{
    if (canvas != layoutCanvas_ || layoutCanvas_.isNull()) {
        layoutCanvas_ = canvas;
        preset_ = CompositorGeometry::framePreset(scene_.settings, fromQt(canvas));
        layout_ = CompositorGeometry::frameLayout(fromQt(canvas), scene_.videoWidth, scene_.videoHeight, scene_.settings);
        if (scene_.settings.layout == VideoLayout::fill) {
            const CGRectCodable overview = CompositorGeometry::cropRect(scene_.videoWidth, scene_.videoHeight,
                                                                        layout_.video, CameraKeyframe{0, 0, 0, 1});
            camera_.followInOverview(PointerFollowTrack(scene_.cursorFrames, scene_.videoWidth, scene_.videoHeight,
                                                        overview.width, overview.height));
        }
        staticLayer_ = QImage();
    }
    return layout_;
}

void FrameCompositor::drawBackground(QPainter& painter, const QRectF& canvas) const
{
    const BackgroundChoice& chosen = scene_.settings.background;
    if (chosen.kind == BackgroundChoice::Kind::generated) {
        GeneratedWallpaper::paint(painter, canvas, chosen.generatedIndex);
        return;
    }
    if (chosen.kind == BackgroundChoice::Kind::image && scene_.backgroundPicture) {
        const QRect device = painter.transform().mapRect(canvas).toAlignedRect();
        const QImage cover = scene_.backgroundPicture->coverFor(device.size(), chosen.blur);
        painter.drawImage(canvas, cover);
        return;
    }
    const RenderBackground& background = preset_.background;
    if (background.kind == RenderBackground::Kind::solid) {
        painter.fillRect(canvas, color(background.start));
    } else {
        QLinearGradient gradient(QPointF(canvas.center().x(), canvas.top()),
                                 QPointF(canvas.center().x(), canvas.bottom()));
        gradient.setColorAt(0, color(background.start));
        gradient.setColorAt(1, color(background.end));
        painter.fillRect(canvas, gradient);
    }
}

void FrameCompositor::drawStaticLayer(QPainter& painter, const QRectF& canvas) const
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (!layout_.hasCard) {
        painter.fillRect(canvas, Qt::black);
        painter.restore();
        return;
    }
    drawBackground(painter, canvas);

    const QRectF card = toQt(layout_.card);
    // The template's caster keeps its fixed radius; a radius the user chose rounds the caster
    // too, so no dark corner shows outside a rounder card.
    const double casterRadius =
        scene_.settings.cardCornerRadius ? preset_.cornerRadius : CompositorGeometry::shadowCasterRadius;
    const double strength = scene_.settings.shadowStrength;
    const QPainterPath caster = roundedRect(card, casterRadius);
    const QColor casterColor = rgb(0, 0, 0, std::min(0.4 * strength, 1.0));
    if (strength > 0) {
        ShadowPainter::drawShadow(painter, painter.transform().mapRect(card), rgb(0, 0, 0, std::min(0.35 * strength, 1.0)),
                                  QPointF(0, CompositorGeometry::shadowOffsetY), CompositorGeometry::shadowBlur,
                                  [&](QPainter& shape) { shape.fillPath(caster, casterColor); });
        painter.fillPath(caster, casterColor);
    }
    painter.fillPath(roundedRect(card, preset_.cornerRadius), rgb(17, 24, 39));
    drawWindowChrome(painter, preset_.windowChrome, card);
    painter.restore();
}

void FrameCompositor::drawWindowChrome(QPainter& painter, WindowChrome chrome, const QRectF& card)
{
    if (chrome == WindowChrome::none) return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const double barHeight = CompositorGeometry::barHeight(chrome);
    // The bar reaches under the video's top edge, so only its top corners show rounded.
    const QRectF bar(card.x(), card.y(), card.width(), barHeight + 18);
    painter.setPen(Qt::NoPen);
    if (chrome == WindowChrome::linuxTitleBar) {
        painter.fillPath(roundedRect(bar, 18), rgb(48, 48, 52));
        // Minimize, maximize and close at the right end, as GNOME and KDE place them.
        const double radius = 9;
        const double centerY = card.y() + barHeight / 2;
        QPen glyph(rgb(226, 226, 230), 1.6, Qt::SolidLine, Qt::RoundCap);
        for (int i = 0; i < 3; ++i) {
            const QPointF center(card.right() - 24 - 28 * (2 - i), centerY);
            painter.setPen(Qt::NoPen);
            painter.setBrush(rgb(72, 72, 78));
            painter.drawEllipse(center, radius, radius);
            painter.setPen(glyph);
            painter.setBrush(Qt::NoBrush);
            if (i == 0) {
                painter.drawLine(center + QPointF(-3.5, 0), center + QPointF(3.5, 0));
            } else if (i == 1) {
                painter.drawRect(QRectF(center - QPointF(3.5, 3.5), QSizeF(7, 7)));
            } else {
                painter.drawLine(center + QPointF(-3.5, -3.5), center + QPointF(3.5, 3.5));
                painter.drawLine(center + QPointF(-3.5, 3.5), center + QPointF(3.5, -3.5));
            }
        }
        painter.restore();
        return;
    }
    painter.fillPath(roundedRect(bar, 18), rgb(31, 41, 55));
    const QColor dots[] = {rgb(239, 68, 68), rgb(245, 158, 11), rgb(34, 197, 94)};
    for (int i = 0; i < 3; ++i) {
        painter.setBrush(dots[i]);
        painter.drawEllipse(QRectF(card.x() + 22 + 22 * i, card.y() + 15, 11, 11));
    }
    painter.restore();
}

void FrameCompositor::drawSourcePlaceholder(QPainter& painter, const QRectF& videoRect, const CameraKeyframe& camera,
                                            double videoWidth, double videoHeight)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(videoRect, rgb(248, 250, 252));
    const CGRectCodable crop = CompositorGeometry::cropRect(videoWidth, videoHeight, fromQt(videoRect), camera);
    const double spacing = std::max(videoRect.width() / 12, 32.0);
    QPainterPath grid;
    const double width = videoWidth != 0 ? videoWidth : 1;
    const double height = videoHeight != 0 ? videoHeight : 1;
    for (double x = videoRect.left() - std::fmod(crop.x / width * videoRect.width(), spacing); x < videoRect.right();
         x += spacing) {
        grid.moveTo(x, videoRect.top());
        grid.lineTo(x, videoRect.bottom());
    }
    for (double y = videoRect.top() - std::fmod(crop.y / height * videoRect.height(), spacing);
         y < videoRect.bottom(); y += spacing) {
        grid.moveTo(videoRect.left(), y);
        grid.lineTo(videoRect.right(), y);
    }
    painter.setPen(QPen(rgb(203, 213, 225), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(grid);
    const CodablePoint focus =
        CompositorGeometry::mapToCanvas(camera.centerX, camera.centerY, crop, fromQt(videoRect));
    painter.setPen(Qt::NoPen);
    painter.setBrush(rgb(37, 99, 235, 0.12));
    painter.drawEllipse(QPointF(focus.x, focus.y), 72, 72);
    painter.restore();
}

void FrameCompositor::drawGrid(QPainter& painter, const QRectF& rect, double time)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const double offset = std::fmod(time * 24, 48);
    QPainterPath grid;
    for (double x = rect.left() - offset; x < rect.right(); x += 48) {
        grid.moveTo(x, rect.top());
        grid.lineTo(x, rect.bottom());
    }
    for (double y = rect.top() - offset; y < rect.bottom(); y += 48) {
        grid.moveTo(rect.left(), y);
        grid.lineTo(rect.right(), y);
    }
    painter.setPen(QPen(rgb(51, 65, 85, 0.5), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(grid);
    painter.restore();
}

void FrameCompositor::drawCursor(QPainter& painter, QPointF position, double scale, const CursorPalette& palette,
                                 CursorEffect effect)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(position);
    painter.scale(scale, scale);
    QPainterPath outline;
    outline.addPolygon(pointerOutline());
    outline.closeSubpath();
    outline.setFillRule(Qt::WindingFill);
    QPen pen(color(palette.stroke), 2, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin);
    // The design's drawing model mitres corners up to 10 line widths (Qt's default is 2), so
    // the pointer's sharp tip keeps its point.
    pen.setMiterLimit(10);
    const QBrush brush(color(palette.fill));
    const auto drawPointer = [&](QPainter& target) {
        target.setPen(pen);
        target.setBrush(brush);
        target.drawPath(outline);
    };
    const QRectF bounds = painter.transform().mapRect(outline.boundingRect().adjusted(-2, -2, 2, 2));
    switch (effect) {
    case CursorEffect::macOS:
        ShadowPainter::drawShadow(painter, bounds, rgb(0, 0, 0, 0.22), QPointF(0, 2), 5, drawPointer);
        break;
    case CursorEffect::halo:
        painter.setPen(Qt::NoPen);
        painter.setBrush(color(palette.accentBase, 0.18));
        painter.drawEllipse(QRectF(-16, -16, 48, 48));
        break;
    case CursorEffect::glow:
        ShadowPainter::drawShadow(painter, bounds, color(palette.accentBase, 0.72), QPointF(0, 0), 12, drawPointer);
        break;
    }
    drawPointer(painter);
    painter.restore();
}

const QImage& FrameCompositor::staticLayer(const QRectF& canvas)
{
    layout(canvas);
    if (staticLayer_.isNull()) {
        const QSize size(static_cast<int>(std::ceil(canvas.right())), static_cast<int>(std::ceil(canvas.bottom())));
        staticLayer_ = QImage(size, QImage::Format_RGB32);
        staticLayer_.fill(Qt::black);
        QPainter layerPainter(&staticLayer_);
        drawStaticLayer(layerPainter, canvas);
    }
    return staticLayer_;
}

void FrameCompositor::drawStatic(QPainter& painter, const QRectF& canvas)
{
    if (!cachesStaticLayer_) {
        drawStaticLayer(painter, canvas);
        return;
    }
    painter.drawImage(QPointF(0, 0), staticLayer(canvas));
}

std::optional<FrameCompositor::CursorOverlay> FrameCompositor::cursorOverlay(double time, const CameraKeyframe& camera)
{
    if (!scene_.settings.showCursor || cursor_.empty()) return std::nullopt;
    cursor_.advance(time);
    const auto index = cursor_.nearestIndex(time);
    const CursorFrame& frame = cursor_.frame(index);
    const double speed = cursor_.speed(index);
    const CGRectCodable crop =
        CompositorGeometry::cropRect(scene_.videoWidth, scene_.videoHeight, layout_.video, camera);
    const CodablePoint point = CompositorGeometry::mapToCanvas(frame.x, frame.y, crop, layout_.video);
    CursorOverlay overlay;
    overlay.position = QPointF(point.x, point.y);
    const double size = scene_.settings.cursorSize;
    overlay.scale = CompositorGeometry::cursorScale(scene_.settings.dynamicCursorScale, speed, frame.isClicking,
                                                    scene_.videoWidth, scene_.videoHeight) *
                    size;
    if (scene_.settings.showClickRipple && frame.isClicking) {
        overlay.ripple = CompositorGeometry::rippleAt(time);
        overlay.ripple->radius *= size;
    }
    // Ripple (radius up to 42 plus half its line), halo, and a blurred shadow's reach around
    // the pointer's 25 × 34 outline at this scale.
    const double reach = std::max(48.0 * size, 16 * overlay.scale + 4);
    const double right = std::max(48.0 * size, 27 * overlay.scale + 24);
    const double bottom = std::max(48.0 * size, 36 * overlay.scale + 24);
    const auto boundsAt = [&](QPointF at) {
        return QRectF(at.x() - reach, at.y() - reach, reach + right, reach + bottom).toAlignedRect();
    };
    overlay.bounds = boundsAt(overlay.position);
    const double shutterTime = shutter();
    if (shutterTime <= 0) return overlay;
    // Where the pointer shows at a moment, through the camera of that moment.
    const auto shownAt = [&](double moment) {
        const QPointF pointer = cursor_.positionAt(moment);
        const CGRectCodable momentCrop = CompositorGeometry::cropRect(scene_.videoWidth, scene_.videoHeight,
                                                                      layout_.video, camera_.stateAt(moment));
        const CodablePoint shown = CompositorGeometry::mapToCanvas(pointer.x(), pointer.y(), momentCrop, layout_.video);
        return QPointF(shown.x, shown.y);
    };
    const QPointF opens = shownAt(time - shutterTime / 2);
    const QPointF closes = shownAt(time + shutterTime / 2);
    const int count = CompositorGeometry::shutterSampleCount(std::hypot(closes.x() - opens.x(), closes.y() - opens.y()));
    if (count <= 1) return overlay;
    // Around where the sharp pointer is drawn, which may be the nearest cursor frame's place.
    const QPointF offset = overlay.position - shownAt(time);
    for (int index = 0; index < count; ++index) {
        const QPointF at = shownAt(CompositorGeometry::shutterTime(time, shutterTime, index, count)) + offset;
        overlay.trail.push_back(at);
        overlay.bounds |= boundsAt(at);
    }
    return overlay;
}

void FrameCompositor::drawCursorOverlay(QPainter& painter, const CursorOverlay& overlay) const
{
    if (overlay.ripple) {
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(color(palette_.accentBase, overlay.ripple->alpha), 4));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(overlay.position, overlay.ripple->radius, overlay.ripple->radius);
        painter.restore();
    }
    if (overlay.trail.empty()) {
        drawCursor(painter, overlay.position, overlay.scale, palette_, scene_.settings.cursorEffect);
        return;
    }
    // The smear: the average of the pointer drawn at each moment, so it fades along its path.
    const QRect area = overlay.bounds;
    QImage moment(area.size(), QImage::Format_ARGB32_Premultiplied);
    std::vector<std::uint16_t> sums(static_cast<std::size_t>(area.width()) * static_cast<std::size_t>(area.height()) * 4);
    for (const QPointF& at : overlay.trail) {
        moment.fill(Qt::transparent);
        QPainter momentPainter(&moment);
        momentPainter.translate(-area.topLeft());
        drawCursor(momentPainter, at, overlay.scale, palette_, scene_.settings.cursorEffect);
        momentPainter.end();
        std::uint16_t* sum = sums.data();
        for (int y = 0; y < area.height(); ++y) {
            const uchar* row = moment.constScanLine(y);
            for (int x = 0; x < area.width() * 4; ++x) *sum++ += row[x];
        }
    }
    const std::vector<std::uint8_t> average = averageTable(overlay.trail.size());
    const std::uint16_t* sum = sums.data();
    for (int y = 0; y < area.height(); ++y) {
        uchar* row = moment.scanLine(y);
        for (int x = 0; x < area.width() * 4; ++x) row[x] = average[*sum++];
    }
    painter.drawImage(area.topLeft(), moment);
}

double FrameCompositor::shutter() const
{
    return scene_.settings.fps > 0 ? scene_.settings.motionBlur / static_cast<double>(scene_.settings.fps) : 0;
}

std::vector<CameraKeyframe> FrameCompositor::shutterCameras(double time, const CameraKeyframe& camera) const
{
    const double shutterTime = shutter();
    if (shutterTime <= 0) return {camera};
    const auto cropAt = [&](double moment) {
        return CompositorGeometry::cropRect(scene_.videoWidth, scene_.videoHeight, layout_.video,
                                            camera_.stateAt(moment));
    };
    const double motion = CompositorGeometry::cropMotion(cropAt(time - shutterTime / 2),
                                                         cropAt(time + shutterTime / 2), layout_.video);
    const int count = CompositorGeometry::shutterSampleCount(motion);
    if (count <= 1) return {camera};
    std::vector<CameraKeyframe> cameras;
    for (int index = 0; index < count; ++index) {
        cameras.push_back(camera_.stateAt(CompositorGeometry::shutterTime(time, shutterTime, index, count)));
    }
    return cameras;
}

void FrameCompositor::drawBlurredVideo(QPainter& painter, const QRectF& canvas,
                                       const std::vector<CameraKeyframe>& cameras, const AVFrame* decoded,
                                       const QImage* image)
{
    const QRectF videoRect = toQt(layout_.video);
    const QImage& underneath = staticLayer(canvas);
    const QRect area = videoRect.toAlignedRect().intersected(underneath.rect());
    if (area.isEmpty()) return;
    const auto samples = static_cast<std::size_t>(area.width()) * static_cast<std::size_t>(area.height()) * 4;
    blurSums_.assign(samples, 0);
    if (blurredMoment_.size() != underneath.size()) blurredMoment_ = QImage(underneath.size(), QImage::Format_RGB32);
    const auto rowBytes = static_cast<std::size_t>(area.width()) * 4;
    for (const CameraKeyframe& camera : cameras) {
        // Each moment over what lies beneath, so the video's edges mix with it as a sharp frame's do.
        for (int y = area.top(); y <= area.bottom(); ++y) {
            std::memcpy(blurredMoment_.scanLine(y) + area.left() * 4, underneath.constScanLine(y) + area.left() * 4,
                        rowBytes);
        }
        QPainter momentPainter(&blurredMoment_);
        const double width = decoded ? decoded->width : image->width();
        const double height = decoded ? decoded->height : image->height();
        const QRectF crop = toQt(CompositorGeometry::cropRect(width, height, layout_.video, camera));
        if (!decoded || !cropScaler_.draw(momentPainter, *decoded, crop, videoRect)) {
            if (decoded) convertFrameToImage(*decoded, convertedSource_);
            cropScaler_.draw(momentPainter, decoded ? convertedSource_ : *image, crop, videoRect);
        }
        momentPainter.end();
        std::uint16_t* sum = blurSums_.data();
        for (int y = area.top(); y <= area.bottom(); ++y) {
            const uchar* row = blurredMoment_.constScanLine(y) + area.left() * 4;
            for (std::size_t x = 0; x < rowBytes; ++x) *sum++ += row[x];
        }
    }
    const std::vector<std::uint8_t> average = averageTable(cameras.size());
    const std::uint16_t* sum = blurSums_.data();
    for (int y = area.top(); y <= area.bottom(); ++y) {
        uchar* row = blurredMoment_.scanLine(y) + area.left() * 4;
        for (std::size_t x = 0; x < rowBytes; ++x) row[x] = average[*sum++];
    }
    painter.drawImage(area.topLeft(), blurredMoment_, area);
}

void FrameCompositor::drawFrame(QPainter& painter, const QRectF& canvas, double time)
{
    layout(canvas);
    drawStatic(painter, canvas);
    drawDynamic(painter, canvas, time);
}

QRegion FrameCompositor::drawFrame(QImage& canvas, double time)
{
    const QRectF canvasRect(0, 0, canvas.width(), canvas.height());
    layout(canvasRect);
    const bool reuses = cachesStaticLayer_ && !staticLayer_.isNull() && canvas.constBits() == lastCanvasBits_ &&
                        canvas.size() == staticLayer_.size() && canvas.format() == staticLayer_.format();
    QRegion changed;
    {
        QPainter painter(&canvas);
        if (reuses) {
            // The video's inner pixels are painted over whole, so they need no restoring.
            const QRectF video = toQt(layout_.video);
            const QRect inner(QPoint(static_cast<int>(std::ceil(video.left())), static_cast<int>(std::ceil(video.top()))),
                              QPoint(static_cast<int>(std::floor(video.right())) - 1,
                                     static_cast<int>(std::floor(video.bottom())) - 1));
            restoreStaticLayer(canvas, lastChanged_.subtracted(QRegion(inner)));
        } else {
            drawStatic(painter, canvasRect);
        }
        changed = drawDynamic(painter, canvasRect, time);
    }
    lastCanvasBits_ = cachesStaticLayer_ ? canvas.constBits() : nullptr;
    lastChanged_ = changed;
    return cachesStaticLayer_ ? changed : QRegion(canvas.rect());
}

void FrameCompositor::restoreStaticLayer(QImage& canvas, const QRegion& region) const
{
    const QRegion bounded = region.intersected(canvas.rect());
    for (const QRect& rect : bounded) {
        const auto bytes = static_cast<std::size_t>(rect.width()) * 4;
        for (int y = rect.top(); y <= rect.bottom(); ++y) {
            std::memcpy(canvas.scanLine(y) + rect.left() * 4, staticLayer_.constScanLine(y) + rect.left() * 4, bytes);
        }
    }
}

void FrameCompositor::addLayer(std::unique_ptr<OverlayLayer> layer)
{
    if (layer) layers_.push_back(std::move(layer));
}

std::vector<OverlayTile> FrameCompositor::overlayTiles(double time, const QRectF& canvas, TileForm form)
{
    std::vector<OverlayTile> tiles;
    for (const auto& layer : layers_) {
        std::vector<OverlayTile> layerTiles = layer->tilesAt(time, canvas, form);
        tiles.insert(tiles.end(), layerTiles.begin(), layerTiles.end());
    }
    return tiles;
}

QRegion FrameCompositor::drawDynamic(QPainter& painter, const QRectF& canvas, double time)
{
    const QRectF videoRect = toQt(layout_.video);
    QRegion touched(videoRect.toAlignedRect());
    const CameraKeyframe camera = camera_.state(time);
    bool drawn = false;
    const QImage* image = nullptr;
    const AVFrame* decoded = obscurer_.obscured(decodedSource_ ? decodedSource_(time) : nullptr, time);
    if (!decoded && source_) image = obscurer_.obscured(source_(time), time);
    const std::vector<CameraKeyframe> cameras = shutterCameras(time, camera);
    if (cameras.size() > 1 && (decoded || (image && !image->isNull()))) {
        drawBlurredVideo(painter, canvas, cameras, decoded, image);
        drawn = true;
    } else if (decoded) {
        const CGRectCodable crop = CompositorGeometry::cropRect(decoded->width, decoded->height, layout_.video, camera);
        drawn = cropScaler_.draw(painter, *decoded, toQt(crop), videoRect);
        if (!drawn) {
            convertFrameToImage(*decoded, convertedSource_);
            image = &convertedSource_;
        }
    }
    if (!drawn && image && !image->isNull()) {
        const CGRectCodable crop = CompositorGeometry::cropRect(image->width(), image->height(), layout_.video, camera);
        cropScaler_.draw(painter, *image, toQt(crop), videoRect);
    } else if (!drawn) {
        drawSourcePlaceholder(painter, videoRect, camera, scene_.videoWidth, scene_.videoHeight);
        // Neither the focus disc nor the grid's first lines (up to one spacing before the
        // video's edges) are clipped to the video.
        const double spacing = std::max(videoRect.width() / 12, 32.0);
        touched += videoRect.adjusted(-spacing - 2, -spacing - 2, 2, 2).toAlignedRect();
        const CGRectCodable crop = CompositorGeometry::cropRect(scene_.videoWidth, scene_.videoHeight, layout_.video, camera);
        const CodablePoint focus = CompositorGeometry::mapToCanvas(camera.centerX, camera.centerY, crop, layout_.video);
        touched += QRectF(focus.x - 74, focus.y - 74, 148, 148).toAlignedRect();
    }

    if (const auto overlay = cursorOverlay(time, camera)) {
        drawCursorOverlay(painter, *overlay);
        touched += overlay->bounds;
    }
    for (const OverlayTile& tile : overlayTiles(time, canvas, TileForm::image)) {
        painter.drawImage(tile.rect.topLeft(), *tile.image);
        touched += tile.rect;
    }
    return touched;
}

}  // namespace vantile
