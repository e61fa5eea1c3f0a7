#include "store/ProjectFileManager.h"

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace vantile;
using vantile::testing::readText;
using vantile::testing::snapshotFiles;
using vantile::testing::TemporaryDirectory;
using vantile::testing::writeText;
namespace fs = std::filesystem;

namespace {

RecordingProject sampleProject()
{
    RecordingProject project;
    project.id = "project-1";
    project.createdAt = parseISO8601("2026-11-15T17:57:21Z");
    project.duration = 4.25;
    project.capture = {CaptureInfo::SourceType::display, "66", std::nullopt, "Display", "screen", {0, 0, 1920, 1080}, 1};
    project.video = {"raw.mov", 1920, 1080, 30};
    for (int index = 0; index < 5; ++index) {
        project.events.push_back({index * 0.1, InputEvent::EventType::mouseMove, index * 10.0, index * 5.0, {}, {}, {}});
    }
    project.focusSegments = {{0, 4.25, FocusSegment::SegmentType::overview, 960, 540, 1}};
    project.cursorFrames = {{0, 1, 1, true, false}, {1.0 / 30, 2, 2, true, true}};
    return project;
}

const char* const metadataFiles[] = {"project.json", "events.json", "focus_segments.json", "cursor_path.json"};

}  // namespace

TEST(ProjectStore, SavesFourSortedCompactFilesInTheHiddenFolderAndLoadsThemBack)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const RecordingProject project = sampleProject();
    const fs::path directory = store.createProjectDirectory(project.createdAt);
    store.saveProject(project, directory);

    for (const char* name : metadataFiles) EXPECT_TRUE(fs::is_regular_file(directory / ".vantile" / name)) << name;
    const std::string header = readText(directory / ".vantile" / "project.json");
    EXPECT_EQ(header.find('\n'), std::string::npos);
    EXPECT_EQ(header.find(": "), std::string::npos);
    EXPECT_NE(header.find("\"createdAt\":\"2026-11-15T17:57:21Z\""), std::string::npos);
    EXPECT_NE(header.find("\"cursorFrames\":[],"), std::string::npos);
    EXPECT_NE(header.find("\"events\":[]"), std::string::npos);
    // Keys appear in sorted order.
    EXPECT_LT(header.find("\"audioSettings\""), header.find("\"capture\""));
    EXPECT_LT(header.find("\"capture\""), header.find("\"createdAt\""));
    EXPECT_LT(header.find("\"renderSettings\""), header.find("\"video\""));
    EXPECT_EQ(readText(directory / ".vantile" / "focus_segments.json"),
              R"([{"centerX":960.0,"centerY":540.0,"end":4.25,"scale":1.0,"start":0.0,"type":"overview"}])");

    EXPECT_EQ(store.loadProject(directory), project);

    // No temporary files are left beside the saved ones.
    std::size_t fileCount = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(directory / ".vantile")) ++fileCount;
    EXPECT_EQ(fileCount, 4u);
}

TEST(ProjectStore, LegacyLayoutLoadsAndTheNextSaveMovesItIntoTheHiddenFolder)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const fs::path directory = root / "project-2025-01-01-000000";
    const RecordingProject project = sampleProject();

    // Legacy project.json holds the lists inline; a legacy sidecar overrides one of them.
    fs::create_directories(directory);
    writeText(directory / "project.json", Json(project).dump());
    std::vector<InputEvent> legacyEvents = {{9, InputEvent::EventType::leftMouseDown, 1, 1, {}, {}, "left"}};
    writeText(directory / "events.json", Json(legacyEvents).dump());
    writeText(directory / "notes.txt", "user file");

    RecordingProject loaded = store.loadProject(directory);
    EXPECT_EQ(loaded.events, legacyEvents);
    EXPECT_EQ(loaded.focusSegments, project.focusSegments);
    EXPECT_EQ(loaded.cursorFrames, project.cursorFrames);

    store.saveProject(loaded, directory);
    for (const char* name : metadataFiles) {
        EXPECT_FALSE(fs::exists(directory / name)) << name;
        EXPECT_TRUE(fs::exists(directory / ".vantile" / name)) << name;
    }
    EXPECT_EQ(readText(directory / "notes.txt"), "user file");
    EXPECT_EQ(store.loadProject(directory), loaded);
}

TEST(ProjectStore, HiddenFolderWinsPerFileAndMissingSidecarsKeepInlineLists)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const fs::path directory = root / "mixed";
    RecordingProject project = sampleProject();
    store.saveProject(project, directory);

    // events.json only at the top level: it is used because the hidden one is gone.
    fs::remove(directory / ".vantile" / "events.json");
    const std::vector<InputEvent> topLevel = {{1, InputEvent::EventType::rightMouseDown, 2, 3, {}, {}, "right"}};
    writeText(directory / "events.json", Json(topLevel).dump());
    EXPECT_EQ(store.loadProject(directory).events, topLevel);

    // All sidecars gone: the lists come from project.json, here inline ones.
    TemporaryDirectory other;
    writeText(other / ".vantile" / "project.json", Json(project).dump());
    EXPECT_EQ(store.loadProject(other.path()), project);
}

TEST(ProjectStore, BadFilesFailWithTheFileAndKeyNamedAndChangeNothing)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const fs::path directory = root / "broken";
    store.saveProject(sampleProject(), directory);

    const auto failureOf = [&] {
        try {
            store.loadProject(directory);
        } catch (const ProjectFileError& error) {
            return std::string(error.what());
        }
        return std::string("loaded");
    };

    Json events = Json::parse(readText(directory / ".vantile" / "events.json"));
    events[3]["time"] = "late";
    writeText(directory / ".vantile" / "events.json", events.dump());
    auto before = snapshotFiles(directory);
    EXPECT_EQ(failureOf(), "events.json: [3].time: expected a number");
    EXPECT_EQ(snapshotFiles(directory), before);

    writeText(directory / ".vantile" / "events.json", "[{\"time\": 1,");
    EXPECT_EQ(failureOf().rfind("events.json: malformed JSON", 0), 0u);

    writeText(directory / ".vantile" / "events.json", "[]");
    writeText(directory / ".vantile" / "project.json", R"({"id":"x","createdAt":"2026-11-15T17:57:21Z"})");
    EXPECT_EQ(failureOf(), "project.json: duration: missing required key");

    fs::remove(directory / ".vantile" / "project.json");
    EXPECT_NE(failureOf().find("project.json"), std::string::npos);

    EXPECT_THROW(store.loadProject(root / "does-not-exist"), ProjectFileError);
    writeText(root / "plain-file", "x");
    EXPECT_THROW(store.loadProject(root / "plain-file"), ProjectFileError);
    EXPECT_EQ(ProjectFileError::projectDirectoryMissing().what(), std::string("Project directory is missing."));
}

TEST(ProjectStore, FailedSaveKeepsEarlierFilesAndLeavesNoPartialFile)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const fs::path directory = root / "stuck";
    // A directory where cursor_path.json should go makes the last write fail.
    fs::create_directories(directory / ".vantile" / "cursor_path.json");
    writeText(directory / "project.json", "legacy");

    EXPECT_THROW(store.saveProject(sampleProject(), directory), ProjectFileError);
    EXPECT_TRUE(fs::is_regular_file(directory / ".vantile" / "project.json"));
    EXPECT_TRUE(fs::is_regular_file(directory / ".vantile" / "focus_segments.json"));
    EXPECT_TRUE(fs::is_directory(directory / ".vantile" / "cursor_path.json"));
    // The steps stopped before the legacy clean-up.
    EXPECT_EQ(readText(directory / "project.json"), "legacy");
    for (const auto& entry : fs::directory_iterator(directory / ".vantile")) {
        EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path();
    }

    // A project directory that is a file cannot be saved into.
    writeText(root / "file-not-dir", "x");
    EXPECT_THROW(store.saveProject(sampleProject(), root / "file-not-dir"), ProjectFileError);
}

TEST(ProjectStore, ProjectDirectoriesAreNamedByLocalTimeAndShareTheSecond)
{
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    TemporaryDirectory root;
    const ProjectFileManager store(root / "nested" / "root");
    const Timestamp now = parseISO8601("2026-11-15T17:57:21Z");
    const fs::path first = store.createProjectDirectory(now);
    const fs::path second = store.createProjectDirectory(now + std::chrono::milliseconds(400));
    EXPECT_EQ(first, second);
    EXPECT_EQ(first.filename(), "project-2026-11-15-175721");
    EXPECT_TRUE(fs::is_directory(first));

    ::setenv("TZ", "Asia/Shanghai", 1);
    ::tzset();
    EXPECT_EQ(ProjectFileManager::projectDirectoryName(now), "project-2026-11-16-015721");
    ::unsetenv("TZ");
    ::tzset();
}

TEST(ProjectStore, DefaultRootFollowsTheUsersVideosDirectory)
{
    TemporaryDirectory home;
    const char* savedHome = std::getenv("HOME");
    const std::string restoreHome = savedHome ? savedHome : "";
    ::setenv("HOME", home.path().c_str(), 1);
    ::unsetenv("XDG_VIDEOS_DIR");
    ::unsetenv("XDG_CONFIG_HOME");

    EXPECT_EQ(ProjectFileManager::defaultRootDirectory(), home / "Videos" / "VantileProjects");
    writeText(home / ".config" / "user-dirs.dirs", "# comment\nXDG_VIDEOS_DIR=\"$HOME/Filme\"\n");
    EXPECT_EQ(ProjectFileManager::defaultRootDirectory(), home / "Filme" / "VantileProjects");
    ::setenv("XDG_VIDEOS_DIR", "/srv/videos", 1);
    EXPECT_EQ(ProjectFileManager::defaultRootDirectory(), fs::path("/srv/videos/VantileProjects"));

    ::unsetenv("XDG_VIDEOS_DIR");
    ::setenv("HOME", restoreHome.c_str(), 1);
}
