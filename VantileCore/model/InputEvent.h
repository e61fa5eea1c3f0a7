#pragma once

#include "model/JsonCoding.h"

#include <optional>
#include <string>

namespace vantile {

struct InputEvent {
    enum class EventType {
        mouseMove,
        leftMouseDown,
        leftMouseUp,
        rightMouseDown,
        rightMouseUp,
        mouseDragged,
        scrollWheel,
        typingActivityStart,
        typingActivityEnd,
        // A key chord with Ctrl, Alt or Super, logged only when the user asked for shortcuts.
        keyboardShortcut,
    };

    double time = 0;
    EventType type = EventType::mouseMove;
    double x = 0;
    double y = 0;
    std::optional<double> deltaX;  // scrollWheel only
    std::optional<double> deltaY;  // scrollWheel only
    std::optional<std::string> button;  // "left" or "right" for button and drag events
    std::optional<std::string> keys{};  // keyboardShortcut only: "Ctrl+Shift+P"

    UnknownKeys unknownKeys{};

    bool operator==(const InputEvent&) const = default;
};

inline constexpr EnumTexts<InputEvent::EventType, 10> eventTypeTexts{{
    "mouseMove", "leftMouseDown", "leftMouseUp", "rightMouseDown", "rightMouseUp",
    "mouseDragged", "scrollWheel", "typingActivityStart", "typingActivityEnd", "keyboardShortcut",
}};
inline const auto& enumTexts(InputEvent::EventType) { return eventTypeTexts; }
inline void to_json(Json& json, InputEvent::EventType type) { json = eventTypeTexts.text(type); }

void to_json(Json& json, const InputEvent& event);
void decodeValue(const Json& json, InputEvent& event);

}  // namespace vantile
