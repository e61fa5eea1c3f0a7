#include "capture/wayland/WaylandInputSource.h"

#include "capture/KeysymName.h"
#include "capture/ShortcutChord.h"
#include "capture/wayland/DesktopKeyboardLayout.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <system_error>

namespace vantile {

void WaylandInputSource::ButtonState::set(bool pressed, PointerTracker::TimePoint time)
{
    heldBefore = held;
    held = pressed;
    changedAt = time;
}

WaylandInputSource::WaylandInputSource(std::shared_ptr<PointerTracker> pointer, std::filesystem::path inputDirectory,
                                       InputDeviceOpener openDevice)
    : WaylandInputSource(std::move(pointer),
                         std::make_unique<InputDeviceSet>(std::move(inputDirectory), std::move(openDevice)))
{
    deviceSet_ = static_cast<InputDeviceSet*>(activity_.get());
}

WaylandInputSource::WaylandInputSource(std::shared_ptr<PointerTracker> pointer, std::unique_ptr<InputActivitySource> activity)
    : pointer_(std::move(pointer)), activity_(std::move(activity)), pollFd_(epoll_create1(EPOLL_CLOEXEC)),
      timerFd_(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC))
{
    const auto fail = [this](const char* what) {
        const int error = errno;
        if (pollFd_ >= 0) ::close(pollFd_);
        if (timerFd_ >= 0) ::close(timerFd_);
        throw std::system_error(error, std::generic_category(), what);
    };
    if (pollFd_ < 0 || timerFd_ < 0) fail("epoll_create1/timerfd_create");
    // One descriptor for the caller's loop: readable when moves or device records wait, or
    // when waiting input is due.
    for (const int fd : {pointer_->fileDescriptor(), activity_->fileDescriptor(), timerFd_}) {
        epoll_event ready{.events = EPOLLIN, .data = {.fd = fd}};
        if (epoll_ctl(pollFd_, EPOLL_CTL_ADD, fd, &ready) < 0) fail("epoll_ctl");
    }
}

WaylandInputSource::~WaylandInputSource()
{
    remove();
    ::close(timerFd_);
    ::close(pollFd_);
}

bool WaylandInputSource::install(Handler handler)
{
    remove();
    handler_ = std::move(handler);
    left_ = right_ = {};
    // Moves from before the recording are not part of it.
    pointer_->discardMoves();
    activity_->open();
    return true;
}

void WaylandInputSource::remove()
{
    if (!handler_) return;
    if (!flushing_) {
        // What happened before the end is still told, with the positions known by now.
        flushing_ = true;
        dispatchPending();
        release(true);
        flushing_ = false;
    }
    activity_->close();
    pointer_->discardMoves();
    waiting_.clear();
    armTimer();
    handler_ = nullptr;
}

void WaylandInputSource::recordShortcuts(bool enabled)
{
    activity_->recordShortcuts(enabled ? std::optional(desktopKeyboardLayout()) : std::nullopt);
}

void WaylandInputSource::leaveOutShortcut(const KeyShortcut& shortcut)
{
    // Badges name a letter key by its unshifted (lower-case) symbol.
    const std::uint32_t keysym = shortcut.keysym >= 'A' && shortcut.keysym <= 'Z' ? shortcut.keysym - 'A' + 'a' : shortcut.keysym;
    const ChordModifiers held{.control = shortcut.control, .alt = shortcut.alt, .super = shortcut.super, .shift = shortcut.shift};
    stopChord_ = shortcutChord(held, keyNameOfKeysym(keysym)).value_or("");
}

CodablePoint WaylandInputSource::pointerLocation() { return pointer_->latest().value_or(CodablePoint{}); }

void WaylandInputSource::dispatchPending()
{
    if (!handler_) return;
    std::uint64_t expirations = 0;
    [[maybe_unused]] const ssize_t drained = ::read(timerFd_, &expirations, sizeof expirations);
    std::vector<RawInput> inputs = activity_->readPending();
    for (const PointerTracker::Move& move : pointer_->takeMoves())
        inputs.push_back({.kind = RawInput::Kind::mouseMoved, .time = move.time, .location = move.position});
    const auto byTime = [](const RawInput& a, const RawInput& b) { return *a.time < *b.time; };
    std::ranges::stable_sort(inputs, byTime);
    std::vector<RawInput> merged;
    merged.reserve(waiting_.size() + inputs.size());
    std::ranges::merge(waiting_, inputs, std::back_inserter(merged), byTime);
    waiting_ = std::move(merged);
    release(false);
}

void WaylandInputSource::release(bool all)
{
    auto horizon = std::chrono::steady_clock::now() - pointerLatency;
    if (const auto known = pointer_->latestTime()) horizon = std::max(horizon, *known);
    std::size_t released = 0;
    while (handler_ && released < waiting_.size() && (all || *waiting_[released].time <= horizon))
        deliver(waiting_[released++]);
    if (!handler_) return;  // the handler removed the source, which dropped what waited
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(released));
    armTimer();
}

void WaylandInputSource::armTimer()
{
    itimerspec due{};  // all zero disarms
    if (!waiting_.empty()) {
        const auto at = std::chrono::duration_cast<std::chrono::nanoseconds>((*waiting_.front().time + pointerLatency).time_since_epoch());
        due.it_value.tv_sec = static_cast<time_t>(at.count() / 1'000'000'000);
        due.it_value.tv_nsec = static_cast<long>(at.count() % 1'000'000'000);
        if (due.it_value.tv_sec == 0 && due.it_value.tv_nsec == 0) due.it_value.tv_nsec = 1;
    }
    timerfd_settime(timerFd_, TFD_TIMER_ABSTIME, &due, nullptr);
}

void WaylandInputSource::deliver(RawInput input)
{
    using Kind = RawInput::Kind;
    const PointerTracker::TimePoint time = *input.time;
    switch (input.kind) {
    case Kind::mouseMoved:
        if (left_.heldAt(time))
            input.kind = Kind::leftMouseDragged;
        else if (right_.heldAt(time))
            input.kind = Kind::rightMouseDragged;
        break;
    case Kind::leftMouseDown:
    case Kind::leftMouseUp: left_.set(input.kind == Kind::leftMouseDown, time); break;
    case Kind::rightMouseDown:
    case Kind::rightMouseUp: right_.set(input.kind == Kind::rightMouseDown, time); break;
    case Kind::shortcut:
        if (input.keys == stopChord_) return;
        break;
    default: break;
    }
    if (!input.location) input.location = pointer_->positionAt(time);
    handler_(input);
}

}  // namespace vantile
