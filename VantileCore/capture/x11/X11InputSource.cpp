#include "capture/x11/X11InputSource.h"

#include "capture/x11/X11GlobalShortcut.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <xcb/xinput.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace vantile {

namespace {

struct RawEventMask {
    xcb_input_event_mask_t head;
    std::uint32_t bits;
};

constexpr std::uint32_t rawEventBits =
    XCB_INPUT_XI_EVENT_MASK_RAW_MOTION | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS |
    XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS |
    XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE;

// Buttons 4/5 scroll up/down and 6/7 left/right; one notch is a delta of 1, up and left positive.
std::optional<RawInput> scrollFor(std::uint32_t button)
{
    switch (button) {
    case 4: return RawInput{.kind = RawInput::Kind::scrollWheel, .scrollingDeltaY = 1};
    case 5: return RawInput{.kind = RawInput::Kind::scrollWheel, .scrollingDeltaY = -1};
    case 6: return RawInput{.kind = RawInput::Kind::scrollWheel, .scrollingDeltaX = 1};
    case 7: return RawInput{.kind = RawInput::Kind::scrollWheel, .scrollingDeltaX = -1};
    default: return std::nullopt;
    }
}

}  // namespace

X11InputSource::X11InputSource(const std::optional<std::string>& displayName)
    : connection_(displayName), readiness_(epoll_create1(EPOLL_CLOEXEC)),
      pollTimer_(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC))
{
    if (readiness_.get() < 0 || pollTimer_.get() < 0)
        throw std::system_error(errno, std::generic_category(), "epoll_create1/timerfd_create");
    for (const int descriptor : {xcb_get_file_descriptor(connection_.get()), pollTimer_.get()}) {
        epoll_event ready{.events = EPOLLIN, .data = {.fd = descriptor}};
        if (epoll_ctl(readiness_.get(), EPOLL_CTL_ADD, descriptor, &ready) < 0)
            throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    }
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection_.get(), &xcb_input_id);
    if (!extension || !extension->present) return;
    const XcbReply<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        connection_.get(), xcb_input_xi_query_version(connection_.get(), 2, 2), nullptr));
    if (!version || version->major_version < 2) return;
    xinputOpcode_ = extension->major_opcode;
}

bool X11InputSource::selectRawEvents(bool enable)
{
    RawEventMask mask{};
    mask.head.deviceid = XCB_INPUT_DEVICE_ALL_MASTER;
    mask.head.mask_len = 1;
    mask.bits = enable ? rawEventBits : 0;
    return !connection_.failed(
        xcb_input_xi_select_events_checked(connection_.get(), connection_.root(), 1, &mask.head));
}

bool X11InputSource::install(Handler handler)
{
    if (!xinputOpcode_ || !selectRawEvents(true)) return false;
    handler_ = std::move(handler);
    leftHeld_ = rightHeld_ = false;
    shortcutKeys_.reset();
    // Where the pointer rests at the start is no move.
    pointerLocation();
    armPolling(true);
    return true;
}

void X11InputSource::armPolling(bool enable)
{
    itimerspec due{};  // all zero disarms
    if (enable) {
        due.it_interval.tv_nsec = std::chrono::nanoseconds(pollInterval).count();
        due.it_value = due.it_interval;
    }
    timerfd_settime(pollTimer_.get(), 0, &due, nullptr);
}

void X11InputSource::remove()
{
    if (!handler_) return;
    selectRawEvents(false);
    armPolling(false);
    handler_ = nullptr;
    lastKnownPointer_.reset();
    // Drop whatever was queued before the deselection reached the server.
    while (XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
    }
}

void X11InputSource::leaveOutShortcut(const KeyShortcut& shortcut)
{
    std::vector<ShortcutKeyFilter::Modifier> modifiers;
    for (const auto& [keycode, mask] : modifierKeys(connection_)) modifiers.push_back({keycode, mask});
    shortcutKeys_ = ShortcutKeyFilter(keycodesOfKeysym(connection_, shortcut.keysym), std::move(modifiers),
                                      modifierMaskOf(shortcut));
}

void X11InputSource::recordShortcuts(bool enabled)
{
    chords_.reset();
    if (enabled) chords_.emplace(unshiftedKeysyms(connection_), modifierKeys(connection_));
}

CodablePoint X11InputSource::pointerLocation()
{
    const XcbReply<xcb_query_pointer_reply_t> reply(xcb_query_pointer_reply(
        connection_.get(), xcb_query_pointer(connection_.get(), connection_.root()), nullptr));
    if (!reply) return lastKnownPointer_.value_or(CodablePoint{});
    lastKnownPointer_ = CodablePoint{static_cast<double>(reply->root_x), static_cast<double>(reply->root_y)};
    return *lastKnownPointer_;
}

int X11InputSource::fileDescriptor() const { return readiness_.get(); }

void X11InputSource::pollPointer()
{
    const std::optional<CodablePoint> before = lastKnownPointer_;
    const CodablePoint now = pointerLocation();
    if (before == now) return;
    using Kind = RawInput::Kind;
    handler_({.kind = leftHeld_ ? Kind::leftMouseDragged : rightHeld_ ? Kind::rightMouseDragged : Kind::mouseMoved,
              .location = now});
}

void X11InputSource::dispatchPending()
{
    std::uint64_t expirations = 0;
    // The poll goes first: a press waiting behind it then finds the path already at its position.
    if (::read(pollTimer_.get(), &expirations, sizeof expirations) > 0 && handler_) pollPointer();
    // The reply to the poll may have queued events inside xcb, which the socket no longer signals.
    while (XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        if (handler_) deliver(event.get());
    }
}

void X11InputSource::deliver(const xcb_generic_event_t* event)
{
    if ((event->response_type & 0x7f) != XCB_GE_GENERIC) return;
    const auto* generic = reinterpret_cast<const xcb_ge_generic_event_t*>(event);
    if (generic->extension != xinputOpcode_) return;

    using Kind = RawInput::Kind;
    switch (generic->event_type) {
    case XCB_INPUT_RAW_MOTION: {
        const auto* motion = reinterpret_cast<const xcb_input_raw_motion_event_t*>(event);
        // Smooth-scroll devices also report motion on their scroll axes; only x and y move the pointer.
        const std::uint32_t* mask =
            xcb_input_raw_button_press_valuator_mask(reinterpret_cast<const xcb_input_raw_button_press_event_t*>(motion));
        if (motion->valuators_len == 0 || (mask[0] & 0x3u) == 0) return;
        handler_({.kind = leftHeld_    ? Kind::leftMouseDragged
                          : rightHeld_ ? Kind::rightMouseDragged
                                       : Kind::mouseMoved});
        return;
    }
    case XCB_INPUT_RAW_BUTTON_PRESS:
    case XCB_INPUT_RAW_BUTTON_RELEASE: {
        const auto* button = reinterpret_cast<const xcb_input_raw_button_press_event_t*>(event);
        const bool pressed = generic->event_type == XCB_INPUT_RAW_BUTTON_PRESS;
        shortcutKeys_.flush(handler_);
        if (button->detail == 1) {
            leftHeld_ = pressed;
            handler_({.kind = pressed ? Kind::leftMouseDown : Kind::leftMouseUp});
        } else if (button->detail == 3) {
            rightHeld_ = pressed;
            handler_({.kind = pressed ? Kind::rightMouseDown : Kind::rightMouseUp});
        } else if (pressed) {
            if (const auto scroll = scrollFor(button->detail)) handler_(*scroll);
        }
        return;
    }
    // The key's identity (the event's detail) goes no further than the stop shortcut's filter and,
    // when the user asked for shortcut badges, the chord namer, which names only Ctrl/Alt/Super chords.
    case XCB_INPUT_RAW_KEY_PRESS:
    case XCB_INPUT_RAW_KEY_RELEASE: {
        const auto* key = reinterpret_cast<const xcb_input_raw_key_press_event_t*>(event);
        const auto keycode = static_cast<std::uint8_t>(key->detail);
        if (generic->event_type == XCB_INPUT_RAW_KEY_RELEASE) {
            if (chords_) chords_->keyReleased(keycode);
            shortcutKeys_.keyReleased(keycode, handler_);
            return;
        }
        const std::optional<std::string> chord = chords_ ? chords_->keyPressed(keycode) : std::nullopt;
        // The stop shortcut's own press never reaches the log, so it gets no badge either.
        bool typed = false;
        shortcutKeys_.keyPressed(keycode, [&](const RawInput& input) {
            typed = typed || (input.kind == Kind::keyDown && !input.time);
            handler_(input);
        });
        if (chord && typed) handler_({.kind = Kind::shortcut, .keys = *chord});
        return;
    }
    default: return;
    }
}

}  // namespace vantile
