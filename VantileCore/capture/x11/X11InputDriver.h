#pragma once

#include "capture/x11/X11Connection.h"
#include "model/Geometry.h"

#include <chrono>
#include <optional>
#include <string>

namespace vantile {

// Synthesises real input through XTEST, as a person at the keyboard would produce it: the
// demo's scripted session. Pointer moves are relative so global input monitors see motion.
class X11InputDriver {
public:
    explicit X11InputDriver(const std::optional<std::string>& displayName = std::nullopt);

    CodablePoint pointerLocation() const;
    // Moves in small eased steps over `duration`, landing exactly on target.
    void glide(const CodablePoint& target, std::chrono::milliseconds duration);
    void press(int button);
    void release(int button);
    void click(int button = 1);
    // Buttons 4/5 scroll up/down; one notch per call.
    void scroll(int button, int notches, std::chrono::milliseconds pause);
    // Printable ASCII only; capitals and symbols use Shift as the keymap says.
    void type(const std::string& text, std::chrono::milliseconds perKey);

private:
    void moveBy(int dx, int dy);
    void key(std::uint8_t keycode, bool down);
    struct KeyStroke {
        std::uint8_t keycode = 0;
        bool shifted = false;
    };
    std::optional<KeyStroke> strokeFor(std::uint32_t keysym) const;
    void sync() const;

    X11Connection connection_;
};

}  // namespace vantile
