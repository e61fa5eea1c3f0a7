#pragma once

#include "capture/ExcludedAreas.h"
#include "capture/InputSource.h"
#include "capture/Timebase.h"
#include "model/Geometry.h"
#include "model/InputEvent.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vantile {

// Turns global input activity into time-sorted InputEvents local to the captured region.
// Keyboard input only opens and closes typing bursts; which key was pressed never leaves
// the handler. Single-threaded: use it from the thread that dispatches the input source.
class InputEventRecorder {
public:
    using EventObserver = std::function<void(const InputEvent&)>;

    explicit InputEventRecorder(InputSource* source, Timebase::Clock clock = nullptr);
    ~InputEventRecorder();

    InputEventRecorder(const InputEventRecorder&) = delete;
    InputEventRecorder& operator=(const InputEventRecorder&) = delete;

    // captureRegion is in global screen coordinates; pointer moves are logged at most once a
    // frame of a movie recorded at `fps`.
    void start(const CGRectCodable& captureRegion, std::int64_t fps = 30);
    std::vector<InputEvent> stop();
    std::vector<InputEvent> snapshot() const;

    // Called with every event as it is appended (also late typing ends), e.g. to journal it.
    void setEventObserver(EventObserver observer) { observer_ = std::move(observer); }

    // Input over these areas (the application's own windows) is not the user's take: presses,
    // releases and drags of a press made there, moves, drags and scrolls there are dropped, and
    // typing is placed where the pointer last was outside them.
    void setExcludedAreas(std::shared_ptr<const ExcludedAreas> areas) { excludedAreas_ = std::move(areas); }

    bool isMonitoring() const { return monitoring_; }

    // The monitor's entry point; public so other monitors can feed it.
    void handle(const RawInput& input);

    static constexpr double typingPause = 1.0;
    static constexpr double typingTail = 0.2;

private:
    void releaseHeldBackMove();
    bool isOwnInput(RawInput::Kind kind, bool overOwnWindow);
    void handleKeyDown(double time);
    void closeTypingIfNeeded();
    void append(InputEvent event);
    CodablePoint localPoint(const CodablePoint& global) const;

    InputSource* source_;
    Timebase::Clock clock_;
    bool monitoring_ = false;
    std::optional<Timebase> timebase_;
    CGRectCodable captureRegion_;
    double mouseMoveInterval_ = 1.0 / 30.0;
    double lastMouseMoveTime_ = -1;
    // The latest move the throttle dropped. It is logged before the next event of another kind,
    // so the path reaches every click even when the pointer jumped and rested within a frame.
    std::optional<InputEvent> heldBackMove_;
    CodablePoint lastPointerPoint_;
    bool typingActive_ = false;
    double lastKeyTime_ = -1;
    std::vector<InputEvent> events_;
    EventObserver observer_;
    std::shared_ptr<const ExcludedAreas> excludedAreas_;
    // A button pressed over an excluded area: its drags and release belong to that gesture.
    bool leftPressedOnOwnWindow_ = false;
    bool rightPressedOnOwnWindow_ = false;
    // Lets a handler installed in the source notice that the recorder is gone.
    std::shared_ptr<InputEventRecorder*> self_;
};

}  // namespace vantile
