#include "model/RecordingProject.h"

#include <gtest/gtest.h>

using namespace vantile;

namespace {

Json projectJson()
{
    return Json::parse(R"({
        "id": "p1", "createdAt": "2026-11-15T17:57:21Z", "duration": 12.5,
        "capture": {"sourceType": "display", "region": {"x": 0, "y": 0, "width": 1280, "height": 800},
                    "scaleFactor": 1},
        "video": {"path": "raw.mov", "width": 1280, "height": 800, "fps": 30}
    })");
}

std::string decodeFailure(const Json& callouts)
{
    Json json = projectJson();
    json["textCallouts"] = callouts;
    try {
        decodeDocument<RecordingProject>(json);
    } catch (const DecodingError& error) {
        return error.what();
    }
    return "decoded";
}

}  // namespace

TEST(TextCalloutCoding, AbsentWithoutCalloutsRoundTripsWithThemAndRefusesOddValuesNamingTheKey)
{
    // A project without callouts writes no key, so older projects keep their bytes.
    RecordingProject project = decodeDocument<RecordingProject>(projectJson());
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
    Json withNewer = projectJson();
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
        const std::string failure = decodeFailure(Json::parse(callouts));
        EXPECT_NE(failure.find(expected), std::string::npos) << callouts << " -> " << failure;
    }
}
