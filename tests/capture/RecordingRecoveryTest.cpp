#include "capture/EventJournal.h"
#include "capture/RawMovieWriter.h"
#include "capture/RecordingRecovery.h"
#include "store/ProjectFileManager.h"

#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>

namespace vantile {
namespace {

namespace fs = std::filesystem;
using vantile::testing::readText;
using vantile::testing::runCli;
using vantile::testing::TemporaryDirectory;
using vantile::testing::writeText;
using Type = InputEvent::EventType;

std::string lineOf(const InputEvent& event) { return Json(event).dump() + "\n"; }

// A sample project turned back into a recording whose stop flow never ran: its movie and the
// given journal, no saved project.
fs::path unfinishedSample(const TemporaryDirectory& root, const std::string& name, const std::string& journal)
{
    const fs::path directory = root / name;
    const auto made = runCli({"sample", directory.string(), "--duration", "3", "--width", "320", "--height", "180"});
    EXPECT_EQ(made.exitCode, 0) << made.standardError;
    const fs::path metadata = directory / ProjectFileManager::metadataFolderName;
    for (const char* file : {"project.json", "events.json", "focus_segments.json", "cursor_path.json"})
        fs::remove(metadata / file);
    writeText(metadata / EventJournal::fileName, journal);
    return directory;
}

TEST(EventJournalTest, SkipsAndCountsDamagedLinesButNotATornEnd)
{
    TemporaryDirectory directory;
    const fs::path file = directory / "journal";
    const std::vector<InputEvent> events{{0.25, Type::mouseMove, 1, 2},
                                         {0.5, Type::leftMouseDown, 3, 4, {}, {}, "left"},
                                         {0.75, Type::scrollWheel, 5, 6, 0.0, -1.0, {}},
                                         {1.0, Type::leftMouseUp, 3, 4, {}, {}, "left"}};
    const std::string unknownType = R"({"time":0.6,"type":"teleport","x":1,"y":2})";
    const std::string whole = lineOf(events[0]) + "garbage {\n" + lineOf(events[1]) + std::string(4096, '\0') + "\n" +
                              unknownType + "\n" + "\n" + lineOf(events[2]) +
                              std::string(EventJournal::maximumLineLength + 1, '[') + "\n" + lineOf(events[3]);
    writeText(file, whole);
    EXPECT_EQ(EventJournal::read(file), (JournalContents{events, 5}));

    // Every prefix of a line, as a write cut short leaves it at the end, is a torn end and no damage.
    const std::string last = lineOf({1.5, Type::rightMouseDown, 7.25, 8.5, {}, {}, "right"});
    for (std::size_t length = 1; length + 1 < last.size(); ++length) {
        writeText(file, whole + last.substr(0, length));
        const JournalContents read = EventJournal::read(file);
        EXPECT_EQ(read.damagedLines, 5u) << last.substr(0, length);
        EXPECT_EQ(read.events, events);
    }
    // An unterminated last line that is not the start of an event is damage.
    writeText(file, whole + "}");
    EXPECT_EQ(EventJournal::read(file).damagedLines, 6u);
}

// Bad lines of every kind in the middle of a journal: recovery keeps every event around them,
// says how many lines it skipped and keeps the journal beside the movie.
TEST(RecoverCommandTest, KeepsEveryEventAroundDamagedLinesAndTheDamagedJournal)
{
    TemporaryDirectory root;
    const std::vector<InputEvent> events{
        {0.2, Type::mouseMove, 10, 20},
        {0.5, Type::leftMouseDown, 100, 50, {}, {}, "left"},
        {0.6, Type::leftMouseUp, 100, 50, {}, {}, "left"},
        {1.2, Type::mouseMove, 200, 90},
        {1.5, Type::rightMouseDown, 150, 60, {}, {}, "right"},
        {1.6, Type::rightMouseUp, 150, 60, {}, {}, "right"},
        {2.0, Type::typingActivityStart, 150, 60},
        {2.5, Type::typingActivityEnd, 150, 60},
    };
    const std::string damaged = lineOf(events[0]) + lineOf(events[1]) + "not an event at all\n" + lineOf(events[2]) +
                                std::string(8192, '\0') + "\n" + lineOf(events[3]) + "{\"time\": [" +
                                std::string(30 << 20, '7') + "\n" + lineOf(events[4]) +
                                R"({"time":1.55,"type":"teleport","x":1,"y":2})" + "\n" + lineOf(events[5]) +
                                lineOf(events[6]) + lineOf(events[7]) + "{\"time\":2.9,\"ty";
    const fs::path project = unfinishedSample(root, "damaged", damaged);
    const auto recovered = runCli({"recover", project.string()});
    ASSERT_EQ(recovered.exitCode, 0) << recovered.standardError;
    EXPECT_EQ(recovered.standardOutput, project.string() + "\n");
    EXPECT_EQ(recovered.standardError, "Skipped 4 damaged lines of the input journal and kept it as " +
                                           (project / damagedJournalFileName).string() + ".\n");
    const RecordingProject saved = ProjectFileManager(root.path()).loadProject(project);
    EXPECT_EQ(saved.events, events);  // the whole movie was the source: capture pixels are video pixels
    EXPECT_EQ(readText(project / damagedJournalFileName), damaged);
    EXPECT_FALSE(fs::exists(project / ProjectFileManager::metadataFolderName / EventJournal::fileName));

    // A journal whose only flaw is a torn end recovers silently and leaves nothing behind.
    const fs::path clean = unfinishedSample(root, "clean", lineOf(events[0]) + lineOf(events[1]) + "{\"time\":0.7");
    const auto quiet = runCli({"recover", clean.string()});
    ASSERT_EQ(quiet.exitCode, 0) << quiet.standardError;
    EXPECT_EQ(quiet.standardError, "");
    EXPECT_EQ(ProjectFileManager(root.path()).loadProject(clean).events,
              (std::vector<InputEvent>{events[0], events[1]}));
    EXPECT_FALSE(fs::exists(clean / damagedJournalFileName));
}

// A loaded recorder drops frames, so the truncated movie's measured rate falls short of the rate
// it was written at; the recovered project must say what the stop flow says.
TEST(RecordingRecoveryTest, TakesTheRateTheMovieWasWrittenAtNotItsMeasuredRate)
{
    TemporaryDirectory root;
    const fs::path directory = ProjectFileManager(root.path()).createProjectDirectory();
    {
        RawMovieWriter writer(directory / "raw.mov", 64, 48, 0);
        PlanarFrame frame(64, 48);
        // Two seconds of ticks with every third frame dropped: about 20 frames a second.
        for (std::int64_t tick = 0; tick < 2 * RawMovieWriter::standardFps; ++tick) {
            if (tick % 3 == 2) continue;
            std::fill(frame.luma.begin(), frame.luma.end(), static_cast<std::uint8_t>(tick * 4));
            writer.writeVideo(frame, tick);
        }
        writer.finish();
    }
    const fs::path metadata = directory / ProjectFileManager::metadataFolderName;
    const std::string events = lineOf({0.5, Type::leftMouseDown, 10, 10, {}, {}, "left"});
    const auto recoverFrom = [&](const std::string& note) {
        fs::remove_all(metadata);
        writeText(metadata / EventJournal::fileName, events);
        if (!note.empty()) writeText(metadata / ProjectFileManager::recordingStartFileName, note);
        return recoverRecording(directory, ProjectFileManager(root.path())).project.video;
    };

    RecordingStart start;
    start.source = {.id = "display-1", .region = {0, 0, 64, 48}};
    start.createdAt = parseISO8601("2026-11-23T10:00:00Z");
    writeRecordingStart(start, directory);
    Json note = Json::parse(readText(metadata / ProjectFileManager::recordingStartFileName));
    EXPECT_EQ(note.at("fps"), RawMovieWriter::standardFps);
    EXPECT_EQ(recoverFrom(note.dump()), (VideoInfo{"raw.mov", 64, 48, RawMovieWriter::standardFps}));
    // Notes from before the rate was noted, and no notes at all.
    note.erase("fps");
    EXPECT_EQ(recoverFrom(note.dump()).fps, 30);
    EXPECT_EQ(recoverFrom("").fps, 30);
}

}  // namespace
}  // namespace vantile
