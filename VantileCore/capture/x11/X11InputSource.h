#pragma once

#include "capture/InputSource.h"
#include "capture/UniqueDescriptor.h"
#include "capture/x11/ShortcutKeyFilter.h"
#include "capture/x11/X11Connection.h"
#include "capture/x11/X11ShortcutChords.h"

#include <chrono>

#include <optional>
#include <string>

namespace vantile {

// Global input through XInput2 raw events on the root window, on a connection of its own.
// Raw events report device activity whatever window has focus or grabs the pointer. A warped
// pointer (programs moving it, absolute tablets, virtual machines, remote desktops) sends no raw
// motion, so while installed the pointer is also polled and a change no raw event told is
// reported as a move.
class X11InputSource : public InputSource {
public:
    static constexpr std::chrono::microseconds pollInterval{16'667};  // 60 Hz

    explicit X11InputSource(const std::optional<std::string>& displayName = std::nullopt);

    bool install(Handler handler) override;
    void remove() override;
    CodablePoint pointerLocation() override;
    int fileDescriptor() const override;
    void dispatchPending() override;
    void leaveOutShortcut(const KeyShortcut& shortcut) override;
    void recordShortcuts(bool enabled) override;

private:
    void deliver(const xcb_generic_event_t* event);
    bool selectRawEvents(bool enable);
    void armPolling(bool enable);
    void pollPointer();

    X11Connection connection_;
    // One descriptor for the caller's loop: readable when the server sent events or a poll is due.
    UniqueDescriptor readiness_;
    UniqueDescriptor pollTimer_;
    std::optional<CodablePoint> lastKnownPointer_;
    std::uint8_t xinputOpcode_ = 0;
    Handler handler_;
    ShortcutKeyFilter shortcutKeys_;
    std::optional<X11ShortcutChords> chords_;  // only while shortcuts are logged
    bool leftHeld_ = false;
    bool rightHeld_ = false;
};

}  // namespace vantile
