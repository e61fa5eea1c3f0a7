#include "capture/PermissionManager.h"

#include "capture/PulseAudioSource.h"
#include "capture/x11/X11Connection.h"

#include <xcb/shm.h>
#include <xcb/xinput.h>

#include <exception>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>

extern char** environ;

namespace vantile {

namespace {

bool canReadScreenPixels(const X11Connection& connection)
{
    const xcb_query_extension_reply_t* shm = xcb_get_extension_data(connection.get(), &xcb_shm_id);
    if (!shm || !shm->present) return false;
    xcb_generic_error_t* rawError = nullptr;
    const XcbReply<xcb_get_image_reply_t> image(xcb_get_image_reply(
        connection.get(),
        xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection.root(), 0, 0, 1, 1, ~0u), &rawError));
    const XcbReply<xcb_generic_error_t> error(rawError);
    return image && !error;
}

bool hasXInput2(const X11Connection& connection)
{
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection.get(), &xcb_input_id);
    if (!extension || !extension->present) return false;
    const XcbReply<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        connection.get(), xcb_input_xi_query_version(connection.get(), 2, 2), nullptr));
    return version && version->major_version >= 2;
}

bool canSelectRawEvents(const X11Connection& connection)
{
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t bits;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS};
    if (connection.failed(xcb_input_xi_select_events_checked(connection.get(), connection.root(), 1, &mask.head)))
        return false;
    mask.bits = 0;
    xcb_input_xi_select_events(connection.get(), connection.root(), 1, &mask.head);
    xcb_flush(connection.get());
    return true;
}

}  // namespace

PermissionStatus PermissionManager::currentStatus() const
{
    std::unique_ptr<X11Connection> connection;
    try {
        connection = std::make_unique<X11Connection>(displayName_);
    } catch (const std::exception&) {
        return {};
    }
    PermissionStatus status;
    status.screenRecordingGranted = canReadScreenPixels(*connection);
    status.accessibilityGranted = hasXInput2(*connection);
    status.inputMonitoringGranted = status.accessibilityGranted && canSelectRawEvents(*connection);
    return status;
}

bool PermissionManager::microphoneAuthorized()
{
    try {
        return !PulseAudioSource::listMicrophones().empty();
    } catch (const std::exception&) {
        return false;
    }
}

std::string PermissionManager::settingsLink(const std::string& anchor)
{
    // X11 has no privacy panes; the desktop's settings (or its help) is where a user would look.
    if (anchor == "Privacy_Microphone") return "settings://sound";
    return "settings://privacy";
}

void PermissionManager::openSettings(const std::string& anchor) const
{
    const std::string link = settingsLink(anchor);
    char program[] = "xdg-open";
    std::string argument = link;
    char* arguments[] = {program, argument.data(), nullptr};
    pid_t child = 0;
    // Without xdg-open nothing happens, as when a link cannot be formed. xdg-open may wait for
    // the program it starts, so it is reaped on a thread of its own and the caller goes on.
    if (posix_spawnp(&child, program, nullptr, nullptr, arguments, environ) == 0) {
        std::thread([child] {
            int status = 0;
            waitpid(child, &status, 0);
        }).detach();
    }
}

}  // namespace vantile
