#include "RecordingHintPlacement.h"

namespace vantile {

namespace {

QRect toRect(const CGRectCodable& region)
{
    return QRect(static_cast<int>(region.x), static_cast<int>(region.y), static_cast<int>(region.width),
                 static_cast<int>(region.height));
}

}  // namespace

std::optional<std::size_t> chooseHintScreen(const HintScreens& screens, const CaptureSource& recorded)
{
    const std::size_t count = screens.availableAreas.size();
    if (count == 0) return std::nullopt;
    std::optional<std::size_t> preferred = screens.pointerScreen ? screens.pointerScreen : screens.primaryScreen;
    if (!preferred || *preferred >= count) preferred = 0;
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

}  // namespace vantile
