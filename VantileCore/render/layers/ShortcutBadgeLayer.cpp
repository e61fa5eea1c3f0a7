#include "render/layers/ShortcutBadgeLayer.h"

#include "render/RenderError.h"

#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace vantile {

namespace {

// The fade is drawn in this many steps, so frames at the same strength reuse one tile.
constexpr int fadeSteps = 8;

}  // namespace

std::unique_ptr<ShortcutBadgeLayer> ShortcutBadgeLayer::forJob(const RenderJob& job)
{
    if (!job.renderSettings.showShortcuts) return nullptr;
    const OutputTimeline timeline(job.project);
    std::vector<Badge> badges;
    std::int64_t number = -1;
    for (const InputEvent& event : job.project.events) {
        if (event.type != InputEvent::EventType::keyboardShortcut) continue;
        ++number;
        const bool hidden = std::ranges::binary_search(job.project.hiddenShortcuts, number);
        if (!event.keys || event.keys->empty() || hidden) continue;
        // A shortcut pressed in a stretch that was cut shows nowhere.
        if (const auto start = timeline.outputTime(event.time)) badges.push_back({*start, *event.keys});
    }
    if (badges.empty()) return nullptr;
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        throw RenderError(RenderError::Kind::writerFailed, "Shortcut badges need Qt's font system to be drawn.");
    }
    std::stable_sort(badges.begin(), badges.end(),
                     [](const Badge& a, const Badge& b) { return a.outputStart < b.outputStart; });
    return std::make_unique<ShortcutBadgeLayer>(std::move(badges), timeline);
}

ShortcutBadgeLayer::ShortcutBadgeLayer(std::vector<Badge> badges, OutputTimeline timeline)
    : badges_(std::move(badges)), timeline_(std::move(timeline))
{
}

QImage ShortcutBadgeLayer::paintBadge(const std::string& keys, int shortSide)
{
    const QStringList parts = QString::fromStdString(keys).split('+', Qt::SkipEmptyParts);
    const double unit = std::max(shortSide, 90) / 1080.0;
    QFont font;
    font.setPixelSize(std::max(8, static_cast<int>(std::lround(30 * unit))));
    font.setWeight(QFont::DemiBold);
    const QFontMetricsF metrics(font);
    const double capHeight = 52 * unit;
    const double capPadding = 16 * unit;
    const double gap = 12 * unit;
    const double plus = metrics.horizontalAdvance(QStringLiteral("+"));
    const double platePadding = 14 * unit;
    const double depth = 4 * unit;  // the keycap's lower edge

    double width = 0;
    for (const QString& part : parts) width += std::max(capHeight, metrics.horizontalAdvance(part) + 2 * capPadding);
    width += static_cast<double>(std::max<qsizetype>(parts.size() - 1, 0)) * (plus + 2 * gap);
    const QSizeF plate(width + 2 * platePadding, capHeight + depth + 2 * platePadding);

    QImage image(static_cast<int>(std::ceil(plate.width())), static_cast<int>(std::ceil(plate.height())),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(15, 23, 42, 205));
    painter.drawRoundedRect(QRectF(QPointF(0, 0), plate), 18 * unit, 18 * unit);
    painter.setFont(font);

    double x = platePadding;
    const double top = platePadding;
    for (qsizetype index = 0; index < parts.size(); ++index) {
        const QString& part = parts[index];
        const double capWidth = std::max(capHeight, metrics.horizontalAdvance(part) + 2 * capPadding);
        const QRectF cap(x, top, capWidth, capHeight);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(148, 163, 184));
        painter.drawRoundedRect(cap.translated(0, depth), 9 * unit, 9 * unit);
        painter.setBrush(QColor(248, 250, 252));
        painter.drawRoundedRect(cap, 9 * unit, 9 * unit);
        painter.setPen(QColor(15, 23, 42));
        painter.drawText(cap, Qt::AlignCenter, part);
        x += capWidth;
        if (index + 1 < parts.size()) {
            painter.setPen(QColor(226, 232, 240));
            painter.drawText(QRectF(x, top, plus + 2 * gap, capHeight), Qt::AlignCenter, QStringLiteral("+"));
            x += plus + 2 * gap;
        }
    }
    return image;
}

std::vector<OverlayTile> ShortcutBadgeLayer::tilesAt(double time, const QRectF& canvas, TileForm)
{
    const double now = timeline_.outputTimeAtOrAfter(time);
    // The latest badge that has begun.
    const auto next = std::upper_bound(badges_.begin(), badges_.end(), now,
                                       [](double at, const Badge& badge) { return at < badge.outputStart; });
    if (next == badges_.begin()) return {};
    const auto index = static_cast<std::size_t>(next - badges_.begin()) - 1;
    const Badge& badge = badges_[index];
    const double age = now - badge.outputStart;
    if (age >= badgeSeconds) return {};
    // It fades out early when the next one follows within its time.
    const double until = next != badges_.end() ? std::min(badgeSeconds, next->outputStart - badge.outputStart)
                                               : badgeSeconds;
    const double strength = std::clamp(std::min(age, until - age) / fadeSeconds, 0.0, 1.0);
    const int step = static_cast<int>(std::ceil(strength * fadeSteps));
    if (step <= 0) return {};

    const int shortSide = static_cast<int>(std::lround(std::min(canvas.width(), canvas.height())));
    if (index != drawnIndex_ || shortSide != drawnShortSide_) {
        drawn_ = paintBadge(badge.keys, shortSide);
        drawnIndex_ = index;
        drawnShortSide_ = shortSide;
        fadedStep_ = -1;
    }
    const QImage* shown = &drawn_;
    if (step < fadeSteps) {
        if (step != fadedStep_) {
            faded_ = QImage(drawn_.size(), QImage::Format_ARGB32_Premultiplied);
            faded_.fill(Qt::transparent);
            QPainter painter(&faded_);
            painter.setOpacity(static_cast<double>(step) / fadeSteps);
            painter.drawImage(0, 0, drawn_);
            fadedStep_ = step;
        }
        shown = &faded_;
    }
    const double bottomMargin = 0.07 * shortSide;
    const QRect rect(static_cast<int>(std::lround(canvas.center().x() - drawn_.width() / 2.0)),
                     static_cast<int>(std::lround(canvas.bottom() - bottomMargin - drawn_.height())), drawn_.width(),
                     drawn_.height());
    OverlayTile tile;
    tile.rect = rect;
    tile.content = static_cast<std::int64_t>(index) * (fadeSteps + 1) + step + 1;
    tile.image = shown;
    return {tile};
}

}  // namespace vantile
