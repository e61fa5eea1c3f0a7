#include "model/RenderSettings.h"

#include <gtest/gtest.h>

using namespace vantile;

TEST(RenderSettingsCoding, OnlyTheSixRequiredKeysLoadWithDefaults)
{
    const Json json = Json::parse(R"({"aspectRatio":"square1x1","templateName":"cleanLight",
        "zoomIntensity":"strong","outputWidth":1080,"outputHeight":1080,"fps":60})");
    const auto settings = decodeDocument<RenderSettings>(json);
    EXPECT_EQ(settings.resolutionPreset, ResolutionPreset::p1080);
    EXPECT_TRUE(settings.backgroundEnabled && settings.showCursor && settings.showClickRipple &&
                settings.dynamicCursorScale);
    EXPECT_EQ(settings.cursorTheme, CursorTheme::systemWhite);
    EXPECT_EQ(settings.cursorEffect, CursorEffect::macOS);
    EXPECT_EQ(settings.fps, 60);

    for (const char* key : {"aspectRatio", "templateName", "zoomIntensity", "outputWidth", "outputHeight", "fps"}) {
        Json missing = json;
        missing.erase(key);
        EXPECT_THROW(decodeDocument<RenderSettings>(missing), DecodingError) << key;
    }
    Json wrongCase = json;
    wrongCase["cursorTheme"] = "neon";
    EXPECT_THROW(decodeDocument<RenderSettings>(wrongCase), DecodingError);
    Json wrongType = json;
    wrongType["showCursor"] = "yes";
    EXPECT_THROW(decodeDocument<RenderSettings>(wrongType), DecodingError);

    RenderSettings custom;
    custom.cursorTheme = CursorTheme::lime;
    custom.showClickRipple = false;
    EXPECT_EQ(decodeDocument<RenderSettings>(Json(custom)), custom);
    EXPECT_EQ(Json(custom).size(), 13u);
}

TEST(RenderSettingsCoding, ExportQualityIsWrittenOnlyWhenNotStandard)
{
    RenderSettings settings;
    // Projects that never chose a quality keep the exact keys (and so bytes) they had.
    EXPECT_FALSE(Json(settings).contains("exportQuality"));
    for (const ExportQuality quality : {ExportQuality::draft, ExportQuality::high}) {
        settings.exportQuality = quality;
        const Json json(settings);
        EXPECT_EQ(json.at("exportQuality"), exportQualityTexts.text(quality));
        EXPECT_EQ(decodeDocument<RenderSettings>(json), settings);
    }
    Json unknown = Json(settings);
    unknown["exportQuality"] = "ultra";
    EXPECT_THROW(decodeDocument<RenderSettings>(unknown), DecodingError);
    EXPECT_EQ(encoderTuning(ExportQuality::draft), (EncoderTuning{"veryfast", 23}));
    EXPECT_EQ(encoderTuning(ExportQuality::standard), (EncoderTuning{"medium", 23}));
    EXPECT_EQ(encoderTuning(ExportQuality::high), (EncoderTuning{"slow", 18}));
}

TEST(OutputSizes, PresetTableForEveryRatioAndResolution)
{
    struct Row {
        AspectRatio ratio;
        OutputSize p720, p1080, p1440;
    };
    const Row table[] = {
        {AspectRatio::landscape16x9, {1280, 720}, {1920, 1080}, {2560, 1440}},
        {AspectRatio::source, {1280, 720}, {1920, 1080}, {2560, 1440}},
        {AspectRatio::ultrawide21x9, {1706, 720}, {2560, 1080}, {3412, 1440}},
        {AspectRatio::portrait9x16, {720, 1280}, {1080, 1920}, {1440, 2560}},
        {AspectRatio::square1x1, {720, 720}, {1080, 1080}, {1440, 1440}},
        {AspectRatio::classic4x3, {960, 720}, {1440, 1080}, {1920, 1440}},
    };
    for (const auto& row : table) {
        EXPECT_EQ(outputSize(row.ratio, ResolutionPreset::p720), row.p720) << rawValue(row.ratio);
        EXPECT_EQ(outputSize(row.ratio, ResolutionPreset::p1080), row.p1080) << rawValue(row.ratio);
        EXPECT_EQ(outputSize(row.ratio, ResolutionPreset::p1440), row.p1440) << rawValue(row.ratio);
    }
    EXPECT_EQ(outputSize(AspectRatio::classic4x3), (OutputSize{1440, 1080}));
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

    EXPECT_EQ(scaledEvenOutputSize(1920, 1080, 960), (OutputSize{960, 540}));
    EXPECT_EQ(scaledEvenOutputSize(1920, 1080, 0), (OutputSize{2, 2}));
    EXPECT_EQ(scaledEvenOutputSize(1280, 720, 4000), (OutputSize{1280, 720}));
    EXPECT_EQ(scaledEvenOutputSize(1706, 720, 1001), (OutputSize{1000, 422}));
}

TEST(OutputSizes, SizedForAndPreviewVariantKeepChoices)
{
    RenderSettings settings;
    settings.aspectRatio = AspectRatio::source;
    settings.resolutionPreset = ResolutionPreset::p720;
    settings.templateName = TemplateName::gradientBlue;
    const auto sized = settings.sizedFor(VideoInfo{"raw.mov", 2560, 1600, 30});
    EXPECT_EQ(sized.outputWidth, 1152);
    EXPECT_EQ(sized.outputHeight, 720);
    EXPECT_EQ(sized.templateName, TemplateName::gradientBlue);

    RenderSettings thirty;
    EXPECT_EQ(thirty.previewVariant(960, 60).fps, 30);
    EXPECT_EQ(thirty.previewVariant(960, 0).fps, 1);
    const auto preview = thirty.previewVariant(960, 24);
    EXPECT_EQ(preview.fps, 24);
    EXPECT_EQ(preview.outputWidth, 960);
    EXPECT_EQ(preview.outputHeight, 540);
}

TEST(RenderPresets, TemplatesAndLabels)
{
    EXPECT_EQ(RGBAColor::fromHex(0x312E81, 1), (RGBAColor{49 / 255.0, 46 / 255.0, 129 / 255.0, 1}));
    EXPECT_EQ(RGBAColor::fromHex(0x0B1020, 0.25).alpha, 0.25);

    const auto dark = RenderPreset::preset(TemplateName::minimalDark);
    EXPECT_EQ(dark.background, RenderBackground::solid(RGBAColor::fromHex(0x0B1020)));
    EXPECT_EQ(dark.cornerRadius, 18);
    EXPECT_EQ(dark.padding, 96);
    EXPECT_EQ(dark.windowChrome, WindowChrome::browser);
    const auto blue = RenderPreset::preset(TemplateName::gradientBlue);
    EXPECT_EQ(blue.background.kind, RenderBackground::Kind::linear);
    EXPECT_EQ(blue.background.start, RGBAColor::fromHex(0x0F172A));
    EXPECT_EQ(blue.background.end, RGBAColor::fromHex(0x312E81));
    EXPECT_EQ(blue.cornerRadius, 24);
    EXPECT_EQ(blue.padding, 120);
    const auto light = RenderPreset::preset(TemplateName::cleanLight);
    EXPECT_EQ(light.windowChrome, WindowChrome::macWindow);
    EXPECT_EQ(light.cornerRadius, 20);
    EXPECT_EQ(light.background.start, (RGBAColor{245 / 255.0, 247 / 255.0, 250 / 255.0, 1}));

    EXPECT_EQ(label(AspectRatio::source), "原视频比例");
    EXPECT_EQ(label(AspectRatio::ultrawide21x9), "21:9");
    EXPECT_EQ(label(ResolutionPreset::p1440), "1440p");
    EXPECT_EQ(aspectRatioTexts.allCases().size(), 6u);
    EXPECT_EQ(rawValue(cursorThemeTexts.allCases().back()), "lime");
}
