// The global shortcuts portal client against a private session bus: a desktop without the portal,
// one that binds and reports presses, and one whose user declines.
#include "capture/wayland/GlobalShortcutsPortal.h"
#include "support/ChildProcess.h"
#include "support/ShortcutsPortalStandIn.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <poll.h>

using namespace std::chrono_literals;
using namespace vantile;
using vantile::testing::TemporaryDirectory;

namespace {

class GlobalShortcutsPortalTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        address = "unix:path=" + (directory / "bus").string();
        bus = std::make_unique<ChildProcess>(std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--nopidfile",
                                                                      "--print-address=1", "--address=" + address},
                                             ChildProcess::Options{.captureOutput = true});
        ASSERT_TRUE(bus->readLine(10s).has_value());
    }

    std::unique_ptr<GlobalShortcutsPortal> bind()
    {
        auto portal = std::make_unique<GlobalShortcutsPortal>("stop-recording", "停止录制",
                                                              *parseKeyShortcut("Ctrl+Shift+F9"), address);
        portal->waitUntilSettled(10s);
        return portal;
    }

    // Presses arrive on the bus: waits until the descriptor is readable, as the app's notifier does.
    static int pressesWithin(GlobalShortcutsPortal& portal, std::chrono::milliseconds wait)
    {
        int presses = 0;
        const auto deadline = std::chrono::steady_clock::now() + wait;
        while (std::chrono::steady_clock::now() < deadline) {
            pollfd readable{.fd = portal.fileDescriptor(), .events = POLLIN, .revents = 0};
            poll(&readable, 1, 50);
            presses += portal.dispatchPending();
        }
        return presses;
    }

    TemporaryDirectory directory;
    std::string address;
    std::unique_ptr<ChildProcess> bus;
};

}  // namespace

TEST_F(GlobalShortcutsPortalTest, ADesktopWithoutThePortalIsToldApart)
{
    EXPECT_THROW(GlobalShortcutsPortal("stop-recording", "停止录制", *parseKeyShortcut("Ctrl+Shift+F9"), address),
                 GlobalShortcutsUnavailable);
}

TEST_F(GlobalShortcutsPortalTest, BindsThePreferredTriggerAndCountsOnlyItsOwnPresses)
{
    ShortcutsPortalStandIn desktop(address);
    const auto portal = bind();
    ASSERT_EQ(portal->state(), GlobalShortcutsPortal::State::bound) << portal->failure().value_or("");
    EXPECT_EQ(portal->triggerDescription(), ShortcutsPortalStandIn::boundTriggerDescription);
    ASSERT_EQ(desktop.sessions().size(), 1u);
    const std::string session = desktop.sessions().front();
    const std::vector<RequestedShortcut> expected{{session, "stop-recording", "停止录制", "CTRL+SHIFT+F9"}};
    EXPECT_EQ(desktop.requested(), expected);

    desktop.press(session, "stop-recording");
    desktop.press(session, "stop-recording");
    // Another application's session and another shortcut are not ours.
    desktop.press(session + "x", "stop-recording");
    desktop.press(session, "start-recording");
    EXPECT_EQ(pressesWithin(*portal, 1s), 2);
    EXPECT_EQ(portal->dispatchPending(), 0);
}

TEST_F(GlobalShortcutsPortalTest, ADeclinedBindingCountsNoPresses)
{
    ShortcutsPortalStandIn desktop(address, true);
    const auto portal = bind();
    EXPECT_EQ(portal->state(), GlobalShortcutsPortal::State::refused);
    EXPECT_TRUE(portal->failure());
    ASSERT_EQ(desktop.sessions().size(), 1u);
    desktop.press(desktop.sessions().front(), "stop-recording");
    EXPECT_EQ(pressesWithin(*portal, 500ms), 0);
}
