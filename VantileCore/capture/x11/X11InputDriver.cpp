#include "capture/x11/X11InputDriver.h"

#include "capture/RecordingError.h"

#include <xcb/xtest.h>

#include <cmath>
#include <thread>

namespace vantile {

namespace {

constexpr std::uint32_t shiftKeysym = 0xffe1;  // Shift_L

}  // namespace

X11InputDriver::X11InputDriver(const std::optional<std::string>& displayName) : connection_(displayName)
{
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection_.get(), &xcb_test_id);
    if (!extension || !extension->present)
        throw RecordingError::captureStartFailed("the X server lacks the XTEST extension");
    // No pointer acceleration, so relative steps land where they are aimed.
    xcb_change_pointer_control(connection_.get(), 1, 1, 1, 1, 1);
    sync();
}

void X11InputDriver::sync() const
{
    const XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
}

CodablePoint X11InputDriver::pointerLocation() const
{
    const XcbReply<xcb_query_pointer_reply_t> reply(xcb_query_pointer_reply(
        connection_.get(), xcb_query_pointer(connection_.get(), connection_.root()), nullptr));
    if (!reply) return {};
    return {static_cast<double>(reply->root_x), static_cast<double>(reply->root_y)};
}

void X11InputDriver::moveBy(int dx, int dy)
{
    if (dx == 0 && dy == 0) return;
    // Detail 1 makes the motion relative.
    xcb_test_fake_input(connection_.get(), XCB_MOTION_NOTIFY, 1, XCB_CURRENT_TIME, XCB_NONE,
                        static_cast<std::int16_t>(dx), static_cast<std::int16_t>(dy), 0);
    sync();
}

void X11InputDriver::glide(const CodablePoint& target, std::chrono::milliseconds duration)
{
    const CodablePoint start = pointerLocation();
    const int steps = std::max(1, static_cast<int>(duration.count() / 12));
    CodablePoint reached = start;
    for (int step = 1; step <= steps; ++step) {
        const double progress = static_cast<double>(step) / steps;
        const double eased = progress * progress * (3 - 2 * progress);
        const CodablePoint next{std::round(start.x + (target.x - start.x) * eased),
                                std::round(start.y + (target.y - start.y) * eased)};
        moveBy(static_cast<int>(next.x - reached.x), static_cast<int>(next.y - reached.y));
        reached = next;
        std::this_thread::sleep_for(duration / steps);
    }
    // Acceleration left on by the server would overshoot; correct from the real position.
    for (int attempt = 0; attempt < 4; ++attempt) {
        const CodablePoint now = pointerLocation();
        if (now == target) break;
        moveBy(static_cast<int>(target.x - now.x), static_cast<int>(target.y - now.y));
    }
}

void X11InputDriver::press(int button)
{
    xcb_test_fake_input(connection_.get(), XCB_BUTTON_PRESS, static_cast<std::uint8_t>(button), XCB_CURRENT_TIME,
                        XCB_NONE, 0, 0, 0);
    sync();
}

void X11InputDriver::release(int button)
{
    xcb_test_fake_input(connection_.get(), XCB_BUTTON_RELEASE, static_cast<std::uint8_t>(button), XCB_CURRENT_TIME,
                        XCB_NONE, 0, 0, 0);
    sync();
}

void X11InputDriver::click(int button)
{
    press(button);
    std::this_thread::sleep_for(std::chrono::milliseconds(70));
    release(button);
}

void X11InputDriver::scroll(int button, int notches, std::chrono::milliseconds pause)
{
    for (int notch = 0; notch < notches; ++notch) {
        press(button);
        release(button);
        std::this_thread::sleep_for(pause);
    }
}

void X11InputDriver::key(std::uint8_t keycode, bool down)
{
    xcb_test_fake_input(connection_.get(), down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME,
                        XCB_NONE, 0, 0, 0);
    sync();
}

std::optional<X11InputDriver::KeyStroke> X11InputDriver::strokeFor(std::uint32_t keysym) const
{
    const xcb_setup_t* setup = xcb_get_setup(connection_.get());
    const std::uint8_t first = setup->min_keycode;
    const std::uint8_t count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const XcbReply<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
        connection_.get(), xcb_get_keyboard_mapping(connection_.get(), first, count), nullptr));
    if (!mapping) return std::nullopt;
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const int perKeycode = mapping->keysyms_per_keycode;
    for (int index = 0; index < count; ++index) {
        for (int level = 0; level < std::min(perKeycode, 2); ++level) {
            if (keysyms[index * perKeycode + level] == keysym)
                return KeyStroke{static_cast<std::uint8_t>(first + index), level == 1};
        }
    }
    return std::nullopt;
}

void X11InputDriver::type(const std::string& text, std::chrono::milliseconds perKey)
{
    const auto shift = strokeFor(shiftKeysym);
    for (const char character : text) {
        // Printable ASCII keysyms equal their character codes.
        const auto stroke = strokeFor(static_cast<unsigned char>(character));
        if (!stroke) continue;
        if (stroke->shifted && shift) key(shift->keycode, true);
        key(stroke->keycode, true);
        std::this_thread::sleep_for(perKey / 2);
        key(stroke->keycode, false);
        if (stroke->shifted && shift) key(shift->keycode, false);
        std::this_thread::sleep_for(perKey / 2);
    }
}

}  // namespace vantile
