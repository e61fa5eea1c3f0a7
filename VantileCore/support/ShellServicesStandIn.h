#pragma once

#include "capture/wayland/SessionBus.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vantile {

struct SentNotification {
    std::uint32_t id = 0;
    std::string summary;
    std::string body;
    std::vector<std::string> actions;  // key, label, key, label, ...
    int expireMilliseconds = -1;
};

// What a desktop shell offers on the session bus and a bare compositor lacks, for tests and
// screenshots: a notification server and a file manager that remember what they were asked, and
// optionally a tray host (a StatusNotifierItem watcher) that remembers the items registered.
class ShellServicesStandIn {
public:
    // Owns the services' names on the bus at busAddress; throws SessionBusError.
    ShellServicesStandIn(const std::string& busAddress, bool withTrayHost);
    ~ShellServicesStandIn();

    ShellServicesStandIn(const ShellServicesStandIn&) = delete;
    ShellServicesStandIn& operator=(const ShellServicesStandIn&) = delete;

    std::vector<SentNotification> notifications() const;
    // The URIs the file manager was asked to show.
    std::vector<std::string> revealedItems() const;
    std::vector<std::string> trayItems() const;
    // What a click on the notification's action does: the server announces it on the bus.
    void invokeAction(std::uint32_t id, const std::string& key);

private:
    static int notify(sd_bus_message* message, void* self, sd_bus_error* error);
    static int showItems(sd_bus_message* message, void* self, sd_bus_error* error);
    static int registerItem(sd_bus_message* message, void* self, sd_bus_error* error);
    void serve();

    SessionBus bus_;
    std::vector<sd_bus_slot*> slots_;
    mutable std::mutex mutex_;
    std::vector<SentNotification> notifications_;
    std::vector<std::string> revealedItems_;
    std::vector<std::string> trayItems_;
    std::vector<std::pair<std::uint32_t, std::string>> pendingActions_;
    std::atomic<bool> stopping_{false};
    std::thread server_;
};

}  // namespace vantile
