#include "FakeServices.h"
#include "MainWindowShell.h"
#include "PlatformServices.h"

#include "support/VirtualDisplay.h"
#include "render/MovieReader.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace vantile {
namespace {

using testing::waitFor;

void xdotool(const std::string& arguments)
{
    ASSERT_EQ(std::system(("xdotool " + arguments + " >/dev/null 2>&1").c_str()), 0) << arguments;
}

// The whole flow with the real recorders on a private X display: record, stop, preview data,
// export, with the real capture, input log, store and exporter.
TEST(PlatformFlowTest, RecordsADisplayStopsIntoAProjectAndExportsIt)
{
    VirtualDisplay display(960, 540);
    const std::string previousDisplay = std::getenv("DISPLAY") ? std::getenv("DISPLAY") : "";
    setenv("DISPLAY", display.name().c_str(), 1);
    testing::TemporaryDirectory root;
    {
        AppCollaborators collaborators = makePlatformCollaborators();
        collaborators.projectsRoot = root / "projects";
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
        EXPECT_EQ(project.video, (VideoInfo{"raw.mov", 960, 540, 30}));
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
    setenv("DISPLAY", previousDisplay.c_str(), 1);
    if (previousDisplay.empty()) unsetenv("DISPLAY");
}

}  // namespace
}  // namespace vantile
