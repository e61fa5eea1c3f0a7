#include "FakeServices.h"
#include "SampleProject.h"

#include "capture/EventJournal.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::waitFor;
namespace fs = std::filesystem;

// A recording cut off before its stop: the movie and the journal, no project files.
std::vector<InputEvent> makeCutOffRecording(const fs::path& directory)
{
    const RecordingProject project = testing::makeSampleProject(directory, 320, 240, 2);
    const fs::path metadata = directory / ProjectFileManager::metadataFolderName;
    for (const char* name : {"project.json", "events.json", "focus_segments.json", "cursor_path.json"})
        fs::remove(metadata / name);
    EventJournal journal(metadata / EventJournal::fileName);
    for (const InputEvent& event : project.events) journal.append(event);
    return project.events;
}

TEST(RecoveryFlowTest, UnfinishedRecordingsAreOfferedThenRecoveredIntoThePreviewOrIgnored)
{
    AppFixture app;
    const fs::path projects = app.root.path() / "projects";
    const auto events = makeCutOffRecording(projects / "project-a");
    makeCutOffRecording(projects / "project-b");
    testing::makeSampleProject(projects / "project-c", 320, 240, 1);  // finished: not offered

    app.state->findUnfinishedRecordings();
    EXPECT_EQ(app.state->unfinishedRecordings(), (std::vector<fs::path>{projects / "project-a", projects / "project-b"}));
    app.state->ignoreUnfinishedRecording(QString::fromStdString((projects / "project-b").string()));
    app.state->findUnfinishedRecordings();  // ignored for the rest of this run
    EXPECT_EQ(app.state->unfinishedRecordings(), std::vector<fs::path>{projects / "project-a"});

    app.state->recoverUnfinishedRecording(QString::fromStdString((projects / "project-a").string()));
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy() && app.state->route() == Route::preview; }, 20000))
        << app.state->errorMessage().value_or("");
    // What recovery makes of the journal is the recover command's to check; here, that the app shows it.
    const RecordingProject& recovered = *app.state->currentProject();
    EXPECT_EQ(recovered.events.size(), events.size());
    EXPECT_EQ(app.state->projectDirectory(), projects / "project-a");
    EXPECT_TRUE(app.state->unfinishedRecordings().empty());
    EXPECT_EQ(ProjectFileManager(projects).loadProject(projects / "project-a"), recovered);
    EXPECT_TRUE(ProjectFileManager::isUnfinishedRecording(projects / "project-b"));  // left as it was
}

}  // namespace
}  // namespace vantile
