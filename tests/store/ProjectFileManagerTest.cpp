#include "store/ProjectChanges.h"
#include "store/ProjectFileManager.h"
#include "store/ProjectLock.h"
#include "store/ProjectWriter.h"

#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <optional>
#include <thread>

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
    const auto headerWithAll = [&](const Json& changes) {
        Json changed = header;
        changed.update(changes);
        return [text = changed.dump()](const fs::path& path) { writeText(path, text); };
    };
    const auto range = [](double start, double end) { return Json{{"start", start}, {"end", end}}; };
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
        // A timeline written by hand is held to the rules an edit is: nothing renders a movie of nothing.
        {"project.json", headerWith("/trim", range(3, 1)), "project.json: trim: The trim 3 s to 1 s must end after it starts."},
        {"project.json", headerWith("/trim", range(2, 2)), "project.json: trim: The trim 2 s to 2 s must end"},
        {"project.json", headerWith("/trim", range(1, 9)), "project.json: trim: The trim 1 s to 9 s lies outside the recording"},
        {"project.json", headerWith("/cuts", Json::array({range(1, 2), range(-1, 0.5)})),
         "project.json: cuts[1]: The cut -1 s to 0.5 s lies outside the recording"},
        {"project.json", headerWith("/cuts", Json::array({range(0, 4.25)})),
         "project.json: cuts: The trim and cuts keep nothing of the recording."},
        {"project.json", headerWithAll({{"trim", range(1, 2)}, {"cuts", Json::array({range(0.5, 3)})}}),
         "project.json: trim, cuts: The trim and cuts keep nothing"},
        {"focus_segments.json",
         text(R"([{"start":0,"end":1,"type":"clickFocus","centerX":5000,"centerY":1,"scale":2,"edited":true}])"),
         "focus_segments.json: [0]: The zoom's focus point (5000, 1) lies outside the 1920x1080 video."},
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
            for (const char* key : {"\"trim\"", "\"cuts\"", "\"edited\"", "\"camera", "\"blurRegions\""}) {
                EXPECT_EQ(text.find(key), std::string::npos) << name << "/" << file << " gained " << key;
            }
        }
        files.saveProject(files.loadProject(root / name), root / name);
        EXPECT_EQ(snapshotFiles(root / name), saved) << name;
    }
}

// A writer's save lays only what it changed over the project on disk: another writer's edit
// made meanwhile survives, and so does whatever a newer version wrote that this one cannot read.
TEST(ProjectStore, SavesKeepOtherWritersChangesAndKeysThisVersionDoesNotKnow)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    const fs::path directory = root / "shared";
    const fs::path metadata = directory / ".vantile";
    store.saveProject(sampleProject(), directory);
    // What a newer version might add, at every level of every file.
    Json header = Json::parse(readText(metadata / "project.json"));
    header["captions"] = {{"path", "captions.vtt"}, {"offset", 0.25}};
    header["renderSettings"]["futureSetting"] = 0.5;
    header["capture"]["region"]["note"] = "left monitor";
    header["trim"] = {{"start", 0.5}, {"end", 4}, {"reason", "intro"}};
    writeText(metadata / "project.json", header.dump());
    Json segments = Json::parse(readText(metadata / "focus_segments.json"));
    segments[0]["label"] = "first";
    writeText(metadata / "focus_segments.json", segments.dump());
    Json events = Json::parse(readText(metadata / "events.json"));
    events[2]["pressure"] = 0.75;
    writeText(metadata / "events.json", events.dump());
    const std::string eventsText = readText(metadata / "events.json");

    // Two programs open the project; each changes something else and saves.
    const RecordingProject opened = store.loadProject(directory);
    ProjectWriter settingsWriter(store, directory, opened);
    ProjectWriter timelineWriter(store, directory, opened);
    RecordingProject withSettings = opened;
    withSettings.renderSettings.templateName = TemplateName::cleanLight;
    settingsWriter.save(withSettings);
    // The second writer still holds the project as it opened it, and changes another setting.
    RecordingProject withCut = opened;
    withCut.cuts = {{1, 2}};
    withCut.focusSegments[0].scale = 1.5;
    withCut.renderSettings.showCursor = false;
    timelineWriter.save(withCut);
    // The first writer's next change must not bring back its stale timeline.
    withSettings.renderSettings.fps = 60;
    settingsWriter.save(withSettings);

    const RecordingProject saved = store.loadProject(directory);
    EXPECT_EQ(saved.renderSettings.templateName, TemplateName::cleanLight);
    EXPECT_EQ(saved.renderSettings.fps, 60);
    EXPECT_FALSE(saved.renderSettings.showCursor);
    ASSERT_EQ(saved.cuts.size(), 1u);
    EXPECT_EQ(saved.cuts[0].start, 1);
    EXPECT_EQ(saved.focusSegments[0].scale, 1.5);
    const Json savedHeader = Json::parse(readText(metadata / "project.json"));
    EXPECT_EQ(savedHeader["captions"], header["captions"]);
    EXPECT_EQ(savedHeader["renderSettings"]["futureSetting"], 0.5);
    EXPECT_EQ(savedHeader["capture"]["region"]["note"], "left monitor");
    EXPECT_EQ(savedHeader["trim"]["reason"], "intro");
    EXPECT_EQ(Json::parse(readText(metadata / "focus_segments.json"))[0]["label"], "first");
    // A list no writer changed keeps its file byte for byte.
    EXPECT_EQ(readText(metadata / "events.json"), eventsText);
    // A changed list still carries its elements' unknown keys.
    RecordingProject moreEvents = saved;
    moreEvents.events.push_back({5, InputEvent::EventType::mouseMove, 1, 1, {}, {}, {}});
    ProjectWriter(store, directory, saved).save(moreEvents);
    EXPECT_EQ(Json::parse(readText(metadata / "events.json"))[2]["pressure"], 0.75);
}

// Every field counts: a field the merge forgot would be silently dropped or overwritten.
TEST(ProjectStore, MergeTakesExactlyTheFieldsAWriterChanged)
{
    const RecordingProject base = sampleProject();
    RecordingProject everyFieldOtherwise;
    everyFieldOtherwise.id = "other";
    everyFieldOtherwise.createdAt = base.createdAt + std::chrono::hours(1);
    everyFieldOtherwise.duration = 9;
    everyFieldOtherwise.capture.sourceType = CaptureInfo::SourceType::window;
    everyFieldOtherwise.video = {"other.mov", 640, 360, 60};
    everyFieldOtherwise.events = {{1, InputEvent::EventType::leftMouseDown, 3, 3, {}, {}, "left"}};
    everyFieldOtherwise.focusSegments = {{1, 2, FocusSegment::SegmentType::clickFocus, 3, 3, 2, true}};
    everyFieldOtherwise.cursorFrames = {{0.5, 9, 9, false, true}};
    everyFieldOtherwise.renderSettings.fps = 24;
    everyFieldOtherwise.audioSettings.mode = AudioCaptureMode::microphone;
    everyFieldOtherwise.rawVideoPath = "other.mov";
    everyFieldOtherwise.previewVideoPath = "preview.mp4";
    everyFieldOtherwise.exportVideoPath = "export.mp4";
    everyFieldOtherwise.trim = TimeRange{1, 3};
    everyFieldOtherwise.cuts = {{1.5, 2}};
    everyFieldOtherwise.camera = CameraRecording{"camera.mov", 640, 480, 30, 0.5};
    everyFieldOtherwise.unknownKeys.members = {{"captions", true}};

    // A writer that changed everything writes everything; one that changed nothing writes nothing.
    EXPECT_EQ(mergeProjectChanges(base, everyFieldOtherwise, base), everyFieldOtherwise);
    EXPECT_EQ(mergeProjectChanges(base, base, everyFieldOtherwise), everyFieldOtherwise);
    // The trim and the cuts go together: one writer's trim never meets another's cuts.
    RecordingProject trimmed = base;
    trimmed.trim = TimeRange{0, 1};
    const RecordingProject merged = mergeProjectChanges(base, trimmed, everyFieldOtherwise);
    EXPECT_EQ(merged.trim, trimmed.trim);
    EXPECT_TRUE(merged.cuts.empty());
    EXPECT_EQ(merged.renderSettings, everyFieldOtherwise.renderSettings);
}

TEST(ProjectStore, ASecondWriterWaitsForTheLockThenSaysTheProjectIsBusy)
{
    TemporaryDirectory root;
    const ProjectFileManager store(root.path());
    store.saveProject(sampleProject(), root / "busy");
    std::optional<ProjectLock> held(std::in_place, root / "busy");
    try {
        ProjectLock second(root / "busy", std::chrono::milliseconds(100));
        ADD_FAILURE() << "a second lock was granted";
    } catch (const ProjectFileError& error) {
        EXPECT_EQ(error.kind(), ProjectFileError::Kind::busy);
        EXPECT_NE(std::string(error.what()).find("project is busy"), std::string::npos) << error.what();
    }
    // The waiting writer gets the lock as soon as the first lets go.
    std::thread release([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        held.reset();
    });
    EXPECT_NO_THROW(ProjectLock(root / "busy", std::chrono::seconds(30)));
    release.join();
    // No lock, and no hidden folder, for a directory that does not exist.
    EXPECT_THROW(ProjectLock(root / "missing"), ProjectFileError);
    EXPECT_FALSE(fs::exists(root / "missing"));
}
