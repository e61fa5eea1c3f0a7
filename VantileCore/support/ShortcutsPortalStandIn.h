#pragma once

#include "capture/wayland/SessionBus.h"

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vantile {

// A shortcut as an application asked the portal to bind it.
struct RequestedShortcut {
    std::string session;
    std::string id;
    std::string description;
    std::string preferredTrigger;

    bool operator==(const RequestedShortcut&) const = default;
};

// The desktop portal's global shortcuts interface as a desktop that offers it answers, for tests:
// it binds what it is asked (or declines, as a user closing the dialog would), remembers the
// requests, and reports presses of a bound shortcut when told to.
class ShortcutsPortalStandIn {
public:
    // Owns org.freedesktop.portal.Desktop on the bus at busAddress; throws SessionBusError.
    ShortcutsPortalStandIn(const std::string& busAddress, bool declineBinding = false);
    ~ShortcutsPortalStandIn();

    ShortcutsPortalStandIn(const ShortcutsPortalStandIn&) = delete;
    ShortcutsPortalStandIn& operator=(const ShortcutsPortalStandIn&) = delete;

    std::vector<std::string> sessions() const;
    std::vector<RequestedShortcut> requested() const;
    // Announces a press of `id` in `session`, as the desktop does when the user presses its trigger.
    void press(const std::string& session, const std::string& id);

    // What the stand-in tells as the trigger it bound.
    static constexpr const char* boundTriggerDescription = "Ctrl+Shift+F9";

private:
    static int createSession(sd_bus_message* message, void* self, sd_bus_error* error);
    static int bindShortcuts(sd_bus_message* message, void* self, sd_bus_error* error);
    void serve();

    SessionBus bus_;
    bool declineBinding_;
    sd_bus_slot* slot_ = nullptr;
    mutable std::mutex mutex_;
    std::vector<std::string> sessions_;
    std::vector<RequestedShortcut> requested_;
    std::vector<std::pair<std::string, std::string>> pendingPresses_;
    std::atomic<bool> stopping_{false};
    std::thread server_;
};

}  // namespace vantile
