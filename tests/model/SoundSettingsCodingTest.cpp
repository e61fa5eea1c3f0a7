#include "model/RenderSettings.h"

#include <gtest/gtest.h>

using namespace vantile;

TEST(SoundSettingsCoding, DefaultsWriteNoKeyChoicesRoundTripAndOddValuesFail)
{
    // A project written before these choices existed reads back and writes the same text.
    const std::string older = R"({"aspectRatio":"landscape16x9","backgroundEnabled":true,"cursorEffect":"macOS",)"
                              R"("cursorTheme":"systemWhite","dynamicCursorScale":true,"fps":30,"outputHeight":1080,)"
                              R"("outputWidth":1920,"resolutionPreset":"p1080","showClickRipple":true,)"
                              R"("showCursor":true,"templateName":"minimalDark","zoomIntensity":"standard"})";
    const RenderSettings decoded = decodeDocument<RenderSettings>(Json::parse(older));
    EXPECT_FALSE(decoded.changesSound());
    EXPECT_EQ(Json(decoded).dump(), older);

    RenderSettings chosen;
    chosen.normalizeLoudness = true;
    chosen.reduceNoise = true;
    chosen.systemAudioVolume = -12.5;
    chosen.microphoneVolume = 6;
    chosen.systemAudioMuted = true;
    chosen.duckedTrack = AudioTrackRole::microphone;
    const Json written = Json(chosen);
    EXPECT_EQ(written.at("duckedTrack"), "microphone");
    EXPECT_EQ(written.at("systemAudioVolume"), -12.5);
    EXPECT_FALSE(written.contains("microphoneMuted"));
    EXPECT_EQ(decodeDocument<RenderSettings>(written), chosen);
    EXPECT_TRUE(chosen.changesSound());
    EXPECT_EQ(chosen.volume(AudioTrackRole::microphone), 6);
    EXPECT_TRUE(chosen.muted(AudioTrackRole::system));
    EXPECT_FALSE(chosen.muted(AudioTrackRole::microphone));
    // Each choice alone is a change that takes the export off the untouched copy.
    for (const char* key : {"normalizeLoudness", "reduceNoise", "systemAudioMuted", "microphoneMuted"}) {
        Json one = Json::parse(older);
        one[key] = true;
        EXPECT_TRUE(decodeDocument<RenderSettings>(one).changesSound()) << key;
    }
    Json quieter = Json::parse(older);
    quieter["microphoneVolume"] = -3;
    EXPECT_TRUE(decodeDocument<RenderSettings>(quieter).changesSound());

    for (const double volume : {-41.0, 20.5}) {
        Json odd = written;
        odd["microphoneVolume"] = volume;
        EXPECT_THROW(decodeDocument<RenderSettings>(odd), DecodingError) << volume;
    }
    Json unknownTrack = written;
    unknownTrack["duckedTrack"] = "camera";
    EXPECT_THROW(decodeDocument<RenderSettings>(unknownTrack), DecodingError);
    EXPECT_EQ(audioTrackRoles(AudioCaptureMode::microphone), std::vector{AudioTrackRole::microphone});
    EXPECT_EQ(audioTrackRoles(AudioCaptureMode::systemAndMicrophone),
              (std::vector{AudioTrackRole::system, AudioTrackRole::microphone}));
}
