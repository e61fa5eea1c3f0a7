// Cameras through the desktop's camera portal, against a private session bus whose portal hands
// out connections to a private PipeWire daemon with a test camera.
#include "capture/camera/CameraChoice.h"
#include "capture/camera/CameraError.h"
#include "capture/camera/DesktopCameraLister.h"
#include "support/CameraPortalStandIn.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"
#include "support/TestCameraDaemon.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace vantile {
namespace {

using namespace std::chrono_literals;

class CameraPortalTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        address = "unix:path=" + (directory / "bus").string();
        // No service directories: a portal absent from this bus must stay absent, not be started.
        vantile::testing::writeText(directory / "bus.conf", R"(<busconfig>
  <type>session</type>
  <listen>)" + address + R"(</listen>
  <policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy>
</busconfig>)");
        bus = std::make_unique<ChildProcess>(
            std::vector<std::string>{"dbus-daemon", "--config-file=" + (directory / "bus.conf").string(), "--nofork",
                                     "--nopidfile", "--print-address=1"},
            ChildProcess::Options{.captureOutput = true});
        ASSERT_TRUE(bus->readLine(10s).has_value());
        remember("DBUS_SESSION_BUS_ADDRESS", address);
        // A Wayland session: cameras are asked for through the portal.
        remember("XDG_SESSION_TYPE", "wayland");
    }
    void TearDown() override
    {
        for (const auto& [name, value] : saved) {
            if (value) ::setenv(name.c_str(), value->c_str(), 1);
            else ::unsetenv(name.c_str());
        }
    }
    void remember(const std::string& name, const std::string& value)
    {
        const char* previous = std::getenv(name.c_str());
        saved.emplace_back(name, previous ? std::optional<std::string>(previous) : std::nullopt);
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    // The daemon is reachable only through the portal: the direct way leads to an empty directory.
    void hideDaemon() { ::setenv("PIPEWIRE_RUNTIME_DIR", elsewhere.path().c_str(), 1); }

    vantile::testing::TemporaryDirectory directory;
    vantile::testing::TemporaryDirectory elsewhere;
    std::string address;
    std::unique_ptr<ChildProcess> bus;
    std::vector<std::pair<std::string, std::optional<std::string>>> saved;
};

TEST_F(CameraPortalTest, AGrantedPortalListsAndStreamsTheCamerasOfItsRemote)
{
    vantile::testing::TestCameraDaemon daemon;
    CameraPortalStandIn portal(address, daemon.runtimeDirectory() / "pipewire-0");
    hideDaemon();
    DesktopCameraLister lister(5s);
    const std::vector<CameraDevice> cameras = lister.cameras();
    ASSERT_EQ(cameras.size(), 1u);
    EXPECT_EQ(cameras[0].id, "camera-test-camera");
    EXPECT_EQ(portal.accessRequests(), 1);
    const auto stream = startChosenCamera("default", lister, 5s);
    CameraPicture picture;
    EXPECT_TRUE(stream->takeNewest(picture));
    EXPECT_EQ(picture.frame.width, 320);
    EXPECT_GE(portal.remotesOpened(), 2);  // listing and streaming each connect on their own
}

TEST_F(CameraPortalTest, ADeclinedPortalMeansNoCameraAndSaysHowToAllowIt)
{
    vantile::testing::TestCameraDaemon daemon;
    CameraPortalStandIn portal(address, daemon.runtimeDirectory() / "pipewire-0", true);
    hideDaemon();
    DesktopCameraLister lister(5s);
    EXPECT_TRUE(lister.cameras().empty());
    try {
        startChosenCamera("default", lister, 5s);
        ADD_FAILURE() << "a declined camera was started";
    } catch (const CameraError& error) {
        EXPECT_NE(std::string(error.what()).find("没有获得使用摄像头的许可"), std::string::npos) << error.what();
    }
    EXPECT_EQ(portal.remotesOpened(), 0);
}

TEST_F(CameraPortalTest, ADesktopWithoutTheCameraPortalIsAskedDirectly)
{
    vantile::testing::TestCameraDaemon daemon;
    const std::vector<CameraDevice> cameras = DesktopCameraLister(5s).cameras();
    ASSERT_EQ(cameras.size(), 1u);
    EXPECT_EQ(cameras[0].title, "Test Camera");
}

}  // namespace
}  // namespace vantile
