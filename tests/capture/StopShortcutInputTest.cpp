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

}  // namespace
}  // namespace vantile
