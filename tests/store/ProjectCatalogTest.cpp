#include "store/ProjectCatalog.h"

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace vantile;
using vantile::testing::snapshotFiles;
using vantile::testing::TemporaryDirectory;
using vantile::testing::writeText;
namespace fs = std::filesystem;

namespace {

RecordingProject projectAt(const std::string& createdAt, double duration)
{
    RecordingProject project;
    project.id = "project-" + createdAt;
    project.createdAt = parseISO8601(createdAt);
    project.duration = duration;
    project.capture = {CaptureInfo::SourceType::window, std::nullopt, "7", "Editor", "notes.txt", {0, 0, 800, 600}, 1};
    project.video = {"raw.mov", 800, 600, 30};
    project.focusSegments = {{0, duration, FocusSegment::SegmentType::overview, 400, 300, 1}};
    return project;
}

std::vector<std::string> names(const std::vector<ProjectSummary>& projects)
{
    std::vector<std::string> result;
    for (const auto& project : projects) result.push_back(project.name);
    return result;
}

std::string renameFailure(const fs::path& directory, const std::string& name)
{
    try {
        renameProject(directory, name);
    } catch (const ProjectFileError& error) {
        return error.what();
    }
    return "renamed";
}

}  // namespace

TEST(ProjectCatalog, ListsSavedDamagedAndUnfinishedProjectsNewestFirstAndNothingElse)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    store.saveProject(projectAt("2026-11-10T09:00:00Z", 12.5), root / "older");
    RecordingProject exported = projectAt("2026-11-20T09:00:00Z", 3);
    exported.exportVideoPath = "export.mp4";
    store.saveProject(exported, root / "newest");
    // Two recordings of the same second: the name decides, so the order never flickers.
    store.saveProject(projectAt("2026-11-15T09:00:00Z", 1), root / "same-a");
    store.saveProject(projectAt("2026-11-15T09:00:00Z", 1), root / "same-b");
    // The project.json of an earlier version's layout sits beside the movie.
    writeText(root / "legacy" / "project.json", nlohmann::json(projectAt("2026-11-12T09:00:00Z", 2)).dump());
    // Cut off while recording, and one whose project.json was damaged by hand: both listed,
    // dated by their folder, so they can be recovered or trashed.
    writeText(root / "cut-off" / ".vantile" / ProjectFileManager::journalFileName, "{}\n");
    writeText(root / "damaged" / ".vantile" / "project.json", "{\"id\": ");
    fs::last_write_time(root / "cut-off", fs::file_time_type::clock::now() - std::chrono::hours(24 * 365 * 3));
    fs::last_write_time(root / "damaged", fs::file_time_type::clock::now() - std::chrono::hours(24 * 365 * 4));
    // Not projects: a folder of other things, a hidden project, a loose file.
    writeText(root / "holiday photos" / "a.jpg", "jpeg");
    store.saveProject(projectAt("2026-11-30T09:00:00Z", 1), root / ".hidden");
    writeText(root / "notes.txt", "text");

    const auto projects = listProjects(store);
    EXPECT_EQ(names(projects),
              (std::vector<std::string>{"newest", "same-b", "same-a", "legacy", "older", "cut-off", "damaged"}));
    ASSERT_EQ(projects.size(), 7u);
    EXPECT_TRUE(projects[0].exported);
    EXPECT_FALSE(projects[4].exported);
    EXPECT_DOUBLE_EQ(projects[4].duration, 12.5);
    EXPECT_EQ(projects[4].recordedAt, parseISO8601("2026-11-10T09:00:00Z"));
    EXPECT_EQ(projects[4].capture->windowTitle, "notes.txt");
    EXPECT_EQ(projects[4].rawVideoURL, root / "older" / "raw.mov");
    EXPECT_EQ(projects[3].rawVideoURL, root / "legacy" / "raw.mov");
    EXPECT_TRUE(projects[5].unfinished);
    EXPECT_FALSE(projects[5].problem);
    EXPECT_FALSE(projects[6].unfinished);
    ASSERT_TRUE(projects[6].problem);
    EXPECT_NE(projects[6].problem->find("project.json"), std::string::npos) << *projects[6].problem;

    EXPECT_FALSE(summarizeProject(store, root / "holiday photos"));
    EXPECT_TRUE(listProjects(ProjectFileManager(root / "missing")).empty());
}

TEST(ProjectCatalog, RenamingMovesTheWholeProjectAndRefusesNamesThatWouldLoseOrHideIt)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const RecordingProject project = projectAt("2026-11-10T09:00:00Z", 2);
    store.saveProject(project, root / "project-1");
    writeText(root / "project-1" / "raw.mov", "movie");
    store.saveProject(projectAt("2026-11-11T09:00:00Z", 2), root / "taken");
    fs::create_directory(root / "empty folder");
    writeText(root / "a file", "x");
    const auto before = snapshotFiles(root.path());

    const std::pair<std::string, std::string> refused[] = {
        {"", "A project needs a name."},
        {"   ", "A project needs a name."},
        {" Demo", "A project name cannot begin or end with a space."},
        {".Demo", "A project name cannot begin with a dot: the folder would be hidden."},
        {"..", "A project name cannot begin with a dot: the folder would be hidden."},
        {"a/b", "A project name cannot contain a slash."},
        {"bad \xff name", "A project name must be valid text (UTF-8)."},
        {std::string(256, 'x'), "A project name can be at most 255 bytes long."},
        {"taken", "There is already a project or file named “taken”."},
        // rename(2) alone would silently replace an empty directory.
        {"empty folder", "There is already a project or file named “empty folder”."},
        {"a file", "There is already a project or file named “a file”."},
    };
    for (const auto& [name, message] : refused) EXPECT_EQ(renameFailure(root / "project-1", name), message) << name;
    EXPECT_EQ(snapshotFiles(root.path()), before);

    const fs::path renamed = renameProject(root / "project-1", "产品演示 v2");
    EXPECT_EQ(renamed, root / "产品演示 v2");
    EXPECT_FALSE(fs::exists(root / "project-1"));
    EXPECT_EQ(store.loadProject(renamed), project);
    EXPECT_TRUE(fs::exists(renamed / "raw.mov"));
    EXPECT_EQ(renameProject(renamed, "产品演示 v2"), renamed);
    EXPECT_NE(renameFailure(root / "gone", "x").find("Cannot"), std::string::npos);
}
