#include "model/AudioSettings.h"
#include "model/RenderSettings.h"
#include "store/ProjectFileManager.h"

#include "support/MediaProbe.h"
#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include <sys/stat.h>

using namespace vantile;
using namespace vantile::testing;
namespace fs = std::filesystem;

namespace {

bool contains(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

const fs::path examples = fs::path(VANTILE_SOURCE_DIR) / "examples";

}  // namespace

// Every option a command's usage line names is explained by that command's own --help, so an
// option added without help fails here; and the README's command table gives the same usage.
TEST(HelpCommand, EachCommandExplainsEveryOptionOfItsUsage)
{
    const std::string readme = readText(fs::path(VANTILE_SOURCE_DIR) / "README.md");
    const auto overview = runCli({"--help"});
    ASSERT_EQ(overview.exitCode, 0);
    std::istringstream lines(overview.standardOutput);
    std::string line;
    int commands = 0;
    const std::regex usageLine(R"(^  vantile-cli ([a-z]+)(.*)$)");
    const std::regex option(R"((--[a-z-]+|-o)\b)");
    while (std::getline(lines, line)) {
        std::smatch match;
        if (!std::regex_match(line, match, usageLine)) continue;
        ++commands;
        const std::string name = match[1];
        const std::string usage = match[2];
        std::string documented = "| `vantile-cli " + name + usage + "` |";
        for (std::size_t bar = documented.find('|', 2); bar + 4 < documented.size(); bar = documented.find('|', bar + 2))
            documented.insert(bar, "\\");
        EXPECT_TRUE(contains(readme, documented)) << "the README documents another usage than " << line;
        const auto help = runCli({name, "--help"});
        ASSERT_EQ(help.exitCode, 0) << name;
        EXPECT_TRUE(help.standardOutput.starts_with("vantile-cli " + name)) << help.standardOutput;
        for (std::sregex_iterator it(usage.begin(), usage.end(), option), end; it != end; ++it)
            EXPECT_TRUE(contains(help.standardOutput, it->str())) << name << " --help lacks " << it->str();
    }
    EXPECT_GE(commands, 7);

    // The choices of an enumerated option are listed, so a new one cannot be left out.
    const std::string exportHelp = runCli({"export", "--help"}).standardOutput;
    for (const CursorTheme theme : cursorThemeTexts.allCases())
        EXPECT_TRUE(contains(exportHelp, cursorThemeTexts.text(theme))) << cursorThemeTexts.text(theme);
    const std::string recordHelp = runCli({"record", "--help"}).standardOutput;
    for (const AudioCaptureMode mode : audioCaptureModeTexts.allCases())
        EXPECT_TRUE(contains(recordHelp, audioCaptureModeTexts.text(mode))) << audioCaptureModeTexts.text(mode);
}

TEST(InfoCommand, SummarisesBothLayoutsAndJsonRoundTrips)
{
    const auto minimal = runCli({"info", (examples / "minimal").string()});
    ASSERT_EQ(minimal.exitCode, 0) << minimal.standardError;
    EXPECT_TRUE(contains(minimal.standardOutput, "1280x720 at 30 fps"));

    TemporaryDirectory copy;
    fs::copy(examples / "walkthrough", copy / "walkthrough", fs::copy_options::recursive);
    const auto before = snapshotFiles(copy.path());
    const auto summary = runCli({"info", (copy / "walkthrough").string()});
    ASSERT_EQ(summary.exitCode, 0) << summary.standardError;
    EXPECT_TRUE(contains(summary.standardOutput, "events        7"));

    const auto json = runCli({"info", (copy / "walkthrough").string(), "--json"});
    ASSERT_EQ(json.exitCode, 0) << json.standardError;
    const RecordingProject loaded = ProjectFileManager(copy.path()).loadProject(copy / "walkthrough");
    EXPECT_EQ(json.standardOutput, ProjectFileManager::encodeDocument(Json(loaded)) + "\n");
    // info never writes.
    EXPECT_EQ(snapshotFiles(copy.path()), before);
}

// A refused command line exits 2 for a usage mistake and 1 for anything else, prints nothing,
// names the problem on one line of its error output, and writes nothing. Which file and key a bad
// project names is the store's to show; here, that the command passes it on.
TEST(RefusedCommandLines, FailWithOneLineNamingTheProblemAndWriteNothing)
{
    TemporaryDirectory root;
    writeText(root / "events.json", "[]");
    writeText(root / "object.json", R"({"events": []})");
    writeText(root / "broken" / ".vantile" / "project.json", "{\"id\": ");
    writeText(root / "taken" / "raw.mov", "a recording");  // a sample never replaces what is there
    writeText(root / "file", "a file");
    fs::copy(examples / "minimal", root / "minimal");
    Json inverted = Json::parse(readText(examples / "minimal" / "project.json"));
    inverted["trim"] = {{"start", 5}, {"end", 2}};
    writeText(root / "inverted" / "project.json", inverted.dump());
    const std::string minimal = (root / "minimal").string();
    // Unfinished recordings whose movie or start note is not what it should be.
    const std::string journal = std::string(".vantile/") + ProjectFileManager::journalFileName;
    for (const char* name : {"fifo-movie", "folder-movie", "garbled-note"}) writeText(root / name / journal, "");
    ASSERT_EQ(::mkfifo((root / "fifo-movie" / "raw.mov").c_str(), 0600), 0);
    fs::create_directories(root / "folder-movie" / "raw.mov");
    writeText(root / "garbled-note" / "raw.mov", "a recording");
    writeText(root / "garbled-note" / ".vantile" / ProjectFileManager::recordingStartFileName, "{source: display}");
    const std::string events = (root / "events.json").string();
    const auto plan = [&](const std::string& file, std::vector<std::string> options) {
        options.insert(options.begin(), {"plan", "--events", file, "--width", "64", "--height", "64"});
        return options;
    };
    const std::vector<std::string> noDisplay{"-u", "DISPLAY", "-u", "WAYLAND_DISPLAY", "-u", "WAYLAND_SOCKET",
                                             "-u", "XDG_SESSION_TYPE", "-u", "VANTILE_BACKEND"};
    auto noRuntimeDirectory = noDisplay;
    noRuntimeDirectory.insert(noRuntimeDirectory.end(),
                              {"-u", "XDG_RUNTIME_DIR", "VANTILE_BACKEND=wayland", "WAYLAND_DISPLAY=wayland-0"});
    auto noWaylandDisplay = noDisplay;
    noWaylandDisplay.push_back("VANTILE_BACKEND=wayland");
    const struct {
        std::vector<std::string> arguments;
        int exitCode;
        std::string expected;
        std::vector<std::string> environment = {};  // for env(1): "-u NAME" unsets, "NAME=VALUE" sets
    } cases[] = {
        {plan(events, {"--duration", "-1"}), 2, "--duration"},
        {plan(events, {"--duration", "nan"}), 2, "--duration"},
        {plan(events, {"--duration", "soon"}), 2, "--duration"},
        {plan(events, {}), 2, "--duration"},
        {plan(events, {"--duration", "1", "--fps", "0"}), 2, "--fps"},
        {plan(events, {"--duration", "1", "--fps", "241"}), 2, "--fps"},
        {plan(events, {"--duration", "1", "--intensity", "extreme"}), 2, "--intensity"},
        {plan(events, {"--duration", "1", "--width", "0"}), 2, "--width"},
        {plan((root / "missing.json").string(), {"--duration", "1"}), 1, "missing.json"},
        {plan((root / "object.json").string(), {"--duration", "1"}), 1, "expected an array"},
        {{"record", "--duration", "0", "--root", (root / "projects").string()}, 2, "--duration"},
        {{"record", "--duration", "600.5", "--root", (root / "projects").string()}, 2, "--duration"},
        {{"record", "--fps", "45", "--root", (root / "projects").string()}, 2, "--fps must be 30 or 60"},
        {{"record", "--fps", "sixty", "--root", (root / "projects").string()}, 2, "--fps must be 30 or 60"},
        {{"sample", (root / "taken").string(), "--duration", "1"}, 2, (root / "taken").string()},
        {{"sample", (root / "file").string(), "--duration", "1"}, 2, (root / "file").string()},
        {{"info", (root / "missing").string()}, 1, "No project at"},
        {{"info", (root / "broken").string()}, 1, "project.json: malformed JSON"},
        {{"info", (root / "broken").string(), "--verbose"}, 2, "unknown option --verbose"},
        {{"frobnicate"}, 2, "unknown command"},
        // Indices are whole numbers in range; nothing wraps round to segment 0.
        {{"edit", minimal, "--remove-zoom", "1e300"}, 2, "--remove-zoom"},
        {{"edit", minimal, "--remove-zoom", "18446744073709551616"}, 2, "--remove-zoom"},
        {{"edit", minimal, "--remove-zoom", "-1"}, 2, "--remove-zoom"},
        {{"edit", minimal, "--remove-zoom", "0"}, 1, "There is no segment 0"},
        // An empty path is named, not passed to the file system library.
        {{"edit", ""}, 2, "empty"},
        {{"info", ""}, 2, "empty"},
        {{"export", minimal, "-o", ""}, 2, "-o"},
        // A hand-edited timeline that keeps nothing is refused before anything renders or is written.
        {{"export", (root / "inverted").string()}, 1, "project.json: trim: The trim 5 s to 2 s must end after it starts."},
        {{"edit", (root / "inverted").string(), "--cut", "1", "2"}, 1, "project.json: trim:"},
        {{"sample", ""}, 2, "the project directory is empty"},
        {{"record", "--root", ""}, 2, "--root names no directory"},
        {{"recover", ""}, 2, "the project directory is empty"},
        {{"recover", (root / "missing").string()}, 1, (root / "missing").string() + ": there is no such directory"},
        {{"recover", (root / "file").string()}, 1, "it is not a directory"},
        {{"recover", (root / "fifo-movie").string()}, 1, "raw.mov is not a regular file"},
        {{"recover", (root / "folder-movie").string()}, 1, "raw.mov is a directory"},
        {{"recover", (root / "garbled-note").string()}, 1, "recording.json is not valid JSON"},
        {{"sources"}, 1, "No display is set: DISPLAY is unset", noDisplay},
        {{"sources"}, 1, "No display is set: WAYLAND_DISPLAY is unset", noWaylandDisplay},
        // The one line must be ours: the Wayland library prints its own when it gets this far.
        {{"sources"}, 1, "XDG_RUNTIME_DIR is unset", noRuntimeDirectory},
    };
    const auto before = snapshotFiles(root.path());
    for (const auto& [arguments, exitCode, expected, environment] : cases) {
        std::vector<std::string> invocation{"env"};
        invocation.insert(invocation.end(), environment.begin(), environment.end());
        invocation.push_back(VANTILE_CLI);
        invocation.insert(invocation.end(), arguments.begin(), arguments.end());
        const CommandResult result = runCommand(invocation);
        std::string commandLine;
        for (const std::string& argument : invocation) commandLine += argument + " ";
        SCOPED_TRACE(commandLine + "-> " + result.standardError);
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_TRUE(result.standardOutput.empty());
        EXPECT_EQ(result.standardError.find('\n'), result.standardError.size() - 1);
        EXPECT_TRUE(contains(result.standardError, expected));
        // A library's own text never reaches the user.
        for (const char* library : {"json.exception", "filesystem error", "error: "})
            EXPECT_FALSE(contains(result.standardError, library)) << library;
        EXPECT_EQ(snapshotFiles(root.path()), before);
    }
    EXPECT_FALSE(fs::exists(root / "projects"));
}

// Privacy blur through `edit`: clipped, listed, removable, kept by later edits and by `info`;
// bad spans, rectangles and styles refused with nothing written.
TEST(EditCommand, BlurRegionsAreAddedClippedListedAndRemovedByIndex)
{
    TemporaryDirectory root;
    const fs::path directory = root / "project";
    ASSERT_EQ(runCli({"sample", directory.string(), "--duration", "6", "--width", "640", "--height", "360"}).exitCode, 0);
    const ProjectFileManager store(root.path());
    const auto added = runCli({"edit", directory.string(), "--blur", "1", "3", "600", "-20", "100", "60", "--blur",
                               "2", "5.5", "10", "10", "50", "40", "--blur-style", "blur", "--json"});
    ASSERT_EQ(added.exitCode, 0) << added.standardError;
    const std::vector<BlurRegion> expected{{1, 3, 600, 0, 40, 40, BlurRegion::Style::pixelate},
                                           {2, 5.5, 10, 10, 50, 40, BlurRegion::Style::blur}};
    EXPECT_EQ(Json::parse(added.standardOutput).at("blurRegions"), Json(expected));
    EXPECT_EQ(store.loadProject(directory).blurRegions, expected);
    ASSERT_EQ(runCli({"edit", directory.string(), "--cut", "0.5", "1"}).exitCode, 0);
    const auto info = runCli({"info", directory.string()});
    EXPECT_NE(info.standardOutput.find("blur          0: 1.000 - 3.000 s at 600,0 40x40 pixelate, 1: 2.000 - 5.500 s"),
              std::string::npos)
        << info.standardOutput;

    const auto before = snapshotFiles(directory);
    // The edit's own refusals are the engine tests'; one shows they reach the user, the rest are parsing.
    const std::vector<std::pair<std::vector<std::string>, std::string>> refused = {
        {{"--blur", "1", "2", "700", "10", "50", "40"}, "lies outside the recording's picture (640 x 360)"},
        {{"--blur", "1", "2", "10", "10", "50", "40", "--blur-style", "smear"}, "expected pixelate or blur"},
        {{"--blur-style", "blur"}, "must follow --blur"},
        {{"--blur", "1", "2", "10", "10", "50"}, "needs 6 values"},
    };
    for (auto [options, message] : refused) {
        options.insert(options.begin(), {"edit", directory.string()});
        const CommandResult result = runCli(options);
        EXPECT_NE(result.exitCode, 0) << message;
        EXPECT_NE(result.standardError.find(message), std::string::npos) << result.standardError;
        EXPECT_EQ(snapshotFiles(directory), before) << message;
    }
    ASSERT_EQ(runCli({"edit", directory.string(), "--remove-blur", "0"}).exitCode, 0);
    EXPECT_EQ(store.loadProject(directory).blurRegions, std::vector<BlurRegion>{expected[1]});
}

// A crop through `edit`: taken inward to even pixels, listed, kept in the project, refused when
// it does not fit (nothing written), and cleared again.
TEST(EditCommand, CropIsTakenInwardListedRefusedWhenItDoesNotFitAndCleared)
{
    TemporaryDirectory root;
    const fs::path directory = root / "project";
    ASSERT_EQ(runCli({"sample", directory.string(), "--duration", "4", "--width", "640", "--height", "360"}).exitCode, 0);
    const ProjectFileManager store(root.path());
    const auto cropped = runCli({"edit", directory.string(), "--crop", "11", "9", "320", "180"});
    ASSERT_EQ(cropped.exitCode, 0) << cropped.standardError;
    EXPECT_NE(cropped.standardOutput.find("crop          318x178 at 12,10\n"), std::string::npos) << cropped.standardOutput;
    EXPECT_EQ(store.loadProject(directory).crop, (RecordingCrop{12, 10, 318, 178}));

    const auto before = snapshotFiles(directory);
    for (const auto& [options, message] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"--crop", "400", "0", "320", "180"}, "reaches outside the 640x360 recording"},
             {{"--crop", "0", "0", "320"}, "needs 4 values"}}) {
        std::vector<std::string> arguments{"edit", directory.string()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const CommandResult result = runCli(arguments);
        EXPECT_NE(result.exitCode, 0) << message;
        EXPECT_NE(result.standardError.find(message), std::string::npos) << result.standardError;
        EXPECT_EQ(snapshotFiles(directory), before) << message;
    }
    const auto cleared = runCli({"edit", directory.string(), "--clear-crop", "--json"});
    ASSERT_EQ(cleared.exitCode, 0) << cleared.standardError;
    EXPECT_FALSE(Json::parse(cleared.standardOutput).contains("crop"));
    EXPECT_FALSE(store.loadProject(directory).crop);
}

// The options apply in order and the project is saved once, or, when one is refused, not at all.
TEST(EditCommand, AppliesOptionsInOrderSavesOnceAndPrintsTheTimeline)
{
    TemporaryDirectory root;
    const fs::path directory = root / "project";
    const auto made = runCli({"sample", directory.string(), "--duration", "20", "--width", "640", "--height", "360"});
    ASSERT_EQ(made.exitCode, 0) << made.standardError;
    const ProjectFileManager store(root.path());
    const RecordingProject original = store.loadProject(directory);

    // The second cut overlaps the first and merges; the zoom replaces what it overlaps.
    const auto edited = runCli({"edit", directory.string(), "--trim", "1", "19", "--cut", "5", "7", "--cut", "6",
                                "8", "--cut", "12", "13.5", "--zoom", "9", "10.5", "300", "200", "2.5", "--json"});
    ASSERT_EQ(edited.exitCode, 0) << edited.standardError;
    const Json timeline = Json::parse(edited.standardOutput);
    EXPECT_DOUBLE_EQ(timeline.at("duration").get<double>(), 18 - 3 - 1.5);
    EXPECT_EQ(timeline.at("trim"), (Json{{"start", 1.0}, {"end", 19.0}}));
    EXPECT_EQ(timeline.at("cuts"), Json::parse(R"([{"start":5.0,"end":8.0},{"start":12.0,"end":13.5}])"));

    const RecordingProject saved = store.loadProject(directory);
    EXPECT_EQ(timeline.at("segments"), Json(saved.focusSegments));
    const auto zoom = std::ranges::find_if(saved.focusSegments, &FocusSegment::edited);
    ASSERT_NE(zoom, saved.focusSegments.end());
    EXPECT_EQ(*zoom, (FocusSegment{9, 10.5, FocusSegment::SegmentType::clickFocus, 300, 200, 2.5, true}));
    const auto zoomIndex = zoom - saved.focusSegments.begin();

    // Removing by the index info --json lists, then clearing, brings back the automatic plan.
    ASSERT_EQ(runCli({"edit", directory.string(), "--remove-zoom", std::to_string(zoomIndex)}).exitCode, 0);
    EXPECT_EQ(store.loadProject(directory).focusSegments.size(), saved.focusSegments.size() - 1);
    const auto cleared = runCli({"edit", directory.string(), "--clear-edits"});
    ASSERT_EQ(cleared.exitCode, 0) << cleared.standardError;
    RecordingProject restored = store.loadProject(directory);
    EXPECT_EQ(restored.focusSegments, original.focusSegments);
    EXPECT_FALSE(restored.trim);
    EXPECT_TRUE(restored.cuts.empty());

    // Speed regions: 2..6 at 4x and 10..11 at 0.5x give 20 - 3 + 1 = 18 s; the first is removed by index.
    const auto sped = runCli({"edit", directory.string(), "--speed", "10", "11", "0.5", "--speed", "2", "6", "4", "--json"});
    ASSERT_EQ(sped.exitCode, 0) << sped.standardError;
    EXPECT_DOUBLE_EQ(Json::parse(sped.standardOutput).at("duration").get<double>(), 18);
    EXPECT_EQ(Json::parse(sped.standardOutput).at("speedRegions"),
              Json::parse(R"([{"start":2.0,"end":6.0,"speed":4.0},{"start":10.0,"end":11.0,"speed":0.5}])"));
    ASSERT_EQ(runCli({"edit", directory.string(), "--remove-speed", "0"}).exitCode, 0);
    EXPECT_EQ(store.loadProject(directory).speedRegions, (std::vector<SpeedRegion>{{10, 11, 0.5}}));

    // An edit refused in the middle of the options leaves every file as it was, the cut before it too.
    const auto before = snapshotFiles(directory);
    const std::vector<std::pair<std::vector<std::string>, std::string>> refused = {
        {{"--cut", "4", "5", "--zoom", "1", "2", "700", "10", "2"}, "outside the 640x360 video"},
        {{"--zoom", "1", "2", "x", "10", "2"}, "expected a number"},
        {{"--speed", "1", "3", "2", "--speed", "2.5", "4", "8"}, "overlaps the speed region"},
        {{"--speed", "1", "3", "32"}, "between 0.25x and 16x"},
        {{"--remove-speed", "5"}, "no speed region 5"},
        {{"--skip-idle", "--as", "fast"}, "expected cut or speed"},
    };
    for (auto [options, expected] : refused) {
        options.insert(options.begin(), {"edit", directory.string()});
        const CommandResult result = runCli(options);
        EXPECT_NE(result.exitCode, 0) << expected;
        EXPECT_NE(result.standardError.find(expected), std::string::npos) << result.standardError;
        EXPECT_EQ(snapshotFiles(directory), before) << expected;
    }
}

// Edits and exports that run at once each keep what the others saved: six edits all land, an edit
// made while an export renders survives the export's save, and keys this version does not know
// survive both. A writer kept out too long fails and writes nothing.
TEST(EditCommand, ConcurrentEditsAndExportsLoseNothing)
{
    TemporaryDirectory root;
    const fs::path directory = root / "project";
    const auto made = runCli({"sample", directory.string(), "--duration", "12", "--width", "640", "--height", "360"});
    ASSERT_EQ(made.exitCode, 0) << made.standardError;
    const fs::path metadata = directory / ".vantile";
    Json header = Json::parse(readText(metadata / "project.json"));
    header["captions"] = {{"path", "captions.vtt"}};
    header["renderSettings"]["futureSetting"] = 0.5;
    writeText(metadata / "project.json", header.dump());
    Json segments = Json::parse(readText(metadata / "focus_segments.json"));
    segments.back()["label"] = "kept";
    writeText(metadata / "focus_segments.json", segments.dump());

    const std::string cli = quoteForShell(VANTILE_CLI);
    const std::string project = quoteForShell(directory.string());
    std::string edits;
    for (int index = 0; index < 6; ++index) {
        edits += cli + " edit " + project + " --cut " + std::to_string(index + 1) + " " + std::to_string(index + 1) +
                 ".5 >/dev/null & pids=\"$pids $!\"; ";
    }
    const auto concurrent = runShell("failed=0; " + edits + "for pid in $pids; do wait $pid || failed=1; done; echo $failed");
    EXPECT_EQ(concurrent.standardOutput, "0\n") << concurrent.standardError;
    EXPECT_EQ(ProjectFileManager(root.path()).loadProject(directory).cuts.size(), 6u);

    // The trim is saved while the export renders: once its movie is being written.
    const fs::path output = root / "out";
    fs::create_directories(output);
    const auto overlapped = runShell(
        cli + " export " + project + " --template cleanLight --resolution 720p -o " +
        quoteForShell((output / "movie.mp4").string()) + " >/dev/null & exporter=$!; " +
        "tries=0; while [ -z \"$(ls -A " + quoteForShell(output.string()) + ")\" ] && [ $tries -lt 1200 ]; do sleep 0.05; tries=$((tries+1)); done; " +
        cli + " edit " + project + " --trim 0.5 11.5 >/dev/null; edited=$?; " +
        "kill -0 $exporter 2>/dev/null && echo overlapped; wait $exporter; echo $edited $?");
    EXPECT_EQ(overlapped.standardOutput, "overlapped\n0 0\n") << overlapped.standardError;
    const RecordingProject saved = ProjectFileManager(root.path()).loadProject(directory);
    EXPECT_EQ(saved.trim, (TimeRange{0.5, 11.5}));
    EXPECT_EQ(saved.cuts.size(), 6u);
    EXPECT_EQ(saved.renderSettings.templateName, TemplateName::cleanLight);
    EXPECT_EQ(saved.exportVideoPath, (output / "movie.mp4").string());
    // Outside the project the export is listed by its full path, with the movie's real size.
    ASSERT_EQ(saved.exports.size(), 1u);
    EXPECT_EQ(saved.exports[0].path, (output / "movie.mp4").string());
    EXPECT_EQ(saved.exports[0].format, "mp4");
    EXPECT_EQ(saved.exports[0].bytes, std::int64_t(fs::file_size(output / "movie.mp4")));
    const Json savedHeader = Json::parse(readText(metadata / "project.json"));
    EXPECT_EQ(savedHeader["captions"], header["captions"]);
    EXPECT_EQ(savedHeader["renderSettings"]["futureSetting"], 0.5);
    EXPECT_EQ(Json::parse(readText(metadata / "focus_segments.json")).back()["label"], "kept");

    // Held by another program past the wait: the edit says so and writes nothing.
    const auto before = snapshotFiles(directory);
    const auto busy = runShell("exec 9<" + project + " && flock 9 && " + cli + " edit " + project + " --cut 10 11; echo $?");
    EXPECT_EQ(busy.standardOutput, "1\n");
    EXPECT_TRUE(contains(busy.standardError, "project is busy")) << busy.standardError;
    EXPECT_EQ(snapshotFiles(directory), before);
}

// File names on Linux are bytes: a project in a directory named in Latin-1 is made and exported
// whole, and a destination the project could not record is refused before any work.
TEST(SampleCommand, DirectoriesNamedInAnotherEncodingWorkOrAreRefusedBeforeAnyWork)
{
    TemporaryDirectory root;
    const fs::path directory = root / "caf\xe9";
    const auto made = runCli({"sample", directory.string(), "--duration", "1", "--width", "320", "--height", "180"});
    ASSERT_EQ(made.exitCode, 0) << made.standardError;
    EXPECT_EQ(ProjectFileManager(root.path()).loadProject(directory).id, "caf\xef\xbf\xbd");

    const auto inside = runCli({"export", directory.string(), "-o", (directory / "movie.gif").string()});
    ASSERT_EQ(inside.exitCode, 0) << inside.standardError;
    EXPECT_EQ(ProjectFileManager(root.path()).loadProject(directory).exportVideoPath, "movie.gif");
    // How the exports are listed is the settings editor's and the app's to check; info names them.
    EXPECT_TRUE(contains(runCli({"info", directory.string()}).standardOutput, "exported      movie.gif (gif, "));

    const fs::path elsewhere = root / "d\xe9j\xe0";
    fs::create_directories(elsewhere);
    const auto before = snapshotFiles(root.path());
    const auto refused = runCli({"export", directory.string(), "-o", (elsewhere / "movie.mp4").string()});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(contains(refused.standardError, "UTF-8")) << refused.standardError;
    EXPECT_EQ(snapshotFiles(root.path()), before);
}

// The README's main job, end to end: its own display and sound server, the sample app driven
// by the script, the recording planned and exported.
TEST(DemoCommand, RecordsTheScriptedDemoAndExportsAMovieThatZooms)
{
    TemporaryDirectory root;
    const auto demo = runShell("env -u DISPLAY PULSE_SERVER=" + quoteForShell("unix:" + (root / "no-server").string()) +
                               " " + quoteForShell(VANTILE_CLI) + " demo --root " + quoteForShell(root.path().string()));
    ASSERT_EQ(demo.exitCode, 0) << demo.standardError;
    ASSERT_FALSE(demo.standardOutput.empty());
    const std::filesystem::path movie = demo.standardOutput.substr(0, demo.standardOutput.size() - 1);
    EXPECT_EQ(movie.parent_path().parent_path(), root.path());

    const RecordingProject project = ProjectFileManager(root.path()).loadProject(movie.parent_path());
    EXPECT_EQ(project.exportVideoPath, "export.mp4");
    EXPECT_TRUE(std::any_of(project.focusSegments.begin(), project.focusSegments.end(),
                            [](const FocusSegment& segment) { return segment.scale > 1.05; }));
    const auto probed = probe(movie);
    const auto video = streamOfType(probed, "video");
    ASSERT_FALSE(video.is_null());
    EXPECT_EQ(video["codec_name"], "h264");
    EXPECT_FALSE(streamOfType(probed, "audio").is_null());
    EXPECT_NEAR(std::stod(probed["format"]["duration"].get<std::string>()), project.duration, 0.5);
}
