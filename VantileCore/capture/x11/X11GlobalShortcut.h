#pragma once

#include "capture/GlobalShortcut.h"
#include "capture/x11/X11Connection.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vantile {

// The keycodes whose unshifted symbol is `keysym`.
std::vector<xcb_keycode_t> keycodesOfKeysym(const X11Connection& connection, std::uint32_t keysym);
// Each keycode's unshifted keysym (0 where none), indexed by keycode.
std::vector<std::uint32_t> unshiftedKeysyms(const X11Connection& connection);
// The modifier bits (Shift, Control, Mod1 for Alt, Mod4 for Super) the shortcut is held with.
std::uint16_t modifierMaskOf(const KeyShortcut& shortcut);
// Each key the server maps to a modifier, with that modifier's bit.
std::vector<std::pair<xcb_keycode_t, std::uint16_t>> modifierKeys(const X11Connection& connection);

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
    std::uint16_t numLockMask() const;

    X11Connection connection_;
    std::vector<xcb_keycode_t> keycodes_;
    std::uint16_t modifiers_ = 0;
    std::vector<std::uint16_t> ignoredCombinations_;
};

}  // namespace vantile
