#include "RecordingHintPlacement.h"

namespace vantile {

namespace {

QRect toRect(const CGRectCodable& region)
{
    return QRect(static_cast<int>(region.x), static_cast<int>(region.y), static_cast<int>(region.width),
                 static_cast<int>(region.height));
}

std::size_t preferredScreen(const HintScreens& screens)
{
    const std::size_t count = screens.availableAreas.size();
    std::optional<std::size_t> preferred = screens.pointerScreen ? screens.pointerScreen : screens.primaryScreen;
    return preferred && *preferred < count ? *preferred : 0;
}

// Top right first, as the hint; then the other corners.
std::vector<QRect> cornerPlaces(const QRect& area, QSize size)
{
    const int left = area.x() + 14;
    const int right = area.x() + area.width() - size.width() - 14;
    const int top = area.y() + 12;
    const int bottom = area.y() + area.height() - size.height() - 12;
    return {QRect(QPoint(right, top), size), QRect(QPoint(right, bottom), size), QRect(QPoint(left, top), size),
            QRect(QPoint(left, bottom), size)};
}

}  // namespace

std::optional<std::size_t> chooseHintScreen(const HintScreens& screens, const CaptureSource& recorded)
{
    const std::size_t count = screens.availableAreas.size();
    if (count == 0) return std::nullopt;
    const std::optional<std::size_t> preferred = preferredScreen(screens);
    if (recorded.kind == CaptureSource::SourceKind::window) return preferred;

    const QRect recordedArea = toRect(recorded.region);
    const auto isRecorded = [&](std::size_t index) {
        const QRect& full = index < screens.fullAreas.size() ? screens.fullAreas[index] : screens.availableAreas[index];
        return full.intersects(recordedArea);
    };
    if (!isRecorded(*preferred)) return preferred;
    for (std::size_t index = 0; index < count; ++index) {
        if (!isRecorded(index)) return index;
    }
    return std::nullopt;
}

QRect hintGeometry(const QRect& availableArea)
{
    return QRect(availableArea.x() + availableArea.width() - hintWidth - 14, availableArea.y() + 12, hintWidth,
                 hintHeight);
}

QRect recordingControlGeometry(const HintScreens& screens, const CaptureSource& recorded, QSize size)
{
    if (screens.availableAreas.empty()) return QRect(QPoint(0, 0), size);
    if (recorded.kind == CaptureSource::SourceKind::window) {
        const QRect window = toRect(recorded.region);
        std::vector<std::size_t> order{preferredScreen(screens)};
        for (std::size_t index = 0; index < screens.availableAreas.size(); ++index) {
            if (index != order.front()) order.push_back(index);
        }
        for (const std::size_t index : order) {
            for (const QRect& place : cornerPlaces(screens.availableAreas[index], size)) {
                if (!place.intersects(window)) return place;
            }
        }
        return cornerPlaces(screens.availableAreas[order.front()], size).front();
    }
    if (const auto free = chooseHintScreen(screens, recorded)) {
        return cornerPlaces(screens.availableAreas[*free], size).front();
    }
    // Every screen is recorded: bottom right keeps it away from most title bars and menus.
    return cornerPlaces(screens.availableAreas[preferredScreen(screens)], size)[1];
}

}  // namespace vantile
