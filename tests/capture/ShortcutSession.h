#pragma once

#include "capture/RecordedInputStream.h"
#include "capture/wayland/EvdevDecoder.h"

#include <linux/input.h>

#include <algorithm>
#include <string>
#include <vector>

namespace vantile::testing {

// "Hello World" typed on one keyboard, with Shift for the capitals, held-down repeats and chords
// between the words; more chords on a second keyboard in between. Modifiers are let go in odd
// orders: Ctrl before Shift, Super before the next chord's Ctrl, one Ctrl of two.
struct ShortcutSession {
    RecordedInputStream keyboard;
    RecordedInputStream secondKeyboard;

    struct Chord {
        double seconds;
        std::string keys;
    };
    // What the session presses, in order: nothing of the typed text.
    static std::vector<Chord> chords()
    {
        return {{0.54, "Ctrl+Shift+P"}, {0.82, "Super+Tab"}, {0.92, "Ctrl+C"},
                {1.02, "Alt+Tab"},      {1.08, "Alt+Tab"},   {1.44, "Ctrl+X"}};
    }

    explicit ShortcutSession(RecordedInputStream::TimePoint epoch) : keyboard(epoch), secondKeyboard(epoch)
    {
        RecordedInputStream& a = keyboard;
        const auto tap = [&](unsigned short code, double seconds) { a.at(seconds).press(code, 1).at(seconds + 0.01).press(code, 0); };
        a.at(0.10).press(KEY_LEFTSHIFT, 1).at(0.12).press(KEY_H, 1).at(0.14).press(KEY_H, 0).at(0.16).press(KEY_LEFTSHIFT, 0);
        tap(KEY_E, 0.20);
        a.at(0.22).press(KEY_L, 1).at(0.30).press(KEY_L, 2).at(0.32).press(KEY_L, 2).at(0.34).press(KEY_L, 0);
        tap(KEY_L, 0.36);
        tap(KEY_O, 0.38);
        tap(KEY_SPACE, 0.40);
        // Ctrl+Shift+P held long enough to repeat, Ctrl let go first: Shift+W is typing again.
        a.at(0.50).press(KEY_LEFTCTRL, 1).at(0.52).press(KEY_LEFTSHIFT, 1).at(0.54).press(KEY_P, 1);
        a.at(0.56).press(KEY_P, 2).at(0.58).press(KEY_P, 0).at(0.60).press(KEY_LEFTCTRL, 0);
        a.at(0.62).press(KEY_W, 1).at(0.63).press(KEY_W, 0).at(0.64).press(KEY_LEFTSHIFT, 0);
        tap(KEY_O, 0.70);
        tap(KEY_R, 0.72);
        // Alt held over two Tabs and a repeat: two chords.
        a.at(1.00).press(KEY_LEFTALT, 1).at(1.02).press(KEY_TAB, 1).at(1.04).press(KEY_TAB, 2).at(1.06).press(KEY_TAB, 0);
        a.at(1.08).press(KEY_TAB, 1).at(1.10).press(KEY_TAB, 0).at(1.12).press(KEY_LEFTALT, 0);
        tap(KEY_L, 1.20);
        tap(KEY_D, 1.22);

        RecordedInputStream& b = secondKeyboard;
        b.at(0.80).press(KEY_LEFTMETA, 1).at(0.82).press(KEY_TAB, 1).at(0.83).press(KEY_TAB, 0).at(0.84).press(KEY_LEFTMETA, 0);
        b.at(0.90).press(KEY_RIGHTCTRL, 1).at(0.92).press(KEY_C, 1).at(0.93).press(KEY_C, 0).at(0.95).press(KEY_RIGHTCTRL, 0);
        // Both Ctrl keys down, the left one let go: the right one still makes a chord, until it goes too.
        b.at(1.40).press(KEY_LEFTCTRL, 1).at(1.41).press(KEY_RIGHTCTRL, 1).at(1.42).press(KEY_LEFTCTRL, 0);
        b.at(1.44).press(KEY_X, 1).at(1.45).press(KEY_X, 0).at(1.46).press(KEY_RIGHTCTRL, 0);
        b.at(1.50).press(KEY_X, 1).at(1.51).press(KEY_X, 0);
    }

    // Every key's down and up but no repeats, in time order, each chord right after its key's
    // press when `named`: all a recording may learn of the session (of the first keyboard alone
    // unless `bothKeyboards`).
    std::vector<RawInput> keyActivity(bool named, bool bothKeyboards = true) const
    {
        std::vector<RawInput> activity;
        for (const RecordedInputStream* stream : {&keyboard, &secondKeyboard}) {
            if (stream == &secondKeyboard && !bothKeyboards) break;
            for (const input_event& event : stream->events()) {
                if (event.type != EV_KEY || event.value == 2) continue;
                const auto time = EvdevDecoder::timeOf(event);
                activity.push_back({.kind = event.value ? RawInput::Kind::keyDown : RawInput::Kind::keyUp, .time = time});
                for (const Chord& chord : chords())
                    if (named && event.value == 1 && stream->timeAt(chord.seconds) == time)
                        activity.push_back({.kind = RawInput::Kind::shortcut, .keys = chord.keys, .time = time});
            }
        }
        std::ranges::stable_sort(activity, [](const RawInput& a, const RawInput& b) { return *a.time < *b.time; });
        return activity;
    }

    // The key activity among what a source reported, without the pointer positions.
    static std::vector<RawInput> keyActivityOf(const std::vector<RawInput>& reported)
    {
        std::vector<RawInput> activity;
        for (RawInput input : reported) {
            using Kind = RawInput::Kind;
            if (input.kind != Kind::keyDown && input.kind != Kind::keyUp && input.kind != Kind::shortcut) continue;
            input.location.reset();
            activity.push_back(input);
        }
        return activity;
    }
};

}  // namespace vantile::testing
