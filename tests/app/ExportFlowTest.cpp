#include "FakeServices.h"

#include "store/ProjectFileManager.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::TextTrail;
using testing::waitFor;

TEST(ExportFlowTest, ExportRendersTheProjectRecordsTheFileAndReveals)
{
    AppFixture app;
    app.state->exportCurrentProject();
    EXPECT_EQ(app.state->errorMessage(), "No project to export.");

    ASSERT_TRUE(app.recordAndStop());
    const auto directory = *app.state->projectDirectory();
    app.state->changeRenderSetting("cursorTheme", "rose");
    app.state->changeRenderSetting("exportQuality", "high");
    app.state->changeRenderSetting("exportQuality", "ultra");  // not a quality: ignored
    TextTrail trail(*app.state);
    app.state->exportCurrentProject();
    EXPECT_TRUE(app.state->isExporting());
    app.state->exportCurrentProject();  // the second click while busy is ignored
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(trail.statuses, (std::vector<std::string>{"Exporting MP4", "Exported"}));
    const auto calls = app.log.entries();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "exporter.export"), 1);

    const RenderJob& job = *app.exporter->lastJob;
    EXPECT_EQ(job.outputURL, directory / "export.mp4");
    EXPECT_EQ(job.rawVideoURL, directory / "raw.mov");
    EXPECT_EQ(job.renderSettings.cursorTheme, CursorTheme::rose);
    EXPECT_EQ(job.renderSettings.exportQuality, ExportQuality::high);
    EXPECT_EQ(job.focusSegments, app.state->currentProject()->focusSegments);
    EXPECT_EQ(app.state->currentProject()->exportVideoPath, "export.mp4");
    app.state->shutdown();  // waits for the save
    EXPECT_EQ(ProjectFileManager(app.root / "projects").loadProject(directory).exportVideoPath, "export.mp4");
    app.state->revealExportInFinder();
    EXPECT_EQ(app.log.entries().back(), "shell.reveal " + (directory / "export.mp4").string());

    // A failed export tells why and keeps the project as it was.
    const auto before = app.state->currentProject();
    app.exporter->failure = "Could not write the movie: No space left on device";
    app.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->errorMessage(), "Could not write the movie: No space left on device");
    EXPECT_EQ(app.state->currentProject(), before);

    // A GIF goes to its own file and is recorded as the export.
    app.exporter->failure.reset();
    app.state->exportCurrentProjectAsGif();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.exporter->lastJob->outputURL, directory / "export.gif");
    EXPECT_EQ(app.state->currentProject()->exportVideoPath, "export.gif");

    // Settings changed during an export do not reach the project it is recorded on.
    app.exporter->holdUntilCancelled = true;
    app.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return app.state->exportProgress() == 0.5; }));
    const RenderSettings exported = app.exporter->lastJob->renderSettings;
    app.state->changeRenderSetting("templateName", "gradientBlue");
    app.state->changeRenderSetting("zoomIntensity", "strong");
    app.state->updateAspectRatio("square1x1");
    app.exporter->holdUntilCancelled = false;
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    // It finished (the GIF was the export before), and it describes the project exactly as it was rendered.
    EXPECT_EQ(app.state->currentProject()->exportVideoPath, "export.mp4");
    EXPECT_EQ(app.state->currentProject()->renderSettings, exported);
    EXPECT_EQ(app.state->renderSettings(), exported);
    app.state->shutdown();
    EXPECT_EQ(ProjectFileManager(app.root / "projects").loadProject(directory).renderSettings, exported);
}

}  // namespace
}  // namespace vantile
