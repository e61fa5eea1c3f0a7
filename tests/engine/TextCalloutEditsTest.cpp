#include "engine/TextCalloutEdits.h"
#include "engine/TimelineModel.h"

#include "support/EditRefusal.h"

#include <gtest/gtest.h>

using namespace vantile;

namespace {

RecordingProject project10s()
{
    RecordingProject project;
    project.id = "callouts";
    project.duration = 10;
    project.video = {"raw.mov", 1280, 720, 30};
    project.previewVideoPath = "preview.mp4";
    return project;
}

TextCallout callout(double start, double end, std::string text, TextCalloutStyle style = TextCalloutStyle::label)
{
    return {start, end, std::move(text), style, std::nullopt, {}};
}

using vantile::testing::refusal;

}  // namespace

TEST(TextCalloutEdits, RefusesEmptyTextBadSpansAndOffFramePositionsWithOneLineAndChangesNothing)
{
    TimelineModel model(project10s());
    const std::vector<std::pair<TextCallout, std::string>> cases = {
        // Values the project file itself refuses are covered where it is decoded; these are the edit's own.
        {callout(8, 10.5, "x"), "The text callout 8 s to 10.5 s lies outside the recording (0 to 10 s)."},
        {callout(std::nan(""), 2, "x"), "needs finite start and end times"},
        {TextCallout{1, 2, "x", TextCalloutStyle::title, CodablePoint{0.5, 1.01}, {}}, "between 0 and 1"},
    };
    for (const auto& [bad, expected] : cases) {
        const std::string message = refusal([&] { model.addTextCallout(bad); });
        EXPECT_NE(message.find(expected), std::string::npos) << message;
        EXPECT_EQ(message.find('\n'), std::string::npos);
    }
    EXPECT_FALSE(model.canUndo());
    EXPECT_EQ(model.project(), project10s());
    EXPECT_NE(refusal([&] { model.removeTextCallout(0); }).find("There is no text callout 0"), std::string::npos);
    EXPECT_NE(refusal([&] { model.changeTextCallout(2, callout(1, 2, "x")); }).find("no text callout 2"),
              std::string::npos);

    // At the playhead: three seconds, or ending with the recording rather than shrinking.
    EXPECT_EQ(TextCalloutEdits::calloutAt(4, 10, "a"), callout(4, 7, "a"));
    EXPECT_EQ(TextCalloutEdits::calloutAt(9.5, 10, "a"), callout(7, 10, "a"));
    EXPECT_EQ(TextCalloutEdits::calloutAt(1, 2, "a"), callout(0, 2, "a"));
}
