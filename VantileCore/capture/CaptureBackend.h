#pragma once

#include "capture/CapturePlatform.h"
#include "capture/InputSource.h"
#include "capture/PermissionStatus.h"
#include "model/CaptureSource.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

enum class CaptureBackendKind { x11, wayland };

// Reads one environment variable; null when it is unset.
using EnvironmentLookup = std::function<const char*(const char*)>;

// Which display-server back end a session needs: VANTILE_BACKEND=x11|wayland wins, then a Wayland
// session (WAYLAND_DISPLAY set, or XDG_SESSION_TYPE=wayland), else X11. Throws std::invalid_argument
// for any other VANTILE_BACKEND value.
CaptureBackendKind chooseCaptureBackend(const EnvironmentLookup& environment);
CaptureBackendKind chooseCaptureBackend();

// Everything a recording needs from one display server: its sources, permissions, global input
// and the capture platform. The rest of the program never names a back end.
class CaptureBackend {
public:
    virtual ~CaptureBackend() = default;

    virtual CaptureBackendKind kind() const = 0;
    // Throws with the display server's own message when it cannot be reached.
    virtual void requireDisplayServer() = 0;
    virtual std::vector<CaptureSource> loadSources() = 0;
    // Why the last loadSources listed only what it could guess, which cannot be recorded.
    virtual std::optional<std::string> fallbackReason() const { return std::nullopt; }
    virtual PermissionStatus permissions() = 0;
    // Asks for global input where the system can ask (the user's password, say): whether the
    // user granted it; false where nothing can be asked. May wait for the user, so it touches
    // nothing the other calls use.
    virtual bool requestInputMonitoring() { return false; }
    // Whether a recording may start with these permissions; what is missing but not needed is
    // said by notices().
    virtual bool canRecord(const PermissionStatus& status) const = 0;
    virtual std::vector<std::string> notices(const PermissionStatus& status) const = 0;
    virtual std::unique_ptr<InputSource> makeInputSource() = 0;
    virtual CapturePlatform& platform() = 0;
    // Where the pointer is, in global screen coordinates, as the running capture stream tells it
    // (Wayland tells clients nothing else); nothing where the desktop answers itself.
    virtual std::optional<CodablePoint> streamPointer() const { return std::nullopt; }
};

// displayName: an X display for the X11 back end (absent: $DISPLAY); ignored on Wayland.
std::unique_ptr<CaptureBackend> makeCaptureBackend(CaptureBackendKind kind,
                                                   const std::optional<std::string>& displayName = std::nullopt);

}  // namespace vantile
