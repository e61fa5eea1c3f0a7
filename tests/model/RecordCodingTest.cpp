#include "model/CaptureSource.h"
#include "model/RecordingProject.h"
#include "model/RenderSettings.h"

#include <gtest/gtest.h>

using namespace vantile;

namespace {

Json minimalProjectJson()
{
    return Json::parse(R"({
        "id": "p1", "createdAt": "2026-11-15T17:57:21Z", "duration": 12.5,
        "capture": {"sourceType": "display", "region": {"x": 0, "y": 0, "width": 1280, "height": 800},
                    "scaleFactor": 1},
        "video": {"path": "raw.mov", "width": 1280, "height": 800, "fps": 30}
    })");
}

RecordingProject richProject()
{
    RecordingProject project;
    project.id = "rich";
    project.createdAt = parseISO8601("2026-01-02T03:04:05Z");
    project.duration = 0.1 + 0.2;  // a double that needs all 17 digits to round-trip
    project.capture = {CaptureInfo::SourceType::window, std::nullopt, "4194313", "Firefox", "Docs — Firefox",
                       {10.5, 20.25, 800, 600}, 1};
    project.video = {"raw.mov", 800, 600, 30};
    project.events = {
        {0.0, InputEvent::EventType::mouseMove, 1, 2, {}, {}, {}},
        {0.5, InputEvent::EventType::leftMouseDown, 3, 4, {}, {}, "left"},
        {0.75, InputEvent::EventType::scrollWheel, 3, 4, -1.0, 2.5, {}},
        {1.0, InputEvent::EventType::typingActivityStart, 3, 4, {}, {}, {}},
    };
    project.focusSegments = {{0, 1.5, FocusSegment::SegmentType::clickFocus, 400, 300, 1.8, true}};
    project.trim = TimeRange{0.25, 1.25};
    project.cuts = {{0.5, 0.75}};
    project.speedRegions = {{0.1, 0.4, 0.25}, {0.8, 1.2, 16}};
    project.cursorFrames = {{0, 1, 2, true, false}, {1.0 / 30, 1.1, 2.2, false, true}};
    project.renderSettings.aspectRatio = AspectRatio::portrait9x16;
    project.renderSettings.cursorEffect = CursorEffect::glow;
    project.audioSettings = {AudioCaptureMode::systemAndMicrophone, "alsa_input.usb-mic"};
    project.rawVideoPath = "raw.mov";
    project.exportVideoPath = "export.mp4";
    project.exports = {{"/home/ana/Videos/first.webm", "webm", parseISO8601("2026-01-02T04:00:00Z"), 1'234'567},
                       {"export.mp4", "mp4", parseISO8601("2026-01-02T05:30:00Z"), 9'876'543'210}};
    return project;
}

std::string decodeFailure(const Json& json)
{
    try {
        decodeDocument<RecordingProject>(json);
    } catch (const DecodingError& error) {
        return error.what();
    }
    return "decoded";
}

}  // namespace

TEST(RecordCoding, ProjectWithOnlyRequiredKeysDecodesAndRichOnesRoundTripThroughText)
{
    const auto project = decodeDocument<RecordingProject>(minimalProjectJson());
    EXPECT_EQ(project.rawVideoPath, "raw.mov");
    // null counts as missing for the tolerant keys.
    Json withNulls = minimalProjectJson();
    withNulls["events"] = nullptr;
    withNulls["renderSettings"] = nullptr;
    withNulls["rawVideoPath"] = nullptr;
    EXPECT_EQ(decodeDocument<RecordingProject>(withNulls), project);

    // Absent optionals are left out; through text, as the store writes it, every double survives exactly.
    RecordingProject rich = richProject();
    EXPECT_EQ(decodeDocument<RecordingProject>(Json::parse(Json(rich).dump())), rich);
    rich.exportVideoPath.reset();
    EXPECT_FALSE(Json(rich).contains("exportVideoPath"));
    EXPECT_EQ(decodeDocument<RecordingProject>(Json(rich)), rich);
    // The exports list, in order and with sizes past 32 bits, and absent when empty as older files are.
    EXPECT_EQ(Json(rich)["exports"][1],
              Json::parse(R"({"path":"export.mp4","format":"mp4","exportedAt":"2026-01-02T05:30:00Z","bytes":9876543210})"));
    EXPECT_TRUE(project.exports.empty());
    rich.exports.clear();
    EXPECT_FALSE(Json(rich).contains("exports"));
    EXPECT_EQ(Json(rich)["speedRegions"][1], Json::parse(R"({"start":0.8,"end":1.2,"speed":16.0})"));
    EXPECT_FALSE(Json(project).contains("speedRegions"));
    EXPECT_EQ(Json(project), Json(decodeDocument<RecordingProject>(Json(project))));
    EXPECT_EQ(Json(rich.events[0]), Json::parse(R"({"time":0.0,"type":"mouseMove","x":1.0,"y":2.0})"));
    // Integers written as 30.0 are still integers.
    EXPECT_EQ(decodeDocument<VideoInfo>(Json::parse(R"({"path":"a","width":2.0,"height":4,"fps":30.0})")).fps, 30);
}

TEST(RecordCoding, DecodingNamesThePathOfAMissingKeyWrongTypeOrUnknownCase)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"/duration", "duration: missing required key"},
        {"/rawVideoPath:3", "rawVideoPath: expected a string"},
        {"/events:[{\"time\":0,\"type\":\"mouseMove\",\"x\":0,\"y\":0},{\"time\":\"soon\",\"type\":\"mouseMove\",\"x\":0,\"y\":0}]",
         "events[1].time: expected a number"},
        {"/events:[{\"time\":0,\"type\":\"keyDown\",\"x\":0,\"y\":0}]", "events[0].type: unknown value \"keyDown\""},
        {"/video/width:1280.5", "video.width: expected an integer"},
        {"/createdAt:\"yesterday\"", "createdAt: expected an ISO 8601"},
        {"/renderSettings:{\"aspectRatio\":\"landscape16x9\"}", "renderSettings.templateName: missing required key"},
        {"/cursorFrames:[{\"time\":1,\"x\":1,\"y\":1,\"visible\":1,\"isClicking\":false}]",
         "cursorFrames[0].visible"},
        {"/speedRegions:[{\"start\":1,\"end\":2,\"speed\":20}]", "speedRegions[0].speed: must be between"},
        {"/speedRegions:[{\"start\":2,\"end\":2,\"speed\":2}]", "speedRegions[0].end: a speed region must end"},
    };
    // Each case is "pointer:json value", or a pointer alone for a key to remove.
    for (const auto& [change, expected] : cases) {
        Json json = minimalProjectJson();
        const auto colon = change.find(':');
        const Json::json_pointer key(change.substr(0, colon));
        if (colon == std::string::npos) json.erase(key.back());
        else json[key] = Json::parse(change.substr(colon + 1));
        const std::string failure = decodeFailure(json);
        EXPECT_EQ(failure.rfind(expected, 0), 0u) << failure;
    }
    EXPECT_EQ(decodeFailure(Json::array()), "expected an object");
}

TEST(RecordCoding, DatesAreWholeSecondUtcAndAcceptOffsets)
{
    EXPECT_EQ(formatISO8601(parseISO8601("2026-11-15T18:57:21+01:00")), "2026-11-15T17:57:21Z");
    EXPECT_EQ(formatISO8601(parseISO8601("2026-11-15T17:57:21.900Z")), "2026-11-15T17:57:21Z");
    EXPECT_EQ(formatISO8601(parseISO8601("2024-02-29T00:00:00-00:30")), "2024-02-29T00:30:00Z");
    for (const char* bad : {"2026-11-15 17:57:21Z", "2026-02-30T00:00:00Z", "2026-11-15T17:57:21", "2026-11-15T25:00:00Z",
                            "2026-11-15T17:57:21Zjunk", ""}) {
        EXPECT_THROW(parseISO8601(bad), DecodingError) << bad;
    }
}

TEST(RecordingDimensions, FitsBetweenLimitsAndIsAlwaysEven)
{
    const auto dimensions = [](double width, double height, double scale) {
        CaptureSource source;
        source.region = {0, 0, width, height};
        source.scaleFactor = scale;
        return source.recordingDimensions(640, 360, 4096, 2304);
    };
    EXPECT_EQ(dimensions(1280, 800, 2), (RecordingDimensions{2560, 1600}));
    EXPECT_EQ(dimensions(3000, 2000, 2), (RecordingDimensions{3456, 2304}));
    EXPECT_EQ(dimensions(801, 601, 0.5), (RecordingDimensions{800, 600}));  // below 1 keeps points

    // Too small is scaled up to the minimum, keeping the aspect.
    EXPECT_EQ(dimensions(320, 200, 1), (RecordingDimensions{640, 400}));
}

TEST(RenderSettingsCoding, OnlyTheSixRequiredKeysAreRequiredUnknownCasesFailAndTheRestRoundTrips)
{
    const Json json = Json::parse(R"({"aspectRatio":"square1x1","templateName":"cleanLight",
        "zoomIntensity":"strong","outputWidth":1080,"outputHeight":1080,"fps":60})");
    EXPECT_EQ(decodeDocument<RenderSettings>(json).fps, 60);
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

    // The window chrome is the template's until one is chosen; a chosen one is kept as chosen.
    EXPECT_FALSE(Json(custom).contains("windowChrome"));
    EXPECT_EQ(RenderPreset::forSettings(custom).windowChrome, WindowChrome::browser);
    custom.templateName = TemplateName::cleanLight;
    EXPECT_EQ(RenderPreset::forSettings(custom).windowChrome, WindowChrome::macWindow);
    custom.windowChrome = WindowChrome::none;
    EXPECT_EQ(Json(custom).at("windowChrome"), "none");
    EXPECT_EQ(decodeDocument<RenderSettings>(Json(custom)), custom);
    EXPECT_EQ(RenderPreset::forSettings(custom).windowChrome, WindowChrome::none);
    // The cursor smoothing is written only when it is not the classic one.
    EXPECT_FALSE(Json(custom).contains("cursorSmoothing"));
    custom.cursorSmoothing = CursorSmoothing::precise;
    EXPECT_EQ(Json(custom).at("cursorSmoothing"), "precise");
    EXPECT_EQ(decodeDocument<RenderSettings>(Json(custom)), custom);
    // Motion blur likewise only when on, and only from 0 to 1.
    EXPECT_FALSE(Json(custom).contains("motionBlur"));
    custom.motionBlur = 0.5;
    EXPECT_EQ(Json(custom).at("motionBlur"), 0.5);
    EXPECT_EQ(decodeDocument<RenderSettings>(Json(custom)), custom);
    Json tooMuch = Json(custom);
    tooMuch["motionBlur"] = 1.5;
    EXPECT_THROW(decodeDocument<RenderSettings>(tooMuch), DecodingError);
    wrongCase["exportQuality"] = "draft";
    wrongCase["windowChrome"] = "gnome";
    EXPECT_THROW(decodeDocument<RenderSettings>(wrongCase), DecodingError);
}

TEST(FrameLookCoding, ChoicesAreWrittenOnlyWhenMadeRoundTripAndOddValuesFail)
{
    const RenderSettings plain;
    const Json plainJson = Json(plain);
    for (const char* key : {"backgroundColor", "backgroundImage", "backgroundGenerated", "backgroundBlur", "cardPadding",
                            "cardCornerRadius", "shadowStrength", "cursorSize", "layout"}) {
        EXPECT_FALSE(plainJson.contains(key)) << key;
    }

    RenderSettings custom;
    custom.background = BackgroundChoice::solid(RGBAColor::fromHex(0x1A2B3C));
    EXPECT_EQ(Json(custom).at("backgroundColor"), "#1A2B3C");
    EXPECT_EQ(decodeDocument<RenderSettings>(Json(custom)), custom);
    // A solid colour is the preset's background; the card keeps the template's.
    EXPECT_EQ(RenderPreset::forSettings(custom).background, RenderBackground::solid(RGBAColor::fromHex(0x1A2B3C)));
    EXPECT_EQ(RenderPreset::forSettings(custom).padding, RenderPreset::preset(TemplateName::minimalDark).padding);

    custom.background = BackgroundChoice::image(".vantile/backgrounds/sea.jpg", 12.5);
    custom.cardPadding = 0.05;
    custom.cardCornerRadius = 40;
    custom.shadowStrength = 0;
    custom.cursorSize = 1.5;
    const Json written = Json(custom);
    EXPECT_EQ(written.at("backgroundImage"), ".vantile/backgrounds/sea.jpg");
    EXPECT_EQ(written.at("backgroundBlur"), 12.5);
    EXPECT_FALSE(written.contains("backgroundColor"));
    EXPECT_EQ(written.at("shadowStrength"), 0.0);
    EXPECT_EQ(decodeDocument<RenderSettings>(Json::parse(written.dump())), custom);
    EXPECT_FALSE(written.contains("layout"));
    custom.layout = VideoLayout::fill;
    EXPECT_EQ(Json(custom).at("layout"), "fill");
    custom.background = BackgroundChoice::generated(8);
    EXPECT_EQ(Json(custom).at("backgroundGenerated"), 8);
    EXPECT_FALSE(Json(custom).contains("backgroundBlur"));
    EXPECT_EQ(decodeDocument<RenderSettings>(Json(custom)), custom);

    const auto fails = [&](const char* key, const Json& value) {
        Json json = plainJson;
        json[key] = value;
        EXPECT_THROW(decodeDocument<RenderSettings>(json), DecodingError) << key << " " << value.dump();
    };
    fails("backgroundColor", "red");
    fails("backgroundColor", "#12345G");
    fails("backgroundGenerated", 0);
    fails("backgroundGenerated", 9);
    fails("backgroundImage", "");
    fails("cardPadding", 0.25);
    fails("cardPadding", -0.01);
    fails("cardCornerRadius", 65);
    fails("shadowStrength", 2.5);
    fails("cursorSize", 0.4);
    fails("cursorSize", 3.5);
    fails("layout", "stretch");
    Json both = plainJson;
    both["backgroundColor"] = "#000000";
    both["backgroundGenerated"] = 2;
    EXPECT_THROW(decodeDocument<RenderSettings>(both), DecodingError);
    Json blurredImage = plainJson;
    blurredImage["backgroundImage"] = "a.png";
    blurredImage["backgroundBlur"] = 51;
    EXPECT_THROW(decodeDocument<RenderSettings>(blurredImage), DecodingError);

    // The command line's names for the choices.
    EXPECT_EQ(generatedIndexOf("generated-3"), 3);
    EXPECT_EQ(generatedIndexOf("generated-9"), std::nullopt);
    EXPECT_EQ(generatedIndexOf("generated-3x"), std::nullopt);
    EXPECT_EQ(RGBAColor::fromHexText("#ff8000"), RGBAColor::fromHex(0xFF8000));
    EXPECT_EQ(RGBAColor::fromHexText("ff8000"), std::nullopt);
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

    // 4K, and the recording's own size: a HiDPI laptop's screen exports at its native resolution.
    EXPECT_EQ(outputSize(AspectRatio::landscape16x9, std::nullopt, ResolutionPreset::p2160), (OutputSize{3840, 2160}));
    EXPECT_EQ(outputSize(AspectRatio::portrait9x16, std::nullopt, ResolutionPreset::p2160), (OutputSize{2160, 3840}));
    EXPECT_EQ(outputSize(AspectRatio::source, video(2880, 1800), ResolutionPreset::source), (OutputSize{2880, 1800}));
    EXPECT_EQ(outputSize(AspectRatio::source, video(3001, 1999), ResolutionPreset::source), (OutputSize{3000, 1998}));
    EXPECT_EQ(outputSize(AspectRatio::landscape16x9, video(2880, 1800), ResolutionPreset::source), (OutputSize{3200, 1800}));
    EXPECT_EQ(outputSize(AspectRatio::square1x1, video(1280, 800), ResolutionPreset::source), (OutputSize{800, 800}));
    EXPECT_EQ(outputSize(AspectRatio::landscape16x9, std::nullopt, ResolutionPreset::source), (OutputSize{1920, 1080}));
}

TEST(CameraCoding, TheCameraAndItsBubbleAreWrittenOnlyWhenPresentOrChangedAndOddValuesFail)
{
    // Without a camera and with the bubble's defaults, not one key is added.
    RecordingProject project = richProject();
    const Json plain = project;
    EXPECT_FALSE(plain.contains("camera"));
    for (const auto& [key, value] : plain.at("renderSettings").items()) {
        EXPECT_NE(key.rfind("camera", 0), 0u) << key;
    }

    project.camera = CameraRecording{"camera.mov", 1280, 720, 30, 0.1 + 0.2};
    project.renderSettings.cameraPosition = CameraPosition::custom;
    project.renderSettings.cameraCenterX = 0.3;
    project.renderSettings.cameraCenterY = 0.75;
    project.renderSettings.cameraSize = 0.4;
    project.renderSettings.cameraShape = CameraShape::roundedSquare;
    project.renderSettings.cameraMirror = false;
    project.renderSettings.cameraShadow = false;
    project.renderSettings.cameraVisible = false;
    const Json withCamera = project;
    EXPECT_EQ(withCamera.at("camera"),
              Json::parse(R"({"path":"camera.mov","width":1280,"height":720,"fps":30,"startOffset":0.30000000000000004})"));
    EXPECT_EQ(withCamera.at("renderSettings").at("cameraCenterX"), 0.3);
    EXPECT_EQ(decodeDocument<RecordingProject>(Json::parse(withCamera.dump())), project);
    // A corner needs no centre.
    project.renderSettings.cameraPosition = CameraPosition::topLeft;
    EXPECT_FALSE(Json(project).at("renderSettings").contains("cameraCenterX"));
    EXPECT_EQ(Json(project).at("renderSettings").at("cameraPosition"), "topLeft");

    const std::vector<std::pair<std::string, std::string>> cases = {
        {"/camera:{\"path\":\"camera.mov\",\"width\":1281,\"height\":720,\"startOffset\":0}",
         "camera.width: must be an even number"},
        {"/camera:{\"path\":\"camera.mov\",\"width\":1280,\"height\":720,\"fps\":0,\"startOffset\":0}",
         "camera.fps: must be between 1 and 240"},
        {"/camera:{\"path\":\"camera.mov\",\"width\":1280,\"height\":720,\"startOffset\":-1}",
         "camera.startOffset: must be a number of seconds"},
        {"/camera:{\"width\":1280,\"height\":720,\"startOffset\":0}", "camera.path: missing required key"},
        {"/renderSettings:{\"aspectRatio\":\"landscape16x9\",\"templateName\":\"minimalDark\",\"zoomIntensity\":"
         "\"standard\",\"outputWidth\":1920,\"outputHeight\":1080,\"fps\":30,\"cameraSize\":0.6}",
         "renderSettings.cameraSize: must be between 0.12 and 0.5"},
        {"/renderSettings:{\"aspectRatio\":\"landscape16x9\",\"templateName\":\"minimalDark\",\"zoomIntensity\":"
         "\"standard\",\"outputWidth\":1920,\"outputHeight\":1080,\"fps\":30,\"cameraPosition\":\"custom\","
         "\"cameraCenterX\":0.5}",
         "renderSettings.cameraCenterY: missing required key"},
        {"/renderSettings:{\"aspectRatio\":\"landscape16x9\",\"templateName\":\"minimalDark\",\"zoomIntensity\":"
         "\"standard\",\"outputWidth\":1920,\"outputHeight\":1080,\"fps\":30,\"cameraPosition\":\"custom\","
         "\"cameraCenterX\":1.5,\"cameraCenterY\":0.5}",
         "renderSettings.cameraCenterX: must be between 0 and 1"},
        {"/renderSettings:{\"aspectRatio\":\"landscape16x9\",\"templateName\":\"minimalDark\",\"zoomIntensity\":"
         "\"standard\",\"outputWidth\":1920,\"outputHeight\":1080,\"fps\":30,\"cameraShape\":\"oval\"}",
         "renderSettings.cameraShape: unknown value \"oval\""},
    };
    for (const auto& [change, expected] : cases) {
        Json json = minimalProjectJson();
        const auto colon = change.find(':');
        json[Json::json_pointer(change.substr(0, colon))] = Json::parse(change.substr(colon + 1));
        const std::string failure = decodeFailure(json);
        EXPECT_EQ(failure.rfind(expected, 0), 0u) << failure;
    }
}

TEST(TextCalloutCoding, AbsentWithoutCalloutsRoundTripsWithThemAndRefusesOddValuesNamingTheKey)
{
    // A project without callouts writes no key, so older projects keep their bytes.
    RecordingProject project = decodeDocument<RecordingProject>(minimalProjectJson());
    EXPECT_TRUE(project.textCallouts.empty());
    EXPECT_FALSE(Json(project).contains("textCallouts"));

    project.textCallouts = {
        {0.1 + 0.2, 3, "中文字幕 “quoted”", TextCalloutStyle::title, std::nullopt, {}},
        {2, 4.5, "Lower", TextCalloutStyle::lowerThird, CodablePoint{0, 1}, {}},
        {5, 6, "Pill", TextCalloutStyle::label, CodablePoint{0.25, 0.125}, {}},
    };
    const Json written = project;
    EXPECT_EQ(written.at("textCallouts").at(1),
              Json::parse(R"({"start":2,"end":4.5,"text":"Lower","style":"lowerThird","position":{"x":0,"y":1}})"));
    EXPECT_FALSE(written.at("textCallouts").at(0).contains("position"));
    EXPECT_EQ(decodeDocument<RecordingProject>(Json::parse(written.dump())), project);
    // A key of a newer version stays; a callout without a style is a label.
    const Json newer = Json::parse(R"([{"start":1,"end":2,"text":"x","font":"Serif"}])");
    Json withNewer = minimalProjectJson();
    withNewer["textCallouts"] = newer;
    const RecordingProject decoded = decodeDocument<RecordingProject>(withNewer);
    EXPECT_EQ(decoded.textCallouts.at(0).style, TextCalloutStyle::label);
    EXPECT_EQ(Json(decoded).at("textCallouts").at(0).at("font"), "Serif");

    const std::vector<std::pair<std::string, std::string>> cases = {
        {R"([{"start":1,"end":2,"text":""}])", "textCallouts[0].text: must not be empty"},
        {R"([{"start":1,"end":2,"text":"  \n"}])", "textCallouts[0].text: must not be empty"},
        {R"([{"start":1,"end":2}])", "textCallouts[0].text: missing required key"},
        {R"([{"start":2,"end":2,"text":"x"}])", "textCallouts[0].end: must be after start"},
        {R"([{"start":-1,"end":2,"text":"x"}])", "textCallouts[0].start: must be 0 or more"},
        {R"([{"start":1,"end":2,"text":"x","style":"banner"}])", "textCallouts[0].style: unknown value \"banner\""},
        {R"([{"start":1,"end":2,"text":"x"},{"start":1,"end":2,"text":"x","position":{"x":1.5,"y":0}}])",
         "textCallouts[1].position: x and y must be fractions"},
        {R"([{"start":1,"end":2,"text":"x","position":{"x":0.5,"y":-0.01}}])", "textCallouts[0].position: x and y"},
        {R"({"start":1})", "textCallouts: expected an array"},
    };
    for (const auto& [callouts, expected] : cases) {
        Json json = minimalProjectJson();
        json["textCallouts"] = Json::parse(callouts);
        const std::string failure = decodeFailure(json);
        EXPECT_NE(failure.find(expected), std::string::npos) << callouts << " -> " << failure;
    }
}

TEST(BlurRegionCoding, RegionsAreWrittenOnlyWhenPresentRoundTripAndOddValuesFail)
{
    RecordingProject project = richProject();
    const Json plain = project;
    EXPECT_FALSE(plain.contains("blurRegions"));
    EXPECT_EQ(decodeDocument<RecordingProject>(Json::parse(plain.dump())).blurRegions.size(), 0u);

    project.blurRegions = {{0.1, 0.2 + 0.1, 10.5, 20, 300, 40, BlurRegion::Style::pixelate},
                           {0, 0.3, 700, 500, 200, 200, BlurRegion::Style::blur}};
    const Json withRegions = project;
    EXPECT_EQ(withRegions.at("blurRegions").at(0),
              Json::parse(R"({"start":0.1,"end":0.30000000000000004,"x":10.5,"y":20.0,"width":300.0,"height":40.0,)"
                          R"("style":"pixelate"})"));
    EXPECT_EQ(decodeDocument<RecordingProject>(Json::parse(withRegions.dump())), project);

    // The style may be left out; pixelating is the default.
    Json json = minimalProjectJson();
    json["blurRegions"] = Json::parse(R"([{"start":1,"end":2,"x":0,"y":0,"width":10,"height":10}])");
    EXPECT_EQ(decodeDocument<RecordingProject>(json).blurRegions.at(0).style, BlurRegion::Style::pixelate);

    const std::vector<std::pair<std::string, std::string>> cases = {
        {R"({"start":2,"end":2,"x":0,"y":0,"width":10,"height":10})", "blurRegions[0].end: must come after start"},
        {R"({"start":-1,"end":2,"x":0,"y":0,"width":10,"height":10})", "blurRegions[0].start: must be 0 or more"},
        {R"({"start":1,"end":2,"x":0,"y":0,"width":0,"height":10})", "blurRegions[0].width: must be greater than 0"},
        {R"({"start":1,"end":2,"x":0,"y":0,"width":10,"height":-3})", "blurRegions[0].height: must be greater than 0"},
        {R"({"start":1,"end":2,"x":0,"y":0,"width":10,"height":10,"style":"smudge"})",
         "blurRegions[0].style: unknown value \"smudge\""},
        {R"({"start":1,"end":20,"x":0,"y":0,"width":10,"height":10})", "blurRegions[0].end: lies after the recording"},
        {R"({"start":1,"end":2,"x":1280,"y":0,"width":10,"height":10})", "blurRegions[0]: lies outside the recording"},
        {R"({"start":1,"end":2,"x":-20,"y":5,"width":20,"height":10})", "blurRegions[0]: lies outside the recording"},
        {R"({"start":1,"end":2,"x":0,"width":10,"height":10})", "blurRegions[0].y: missing required key"},
    };
    for (const auto& [region, expected] : cases) {
        Json refused = minimalProjectJson();
        refused["blurRegions"] = Json::array({Json::parse(region)});
        const std::string failure = decodeFailure(refused);
        EXPECT_EQ(failure.rfind(expected, 0), 0u) << failure;
    }
}

TEST(CropCoding, WrittenOnlyWhenSetRoundTripsAndRefusesOddOrOutsideRectangles)
{
    RecordingProject project = richProject();
    EXPECT_FALSE(Json(project).contains("crop"));
    project.crop = RecordingCrop{100, 60, 640, 360};
    const Json cropped = project;
    EXPECT_EQ(cropped.at("crop"), Json::parse(R"({"x":100,"y":60,"width":640,"height":360})"));
    EXPECT_EQ(decodeDocument<RecordingProject>(Json::parse(cropped.dump())), project);

    const std::vector<std::pair<std::string, std::string>> cases = {
        {R"({"x":1,"y":0,"width":640,"height":360})", "crop.x: must be an even number"},
        {R"({"x":0,"y":-2,"width":640,"height":360})", "crop.y: must be an even number"},
        {R"({"x":0,"y":0,"width":62,"height":360})", "crop.width: must be an even number of at least 64"},
        {R"({"x":0,"y":0,"width":640,"height":361})", "crop.height: must be an even number"},
        {R"({"x":642,"y":0,"width":640,"height":360})", "crop: reaches outside the 1280x800 recording"},
        {R"({"x":0,"y":442,"width":640,"height":360})", "crop: reaches outside the 1280x800 recording"},
        {R"({"x":0,"y":0,"width":640})", "crop.height: missing required key"},
    };
    for (const auto& [crop, expected] : cases) {
        Json refused = minimalProjectJson();
        refused["crop"] = Json::parse(crop);
        const std::string failure = decodeFailure(refused);
        EXPECT_EQ(failure.rfind(expected, 0), 0u) << failure;
    }
}
