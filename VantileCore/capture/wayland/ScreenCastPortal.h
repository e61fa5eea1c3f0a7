#pragma once

#include "capture/wayland/SessionBus.h"
#include "model/Geometry.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

struct PixelSize {
    int width = 0;
    int height = 0;

    bool operator==(const PixelSize&) const = default;
};

// One stream the portal granted: a PipeWire node and what the portal says of its area.
struct PortalStream {
    std::uint32_t node = 0;
    std::optional<CodablePoint> position;  // monitors only, in the compositor's logical space
    std::optional<PixelSize> size;
    std::uint32_t sourceType = 0;

    bool operator==(const PortalStream&) const = default;
};

// The answer of a started screen cast.
struct ScreenCastGrant {
    int pipewireDescriptor = -1;  // owned by the caller
    std::vector<PortalStream> streams;
    std::optional<std::string> restoreToken;
    bool cursorMetadata = false;  // else the pointer is embedded in the pictures
};

// The desktop's screen-cast portal: the system dialog picks a monitor or a window once, and a
// restore token lets later sessions skip it. One session per object, closed on destruction.
class ScreenCastPortal {
public:
    enum class Target : std::uint32_t { monitor = 1, window = 2 };
    static constexpr std::uint32_t cursorHidden = 1;
    static constexpr std::uint32_t cursorEmbedded = 2;
    static constexpr std::uint32_t cursorMetadata = 4;

    // Throws SessionBusError when no portal answers.
    ScreenCastPortal();
    ~ScreenCastPortal();
    ScreenCastPortal(const ScreenCastPortal&) = delete;
    ScreenCastPortal& operator=(const ScreenCastPortal&) = delete;

    std::uint32_t availableCursorModes();
    std::uint32_t availableSourceTypes();

    // Runs the whole handshake up to the PipeWire remote. Throws RecordingError::screenShareCancelled
    // when the user declines the dialog, captureStartFailed for anything else.
    ScreenCastGrant start(Target target, const std::optional<std::string>& restoreToken,
                          std::chrono::milliseconds dialogTimeout);

private:
    // Calls a portal method that answers through a Request object's Response signal.
    BusMessage request(const std::string& member, const std::function<void(sd_bus_message*)>& appendArguments,
                       BusOptions options, std::chrono::milliseconds timeout);

    SessionBus bus_;
    std::string sessionHandle_;
    int nextToken_ = 0;
};

}  // namespace vantile
