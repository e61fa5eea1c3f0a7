#pragma once

#include "capture/wayland/KeyboardLayout.h"

#include <cstdint>
#include <memory>
#include <string>

struct xkb_keymap;

namespace vantile {

// A keyboard layout compiled by xkbcommon, asked only for the names of chord keys.
class EvdevKeymap {
public:
    // Nullptr when xkbcommon cannot compile these names.
    static std::shared_ptr<const EvdevKeymap> compile(const KeyboardLayout& layout);

    // The badge name of an evdev key by its unshifted symbol in the first layout ("P" for
    // KEY_P on "us", "Z" for it on "de"); empty for keys a badge would not name.
    std::string keyName(unsigned evdevCode) const;

    // Which chord modifier an evdev key is in this layout. Right Alt is AltGr in many layouts,
    // where holding it is typing ("@" on "de"), not a chord.
    enum class Modifier { none, control, alt, super, shift };
    Modifier modifierOf(unsigned evdevCode) const;

private:
    struct KeymapRelease {
        void operator()(xkb_keymap* keymap) const;
    };
    explicit EvdevKeymap(xkb_keymap* keymap) : keymap_(keymap) {}

    std::uint32_t unshiftedKeysym(unsigned evdevCode) const;

    std::unique_ptr<xkb_keymap, KeymapRelease> keymap_;
};

}  // namespace vantile
