#include "X11TestSession.h"

#include "capture/InputEventRecorder.h"
#include "capture/KeyShortcut.h"
#include "capture/x11/X11GlobalShortcut.h"
#include "capture/x11/X11InputSource.h"

#include <poll.h>

#include <algorithm>

namespace vantile {
namespace {

using namespace std::chrono_literals;
using Type = InputEvent::EventType;

class StopShortcutInputTest : public vantile::testing::X11TestSession {
protected:
    // Presses `keys` through XTEST, then clicks: once the click is logged, every raw key event
    // sent before it has been handled too (the server keeps their order).
    std::vector<InputEvent> logKeysThenClick(X11InputSource& input, const std::string& keys)
    {
        InputEventRecorder recorder(&input);
        recorder.start({0, 0, 1280, 720});
        xdotool("key " + keys);
        xdotool("click 1");
        const auto clicked = [&] {
            pollfd descriptor{input.fileDescriptor(), POLLIN, 0};
            poll(&descriptor, 1, 20);
            input.dispatchPending();
            const auto events = recorder.snapshot();
            return std::ranges::any_of(events, [](const InputEvent& e) { return e.type == Type::leftMouseDown; });
        };
        EXPECT_TRUE(waitUntil(clicked)) << keys;
        return recorder.stop();
    }

    static long typingStarts(const std::vector<InputEvent>& events)
    {
        return std::ranges::count(events, Type::typingActivityStart, &InputEvent::type);
    }
};

TEST_F(StopShortcutInputTest, TheHeldStopShortcutLeavesNoTypingButOtherKeysWithItsModifiersDo)
{
    const KeyShortcut shortcut = *parseKeyShortcut(defaultStopShortcut);
    // Taken from the desktop as while recording: the raw events still reach the input log.
    const auto grab = grabX11GlobalShortcut(shortcut);
    X11InputSource input;
    input.leaveOutShortcut(shortcut);

    EXPECT_EQ(typingStarts(logKeysThenClick(input, "ctrl+shift+F9")), 0);
    // Twice in a row, and with the modifiers pressed in the other order.
    EXPECT_EQ(typingStarts(logKeysThenClick(input, "ctrl+shift+F9 shift+ctrl+F9")), 0);

    // Not the shortcut: the same key with fewer modifiers, or the modifiers with another key, is typing.
    for (const char* keys : {"shift+F9", "ctrl+shift+a", "F9", "shift+b"}) {
        const auto events = logKeysThenClick(input, keys);
        EXPECT_EQ(typingStarts(events), 1) << keys;
        EXPECT_EQ(std::ranges::count(events, Type::typingActivityEnd, &InputEvent::type), 1) << keys;
    }
}

// With shortcuts asked for, exactly the chords held with Ctrl, Alt or Super are logged by name,
// in order; typed text, Shift with a letter and the stop shortcut leave no name anywhere.
TEST_F(StopShortcutInputTest, OnlyChordsWithCtrlAltOrSuperAreNamedAndTypingStaysAnonymous)
{
    const KeyShortcut shortcut = *parseKeyShortcut(defaultStopShortcut);
    const auto grab = grabX11GlobalShortcut(shortcut);
    X11InputSource input;
    input.leaveOutShortcut(shortcut);
    input.recordShortcuts(true);

    const auto events = logKeysThenClick(input, "h e l l o ctrl+shift+p shift+a super+Tab ctrl+shift+F9 alt+F4 w o r "
                                                "l d ctrl+c Return");
    std::vector<std::string> chords;
    for (const InputEvent& event : events) {
        if (event.type == Type::keyboardShortcut) {
            chords.push_back(event.keys.value_or("?"));
        } else {
            // Nothing but a chord carries a key's name.
            EXPECT_FALSE(event.keys) << static_cast<int>(event.type);
        }
    }
    EXPECT_EQ(chords, (std::vector<std::string>{"Ctrl+Shift+P", "Super+Tab", "Alt+F4", "Ctrl+C"}));
    EXPECT_GE(typingStarts(events), 1);
    const std::string logged = Json(events).dump();
    for (const char* typed : {"\"H\"", "\"E\"", "\"W\"", "\"A\"", "Shift+A", "Enter", "F9"}) {
        EXPECT_EQ(logged.find(typed), std::string::npos) << typed << " reached the log";
    }

    // Not asked: no chord at all.
    input.recordShortcuts(false);
    const auto plain = logKeysThenClick(input, "ctrl+shift+p");
    EXPECT_EQ(std::ranges::count(plain, Type::keyboardShortcut, &InputEvent::type), 0);
}

}  // namespace
}  // namespace vantile
