#pragma once

#include "capture/wayland/KeyboardLayout.h"

#include <optional>
#include <string>

namespace vantile {

// The keyboard layout the user's desktop types with, for naming recorded shortcuts: the
// XKB_DEFAULT_* names where the session sets a layout (sway and other compositors configured
// that way), else GNOME's input sources, else KDE's keyboard settings, else xkbcommon's "us".
KeyboardLayout desktopKeyboardLayout();

// GNOME's settings as `gsettings get org.gnome.desktop.input-sources KEY` prints them: the
// active source is the first xkb one of `mru-sources`, or of `sources` before any switch;
// `xkb-options` adds its options. Nothing when no xkb source is listed.
std::optional<KeyboardLayout> gnomeKeyboardLayout(const std::string& sources, const std::string& recentSources,
                                                  const std::string& options);

// KDE's kxkbrc: the first layout (and its variant) of the [Layout] group when KDE manages the
// layouts (Use=true). Nothing otherwise.
std::optional<KeyboardLayout> kdeKeyboardLayout(const std::string& kxkbrc);

}  // namespace vantile
