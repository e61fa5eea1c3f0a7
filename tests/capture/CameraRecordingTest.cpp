#include "X11TestSession.h"

#include "capture/camera/CameraRecorder.h"
#include "store/ProjectFileManager.h"
#include "support/ChildProcess.h"
#include "support/MediaProbe.h"
#include "support/RunCommand.h"
#include "support/TestCameraDaemon.h"

#include <signal.h>

#include <cmath>
#include <sstream>
#include <thread>

namespace vantile {
namespace {

using namespace std::chrono_literals;
using vantile::testing::runCli;


// Mean absolute difference of two RGB frames over a square around (x, y).
double patchDifference(const std::vector<std::uint8_t>& left, const std::vector<std::uint8_t>& right, int width,
                       int x, int y, int radius)
{
    double sum = 0;
    int count = 0;
    for (int row = y - radius; row <= y + radius; ++row) {
        for (int column = x - radius; column <= x + radius; ++column) {
            for (int channel = 0; channel < 3; ++channel) {
                const std::size_t index = (std::size_t(row) * std::size_t(width) + std::size_t(column)) * 3 + std::size_t(channel);
                if (index >= left.size() || index >= right.size()) return -1;
                sum += std::abs(int(left[index]) - int(right[index]));
                ++count;
            }
        }
    }
    return sum / count;
}

class CameraRecordingTest : public vantile::testing::X11TestSession {
protected:
    std::filesystem::path root() const { return directory / "projects"; }
    std::filesystem::path recording() const { return testing::firstEntry(root()).value_or(directory.path()); }
    RecordingProject saved() const { return ProjectFileManager(root()).loadProject(recording()); }
    static const std::string& cameraNote() { static const std::string name = CameraRecorder::noteFileName; return name; }
    bool noteLeft() const
    {
        return std::filesystem::exists(recording() / ProjectFileManager::metadataFolderName / cameraNote());
    }
};

TEST_F(CameraRecordingTest, ScreenAndCameraRecordSideBySideEquallyLongAndExportWithTheBubble)
{
    // A red screen, so the camera's picture cannot pass for it in the export.
    vantile::testing::ColouredWindow window(0, 0, 1280, 720, 0xff0000, "red", vantile::testing::ColouredWindow::Role::frameless);
    vantile::testing::TestCameraDaemon daemon;
    const auto recorded =
        runCli({"record", "--camera", "camera-test-camera", "--duration", "3", "--root", root().string()});
    ASSERT_EQ(recorded.exitCode, 0) << recorded.standardError;
    EXPECT_EQ(recorded.standardError.find("摄像头"), std::string::npos) << recorded.standardError;

    const std::filesystem::path camera = recording() / "camera.mov";
    const auto probed = vantile::testing::probe(camera);
    const auto video = vantile::testing::streamOfType(probed, "video");
    ASSERT_FALSE(video.is_null()) << camera;
    EXPECT_TRUE(vantile::testing::streamOfType(probed, "audio").is_null());
    EXPECT_EQ(video["codec_name"], "h264");
    EXPECT_EQ(video["r_frame_rate"], "30/1");
    EXPECT_EQ(video["avg_frame_rate"], "30/1");  // no gaps: every tick has a frame
    const double cameraSeconds = vantile::testing::videoPacketSeconds(camera);
    const double screenSeconds = vantile::testing::videoPacketSeconds(recording() / "raw.mov");
    EXPECT_GT(screenSeconds, 2.9);
    EXPECT_NEAR(cameraSeconds, screenSeconds, 1.0 / 30 + 1e-3);

    const RecordingProject project = saved();
    ASSERT_TRUE(project.camera);
    // The camera was streaming before the screen's first frame, so both start together.
    EXPECT_EQ(*project.camera, (CameraRecording{.path = "camera.mov", .width = video["width"], .height = video["height"],
                                                .fps = 30, .startOffset = 0}));
    EXPECT_EQ(project.camera->width, 320);
    EXPECT_FALSE(noteLeft());

    const auto withBubble = runCli({"export", recording().string(), "--resolution", "720p", "-o",
                                    (directory / "with.mp4").string()});
    ASSERT_EQ(withBubble.exitCode, 0) << withBubble.standardError;
    const auto without = runCli({"export", recording().string(), "--resolution", "720p", "--camera", "off", "-o",
                                 (directory / "without.mp4").string()});
    ASSERT_EQ(without.exitCode, 0) << without.standardError;
    // The bubble's default place: bottom right, a quarter of the short side, 4% from the edges.
    const int centreX = 1280 - static_cast<int>(720 * 0.04) - 90;
    const int centreY = 720 - static_cast<int>(720 * 0.04) - 90;
    const auto shown = vantile::testing::frameAt(directory / "with.mp4", 1.5);
    const auto hidden = vantile::testing::frameAt(directory / "without.mp4", 1.5);
    ASSERT_EQ(shown.size(), 1280u * 720u * 3u);
    EXPECT_GT(patchDifference(shown, hidden, 1280, centreX, centreY, 20), 20);
    EXPECT_LT(patchDifference(shown, hidden, 1280, 300, 300, 20), 2);
}

TEST_F(CameraRecordingTest, AMissingCameraOrNoPipeWireRecordsTheScreenAloneAndSaysWhatToDo)
{
    {
        vantile::testing::TestCameraDaemon daemon;
        const auto recorded =
            runCli({"record", "--camera", "camera-nosuch", "--duration", "1", "--root", root().string()});
        ASSERT_EQ(recorded.exitCode, 0) << recorded.standardError;
        EXPECT_NE(recorded.standardError.find("找不到摄像头 camera-nosuch。请确认摄像头已连接"), std::string::npos)
            << recorded.standardError;
        EXPECT_FALSE(saved().camera);
        EXPECT_FALSE(std::filesystem::exists(recording() / "camera.mov"));
        EXPECT_GT(vantile::testing::countVideoFrames(recording() / "raw.mov"), 20);
        std::filesystem::remove_all(recording());
    }
    vantile::testing::TemporaryDirectory noDaemon;
    ::setenv("PIPEWIRE_RUNTIME_DIR", noDaemon.path().c_str(), 1);
    const auto recorded = runCli({"record", "--camera", "default", "--duration", "1", "--root", root().string()});
    ::unsetenv("PIPEWIRE_RUNTIME_DIR");
    ASSERT_EQ(recorded.exitCode, 0) << recorded.standardError;
    EXPECT_NE(recorded.standardError.find("没有找到可用的摄像头。请连接摄像头并确认 PipeWire 正在运行"), std::string::npos)
        << recorded.standardError;
    EXPECT_FALSE(saved().camera);
    EXPECT_GT(vantile::testing::countVideoFrames(recording() / "raw.mov"), 20);
}

TEST_F(CameraRecordingTest, ACameraThatStopsMidTakeEndsItsMovieThereAndTheScreenGoesOn)
{
    vantile::testing::TestCameraDaemon daemon;
    vantile::testing::CommandResult recorded;
    std::thread recorder([&] {
        recorded = runCli({"record", "--camera", "default", "--duration", "4", "--root", root().string()});
    });
    const bool cameraRan = waitUntil([&] { return vantile::testing::videoPacketSeconds(recording() / "camera.mov") >= 1.0; }, 15s);
    daemon.stop();
    recorder.join();
    ASSERT_TRUE(cameraRan);
    ASSERT_EQ(recorded.exitCode, 0) << recorded.standardError;
    EXPECT_NE(recorded.standardError.find("摄像头在录制中断开"), std::string::npos) << recorded.standardError;

    const double cameraSeconds = vantile::testing::videoPacketSeconds(recording() / "camera.mov");
    const double screenSeconds = vantile::testing::videoPacketSeconds(recording() / "raw.mov");
    EXPECT_GE(cameraSeconds, 1.0);
    EXPECT_GT(screenSeconds, 3.9);
    EXPECT_LT(cameraSeconds, screenSeconds - 0.5);
    const RecordingProject project = saved();
    ASSERT_TRUE(project.camera);
    EXPECT_EQ(project.camera->startOffset, 0);
}

TEST_F(CameraRecordingTest, AKilledRecordingIsRecoveredWithItsCamera)
{
    vantile::testing::TestCameraDaemon daemon;
    ChildProcess recorder({VANTILE_CLI, "record", "--camera", "default", "--duration", "60", "--root", root().string()},
                          {});
    ASSERT_TRUE(waitUntil([&] {
        return vantile::testing::videoPacketSeconds(recording() / "camera.mov") >= 1.5 && vantile::testing::videoPacketSeconds(recording() / "raw.mov") >= 1.5;
    }));
    kill(recorder.pid(), SIGKILL);
    recorder.stop();
    EXPECT_TRUE(noteLeft());

    const auto recovered = runCli({"recover", recording().string()});
    ASSERT_EQ(recovered.exitCode, 0) << recovered.standardError;
    EXPECT_GE(vantile::testing::countVideoFrames(recording() / "camera.mov"), 45);
    EXPECT_GE(vantile::testing::countVideoFrames(recording() / "raw.mov"), 45);
    const RecordingProject project = saved();
    ASSERT_TRUE(project.camera);
    EXPECT_EQ(*project.camera, (CameraRecording{.path = "camera.mov", .width = 320, .height = 240, .fps = 30,
                                                .startOffset = 0}));
    EXPECT_FALSE(noteLeft());
}

}  // namespace
}  // namespace vantile
