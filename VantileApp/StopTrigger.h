#pragma once

namespace vantile {

// How the user asked a recording to stop: the gesture toward a visible control leaves a tail
// in the movie that a key press or a command does not.
enum class StopTrigger {
    control,            // the recording control's 停止 (or the main window)
    tray,               // the tray menu's stop item
    keyboardOrCommand,  // the global shortcut, `vantile --stop-recording`, the maximum duration
};

}  // namespace vantile
