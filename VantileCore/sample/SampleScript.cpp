#include "sample/SampleScript.h"

#include <algorithm>
#include <cmath>

namespace vantile {

namespace {

constexpr double moveStep = 1.0 / 60;  // pointer events arrive at about the display's refresh rate
constexpr double typingCharactersPerSecond = 9;
constexpr double scrollPixelsPerNotch = 40;

class ScriptBuilder {
public:
    ScriptBuilder(double duration, double startX, double startY) : duration_(duration), x_(startX), y_(startY) {}

    bool done() const { return time_ >= duration_ - 0.05; }
    double time() const { return time_; }

    void moveTo(double x, double y, double seconds, bool dragging = false)
    {
        const double fromX = x_;
        const double fromY = y_;
        const int steps = std::max(1, static_cast<int>(seconds / moveStep));
        for (int step = 1; step <= steps && !done(); ++step) {
            const double u = static_cast<double>(step) / steps;
            const double eased = u * u * (3 - 2 * u);
            // A slight arc, as a hand moves, rather than a ruler-straight line.
            const double arc = std::sin(u * M_PI) * 0.06 * std::hypot(x - fromX, y - fromY);
            x_ = fromX + (x - fromX) * eased;
            y_ = fromY + (y - fromY) * eased - arc;
            time_ += moveStep;
            add(dragging ? InputEvent::EventType::mouseDragged : InputEvent::EventType::mouseMove,
                dragging ? std::optional<std::string>("left") : std::nullopt);
        }
    }

    void click(double hold = 0.12)
    {
        add(InputEvent::EventType::leftMouseDown, "left");
        wait(hold);
        add(InputEvent::EventType::leftMouseUp, "left");
    }

    void type(double seconds)
    {
        add(InputEvent::EventType::typingActivityStart, std::nullopt);
        wait(seconds);
        add(InputEvent::EventType::typingActivityEnd, std::nullopt);
    }

    void scroll(double seconds, double notchesPerEvent)
    {
        const int steps = std::max(1, static_cast<int>(seconds / 0.08));
        for (int step = 0; step < steps && !done(); ++step) {
            InputEvent event{time_, InputEvent::EventType::scrollWheel, x_, y_, 0.0, notchesPerEvent, std::nullopt};
            events.push_back(event);
            time_ += 0.08;
        }
    }

    void drag(double x, double y, double seconds)
    {
        add(InputEvent::EventType::leftMouseDown, "left");
        wait(0.08);
        moveTo(x, y, seconds, true);
        add(InputEvent::EventType::leftMouseUp, "left");
    }

    void wait(double seconds) { time_ = std::min(time_ + seconds, duration_); }

    std::vector<InputEvent> events;

private:
    void add(InputEvent::EventType type, std::optional<std::string> button)
    {
        if (time_ > duration_) return;
        events.push_back(InputEvent{time_, type, x_, y_, std::nullopt, std::nullopt, std::move(button)});
    }

    double duration_;
    double time_ = 0.4;
    double x_;
    double y_;
};

SampleScript::Layout makeLayout(double width, double height)
{
    SampleScript::Layout layout;
    layout.window = {width * 0.04, height * 0.07, width * 0.92, height * 0.88};
    layout.titleBarHeight = height * 0.05;
    const double contentTop = layout.window.y + layout.titleBarHeight;
    layout.sidebar = {layout.window.x, contentTop, width * 0.17, layout.window.y + layout.window.height - contentTop};
    layout.sidebarItemHeight = height * 0.055;
    layout.textField = {width * 0.25, height * 0.25, width * 0.4, height * 0.065};
    layout.saveButton = {width * 0.25, height * 0.35, width * 0.1, height * 0.055};
    layout.chart = {width * 0.25, height * 0.46, width * 0.4, height * 0.42};
    layout.list = {width * 0.69, contentTop + height * 0.04, width * 0.25, height * 0.74};
    layout.listRowHeight = height * 0.07;
    return layout;
}

}  // namespace

const std::string& SampleScript::sampleSentence()
{
    static const std::string sentence =
        "Quarterly report: revenue up 18%, churn down to 2.1%. Next: ship the onboarding flow. ";
    return sentence;
}

SampleScript SampleScript::make(double width, double height, double duration)
{
    SampleScript script;
    script.width = width;
    script.height = height;
    script.duration = std::max(duration, 0.0);
    script.layout = makeLayout(width, height);
    const Layout& layout = script.layout;

    ScriptBuilder builder(script.duration, width * 0.5, height * 0.6);
    for (int round = 0; !builder.done(); ++round) {
        builder.moveTo(layout.textField.x + layout.textField.width * 0.3, layout.textField.centerY(), 0.9);
        builder.click();
        builder.wait(0.3);
        builder.type(2.6);
        builder.wait(0.5);
        builder.moveTo(layout.saveButton.centerX(), layout.saveButton.centerY(), 0.7);
        builder.click();
        builder.wait(1.2);
        builder.moveTo(layout.list.centerX(), layout.list.y + layout.list.height * 0.45, 0.9);
        builder.wait(0.3);
        builder.scroll(1.8, round % 2 == 0 ? -1.0 : 1.0);
        builder.wait(1.0);
        const int item = 1 + round % 4;
        builder.moveTo(layout.sidebar.x + layout.sidebar.width * 0.4,
                       layout.sidebar.y + layout.sidebarItemHeight * (item + 0.5), 1.0);
        builder.click();
        builder.wait(1.3);
        builder.moveTo(layout.chart.x + layout.chart.width * 0.2, layout.chart.y + layout.chart.height * 0.6, 0.8);
        builder.drag(layout.chart.x + layout.chart.width * 0.75, layout.chart.y + layout.chart.height * 0.4, 0.9);
        builder.wait(2.5);
    }
    script.events = std::move(builder.events);
    return script;
}

std::size_t SampleScript::lastEventAtOrBefore(double time) const
{
    const auto after = std::upper_bound(events.begin(), events.end(), time,
                                        [](double t, const InputEvent& event) { return t < event.time; });
    return static_cast<std::size_t>(after - events.begin());
}

double SampleScript::pointerX(double time) const
{
    const std::size_t count = lastEventAtOrBefore(time);
    if (count == 0) return events.empty() ? width * 0.5 : events.front().x;
    if (count == events.size()) return events.back().x;
    const InputEvent& a = events[count - 1];
    const InputEvent& b = events[count];
    const double u = b.time > a.time ? (time - a.time) / (b.time - a.time) : 1;
    return a.x + (b.x - a.x) * u;
}

double SampleScript::pointerY(double time) const
{
    const std::size_t count = lastEventAtOrBefore(time);
    if (count == 0) return events.empty() ? height * 0.6 : events.front().y;
    if (count == events.size()) return events.back().y;
    const InputEvent& a = events[count - 1];
    const InputEvent& b = events[count];
    const double u = b.time > a.time ? (time - a.time) / (b.time - a.time) : 1;
    return a.y + (b.y - a.y) * u;
}

bool SampleScript::isPressed(double time) const
{
    bool pressed = false;
    for (std::size_t i = 0, count = lastEventAtOrBefore(time); i < count; ++i) {
        if (events[i].type == InputEvent::EventType::leftMouseDown) pressed = true;
        if (events[i].type == InputEvent::EventType::leftMouseUp) pressed = false;
    }
    return pressed;
}

std::string SampleScript::typedText(double time) const
{
    double typingSeconds = 0;
    double burstStart = 0;
    bool typing = false;
    for (std::size_t i = 0, count = lastEventAtOrBefore(time); i < count; ++i) {
        if (events[i].type == InputEvent::EventType::typingActivityStart) {
            burstStart = events[i].time;
            typing = true;
        }
        if (events[i].type == InputEvent::EventType::typingActivityEnd && typing) {
            typingSeconds += events[i].time - burstStart;
            typing = false;
        }
    }
    if (typing) typingSeconds += time - burstStart;
    const auto typed = static_cast<std::size_t>(typingSeconds * typingCharactersPerSecond);
    const std::string& sentence = sampleSentence();
    const std::size_t visible = typed % (sentence.size() * 2);
    if (visible <= sentence.size()) return sentence.substr(0, visible);
    return sentence.substr(0, sentence.size() * 2 - visible);
}

double SampleScript::listScrollOffset(double time) const
{
    double offset = 0;
    for (std::size_t i = 0, count = lastEventAtOrBefore(time); i < count; ++i) {
        if (events[i].type == InputEvent::EventType::scrollWheel) {
            offset = std::max(0.0, offset - events[i].deltaY.value_or(0) * scrollPixelsPerNotch * height / 1080);
        }
    }
    return offset;
}

int SampleScript::selectedSidebarItem(double time) const
{
    int selected = 0;
    for (std::size_t i = 0, count = lastEventAtOrBefore(time); i < count; ++i) {
        const InputEvent& event = events[i];
        if (event.type != InputEvent::EventType::leftMouseDown) continue;
        if (event.x >= layout.sidebar.x && event.x < layout.sidebar.x + layout.sidebar.width &&
            event.y >= layout.sidebar.y) {
            selected = static_cast<int>((event.y - layout.sidebar.y) / layout.sidebarItemHeight);
        }
    }
    return selected;
}

}  // namespace vantile
