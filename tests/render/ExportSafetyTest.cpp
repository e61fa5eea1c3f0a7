#include "RenderTestSupport.h"

#include "store/ProjectFileManager.h"
#include "support/ChildProcess.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/stat.h>
#include <thread>

namespace vantile {
namespace {

namespace fs = std::filesystem;
using test::runCommand;
using vantile::testing::snapshotFiles;

fs::path makeSample(const fs::path& root, const std::string& duration, const std::string& height)
{
    const fs::path project = root / "project";
    const auto sample = runCommand({VANTILE_CLI, "sample", project.string(), "--duration", duration, "--width",
                                    std::to_string(std::stoi(height) * 16 / 9 / 2 * 2), "--height", height, "--audio",
                                    "system"});
    EXPECT_EQ(sample.exitCode, 0) << sample.standardError;
    return project;
}

std::vector<std::string> hiddenLeftovers(const fs::path& directory)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        if (name.front() == '.' && name != ProjectFileManager::metadataFolderName) names.push_back(name);
    }
    for (const auto& entry : fs::directory_iterator(directory / ProjectFileManager::metadataFolderName)) {
        if (entry.path().filename().string().front() == '.') names.push_back(entry.path().filename().string());
    }
    return names;
}

TEST(ExportSafety, OutputsThatWouldDestroyTheProjectAreRefused)
{
    test::TemporaryDirectory root;
    const fs::path project = makeSample(root.path(), "1", "180");
    fs::create_symlink(project / "raw.mov", root.path() / "link-to-raw.mov");
    ASSERT_EQ(::mkfifo((root.path() / "fifo.mp4").c_str(), 0600), 0);
    const auto before = snapshotFiles(project);

    for (const fs::path& output :
         {project / "raw.mov", project / ".vantile" / ".." / "raw.mov", project / ".vantile" / "project.json",
          project / ".vantile" / "new.mp4", project / "project.json", project, root.path() / "link-to-raw.mov",
          root.path() / "fifo.mp4"}) {
        const auto refused = runCommand({VANTILE_CLI, "export", project.string(), "-o", output.string()});
        EXPECT_EQ(refused.exitCode, 1) << output;
        EXPECT_EQ(test::lineCount(refused.standardError), 1) << refused.standardError;
        EXPECT_NE(refused.standardError.find("Cannot export to " + output.string()), std::string::npos) << refused.standardError;
        EXPECT_EQ(snapshotFiles(project), before) << output;
    }
    const auto relative = vantile::testing::runShell("cd " + vantile::testing::quoteForShell(project.string()) + " && " +
                                                     VANTILE_CLI + " export . -o raw.mov");
    EXPECT_EQ(relative.exitCode, 1) << relative.standardError;
    EXPECT_EQ(snapshotFiles(project), before);

    // A name too long for a temporary sibling of its own still exports.
    const fs::path longName = root.path() / (std::string(250, 'n') + ".mp4");
    const auto exported = runCommand({VANTILE_CLI, "export", project.string(), "--resolution", "720p", "-o", longName.string()});
    EXPECT_EQ(exported.exitCode, 0) << exported.standardError;
    EXPECT_TRUE(fs::is_regular_file(longName));
}

TEST(ExportSafety, ARefusedOrFailedExportLeavesTheProjectAsItWas)
{
    test::TemporaryDirectory root;
    const fs::path project = makeSample(root.path(), "1", "180");
    const auto before = snapshotFiles(project);
    const auto refused = runCommand({VANTILE_CLI, "export", project.string(), "--zoom", "strong", "--fps", "0"});
    EXPECT_EQ(refused.exitCode, 2) << refused.standardError;
    EXPECT_EQ(snapshotFiles(project), before);

    // A failure after the settings were applied: the raw movie is not a movie. The
    // media library's own complaints stay off the terminal: one line about the user's file.
    vantile::testing::writeText(project / "raw.mov", "not a movie");
    const auto broken = snapshotFiles(project);
    const auto failed = runCommand({VANTILE_CLI, "export", project.string(), "--zoom", "strong", "--fps", "24"});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_EQ(test::lineCount(failed.standardError), 1) << failed.standardError;
    EXPECT_NE(failed.standardError.find("raw.mov"), std::string::npos) << failed.standardError;
    EXPECT_EQ(snapshotFiles(project), broken);
}

TEST(ExportSafety, AFullDiskKeepsTheEarlierMovieAndProject)
{
    test::TemporaryDirectory root;
    const fs::path project = makeSample(root.path(), "1", "180");
    const auto first = runCommand({VANTILE_CLI, "export", project.string(), "--resolution", "720p"});
    ASSERT_EQ(first.exitCode, 0) << first.standardError;
    const auto movieSize = fs::file_size(project / "export.mp4");
    // Notes kept in project.json (which every export rewrites) make it larger than the movie, so
    // a disk can be full for it and not for the movie.
    const ProjectFileManager files(root.path());
    RecordingProject large = files.loadProject(project);
    large.unknownKeys.members = {{"notes", std::string(5 * movieSize, 'n')}};
    files.saveProject(large, project);
    ASSERT_GT(fs::file_size(project / ".vantile" / "project.json"), 4 * movieSize);
    const auto before = snapshotFiles(project);

    for (const std::uintmax_t cap : {movieSize / 4, 2 * movieSize}) {
        const auto full = vantile::testing::runCliWithFileSizeLimit(
            cap, {"export", project.string(), "--zoom", "strong", "--template", "cleanLight"}, root.path() / "errors");
        EXPECT_EQ(full.exitCode, 1) << "cap " << cap;
        EXPECT_NE(full.standardError.find("too large"), std::string::npos) << full.standardError;
        EXPECT_EQ(snapshotFiles(project), before) << "cap " << cap;  // the earlier movie too
        EXPECT_TRUE(hiddenLeftovers(project).empty());
    }
}

TEST(ExportSafety, EverySignalThatWouldEndAnExportCancelsItWithoutLeftovers)
{
    test::TemporaryDirectory root;
    const fs::path project = makeSample(root.path(), "20", "360");
    const auto before = snapshotFiles(project);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        ChildProcess exporter({VANTILE_CLI, "export", project.string(), "--zoom", "strong"}, {});
        // Once the temporary movie exists the export is under way.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (hiddenLeftovers(project).empty() && std::chrono::steady_clock::now() < deadline && exporter.isRunning())
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ASSERT_TRUE(exporter.isRunning()) << "the export ended before it could be interrupted";
        ::kill(exporter.pid(), signal);
        const auto stopDeadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (exporter.isRunning() && std::chrono::steady_clock::now() < stopDeadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_FALSE(exporter.isRunning()) << "signal " << signal;
        EXPECT_TRUE(hiddenLeftovers(project).empty()) << "signal " << signal;
        EXPECT_FALSE(fs::exists(project / "export.mp4")) << "signal " << signal;
        EXPECT_EQ(snapshotFiles(project), before) << "signal " << signal;
    }
}

}  // namespace
}  // namespace vantile
