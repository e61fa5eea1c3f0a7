#include "capture/wayland/WaylandCaptureBackend.h"

#include "capture/CaptureSourceProvider.h"

#include "capture/wayland/InputDeviceAccess.h"
#include "capture/wayland/InputHelperProcess.h"
#include "capture/wayland/ScreenCastPortal.h"
#include "capture/wayland/WaylandInputSource.h"
#include "capture/wayland/WaylandOutputs.h"

#include <cstdlib>

namespace vantile {

WaylandCaptureBackend::WaylandCaptureBackend()
    : pointer_(std::make_shared<PointerTracker>()),
      platform_(RestoreTokenStore(RestoreTokenStore::defaultDirectory([](const char* name) { return std::getenv(name); })),
                [pointer = pointer_](CodablePoint global, std::chrono::steady_clock::time_point when) {
                    pointer->update(global, when);
                })
{
}

void WaylandCaptureBackend::requireDisplayServer() { listWaylandOutputs(); }

std::vector<CaptureSource> WaylandCaptureBackend::loadSources()
{
    std::vector<CaptureSource> sources;
    std::vector<ListedDisplay> displays;
    try {
        displays = listWaylandOutputs();
    } catch (const std::exception&) {
        // Without the outputs the dialog still offers the screens.
    }
    if (displays.empty()) displays.push_back({.number = 1, .name = "Display 1", .frame = {}, .scaleFactor = 1});
    for (const ListedDisplay& display : displays) {
        sources.push_back(displaySource(display));
    }
    // Wayland names no windows to other clients: the system dialog picks one, and its real size
    // becomes known when the stream starts.
    sources.push_back({
        .id = WaylandCapturePlatform::dialogWindowSourceId,
        .kind = CaptureSource::SourceKind::window,
        .windowId = "dialog",
        .appName = "系统对话框",
        .title = dialogWindowTitle,
        .region = displays.front().frame,
        .scaleFactor = displays.front().scaleFactor,
    });
    return sources;
}

PermissionStatus WaylandCaptureBackend::permissions()
{
    PermissionStatus status;
    try {
        ScreenCastPortal portal;
        status.screenRecordingGranted = portal.availableSourceTypes() != 0;
        status.accessibilityGranted = (portal.availableCursorModes() & ScreenCastPortal::cursorMetadata) != 0;
    } catch (const std::exception&) {
        // No portal: nothing can be recorded.
    }
    const bool readable = InputDeviceAccess().granted();
    const bool helper = !readable && InputHelperProcess::available();
    status.inputMonitoringGranted = readable || (helper && helperAuthorized_);
    status.inputHelperOffered = helper;
    // No system settings grant this one: the permission screen says how.
    if (!status.inputMonitoringGranted)
        status.inputMonitoringHowTo = helper ? InputDeviceAccess::howToGrantThroughHelper() : InputDeviceAccess::howToGrant();
    return status;
}

bool WaylandCaptureBackend::requestInputMonitoring()
{
    if (InputDeviceAccess().granted()) return true;
    if (!InputHelperProcess::available()) return false;
    // The user may take their time over the password.
    if (InputHelperProcess::authorize(InputHelperProcess::defaultCommand(), std::chrono::minutes(5))) helperAuthorized_ = true;
    return helperAuthorized_;
}

std::vector<std::string> WaylandCaptureBackend::notices(const PermissionStatus& status) const
{
    if (status.inputMonitoringGranted) return {};
    if (status.inputHelperOffered)
        return {"无法直接读取输入设备：开始录制时会请求管理员密码，由 vantile-input-helper 读取点击、滚动和键入时间点（从不读取按了哪个键）。"};
    return {InputDeviceAccess().missingPermissionMessage()};
}

std::unique_ptr<InputSource> WaylandCaptureBackend::makeInputSource()
{
    // Devices this process can read are read here; otherwise the helper reads them, after the
    // user's consent, rather than recording the pointer alone.
    if (!InputDeviceAccess().granted() && InputHelperProcess::available())
        return std::make_unique<WaylandInputSource>(pointer_, std::make_unique<InputHelperProcess>());
    return std::make_unique<WaylandInputSource>(pointer_);
}

}  // namespace vantile
