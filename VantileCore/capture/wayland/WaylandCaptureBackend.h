#pragma once

#include "capture/CaptureBackend.h"
#include "capture/wayland/PointerTracker.h"
#include "capture/wayland/WaylandCapturePlatform.h"

#include <atomic>
#include <memory>

namespace vantile {

// A Wayland desktop: the system's screen-cast dialog picks the picture, the stream's cursor
// metadata gives the pointer, the kernel's input devices give clicks, wheels and typing.
class WaylandCaptureBackend : public CaptureBackend {
public:
    WaylandCaptureBackend();

    CaptureBackendKind kind() const override { return CaptureBackendKind::wayland; }
    void requireDisplayServer() override;
    std::vector<CaptureSource> loadSources() override;
    PermissionStatus permissions() override;
    // Where the devices cannot be read, runs the helper once so the user consents to it.
    bool requestInputMonitoring() override;
    // The dialog itself asks for the screen; the rest only narrows what is recorded.
    bool canRecord(const PermissionStatus& status) const override { return status.screenRecordingGranted; }
    std::vector<std::string> notices(const PermissionStatus& status) const override;
    std::unique_ptr<InputSource> makeInputSource() override;
    CapturePlatform& platform() override { return platform_; }
    std::optional<CodablePoint> streamPointer() const override { return pointer_->latest(); }

    static constexpr const char* dialogWindowTitle = "在系统对话框中选择的窗口";

private:
    std::shared_ptr<PointerTracker> pointer_;
    WaylandCapturePlatform platform_;
    // The user consented to the helper in this run of the program.
    std::atomic<bool> helperAuthorized_{false};
};

}  // namespace vantile
