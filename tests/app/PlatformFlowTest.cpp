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
        for (int attempt = 0; attempt < 20; ++attempt) {
            state.loadSources();
            ASSERT_TRUE(waitFor([&] { return !state.isBusy(); }, 10000));
            const auto& sources = state.sources();
            const auto live = std::find_if(sources.begin(), sources.end(), [](const CaptureSource& source) {
                return source.id.rfind("display-", 0) == 0 && source.id.find("fallback") == std::string::npos;
            });
            if (live != sources.end()) {
                state.selectSource(QString::fromStdString(live->id));
                break;
            }
            waitFor([] { return false; }, 250);
        }
        ASSERT_TRUE(state.selectedSource());
        ASSERT_EQ(state.selectedSource()->id.find("fallback"), std::string::npos);
        EXPECT_EQ(state.selectedSource()->kind, CaptureSource::SourceKind::display);

        state.startRecording();
        ASSERT_TRUE(waitFor([&] { return !state.isBusy(); }, 10000));
        ASSERT_EQ(state.route(), Route::recording) << state.errorMessage().value_or("");
        waitFor([] { return false; }, 1000);  // the input monitor and the first frames settle
        xdotool("mousemove 100 100");
        for (int step = 0; step < 10; ++step) {
            xdotool("mousemove_relative 20 10");
            waitFor([] { return false; }, 60);
        }
        xdotool("click 1");
        waitFor([] { return false; }, 1500);

        state.stopRecording();
        ASSERT_TRUE(waitFor([&] { return !state.isBusy(); }, 20000));
        ASSERT_EQ(state.route(), Route::preview) << state.errorMessage().value_or("");
        const RecordingProject& project = *state.currentProject();
        EXPECT_GE(project.duration, 1.0);
        EXPECT_EQ(project.video.width, 960);
        const bool clicked = std::any_of(project.events.begin(), project.events.end(), [](const InputEvent& e) {
            return e.type == InputEvent::EventType::leftMouseDown;
        });
        EXPECT_TRUE(clicked);
        EXPECT_FALSE(project.cursorFrames.empty());
        MovieReader raw(*state.previewVideoURL());
        EXPECT_EQ(raw.width(), 960);
        EXPECT_EQ(raw.height(), 540);

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
