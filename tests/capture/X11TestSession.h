#pragma once

#include "support/VirtualDisplay.h"
#include "capture/x11/X11Connection.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>

// A private Xvfb for one test and plain coloured windows on it.
namespace vantile::testing {

class X11TestSession : public ::testing::Test {
protected:
    void SetUp() override
    {
        display = std::make_unique<VirtualDisplay>(1280, 720);
        setenv("DISPLAY", display->name().c_str(), 1);
    }
    void TearDown() override { display.reset(); }

    // Runs an xdotool command line against the test's display.
    static void xdotool(const std::string& arguments)
    {
        const int status = std::system(("xdotool " + arguments + " >/dev/null 2>&1").c_str());
        ASSERT_EQ(status, 0) << "xdotool " << arguments;
    }

    // Polls `condition` until it holds or the limit passes.
    static bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit = std::chrono::seconds(30))
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!condition() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return condition();
    }

    std::unique_ptr<VirtualDisplay> display;
    TemporaryDirectory directory;
};

// A top-level window filled with one colour, with a title and class so it is listed.
class ColouredWindow {
public:
    // How a window manager is asked to treat it: an ordinary framed window, the desktop
    // (undecorated, below everything), or a window without a frame.
    enum class Role { normal, desktop, frameless };

    ColouredWindow(int x, int y, int width, int height, std::uint32_t rgb, const std::string& title,
                   Role role = Role::normal)
    {
        window_ = xcb_generate_id(connection_.get());
        const std::uint32_t values[] = {rgb};
        xcb_create_window(connection_.get(), XCB_COPY_FROM_PARENT, window_, connection_.root(),
                          static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                          static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, connection_.screen()->root_visual, XCB_CW_BACK_PIXEL, values);
        xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                            static_cast<std::uint32_t>(title.size()), title.data());
        const char windowClass[] = "testapp\0Test App";
        xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                            sizeof windowClass, windowClass);
        if (role == Role::desktop) {
            const xcb_atom_t desktopType = atom("_NET_WM_WINDOW_TYPE_DESKTOP");
            xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, window_, atom("_NET_WM_WINDOW_TYPE"),
                                XCB_ATOM_ATOM, 32, 1, &desktopType);
        } else if (role == Role::frameless) {
            // Motif hints: flags = decorations given, decorations = none.
            const std::uint32_t hints[] = {2, 0, 0, 0, 0};
            const xcb_atom_t motifHints = atom("_MOTIF_WM_HINTS");
            xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, window_, motifHints, motifHints, 32, 5, hints);
        }
        xcb_map_window(connection_.get(), window_);
        settle();
    }

    std::uint32_t id() const { return window_; }

    void move(int x, int y)
    {
        const std::uint32_t values[] = {static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)};
        xcb_configure_window(connection_.get(), window_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
        settle();
    }

    void destroy()
    {
        xcb_destroy_window(connection_.get(), window_);
        settle();
    }

private:
    xcb_atom_t atom(const char* name)
    {
        auto* reply = xcb_intern_atom_reply(
            connection_.get(), xcb_intern_atom(connection_.get(), 0, static_cast<std::uint16_t>(strlen(name)), name), nullptr);
        const xcb_atom_t found = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
        free(reply);
        return found;
    }

    // A round trip: once it is answered, the server has acted on every request sent before it.
    void settle()
    {
        free(xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
    }

    X11Connection connection_;
    xcb_window_t window_ = 0;
};

}  // namespace vantile::testing
