#pragma once

#include "capture/KeyShortcut.h"

#include <memory>
#include <optional>
#include <string>

namespace vantile {

// A key combination taken from the whole desktop while it is held: pressing it reaches us
// whatever window has the focus, and not that window.
class GlobalShortcut {
public:
    virtual ~GlobalShortcut() = default;

    // Polled for reading on the main thread; dispatchPending() then drains it.
    virtual int fileDescriptor() const = 0;
    // How many times the shortcut was pressed since the last call.
    virtual int dispatchPending() = 0;
    // How the desktop names the key it bound, where the desktop chooses it.
    virtual std::optional<std::string> triggerDescription() const { return std::nullopt; }
    // Why the shortcut will never be pressed (the desktop or the user refused it).
    virtual std::optional<std::string> failure() const { return std::nullopt; }
};

// Takes `shortcut` from an X display (absent: $DISPLAY); throws std::runtime_error with the
// user's sentence when the keyboard lacks the key or another program holds it.
std::unique_ptr<GlobalShortcut> grabX11GlobalShortcut(const KeyShortcut& shortcut,
                                                      const std::optional<std::string>& displayName = std::nullopt);

}  // namespace vantile
