#include "engine/EventStreams.h"

#include "engine/EngineTestSupport.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace vantile::testing {

using Type = InputEvent::EventType;

std::vector<InputEvent> randomStream(std::uint64_t seed, const RandomStreamOptions& options)
{
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    // Weighted towards the kinds that make segments, with every kind present.
    const std::vector<std::pair<Type, double>> weights = {
        {Type::mouseMove, 4},      {Type::leftMouseDown, 3},  {Type::leftMouseUp, 1},
        {Type::rightMouseDown, 1}, {Type::rightMouseUp, 0.5}, {Type::mouseDragged, 1},
        {Type::scrollWheel, 4},    {Type::typingActivityStart, 1.5}, {Type::typingActivityEnd, 1.5},
    };
    double total = 0;
    for (const auto& [type, weight] : weights) total += weight;

    std::vector<InputEvent> events;
    events.reserve(options.eventCount);
    // Clustered positions so that merges by distance both happen and fail.
    double anchorX = options.width * unit(random);
    double anchorY = options.height * unit(random);
    for (std::size_t index = 0; index < options.eventCount; ++index) {
        double pick = unit(random) * total;
        Type type = Type::mouseMove;
        for (const auto& [candidate, weight] : weights) {
            if (pick < weight) {
                type = candidate;
                break;
            }
            pick -= weight;
        }
        // A little outside [0, duration] on both sides.
        double time = -0.5 + (options.duration + 1.5) * unit(random);
        if (options.gridTimes) time = std::round(time * 20) / 20;
        if (unit(random) < 0.1) {
            anchorX = options.width * (1.2 * unit(random) - 0.1);
            anchorY = options.height * (1.2 * unit(random) - 0.1);
        }
        double x = anchorX + 300 * (unit(random) - 0.5);
        double y = anchorY + 300 * (unit(random) - 0.5);
        if (unit(random) < 0.2) {
            x = std::round(x / 50) * 50;
            y = std::round(y / 50) * 50;
        }
        events.push_back(makeEvent(time, type, x, y));
        // Exact duplicates of time (and sometimes of place) stress the stable orderings.
        if (unit(random) < 0.05) events.push_back(makeEvent(time, Type::typingActivityStart, x + 1, y));
    }
    if (!options.shuffled) {
        std::stable_sort(events.begin(), events.end(), [](const auto& a, const auto& b) { return a.time < b.time; });
    }
    return events;
}

std::vector<InputEvent> demoSession(double seconds, double width, double height, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const auto between = [&](double low, double high) { return low + (high - low) * unit(random); };
    constexpr double pointerInterval = 1.0 / 120.0;

    std::vector<InputEvent> events;
    events.reserve(static_cast<std::size_t>(seconds * 140));
    double t = 0.2;
    double x = width * 0.5;
    double y = height * 0.5;

    // Eased pointer travel at 120 Hz, as moves or (with the button held) drags.
    const auto glide = [&](double targetX, double targetY, double span, Type type) {
        const double fromX = x;
        const double fromY = y;
        for (double elapsed = pointerInterval; elapsed <= span; elapsed += pointerInterval) {
            const double c = elapsed / span;
            const double eased = c * c * (3 - 2 * c);
            x = fromX + (targetX - fromX) * eased + between(-0.8, 0.8);
            y = fromY + (targetY - fromY) * eased + between(-0.8, 0.8);
            events.push_back(makeEvent(t + elapsed, type, x, y));
        }
        t += span;
    };
    const auto press = [&](Type down, Type up, const char* button) {
        InputEvent pressed = makeEvent(t, down, x, y);
        pressed.button = button;
        events.push_back(pressed);
        t += between(0.07, 0.16);
        InputEvent released = makeEvent(t, up, x, y);
        released.button = button;
        events.push_back(released);
    };

    while (t < seconds - 1) {
        const double choice = unit(random);
        glide(between(0.05, 0.95) * width, between(0.05, 0.95) * height, between(0.3, 1.6), Type::mouseMove);
        if (choice < 0.35) {
            press(Type::leftMouseDown, Type::leftMouseUp, "left");
            if (unit(random) < 0.3) {
                t += between(0.1, 0.3);
                press(Type::leftMouseDown, Type::leftMouseUp, "left");  // double click
            }
        } else if (choice < 0.45) {
            press(Type::rightMouseDown, Type::rightMouseUp, "right");
        } else if (choice < 0.55) {
            InputEvent pressed = makeEvent(t, Type::leftMouseDown, x, y);
            pressed.button = "left";
            events.push_back(pressed);
            glide(between(0.1, 0.9) * width, between(0.1, 0.9) * height, between(0.4, 1.5), Type::mouseDragged);
            InputEvent released = makeEvent(t + 0.01, Type::leftMouseUp, x, y);
            released.button = "left";
            events.push_back(released);
        } else if (choice < 0.8) {
            // Trackpad scrolling: wheel events at about 100 Hz while the pointer drifts at 120 Hz.
            const double end = t + between(0.5, 4.5);
            double nextMove = t;
            for (; t < end; t += between(0.006, 0.014)) {
                InputEvent scroll = makeEvent(t, Type::scrollWheel, x, y);
                scroll.deltaX = 0.0;
                scroll.deltaY = std::round(between(-3, 3));
                events.push_back(scroll);
                for (; nextMove <= t; nextMove += pointerInterval) {
                    x += between(-0.6, 0.6);
                    y += between(-0.6, 0.6);
                    events.push_back(makeEvent(nextMove, Type::mouseMove, x, y));
                }
            }
        } else if (choice < 0.9) {
            press(Type::leftMouseDown, Type::leftMouseUp, "left");
            t += between(0.2, 0.6);
            events.push_back(makeEvent(t, Type::typingActivityStart, x, y));
            t += between(0.8, 3.5);
            // Now and then the recording stops mid-burst and the end never comes.
            if (unit(random) < 0.9) events.push_back(makeEvent(t, Type::typingActivityEnd, x, y));
        }
        // Between actions the hand rests on the mouse: the pointer mostly drifts a little, sometimes stays still.
        const double pause = between(0.05, 3.0);
        if (unit(random) < 0.95) {
            glide(x + between(-60, 60), y + between(-40, 40), pause, Type::mouseMove);
        } else {
            t += pause;
        }
    }
    std::erase_if(events, [&](const InputEvent& e) { return e.time > seconds; });
    return events;
}

}  // namespace vantile::testing
