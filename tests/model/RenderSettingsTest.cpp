#include "model/RenderSettings.h"

#include <gtest/gtest.h>

using namespace vantile;

TEST(RenderSettingsCoding, OnlyTheSixRequiredKeysAreRequiredAndTheRestRoundTrips)
{
    const Json json = Json::parse(R"({"aspectRatio":"square1x1","templateName":"cleanLight",
        "zoomIntensity":"strong","outputWidth":1080,"outputHeight":1080,"fps":60})");
    EXPECT_EQ(decodeDocument<RenderSettings>(json).fps, 60);

    for (const char* key : {"aspectRatio", "templateName", "zoomIntensity", "outputWidth", "outputHeight", "fps"}) {
        Json missing = json;
        missing.erase(key);
        EXPECT_THROW(decodeDocument<RenderSettings>(missing), DecodingError) << key;
    }
    Json wrongCase = json;
    wrongCase["cursorTheme"] = "neon";
    EXPECT_THROW(decodeDocument<RenderSettings>(wrongCase), DecodingError);
    wrongCase["cursorTheme"] = "lime";
    wrongCase["exportQuality"] = "ultra";
    EXPECT_THROW(decodeDocument<RenderSettings>(wrongCase), DecodingError);

    // Projects that never chose a quality keep the exact keys (and so bytes) they had.
    RenderSettings custom;
    EXPECT_FALSE(Json(custom).contains("exportQuality"));
    custom.cursorTheme = CursorTheme::lime;
    custom.showClickRipple = false;
    custom.exportQuality = ExportQuality::draft;
    EXPECT_EQ(Json(custom).at("exportQuality"), "draft");
    EXPECT_EQ(decodeDocument<RenderSettings>(Json(custom)), custom);
}

TEST(OutputSizes, SourceMatchingNeverEnlargesAndRoundsDownToEven)
{
    const auto video = [](std::int64_t width, std::int64_t height) {
        return std::optional<VideoInfo>(VideoInfo{"raw.mov", width, height, 30});
    };
    EXPECT_EQ(outputSize(AspectRatio::source, video(2880, 1800), ResolutionPreset::p1080), (OutputSize{1728, 1080}));
    EXPECT_EQ(outputSize(AspectRatio::source, video(1280, 720), ResolutionPreset::p1440), (OutputSize{1280, 720}));
    EXPECT_EQ(outputSize(AspectRatio::source, video(1001, 701), ResolutionPreset::p1080), (OutputSize{1000, 700}));
    EXPECT_EQ(outputSize(AspectRatio::source, video(1080, 2400), ResolutionPreset::p720), (OutputSize{720, 1600}));
    EXPECT_EQ(outputSize(AspectRatio::source, video(0, -5), ResolutionPreset::p720), (OutputSize{2, 2}));
    EXPECT_EQ(outputSize(AspectRatio::source, std::nullopt, ResolutionPreset::p720), (OutputSize{1280, 720}));
    // Only `source` looks at the video.
    EXPECT_EQ(outputSize(AspectRatio::square1x1, video(2880, 1800), ResolutionPreset::p720), (OutputSize{720, 720}));
}
