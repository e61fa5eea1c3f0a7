#pragma once

#include "capture/wayland/PipeWireStream.h"
#include "support/HeadlessDesktop.h"
#include "support/RemoteDesktopSession.h"

#include <chrono>
#include <functional>
#include <vector>

namespace vantile {

struct ShownPixel {
    int red = 0;
    int green = 0;
    int blue = 0;
};

// A connected patch of one colour on the monitor.
struct ShownArea {
    int left = 0;
    int top = 0;
    int right = 0;   // inclusive
    int bottom = 0;  // inclusive
    long pixels = 0;

    int centreX() const { return (left + right) / 2; }
    int centreY() const { return (top + bottom) / 2; }
    int width() const { return right - left + 1; }
    int height() const { return bottom - top + 1; }
    bool operator==(const ShownArea&) const = default;
};

// Drives a headless desktop as a person would: watches its monitor (through a remote-desktop
// session's own stream) and clicks, for instance through the screen-share dialog.
class DesktopDriver {
public:
    // Throws when the session's monitor stream shows nothing.
    explicit DesktopDriver(HeadlessDesktop& desktop);

    RemoteDesktopSession& input() { return input_; }

    // The newest picture of the monitor, B, G, R, X.
    const StreamPicture& picture();
    ShownPixel pixel(int x, int y);
    // How many pixels of the monitor are near black (a terminal's background), from a sample.
    long darkPixels();
    // The connected patches within tolerance (per channel) of colour, largest first; patches
    // smaller than minimumPixels are left out.
    std::vector<ShownArea> areasOf(ShownPixel colour, int tolerance, long minimumPixels = 50);

    // The screen-share dialog sits in the middle of the monitor, light on the dark desktop.
    bool dialogShown();
    // Picks the first entry of the dialog and shares it, or cancels; throws when no dialog comes.
    void answerDialog(bool share);

    // The portal's access dialog (a camera's, for instance), centred on the monitor like the other.
    bool accessDialogShown();
    // Grants or denies; throws when no access dialog comes.
    void answerAccessDialog(bool grant);

    static bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout);

private:
    RemoteDesktopSession input_;
    PipeWireStream screen_;
    StreamPicture latest_;
};

}  // namespace vantile
