#include "FakeServices.h"
#include "PlatformServices.h"

#include "capture/X11TestSession.h"
#include "render/MovieReader.h"

namespace vantile {
namespace {

using testing::waitFor;

// The whole flow with the real recorders on a private X display: record, stop, preview data,
// export, with the real capture, input log, store and exporter.
class PlatformFlowTest : public testing::X11TestSession {};

TEST_F(PlatformFlowTest, RecordsADisplayStopsIntoAProjectAndExportsIt)
{
    AppCollaborators collaborators = makePlatformCollaborators();
    collaborators.projectsRoot = directory / "projects";
    AppState state(std::move(collaborators));
    EXPECT_TRUE(state.permissionStatus().allGranted());

    // A display that has only just started may not answer the listing yet; the picker's
    // fallback entries cannot be recorded, so list again until the real display shows.
    const auto liveDisplay = [&] {
        const auto& sources = state.sources();
        return std::find_if(sources.begin(), sources.end(), [](const CaptureSource& source) {
            return source.id.rfind("display-", 0) == 0 && source.id.find("fallback") == std::string::npos;
        });
    };
    ASSERT_TRUE(waitFor([&] {
        if (state.isBusy()) return false;
        if (liveDisplay() != state.sources().end()) return true;
        state.loadSources();
        return false;
    }, 20000));
    state.selectSource(QString::fromStdString(liveDisplay()->id));

    state.startRecording();
    ASSERT_TRUE(waitFor([&] { return !state.isBusy(); }, 10000));
    ASSERT_EQ(state.route(), Route::recording) << state.errorMessage().value_or("");
    // The input monitor and the first frames settle within the first second.
    ASSERT_TRUE(waitFor([&] { return state.recordingElapsed() >= 1; }, 10000));
    xdotool("mousemove 100 100 mousemove 200 150 mousemove 300 200 click 1");
    ASSERT_TRUE(waitFor([&] { return state.recordingElapsed() >= 2; }, 10000));

    state.stopRecording();
    ASSERT_TRUE(waitFor([&] { return !state.isBusy(); }, 20000));
    ASSERT_EQ(state.route(), Route::preview) << state.errorMessage().value_or("");
    const RecordingProject& project = *state.currentProject();
    EXPECT_GE(project.duration, 1.0);
    EXPECT_EQ(project.video, (VideoInfo{"raw.mov", 1280, 720, 30}));
    EXPECT_TRUE(std::ranges::any_of(project.events,
                                    [](const InputEvent& e) { return e.type == InputEvent::EventType::leftMouseDown; }));

    state.updateResolutionPreset(ResolutionPreset::p720);
    state.exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return !state.isBusy(); }, 120000));
    EXPECT_EQ(state.statusMessage(), "Exported") << state.errorMessage().value_or("");
    MovieReader exported(*state.projectDirectory() / "export.mp4");
    EXPECT_EQ(exported.width(), 1280);
    EXPECT_EQ(exported.height(), 720);
}

}  // namespace
}  // namespace vantile
