#pragma once

#include "capture/GlobalShortcut.h"
#include "capture/wayland/SessionBus.h"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

namespace vantile {

// The desktop offers no global shortcuts portal (GNOME before 48, most older desktops).
class GlobalShortcutsUnavailable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One shortcut bound through the desktop's org.freedesktop.portal.GlobalShortcuts. The desktop
// owns the key: the user may keep the preferred trigger, change it or refuse it in its dialog or
// settings, and the portal tells us only when it is pressed. The handshake runs without
// blocking, driven by dispatchPending() as the bus's answers arrive, so a desktop that shows a
// dialog holds nothing up.
class GlobalShortcutsPortal : public GlobalShortcut {
public:
    enum class State { binding, bound, refused };

    // Throws GlobalShortcutsUnavailable when no portal answers for the interface, SessionBusError
    // when the request cannot be sent. The bus at address, or the user's session bus.
    GlobalShortcutsPortal(const std::string& shortcutId, const std::string& description, const KeyShortcut& preferred,
                          const std::optional<std::string>& busAddress = std::nullopt);
    ~GlobalShortcutsPortal() override;

    int fileDescriptor() const override;
    // Handles what the bus delivered; the presses of our shortcut since the last call.
    int dispatchPending() override;

    State state() const { return state_; }
    // How the desktop describes the trigger it bound ("Ctrl+Shift+F9"), when it says.
    std::optional<std::string> triggerDescription() const override { return triggerDescription_; }
    // Why the portal refused, once refused.
    std::optional<std::string> failure() const override;
    // Dispatches until the handshake ends or timeout passes.
    void waitUntilSettled(std::chrono::milliseconds timeout);

    static constexpr const char* interfaceName = "org.freedesktop.portal.GlobalShortcuts";

private:
    static int onActivated(sd_bus_message* message, void* self, sd_bus_error* error);
    static int onResponse(sd_bus_message* message, void* self, sd_bus_error* error);
    static int onCallReply(sd_bus_message* message, void* self, sd_bus_error* error);

    // Sends one request whose answer comes as its Request object's Response signal.
    void sendRequest(const std::string& member, const std::function<void(sd_bus_message*)>& appendArguments,
                     BusOptions options);
    void handleResponse(std::uint32_t code, sd_bus_message* results);
    void refuse(const std::string& why);

    SessionBus bus_;
    std::string shortcutId_;
    std::string description_;
    std::string preferredTrigger_;
    State state_ = State::binding;
    std::string sessionHandle_;
    std::optional<std::string> triggerDescription_;
    std::string failure_;
    int activations_ = 0;
    int nextToken_ = 0;
    sd_bus_slot* activatedSlot_ = nullptr;
    sd_bus_slot* responseSlot_ = nullptr;
    sd_bus_slot* callSlot_ = nullptr;
};

}  // namespace vantile
