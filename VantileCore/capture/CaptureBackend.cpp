#include "capture/CaptureBackend.h"

#include "capture/wayland/WaylandCaptureBackend.h"
#include "capture/x11/X11CaptureBackend.h"

#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace vantile {

CaptureBackendKind chooseCaptureBackend(const EnvironmentLookup& environment)
{
    const auto nonEmpty = [&](const char* name) {
        const char* value = environment(name);
        return value && *value ? std::optional<std::string_view>(value) : std::nullopt;
    };
    if (const auto forced = nonEmpty("VANTILE_BACKEND")) {
        if (*forced == "x11") return CaptureBackendKind::x11;
        if (*forced == "wayland") return CaptureBackendKind::wayland;
        throw std::invalid_argument("VANTILE_BACKEND must be x11 or wayland, not \"" + std::string(*forced) + "\"");
    }
    if (nonEmpty("WAYLAND_DISPLAY") || nonEmpty("XDG_SESSION_TYPE") == "wayland") return CaptureBackendKind::wayland;
    return CaptureBackendKind::x11;
}

CaptureBackendKind chooseCaptureBackend()
{
    return chooseCaptureBackend([](const char* name) { return std::getenv(name); });
}


std::unique_ptr<CaptureBackend> makeCaptureBackend(CaptureBackendKind kind, const std::optional<std::string>& displayName)
{
    if (kind == CaptureBackendKind::wayland) return std::make_unique<WaylandCaptureBackend>();
    return std::make_unique<X11CaptureBackend>(displayName);
}

}  // namespace vantile
