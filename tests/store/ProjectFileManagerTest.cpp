#include "store/ProjectFileManager.h"

#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

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

    // The lists live in their own files; keys are sorted and nothing is indented.
    EXPECT_EQ(readText(directory / ".vantile" / "focus_segments.json"),
              R"([{"centerX":960.0,"centerY":540.0,"end":4.25,"scale":1.0,"start":0.0,"type":"overview"}])");
    EXPECT_EQ(store.loadProject(directory), project);
    // Exactly the four files: no temporary ones left beside them.
    EXPECT_EQ(snapshotFiles(directory / ".vantile").size(), 4u);
}

TEST(ProjectStore, LegacyLayoutLoadsPerFileAndTheNextSaveMovesItIntoTheHiddenFolder)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const fs::path directory = root / "project-2025-01-01-000000";
    const RecordingProject project = sampleProject();

    // Legacy project.json holds the lists inline; a legacy sidecar overrides one of them.
    writeText(directory / "project.json", Json(project).dump());
    std::vector<InputEvent> legacyEvents = {{9, InputEvent::EventType::leftMouseDown, 1, 1, {}, {}, "left"}};
    writeText(directory / "events.json", Json(legacyEvents).dump());
    writeText(directory / "notes.txt", "user file");
    RecordingProject loaded = store.loadProject(directory);
    EXPECT_EQ(loaded.events, legacyEvents);
    EXPECT_EQ(loaded.cursorFrames, project.cursorFrames);

    store.saveProject(loaded, directory);
    for (const char* name : metadataFiles) EXPECT_FALSE(fs::exists(directory / name)) << name;
    EXPECT_EQ(readText(directory / "notes.txt"), "user file");
    EXPECT_EQ(store.loadProject(directory), loaded);

    // A hidden file that is gone falls back to the top-level one.
    fs::remove(directory / ".vantile" / "events.json");
    const std::vector<InputEvent> topLevel = {{1, InputEvent::EventType::rightMouseDown, 2, 3, {}, {}, "right"}};
    writeText(directory / "events.json", Json(topLevel).dump());
    EXPECT_EQ(store.loadProject(directory).events, topLevel);
}

// Each broken metadata file fails the load with the file and key named, and changes nothing.
TEST(ProjectStore, BadAndImplausibleFilesFailNamingTheFileAndKey)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const fs::path directory = root / "broken";
    const fs::path metadata = directory / ".vantile";
    store.saveProject(sampleProject(), directory);
    const Json header = Json::parse(readText(metadata / "project.json"));
    const auto headerWith = [&](const char* key, const Json& value) {
        Json changed = header;
        changed[Json::json_pointer(key)] = value;
        return [text = changed.dump()](const fs::path& path) { writeText(path, text); };
    };
    const auto text = [](const std::string& contents) { return [=](const fs::path& path) { writeText(path, contents); }; };
    using Make = std::function<void(const fs::path&)>;
    const std::vector<std::tuple<std::string, Make, std::string>> cases = {
        // Which key a decode error names is the records' own test; here, that the file is named too.
        {"events.json", text(R"([{"time":0,"type":"mouseMove","x":0,"y":0},{"time":"late"}])"),
         "events.json: [1].time: expected a number"},
        {"project.json", text(R"({"id":"x","duration":1e999})"), "project.json: duration: number out of range"},
        {"project.json", headerWith("/duration", -3), "project.json: duration: must be greater than 0"},
        {"project.json", headerWith("/renderSettings/fps", 241), "project.json: renderSettings.fps: must be between 1 and 240"},
        {"project.json", headerWith("/video/width", 1921), "project.json: video.width: must be an even number between 2 and 7680"},
        {"project.json", headerWith("/capture/region/height", 0), "project.json: capture.region: has no area"},
        // A device (or a FIFO) would be read until memory ran out (or block until a writer came).
        {"events.json", [](const fs::path& path) { fs::create_symlink("/dev/zero", path); }, "events.json: not a regular file"},
        // A dangling link is not an absent file: the events would silently vanish.
        {"events.json", [](const fs::path& path) { fs::create_symlink("gone.json", path); }, "events.json"},
        {"focus_segments.json",
         [](const fs::path& path) {
             writeText(path, "[]");
             fs::resize_file(path, maximumReadableFileSize + 1);  // sparse: takes no space
         },
         "focus_segments.json: larger than 512 MiB"},
    };
    for (const auto& [name, make, expected] : cases) {
        fs::remove(metadata / name);
        make(metadata / name);
        // (The sparse file is too large to read back.)
        const bool small = name != "focus_segments.json";
        const auto before = small ? snapshotFiles(directory) : std::map<std::string, std::string>{};
        const std::string failure = loadFailure(store, directory);
        EXPECT_NE(failure.find(expected), std::string::npos) << failure;
        if (small) {
            EXPECT_EQ(snapshotFiles(directory), before) << expected;
        }
        fs::remove(metadata / name);
        store.saveProject(sampleProject(), directory);
    }
    EXPECT_EQ(loadFailure(store, directory), "loaded");
    EXPECT_EQ(loadFailure(store, root / "does-not-exist").find("loaded"), std::string::npos);
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

// Listing unfinished recordings and saving one into a project are what recovering it runs through.
TEST(ProjectStore, LoadingAnUnfinishedRecordingSaysHowToRecoverIt)
{
    TemporaryDirectory root;
    const fs::path cut = root / "cut-off";
    writeText(cut / ".vantile" / ProjectFileManager::journalFileName, "{}\n");
    EXPECT_EQ(loadFailure(ProjectFileManager(root.path()), cut), "unfinished recording: run vantile-cli recover " + cut.string());
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

TEST(TimelineEditStore, OlderProjectsWithoutEditsRoundTripByteForByte)
{
    // The examples are hand-written; their first save writes them as the store always has, and from
    // then on a load and save must not add a byte (no empty trim, cuts or "edited" keys).
    for (const char* name : {"walkthrough", "minimal"}) {
        TemporaryDirectory root;
        fs::copy(fs::path(VANTILE_SOURCE_DIR) / "examples" / name, root / name, fs::copy_options::recursive);
        const ProjectFileManager files(root.path());
        const RecordingProject project = files.loadProject(root / name);
        EXPECT_FALSE(project.trim);
        EXPECT_TRUE(project.cuts.empty());
        files.saveProject(project, root / name);
        const auto saved = snapshotFiles(root / name);
        for (const auto& [file, text] : saved) {
            for (const char* key : {"\"trim\"", "\"cuts\"", "\"edited\""}) {
                EXPECT_EQ(text.find(key), std::string::npos) << name << "/" << file << " gained " << key;
            }
        }
        files.saveProject(files.loadProject(root / name), root / name);
        EXPECT_EQ(snapshotFiles(root / name), saved) << name;
    }
}
