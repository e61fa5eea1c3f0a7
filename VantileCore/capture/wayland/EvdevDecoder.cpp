#include "capture/wayland/EvdevDecoder.h"

#include <cstdlib>

namespace vantile {

namespace {

constexpr int unitsPerNotch = 120;

// Keyboard keys, as opposed to mouse, joystick and other buttons.
bool isKeyboardKey(unsigned code)
{
    return (code >= KEY_ESC && code < BTN_MISC) || (code >= KEY_OK && code < BTN_DPAD_UP) ||
           (code >= KEY_ALS_TOGGLE && code < BTN_TRIGGER_HAPPY);
}

}  // namespace

std::chrono::steady_clock::time_point EvdevDecoder::timeOf(const input_event& event)
{
    const auto sinceEpoch = std::chrono::seconds(event.input_event_sec) + std::chrono::microseconds(event.input_event_usec);
    return std::chrono::steady_clock::time_point(std::chrono::duration_cast<std::chrono::steady_clock::duration>(sinceEpoch));
}

int EvdevDecoder::WheelAxis::notchesOfFrame()
{
    if (reportedHighResolution) highResolution = true;
    int notches = 0;
    if (highResolution) {
        // A turn the other way starts a fresh notch, as the kernel's own whole-notch count does.
        if (highResolutionUnits != 0 && (remainder > 0) != (highResolutionUnits > 0)) remainder = 0;
        remainder += highResolutionUnits;
        notches = remainder / unitsPerNotch;
        remainder -= notches * unitsPerNotch;
    } else {
        notches = wholeNotches;
    }
    wholeNotches = highResolutionUnits = 0;
    reportedHighResolution = false;
    return notches;
}

void EvdevDecoder::button(bool pressed, bool& held, RawInput::Kind down, RawInput::Kind up, const input_event& event)
{
    if (pressed == held) return;
    held = pressed;
    frame_.push_back({.kind = pressed ? down : up, .time = timeOf(event)});
}

void EvdevDecoder::recordShortcuts(std::shared_ptr<const EvdevKeymap> keymap)
{
    chords_.reset();
    if (keymap) chords_.emplace(std::move(keymap));
}

void EvdevDecoder::feed(const input_event& event, std::vector<RawInput>& activity)
{
    if (event.type == EV_SYN) {
        if (event.code == SYN_DROPPED) {
            // The kernel's buffer overflowed: the unfinished frame and everything up to the next
            // report are incomplete.
            frame_.clear();
            leftHeld_ = leftHeldReported_;
            rightHeld_ = rightHeldReported_;
            wheelTurned_ = false;
            vertical_.wholeNotches = vertical_.highResolutionUnits = 0;
            horizontal_.wholeNotches = horizontal_.highResolutionUnits = 0;
            vertical_.reportedHighResolution = horizontal_.reportedHighResolution = false;
            droppingUntilReport_ = true;
            if (chords_) chords_->forgetHeld();
        } else if (event.code == SYN_REPORT) {
            if (droppingUntilReport_)
                droppingUntilReport_ = false;
            else
                finishFrame(activity);
        }
        return;
    }
    if (droppingUntilReport_) return;

    if (event.type == EV_KEY) {
        using Kind = RawInput::Kind;
        if (event.code == BTN_LEFT) {
            button(event.value != 0, leftHeld_, Kind::leftMouseDown, Kind::leftMouseUp, event);
        } else if (event.code == BTN_RIGHT) {
            button(event.value != 0, rightHeld_, Kind::rightMouseDown, Kind::rightMouseUp, event);
        } else if (isKeyboardKey(event.code)) {
            if (event.value != 2)  // 2 is auto-repeat, not a new press
                frame_.push_back({.kind = event.value ? Kind::keyDown : Kind::keyUp, .time = timeOf(event)});
            if (!chords_) return;
            if (auto chord = chords_->keyChanged(event.code, event.value))
                frame_.push_back({.kind = Kind::shortcut, .keys = std::move(*chord), .time = timeOf(event)});
        }
        return;
    }
    if (event.type != EV_REL) return;
    WheelAxis* axis = nullptr;
    switch (event.code) {
    case REL_WHEEL: (axis = &vertical_)->wholeNotches += event.value; break;
    case REL_HWHEEL: (axis = &horizontal_)->wholeNotches += event.value; break;
    case REL_WHEEL_HI_RES: (axis = &vertical_)->highResolutionUnits += event.value; break;
    case REL_HWHEEL_HI_RES: (axis = &horizontal_)->highResolutionUnits += event.value; break;
    default: return;
    }
    if (event.code == REL_WHEEL_HI_RES || event.code == REL_HWHEEL_HI_RES) axis->reportedHighResolution = true;
    if (!wheelTurned_) {
        wheelTurned_ = true;
        wheelSlot_ = frame_.size();
        wheelTime_ = timeOf(event);
    }
}

void EvdevDecoder::finishFrame(std::vector<RawInput>& activity)
{
    std::vector<RawInput> scrolls;
    if (wheelTurned_) {
        // One event per notch with a delta of one, up and left positive, as X11 reports wheels:
        // downstream counts scroll events, so their number must not depend on the back end.
        const int up = vertical_.notchesOfFrame();
        const int left = -horizontal_.notchesOfFrame();
        for (int notch = 0; notch < std::abs(up); ++notch)
            scrolls.push_back({.kind = RawInput::Kind::scrollWheel, .scrollingDeltaY = up > 0 ? 1.0 : -1.0, .time = wheelTime_});
        for (int notch = 0; notch < std::abs(left); ++notch)
            scrolls.push_back({.kind = RawInput::Kind::scrollWheel, .scrollingDeltaX = left > 0 ? 1.0 : -1.0, .time = wheelTime_});
        wheelTurned_ = false;
    }
    const auto slot = static_cast<std::ptrdiff_t>(scrolls.empty() ? frame_.size() : wheelSlot_);
    activity.insert(activity.end(), frame_.begin(), frame_.begin() + slot);
    activity.insert(activity.end(), scrolls.begin(), scrolls.end());
    activity.insert(activity.end(), frame_.begin() + slot, frame_.end());
    frame_.clear();
    leftHeldReported_ = leftHeld_;
    rightHeldReported_ = rightHeld_;
}

}  // namespace vantile
