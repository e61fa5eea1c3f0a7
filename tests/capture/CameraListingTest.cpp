#include "X11TestSession.h"

#include "capture/camera/PipeWireCameraLister.h"
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
