#include "RenderTestSupport.h"

#include "render/ExportManager.h"
#include "store/ProjectFileManager.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <thread>
#include <unistd.h>

namespace vantile {
namespace {

namespace fs = std::filesystem;
using test::runCommand;

std::vector<std::string> hiddenFiles(const fs::path& directory)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        if (name.front() == '.' && name != ProjectFileManager::metadataFolderName) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Polls until `ready` holds or the child ends; returns whether it holds.
bool waitWhileRunning(ChildProcess& child, const std::function<bool()>& ready)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (!ready() && child.isRunning() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return ready();
}

fs::path makeSample(const fs::path& directory, const std::string& duration)
{
    const auto sample = runCommand({VANTILE_CLI, "sample", directory.string(), "--duration", duration, "--width", "640",
                                    "--height", "360", "--audio", "system"});
    EXPECT_EQ(sample.exitCode, 0) << sample.standardError;
    return directory;
}

TEST(ExportStaging, TheNextExportRemovesWhatAKilledOneLeftAndNothingElse)
{
    test::TemporaryDirectory root;
    const fs::path project = makeSample(root / "project", "8");
    ChildProcess killed({VANTILE_CLI, "export", project.string(), "--resolution", "720p"}, {});
    ASSERT_TRUE(waitWhileRunning(killed, [&] { return !hiddenFiles(project).empty(); }))
        << "the export ended before it staged a file";
    ::kill(killed.pid(), SIGKILL);
    waitWhileRunning(killed, [] { return false; });
    const std::vector<std::string> abandoned = hiddenFiles(project);
    ASSERT_FALSE(abandoned.empty());
    for (const std::string& name : abandoned) {
        EXPECT_NE(name.find("-" + std::to_string(killed.pid()) + "-"), std::string::npos) << name << " names no writer";
    }

    // Beside them: names of other making, and one of the export's making whose writer (this test) runs.
    const std::string uuid = "0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9";
    const std::string dead = std::to_string(killed.pid());
    const std::vector<std::string> kept = {
        ".export.mp4-video-" + std::to_string(::getpid()) + "-" + uuid + ".mov",
        ".export.mp4-export.mp4-video-" + uuid + ".mov",  // no writer named
        ".export.mp4-video-" + dead + "-" + uuid + ".mov.keep",
        ".export.mp4-notes-" + dead + "-" + uuid + ".mov",
        ".notes",
        "export.mp4-video-" + dead + "-" + uuid + ".mov",  // not hidden
    };
    for (const std::string& name : kept) vantile::testing::writeText(project / name, "keep");
    fs::create_symlink("/nonexistent", project / (".export.mp4-merge-" + dead + "-" + uuid + ".mp4"));

    const auto next = runCommand({VANTILE_CLI, "export", project.string(), "--resolution", "720p"});
    ASSERT_EQ(next.exitCode, 0) << next.standardError;
    std::vector<std::string> expected = kept;
    expected.push_back(".export.mp4-merge-" + dead + "-" + uuid + ".mp4");
    expected.erase(std::remove_if(expected.begin(), expected.end(), [](const std::string& name) { return name[0] != '.'; }),
                   expected.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(hiddenFiles(project), expected);
    for (const std::string& name : kept) EXPECT_EQ(vantile::testing::readText(project / name), "keep") << name;
    EXPECT_EQ(test::countVideoFrames(project / "export.mp4"), 240);
}

TEST(ExportStaging, TwoExportsToOnePathBothFinishAndTheLastOneStays)
{
    // In one process, an export whose movie waits to replace the destination while another
    // export to that destination runs whole: each keeps its own staged movie.
    test::TemporaryDirectory directory;
    test::writeRawMovie(directory / "raw.mov", 320, 180, 2, 1, [](QImage& canvas, int) { canvas.fill(Qt::gray); });
    const RenderJob outer = test::makeJob(directory.path(), test::makeProject(320, 180, 2), "out.mp4");
    const RenderJob inner = test::makeJob(directory.path(), test::makeProject(320, 180, 1), "out.mp4");
    ExportManager().exportMovie(outer, nullptr, [&](const std::filesystem::path&) {
        EXPECT_EQ(ExportManager().exportMovie(inner), inner.outputURL);
        EXPECT_EQ(test::countVideoFrames(inner.outputURL), 30);
    });
    EXPECT_EQ(test::countVideoFrames(outer.outputURL), 60);  // the last to finish
    EXPECT_EQ(directory.fileNames(), (std::vector<std::string>{"out.mp4", "raw.mov"}));

    // Two processes at once, the second started while the first is under way.
    const fs::path project = makeSample(directory / "project", "4");
    const fs::path output = directory / "shared.mp4";
    const std::vector<std::string> exportCommand = {VANTILE_CLI, "export",        project.string(), "--resolution",
                                                    "720p",      "-o",            output.string()};
    test::CommandResult first;
    std::atomic<bool> firstEnded = false;
    std::thread firstExport([&] {
        first = runCommand(exportCommand);
        firstEnded = true;
    });
    while (hiddenFiles(directory.path()).empty() && !firstEnded) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const test::CommandResult second = runCommand(exportCommand);
    firstExport.join();
    EXPECT_EQ(first.exitCode, 0) << first.standardError;
    EXPECT_EQ(second.exitCode, 0) << second.standardError;
    const nlohmann::json probed = test::probe(output);
    EXPECT_EQ(vantile::testing::streamOfType(probed, "video").value("nb_read_frames", ""), "120") << probed.dump();
    EXPECT_FALSE(vantile::testing::streamOfType(probed, "audio").is_null());
    EXPECT_EQ(runCommand({"ffmpeg", "-v", "error", "-i", output.string(), "-f", "null", "-"}).standardError, "");
    EXPECT_TRUE(hiddenFiles(directory.path()).empty());
}

}  // namespace
}  // namespace vantile
