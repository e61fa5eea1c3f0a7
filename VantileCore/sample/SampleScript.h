#pragma once

#include "model/InputEvent.h"

#include <string>
#include <vector>

namespace vantile {

// A scripted demo session on a synthetic app window: pointer travel, clicks, a typing burst
// into a text field, scrolling a list, a sidebar click and a drag, repeated for the duration.
// Everything is in video pixels and fully determined by the size and duration.
struct SampleScript {
    struct Rect {
        double x = 0;
        double y = 0;
        double width = 0;
        double height = 0;
        double centerX() const { return x + width / 2; }
        double centerY() const { return y + height / 2; }
    };

    // Where the synthetic window's parts are.
    struct Layout {
        Rect window;
        double titleBarHeight = 0;
        Rect sidebar;
        double sidebarItemHeight = 0;
        Rect textField;
        Rect saveButton;
        Rect chart;
        Rect list;
        double listRowHeight = 0;
    };

    double width = 0;
    double height = 0;
    double duration = 0;
    Layout layout;
    std::vector<InputEvent> events;  // in time order

    static SampleScript make(double width, double height, double duration);

    // State of the synthetic screen at a time, derived from the events.
    double pointerX(double time) const;
    double pointerY(double time) const;
    bool isPressed(double time) const;
    std::string typedText(double time) const;
    double listScrollOffset(double time) const;  // pixels, never negative
    int selectedSidebarItem(double time) const;

    static const std::string& sampleSentence();

private:
    std::size_t lastEventAtOrBefore(double time) const;
};

}  // namespace vantile
