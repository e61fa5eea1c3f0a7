#pragma once

#include "model/CaptureSource.h"

#include <QRect>

#include <optional>
#include <vector>

namespace vantile {

// Where the "recording" hint may appear. X11 cannot keep one window out of a display
// capture, so while a display is recorded the hint goes to a screen outside the recorded
// area, and when every screen is recorded there is no place for it (the tray tooltip then
// carries the news). A window capture reads only that window's own pixels, so the hint may
// sit anywhere.
struct HintScreens {
    std::vector<QRect> availableAreas;  // each screen's area without panels, global coordinates
    std::vector<QRect> fullAreas;       // each screen's whole area, same order
    std::optional<std::size_t> pointerScreen;
    std::optional<std::size_t> primaryScreen;
};

// The screen to show the hint on, or none.
std::optional<std::size_t> chooseHintScreen(const HintScreens& screens, const CaptureSource& recorded);

// Top right of the area: 14 from the right and 12 from the top edge.
QRect hintGeometry(const QRect& availableArea);

// Where the recording control goes. Without a tray it is the only way to stop, so it always
// gets a place: on a screen outside a recorded display when there is one (else in a corner of
// the recorded one, where it shows in the movie), and beside, never over, a recorded window.
QRect recordingControlGeometry(const HintScreens& screens, const CaptureSource& recorded, QSize size);

inline constexpr int hintWidth = 360;
inline constexpr int hintHeight = 74;

}  // namespace vantile
