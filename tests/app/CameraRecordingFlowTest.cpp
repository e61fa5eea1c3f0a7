#include "FakeServices.h"

#include "DesktopCameraService.h"
#include "capture/camera/CameraRecorder.h"
#include "support/TestCameraDaemon.h"

#include <gtest/gtest.h>

#include <memory>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::TestCameraDaemon;
using testing::waitFor;

constexpr const char* testCameraId = "camera-test-camera";

// An app over the fakes, but with the desktop's cameras: the test daemon's.
struct CameraApp : AppFixture {
    CameraApp() : AppFixture(std::chrono::milliseconds(200), std::make_shared<DesktopCameraService>()) {}

    // Records about `seconds` of real time (the camera's clock is the steady one) and stops.
    bool recordFor(double seconds)
    {
        state->startRecording();
        if (!waitFor([&] { return !state->isBusy(); }, 10000) || state->route() != Route::recording) return false;
        QTest::qWait(static_cast<int>(seconds * 1000));
        clock.advance(seconds);
        state->stopRecording();
        return waitFor([&] { return !state->isBusy(); }, 10000) && state->route() == Route::preview;
    }
};

// A camera portal may ask the user before it lists anything: the screens are offered meanwhile.
TEST(CameraRecordingFlowTest, ScreensAreOfferedWhileTheCamerasAreStillBeingListed)
{
    AppFixture app;
    {
        std::lock_guard lock(app.fakeCameras->mutex);
        app.fakeCameras->cameras = {{testCameraId, "Test Camera", {{640, 480}}, 7}};
    }
    {
        std::lock_guard lock(app.sources->mutex);
        app.sources->sources = {testing::sampleDisplay()};
    }
    app.fakeCameras->gate.close();
    app.state->loadSources();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->sources().size(), 1u);
    EXPECT_TRUE(app.state->isLoadingCameras());
    EXPECT_TRUE(app.state->availableCameras().empty());
    // Another load meanwhile does not ask again.
    app.state->loadSources();
    app.fakeCameras->gate.open();
    ASSERT_TRUE(waitFor([&] { return !app.state->isLoadingCameras(); }));
    ASSERT_EQ(app.state->availableCameras().size(), 1u);
    EXPECT_EQ(app.state->availableCameras().front().id, testCameraId);
}

TEST(CameraRecordingFlowTest, TheChosenCameraIsListedRecordedBesideTheScreenAndNoCameraLeavesNoKey)
{
    TestCameraDaemon daemon;
    {
        CameraApp app;
        app.loadSources();
        ASSERT_EQ(app.state->availableCameras().size(), 1u);
        EXPECT_EQ(app.state->availableCameras().front().id, testCameraId);
        EXPECT_EQ(app.state->availableCameras().front().title, TestCameraDaemon::title);
        // Nothing is chosen until the user does; an id that is not listed chooses nothing.
        EXPECT_FALSE(app.state->selectedCameraId());
        app.state->selectCamera("camera-elsewhere");
        EXPECT_FALSE(app.state->selectedCameraId());
        app.state->selectCamera(testCameraId);
        EXPECT_EQ(app.state->selectedCameraIdText(), testCameraId);

        ASSERT_TRUE(app.recordFor(1.5));
        EXPECT_FALSE(app.state->errorMessage()) << *app.state->errorMessage();
        const std::filesystem::path directory = *app.state->projectDirectory();
        const RecordingProject project = app.savedProject();
        ASSERT_TRUE(project.camera);
        EXPECT_EQ(project.camera->path, "camera.mov");
        EXPECT_EQ(project.camera->fps, 30);
        // What the camera's movie holds is CameraRecordingTest's to check with ffprobe.
        EXPECT_TRUE(std::filesystem::exists(directory / "camera.mov"));
        EXPECT_FALSE(CameraRecorder::readNote(directory)) << "the note outlived the saved project";
    }
    {
        // Cameras on offer, none chosen: the project is as it always was.
        CameraApp app;
        app.loadSources();
        ASSERT_EQ(app.state->availableCameras().size(), 1u);
        ASSERT_TRUE(app.recordFor(0.5));
        const std::filesystem::path directory = *app.state->projectDirectory();
        EXPECT_FALSE(app.savedProject().camera);
        EXPECT_FALSE(std::filesystem::exists(directory / "camera.mov"));
    }
}

TEST(CameraRecordingFlowTest, ACameraGoneBeforeOrDuringTheTakeNeverStopsTheRecordingAndIsTold)
{
    {
        // Unplugged between the choice and the start: the screen is recorded alone.
        TestCameraDaemon daemon;
        CameraApp app;
        app.loadSources();
        app.state->selectCamera(testCameraId);
        daemon.stop();
        ASSERT_TRUE(app.recordFor(0.5));
        ASSERT_TRUE(app.state->errorMessage());
        EXPECT_NE(app.state->errorMessage()->find("本次录制不含摄像头"), std::string::npos) << *app.state->errorMessage();
        EXPECT_FALSE(app.savedProject().camera);
    }
    {
        // Gone mid-take: camera.mov ends there, the project keeps it, and the user learns why.
        TestCameraDaemon daemon;
        CameraApp app;
        app.loadSources();
        app.state->selectCamera(testCameraId);
        app.state->startRecording();
        ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }, 10000));
        ASSERT_EQ(app.state->route(), Route::recording);
        QTest::qWait(1000);
        daemon.stop();
        QTest::qWait(1000);
        app.state->stopRecording();
        ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }, 10000));
        ASSERT_EQ(app.state->route(), Route::preview);
        ASSERT_TRUE(app.state->errorMessage());
        EXPECT_NE(app.state->errorMessage()->find("摄像头在录制中断开"), std::string::npos) << *app.state->errorMessage();
        EXPECT_TRUE(app.savedProject().camera);
    }
}

}  // namespace
}  // namespace vantile
