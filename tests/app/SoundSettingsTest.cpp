#include "ScreenHarness.h"
#include "SampleProject.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::ScreenHarness;
using testing::waitFor;

bool showsAll(const ScreenHarness& screens, const std::vector<std::string>& texts)
{
    return waitFor([&] {
        const auto shown = screens.visibleTexts();
        return std::ranges::all_of(texts, [&](const std::string& text) { return shown.count(text) > 0; });
    });
}

TEST(SoundSettingsTest, TheSoundSectionOffersTheRecordedTracksAndItsChoicesAreSaved)
{
    ScreenHarness screens;
    const auto silent = screens.root / "projects" / "project-silent";
    SampleProjectWriter::write(silent, {2, 640, 360});
    screens.openProject(silent);
    ASSERT_TRUE(showsAll(screens, {"输出设置"}));
    EXPECT_FALSE(screens.item("soundSection")->isVisible()) << "a recording without sound has nothing to adjust";

    const auto directory = screens.root / "projects" / "project-sound";
    SampleProjectOptions options{2, 640, 360};
    options.audio = AudioCaptureMode::systemAndMicrophone;
    SampleProjectWriter::write(directory, options);
    screens.openProject(directory);
    EXPECT_TRUE(showsAll(screens, {"声音", "响度统一（-16 LUFS）", "降噪", "媒体声音音量", "麦克风音量", "自动压低"}));

    QMetaObject::invokeMethod(screens.item("normalizeLoudnessSwitch"), "toggled", Q_ARG(bool, true));
    screens.state->changeRenderSetting("microphoneVolume", "-6");
    screens.state->changeRenderSetting("systemAudioMuted", true);
    screens.state->changeRenderSetting("duckedTrack", "microphone");
    // Out of range or unknown: ignored.
    screens.state->changeRenderSetting("systemAudioVolume", "30");
    screens.state->changeRenderSetting("duckedTrack", "camera");
    const RenderSettings& chosen = screens.state->renderSettings();
    EXPECT_TRUE(chosen.normalizeLoudness);
    EXPECT_FALSE(chosen.reduceNoise);
    EXPECT_EQ(chosen.microphoneVolume, -6);
    EXPECT_EQ(chosen.systemAudioVolume, 0);
    EXPECT_TRUE(chosen.systemAudioMuted);
    EXPECT_EQ(chosen.duckedTrack, AudioTrackRole::microphone);
    screens.state->changeRenderSetting("duckedTrack", "none");
    EXPECT_FALSE(screens.state->renderSettings().duckedTrack);
    EXPECT_EQ(screens.savedProject().renderSettings, screens.state->renderSettings());
}

}  // namespace
}  // namespace vantile
