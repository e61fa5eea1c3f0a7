#include "capture/InputEventRecorder.h"

#include <algorithm>
#include <utility>

namespace vantile {

InputEventRecorder::InputEventRecorder(InputSource* source, Timebase::Clock clock)
    : source_(source), clock_(std::move(clock)), self_(std::make_shared<InputEventRecorder*>(this))
{
    if (!clock_) clock_ = [] { return std::chrono::steady_clock::now(); };
}

InputEventRecorder::~InputEventRecorder()
{
    *self_ = nullptr;
    if (monitoring_ && source_) source_->remove();
}

void InputEventRecorder::start(const CGRectCodable& captureRegion, std::int64_t fps)
{
    stop();
    captureRegion_ = captureRegion;
    mouseMoveInterval_ = 1.0 / static_cast<double>(std::max<std::int64_t>(fps, 1));
    timebase_.emplace(clock_);
    events_.clear();
    lastMouseMoveTime_ = -1;
    heldBackMove_.reset();
    leftPressedOnOwnWindow_ = rightPressedOnOwnWindow_ = false;
    typingActive_ = false;
    if (!source_) return;
    std::weak_ptr<InputEventRecorder*> weak = self_;
    monitoring_ = source_->install([weak](const RawInput& input) {
        if (auto strong = weak.lock(); strong && *strong) (*strong)->handle(input);
    });
}

std::vector<InputEvent> InputEventRecorder::stop()
{
    if (monitoring_) {
        if (source_) source_->remove();
        monitoring_ = false;
    }
    releaseHeldBackMove();
    closeTypingIfNeeded();
    return snapshot();
}

std::vector<InputEvent> InputEventRecorder::snapshot() const
{
    std::vector<InputEvent> sorted = events_;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const InputEvent& a, const InputEvent& b) { return a.time < b.time; });
    return sorted;
}

CodablePoint InputEventRecorder::localPoint(const CodablePoint& global) const
{
    // Root coordinates already grow downwards, so no flip: only shift and clamp.
    const double x = std::min(std::max(global.x - captureRegion_.minX(), 0.0), captureRegion_.width);
    const double y = std::min(std::max(global.y - captureRegion_.minY(), 0.0), captureRegion_.height);
    return {x, y};
}

void InputEventRecorder::handle(const RawInput& input)
{
    if (!timebase_) return;
    // Input noticed a little before the recording began still counts as its first instant.
    const double time = input.time
                            ? std::max(std::chrono::duration<double>(*input.time - timebase_->start()).count(), 0.0)
                            : timebase_->elapsedSeconds();
    std::optional<CodablePoint> global = input.location;
    if (!global && source_) global = source_->pointerLocation();
    const bool overOwnWindow = global && excludedAreas_ && excludedAreas_->contains(*global);
    if (global && !overOwnWindow) lastPointerPoint_ = localPoint(*global);
    const CodablePoint point = lastPointerPoint_;

    InputEvent event{.time = time, .x = point.x, .y = point.y};
    using Kind = RawInput::Kind;
    using Type = InputEvent::EventType;
    if (input.kind != Kind::mouseMoved) releaseHeldBackMove();
    if (isOwnInput(input.kind, overOwnWindow)) return;
    switch (input.kind) {
    case Kind::leftMouseDown:
        event.type = Type::leftMouseDown;
        event.button = "left";
        break;
    case Kind::leftMouseUp:
        event.type = Type::leftMouseUp;
        event.button = "left";
        break;
    case Kind::rightMouseDown:
        event.type = Type::rightMouseDown;
        event.button = "right";
        break;
    case Kind::rightMouseUp:
        event.type = Type::rightMouseUp;
        event.button = "right";
        break;
    case Kind::mouseMoved:
        event.type = Type::mouseMove;
        if (time - lastMouseMoveTime_ < mouseMoveInterval_) {
            heldBackMove_ = std::move(event);
            return;
        }
        lastMouseMoveTime_ = time;
        heldBackMove_.reset();
        break;
    case Kind::leftMouseDragged:
    case Kind::rightMouseDragged:
        event.type = Type::mouseDragged;
        break;
    case Kind::scrollWheel:
        event.type = Type::scrollWheel;
        event.deltaX = input.scrollingDeltaX;
        event.deltaY = input.scrollingDeltaY;
        break;
    case Kind::keyDown:
        handleKeyDown(time);
        return;
    case Kind::keyUp:
        lastKeyTime_ = time;
        return;
    case Kind::shortcut:
        event.type = Type::keyboardShortcut;
        event.keys = input.keys;
        break;
    }
    append(std::move(event));
}

bool InputEventRecorder::isOwnInput(RawInput::Kind kind, bool overOwnWindow)
{
    using Kind = RawInput::Kind;
    switch (kind) {
    case Kind::leftMouseDown: return leftPressedOnOwnWindow_ = overOwnWindow;
    case Kind::rightMouseDown: return rightPressedOnOwnWindow_ = overOwnWindow;
    // A release ends the gesture its press began, wherever the pointer is by then.
    case Kind::leftMouseUp: return std::exchange(leftPressedOnOwnWindow_, false);
    case Kind::rightMouseUp: return std::exchange(rightPressedOnOwnWindow_, false);
    case Kind::leftMouseDragged: return overOwnWindow || leftPressedOnOwnWindow_;
    case Kind::rightMouseDragged: return overOwnWindow || rightPressedOnOwnWindow_;
    case Kind::mouseMoved:
    case Kind::scrollWheel: return overOwnWindow;
    case Kind::keyDown:
    case Kind::keyUp:
    case Kind::shortcut: return false;
    }
    return false;
}

void InputEventRecorder::releaseHeldBackMove()
{
    if (!heldBackMove_) return;
    lastMouseMoveTime_ = heldBackMove_->time;
    append(*std::exchange(heldBackMove_, std::nullopt));
}

void InputEventRecorder::handleKeyDown(double time)
{
    if (typingActive_) {
        if (time - lastKeyTime_ <= typingPause) {
            lastKeyTime_ = time;
            return;
        }
        append({.time = std::max(lastKeyTime_ + typingTail, 0.0), .type = InputEvent::EventType::typingActivityEnd,
                .x = lastPointerPoint_.x, .y = lastPointerPoint_.y});
    }
    typingActive_ = true;
    append({.time = time, .type = InputEvent::EventType::typingActivityStart, .x = lastPointerPoint_.x,
            .y = lastPointerPoint_.y});
    lastKeyTime_ = time;
}

void InputEventRecorder::closeTypingIfNeeded()
{
    if (!typingActive_) return;
    append({.time = std::max(lastKeyTime_ + typingTail, 0.0), .type = InputEvent::EventType::typingActivityEnd,
            .x = lastPointerPoint_.x, .y = lastPointerPoint_.y});
    typingActive_ = false;
}

void InputEventRecorder::append(InputEvent event)
{
    events_.push_back(std::move(event));
    if (observer_) observer_(events_.back());
}

}  // namespace vantile
