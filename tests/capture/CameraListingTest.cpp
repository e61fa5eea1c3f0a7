#include "X11TestSession.h"

#include "capture/camera/CameraError.h"
#include "capture/camera/DesktopCameraLister.h"
#include "capture/camera/V4l2CameraStream.h"
#include "support/RunCommand.h"
#include "support/TestCameraDaemon.h"

#include <nlohmann/json.hpp>

namespace vantile {
namespace {

using vantile::testing::runCli;

TEST(CameraIdentifier, KeepsAStableNameAndReplacesWhatAShellOrAFileNameWouldTrip)
{
    EXPECT_EQ(cameraIdentifier("test-camera"), "camera-test-camera");
    EXPECT_EQ(cameraIdentifier("v4l2_input.pci-0000:00:14.0-usb 1/x"), "camera-v4l2_input.pci-0000-00-14.0-usb-1-x");
}

TEST(PipeWireCameraLister, ListsTheDaemonsCameraAndNothingWithoutADaemon)
{
    {
        vantile::testing::TestCameraDaemon daemon;
        const std::vector<CameraDevice> cameras = PipeWireCameraLister().cameras();
        ASSERT_EQ(cameras.size(), 1u);
        EXPECT_EQ(cameras[0].id, "camera-test-camera");
        EXPECT_EQ(cameras[0].title, "Test Camera");
        // The test source offers any size; its default is what a stream gets unasked.
        EXPECT_EQ(cameras[0].sizes, (std::vector<CameraSize>{{320, 240}}));
        EXPECT_NE(cameras[0].node, 0u);
    }
    vantile::testing::TemporaryDirectory empty;
    ::setenv("PIPEWIRE_RUNTIME_DIR", empty.path().c_str(), 1);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_TRUE(PipeWireCameraLister().cameras().empty());
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(1));
    ::unsetenv("PIPEWIRE_RUNTIME_DIR");
}

TEST(V4l2CameraLister, NoVideoDevicesIsNoCamerasAndAMissingDeviceIsRefusedWithTheUsersSentence)
{
    bool anyDevice = false;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/dev", error))
        anyDevice = anyDevice || entry.path().filename().string().starts_with("video");
    if (!anyDevice) {
        EXPECT_TRUE(V4l2CameraLister().cameras().empty());
        // Without a PipeWire daemon the desktop's cameras are the V4L2 ones: none here.
        vantile::testing::TemporaryDirectory empty;
        ::setenv("PIPEWIRE_RUNTIME_DIR", empty.path().c_str(), 1);
        EXPECT_TRUE(DesktopCameraLister().cameras().empty());
        ::unsetenv("PIPEWIRE_RUNTIME_DIR");
    }
    vantile::testing::TemporaryDirectory directory;
    try {
        V4l2CameraStream stream((directory / "video9").string());
        ADD_FAILURE() << "a device that is not there was opened";
    } catch (const CameraError& refused) {
        EXPECT_EQ(refused.kind(), CameraError::Kind::noPicture);
        EXPECT_NE(std::string(refused.what()).find("本次录制不含摄像头"), std::string::npos);
    }
}

class CameraSourcesTest : public vantile::testing::X11TestSession {};

TEST_F(CameraSourcesTest, SourcesListCamerasAfterTheScreensAndWithoutADaemonJustTheScreens)
{
    vantile::testing::TemporaryDirectory empty;
    ::setenv("PIPEWIRE_RUNTIME_DIR", empty.path().c_str(), 1);
    const auto screensOnly = runCli({"sources", "--json"});
    ASSERT_EQ(screensOnly.exitCode, 0) << screensOnly.standardError;
    const Json screens = Json::parse(screensOnly.standardOutput);
    ASSERT_FALSE(screens.empty());
    for (const Json& source : screens) EXPECT_NE(source["kind"], "camera");

    vantile::testing::TestCameraDaemon daemon;
    const auto withCamera = runCli({"sources", "--json"});
    ASSERT_EQ(withCamera.exitCode, 0) << withCamera.standardError;
    Json listed = Json::parse(withCamera.standardOutput);
    ASSERT_EQ(listed.size(), screens.size() + 1);
    EXPECT_EQ(listed.back(), Json::parse(R"({"id": "camera-test-camera", "kind": "camera", "title": "Test Camera",
                                             "sizes": [{"width": 320, "height": 240}]})"));
    listed.erase(listed.size() - 1);
    EXPECT_EQ(listed, screens);

    const auto readable = runCli({"sources"});
    EXPECT_NE(readable.standardOutput.find("camera-test-camera  Test Camera  320x240\n"), std::string::npos)
        << readable.standardOutput;
    ::unsetenv("PIPEWIRE_RUNTIME_DIR");
}

}  // namespace
}  // namespace vantile
