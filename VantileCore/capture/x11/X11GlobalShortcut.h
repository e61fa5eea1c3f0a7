#pragma once

#include "capture/GlobalShortcut.h"
#include "capture/x11/X11Connection.h"

#include <optional>
#include <string>
#include <vector>

namespace vantile {

// XGrabKey on the root window, on a connection of its own. Caps Lock and Num Lock are grabbed
// in every state, so the shortcut works whether they are on or not.
class X11GlobalShortcut : public GlobalShortcut {
public:
    // Throws std::runtime_error when the key is missing from the keyboard or another client holds it.
    explicit X11GlobalShortcut(const KeyShortcut& shortcut, const std::optional<std::string>& displayName = std::nullopt);
    ~X11GlobalShortcut() override;

    int fileDescriptor() const override;
    int dispatchPending() override;

private:
    std::vector<xcb_keycode_t> keycodesOf(std::uint32_t keysym) const;
    std::uint16_t numLockMask() const;

    X11Connection connection_;
    std::vector<xcb_keycode_t> keycodes_;
    std::uint16_t modifiers_ = 0;
    std::vector<std::uint16_t> ignoredCombinations_;
};

}  // namespace vantile
