#include "RenderTestSupport.h"

#include "store/ProjectFileManager.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using test::runCommand;

std::vector<std::string> exportCommand(const std::filesystem::path& project, std::vector<std::string> options)
{
    std::vector<std::string> command{VANTILE_CLI, "export", project.string(), "-o", (project / "clip.mp4").string()};
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

TEST(SoundExportCommand, SoundOptionsAreSavedInTheProjectAndRefusedOnesChangeNothing)
{
    test::TemporaryDirectory root;
    const auto project = root.path() / "demo";
    ASSERT_EQ(runCommand({VANTILE_CLI, "sample", project.string(), "--duration", "1", "--width", "320", "--height",
                          "180", "--audio", "systemAndMicrophone"})
                  .exitCode,
              0);
    const auto projectFile = project / ProjectFileManager::metadataFolderName / "project.json";
    const std::string untouched = test::readText(projectFile);

    // A plain export leaves the project's sound keys out.
    ASSERT_EQ(runCommand(exportCommand(project, {})).exitCode, 0);
    EXPECT_EQ(test::readText(projectFile).find("Volume"), std::string::npos);

    for (const std::vector<std::string>& refused :
         {std::vector<std::string>{"--volume", "system"}, {"--volume", "system", "loud"}, {"--volume", "system", "30"},
          {"--mute", "camera"}, {"--duck", "both"}, {"--mute"}}) {
        const auto result = runCommand(exportCommand(project, refused));
        EXPECT_EQ(result.exitCode, 2) << refused.front() << " " << result.standardError;
    }

    const auto exported = runCommand(exportCommand(
        project, {"--normalize-loudness", "--reduce-noise", "--volume", "microphone", "-6", "--volume", "system",
                  "3.5", "--mute", "system", "--duck", "microphone"}));
    ASSERT_EQ(exported.exitCode, 0) << exported.standardError;
    const RecordingProject saved = ProjectFileManager(root.path()).loadProject(project);
    EXPECT_TRUE(saved.renderSettings.normalizeLoudness);
    EXPECT_TRUE(saved.renderSettings.reduceNoise);
    EXPECT_EQ(saved.renderSettings.microphoneVolume, -6);
    EXPECT_EQ(saved.renderSettings.systemAudioVolume, 3.5);
    EXPECT_TRUE(saved.renderSettings.systemAudioMuted);
    EXPECT_FALSE(saved.renderSettings.microphoneMuted);
    EXPECT_EQ(saved.renderSettings.duckedTrack, AudioTrackRole::microphone);
    // What the choices do to the sound is SoundCleanupTest's.
    EXPECT_EQ(test::probe(project / "clip.mp4")["streams"].size(), 3U);

    // Everything back off: the project file has its first bytes again, apart from the export record.
    ASSERT_EQ(runCommand(exportCommand(project, {"--no-normalize-loudness", "--no-reduce-noise", "--volume",
                                                 "microphone", "0", "--volume", "system", "0", "--unmute", "system",
                                                 "--duck", "none"}))
                  .exitCode,
              0);
    Json settings = Json::parse(test::readText(projectFile)).at("renderSettings");
    EXPECT_EQ(settings, Json::parse(untouched).at("renderSettings"));

    const auto help = runCommand({VANTILE_CLI, "export", "--help"});
    for (const char* option : {"--normalize-loudness", "--reduce-noise", "--volume system|microphone DB",
                               "--mute system|microphone", "--duck microphone|system"}) {
        EXPECT_NE(help.standardOutput.find(option), std::string::npos) << option;
    }
}

TEST(SoundExportCommand, TrackOptionsNeedTheTrackInTheRecording)
{
    test::TemporaryDirectory root;
    const auto project = root.path() / "demo";
    ASSERT_EQ(runCommand({VANTILE_CLI, "sample", project.string(), "--duration", "1", "--width", "320", "--height",
                          "180", "--audio", "system"})
                  .exitCode,
              0);
    for (const std::vector<std::string>& refused : {std::vector<std::string>{"--mute", "microphone"},
                                                    {"--volume", "microphone", "3"}, {"--duck", "system"}}) {
        const auto result = runCommand(exportCommand(project, refused));
        EXPECT_EQ(result.exitCode, 2) << refused.front();
        EXPECT_NE(result.standardError.find(refused.front()), std::string::npos) << result.standardError;
    }
    EXPECT_FALSE(std::filesystem::exists(project / "clip.mp4"));
}

}  // namespace
}  // namespace vantile
