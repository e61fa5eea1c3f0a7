#include "store/ProjectFileManager.h"

#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <sys/stat.h>

using namespace vantile;
using vantile::testing::readText;
using vantile::testing::snapshotFiles;
using vantile::testing::TemporaryDirectory;
using vantile::testing::writeText;
namespace fs = std::filesystem;

namespace {

// The load error's message, or "loaded" when the project loads.
std::string loadFailure(const ProjectFileManager& store, const fs::path& directory)
{
    try {
        store.loadProject(directory);
    } catch (const ProjectFileError& error) {
        return error.what();
    }
    return "loaded";
}

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
    // The lists live in their own files; keys are sorted and nothing is indented.
    const std::string header = readText(directory / ".vantile" / "project.json");
    EXPECT_NE(header.find("\"createdAt\":\"2026-11-15T17:57:21Z\""), std::string::npos);
    EXPECT_NE(header.find("\"cursorFrames\":[],"), std::string::npos);
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

    const auto failureOf = [&] { return loadFailure(store, directory); };

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
}

TEST(ProjectStore, SaveOnAFullDiskFailsAndLeavesEveryEarlierFileAsItWas)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const fs::path directory = root / "full";
    store.saveProject(sampleProject(), directory);
    writeText(directory / "project.json", "legacy");
    const auto before = snapshotFiles(directory);

    // The header fits under the cap, the events do not: nothing may change, not even the header.
    RecordingProject bigger = sampleProject();
    bigger.id = "renamed";
    bigger.events.assign(2000, bigger.events.front());
    const int status = vantile::testing::runWithFileSizeLimit(16 * 1024, [&] {
        try {
            store.saveProject(bigger, directory);
        } catch (const ProjectFileError& error) {
            const std::string message = error.what();
            return message.find("events.json") != std::string::npos && message.find("too large") != std::string::npos ? 0 : 2;
        }
        return 1;
    });
    EXPECT_EQ(status, 0) << "1: saved past the cap, 2: the error did not name the file and the reason";
    EXPECT_EQ(snapshotFiles(directory), before);  // no temporary file either

    // A directory in a file's place fails before anything is replaced.
    fs::remove(directory / ".vantile" / "cursor_path.json");
    fs::create_directories(directory / ".vantile" / "cursor_path.json");
    const auto blocked = snapshotFiles(directory);
    EXPECT_THROW(store.saveProject(bigger, directory), ProjectFileError);
    EXPECT_EQ(snapshotFiles(directory), blocked);
}

TEST(ProjectStore, SpecialFilesAndBrokenLinksAreErrorsNamingTheFile)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const fs::path directory = root / "special";
    store.saveProject(sampleProject(), directory);
    const fs::path metadata = directory / ".vantile";
    const auto failureOf = [&] { return loadFailure(store, directory); };
    const auto replaceWith = [&](const std::string& name, const std::function<void(const fs::path&)>& make) {
        fs::remove(metadata / name);
        make(metadata / name);
        const std::string failure = failureOf();
        fs::remove(metadata / name);
        store.saveProject(sampleProject(), directory);
        return failure;
    };

    // A FIFO would block a plain read until a writer came.
    const auto fifo = replaceWith("project.json", [](const fs::path& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); });
    EXPECT_NE(fifo.find("project.json: not a regular file"), std::string::npos) << fifo;
    // A device would be read until memory ran out.
    const auto device = replaceWith("events.json", [](const fs::path& path) { fs::create_symlink("/dev/zero", path); });
    EXPECT_NE(device.find("events.json: not a regular file"), std::string::npos) << device;
    // A dangling link is not an absent file: the events would silently vanish.
    const auto dangling = replaceWith("events.json", [](const fs::path& path) { fs::create_symlink("gone.json", path); });
    EXPECT_NE(dangling.find("events.json"), std::string::npos) << dangling;
    const auto looping = replaceWith("cursor_path.json", [](const fs::path& path) { fs::create_symlink(path, path); });
    EXPECT_NE(looping.find("cursor_path.json"), std::string::npos) << looping;
    const auto huge = replaceWith("focus_segments.json", [](const fs::path& path) {
        writeText(path, "[]");
        fs::resize_file(path, maximumReadableFileSize + 1);  // sparse: takes no space
    });
    EXPECT_NE(huge.find("focus_segments.json: larger than 512 MiB"), std::string::npos) << huge;
    EXPECT_EQ(failureOf(), "loaded");
}

TEST(ProjectStore, ImplausibleValuesAreLoadErrorsNamingTheKey)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const fs::path directory = root / "bounds";
    store.saveProject(sampleProject(), directory);
    const fs::path header = directory / ".vantile" / "project.json";
    const Json valid = Json::parse(readText(header));
    const auto failureWith = [&](const Json::json_pointer& key, const Json& value) {
        Json changed = valid;
        changed[key] = value;
        writeText(header, changed.dump());
        try {
            store.loadProject(directory);
        } catch (const ProjectFileError& error) {
            return std::string(error.what());
        }
        return std::string("loaded");
    };
    EXPECT_EQ(failureWith("/duration"_json_pointer, 0), "project.json: duration: must be greater than 0");
    EXPECT_EQ(failureWith("/duration"_json_pointer, -3), "project.json: duration: must be greater than 0");
    EXPECT_EQ(failureWith("/video/fps"_json_pointer, 0), "project.json: video.fps: must be between 1 and 240");
    EXPECT_EQ(failureWith("/renderSettings/fps"_json_pointer, 241),
              "project.json: renderSettings.fps: must be between 1 and 240");
    for (const int width : {0, -2, 1921, 7682}) {
        EXPECT_EQ(failureWith("/video/width"_json_pointer, width),
                  "project.json: video.width: must be an even number between 2 and 7680");
    }
    EXPECT_EQ(failureWith("/renderSettings/outputHeight"_json_pointer, 4322),
              "project.json: renderSettings.outputHeight: must be an even number between 2 and 4320");
    EXPECT_EQ(failureWith("/capture/region/height"_json_pointer, 0), "project.json: capture.region: has no area");
    EXPECT_EQ(failureWith("/duration"_json_pointer, 36000), "loaded");  // long, but possible

    // A number too large for a double is a decode error like any other.
    writeText(header, R"({"id":"x","duration":1e999})");
    try {
        store.loadProject(directory);
        FAIL() << "loaded an overflowing number";
    } catch (const ProjectFileError& error) {
        EXPECT_EQ(std::string(error.what()), "project.json: duration: number out of range");
    }
}

TEST(ProjectStore, ProjectDirectoriesAreNamedByLocalTimeAndNeverShared)
{
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    TemporaryDirectory root;
    const ProjectFileManager store(root / "nested" / "root");
    const Timestamp now = parseISO8601("2026-11-15T17:57:21Z");
    const fs::path first = store.createProjectDirectory(now);
    EXPECT_EQ(first.filename(), "project-2026-11-15-175721");
    EXPECT_TRUE(fs::is_directory(first));
    // Two recordings in one second, and a file that happens to hold the next name.
    writeText(first.parent_path() / "project-2026-11-15-175721-3", "not a project");
    EXPECT_EQ(store.createProjectDirectory(now + std::chrono::milliseconds(400)).filename(), "project-2026-11-15-175721-2");
    EXPECT_EQ(store.createProjectDirectory(now).filename(), "project-2026-11-15-175721-4");

    ::setenv("TZ", "Asia/Shanghai", 1);
    ::tzset();
    EXPECT_EQ(ProjectFileManager::projectDirectoryName(now), "project-2026-11-16-015721");
    ::unsetenv("TZ");
    ::tzset();
}

TEST(ProjectStore, AnUnfinishedRecordingIsNamedAsSuchUntilItsProjectIsSaved)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    store.saveProject(sampleProject(), root / "finished");
    const fs::path cut = root / "cut-off";
    writeText(cut / "raw.mov", "movie");
    writeText(cut / ".vantile" / ProjectFileManager::journalFileName, "{}\n");
    writeText(cut / ".vantile" / ProjectFileManager::recordingStartFileName, "{}");
    EXPECT_EQ(store.unfinishedRecordings(), std::vector<fs::path>{cut});
    try {
        store.loadProject(cut);
        FAIL() << "an unfinished recording loaded";
    } catch (const ProjectFileError& error) {
        EXPECT_EQ(error.kind(), ProjectFileError::Kind::unfinishedRecording);
        EXPECT_EQ(std::string(error.what()), "unfinished recording: run vantile-cli recover " + cut.string());
    }
    store.saveProject(sampleProject(), cut);
    EXPECT_FALSE(fs::exists(cut / ".vantile" / ProjectFileManager::journalFileName));
    EXPECT_FALSE(fs::exists(cut / ".vantile" / ProjectFileManager::recordingStartFileName));
    EXPECT_TRUE(store.unfinishedRecordings().empty());
    EXPECT_EQ(store.loadProject(cut), sampleProject());
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
