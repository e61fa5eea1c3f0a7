#include "capture/wayland/WaylandInputSource.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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
    : pointer_(std::move(pointer)), devices_(std::move(inputDirectory), std::move(openDevice)),
      pollFd_(epoll_create1(EPOLL_CLOEXEC))
{
    if (pollFd_ < 0) throw std::system_error(errno, std::generic_category(), "epoll_create1");
    // One descriptor for the caller's loop: readable when moves or device records wait.
    for (const int fd : {pointer_->fileDescriptor(), devices_.fileDescriptor()}) {
        epoll_event ready{.events = EPOLLIN, .data = {.fd = fd}};
        if (epoll_ctl(pollFd_, EPOLL_CTL_ADD, fd, &ready) < 0) {
            const int error = errno;
            ::close(pollFd_);
            throw std::system_error(error, std::generic_category(), "epoll_ctl");
        }
    }
}

WaylandInputSource::~WaylandInputSource()
{
    remove();
    ::close(pollFd_);
}

bool WaylandInputSource::install(Handler handler)
{
    remove();
    handler_ = std::move(handler);
    left_ = right_ = {};
    // Moves from before the recording are not part of it.
    pointer_->discardMoves();
    devices_.open();
    return true;
}

void WaylandInputSource::remove()
{
    if (!handler_) return;
    devices_.close();
    pointer_->discardMoves();
    handler_ = nullptr;
}

CodablePoint WaylandInputSource::pointerLocation() { return pointer_->latest().value_or(CodablePoint{}); }

void WaylandInputSource::dispatchPending()
{
    if (!handler_) return;
    std::vector<RawInput> inputs = devices_.readPending();
    for (const PointerTracker::Move& move : pointer_->takeMoves())
        inputs.push_back({.kind = RawInput::Kind::mouseMoved, .time = move.time, .location = move.position});
    std::ranges::stable_sort(inputs, [](const RawInput& a, const RawInput& b) { return *a.time < *b.time; });
    for (RawInput& input : inputs) {
        deliver(std::move(input));
        if (!handler_) return;  // the handler removed the source
    }
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
    default: break;
    }
    if (!input.location) input.location = pointer_->positionAt(time);
    handler_(input);
}

}  // namespace vantile
