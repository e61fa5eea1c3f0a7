#pragma once

#include "capture/wayland/EvdevKeymap.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

// Follows one device's modifier keys and names the chords pressed with Ctrl, Alt or Super. A
// plain key's name is looked up only while one of those is held, and nothing else of it is kept.
class EvdevShortcutChords {
public:
    explicit EvdevShortcutChords(std::shared_ptr<const EvdevKeymap> keymap) : keymap_(std::move(keymap)) {}

    // For a keyboard key's event (value 1 pressed, 0 released, 2 auto-repeat): the chord's name
    // when this press makes one. Repeats make none.
    std::optional<std::string> keyChanged(unsigned code, int value);

    // Events were lost: a release may be among them, and a modifier believed held would name
    // typing as chords. Better to miss a chord.
    void forgetHeld() { held_.clear(); }

private:
    struct HeldModifier {
        unsigned code;
        EvdevKeymap::Modifier modifier;
    };

    std::shared_ptr<const EvdevKeymap> keymap_;
    std::vector<HeldModifier> held_;
};

}  // namespace vantile
