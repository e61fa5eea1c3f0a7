#include "engine/BlurRegionEdits.h"
#include "engine/TimelineModel.h"

#include "support/EditRefusal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

using namespace vantile;
using Style = BlurRegion::Style;

namespace {

RecordingProject project10s()
{
    RecordingProject project;
    project.id = "blur";
    project.duration = 10;
    project.video = {"raw.mov", 1280, 720, 30};
    return project;
}

using vantile::testing::refusal;

}  // namespace

TEST(BlurRegionEdits, RectanglesAreClippedToThePictureAndEmptyOrOutsideOnesAndBadSpansAreRefused)
{
    const RecordingProject project = project10s();
    // Partly off the picture on every side: only the part on it is kept.
    EXPECT_EQ(BlurRegionEdits::fitted(project, {1, 2, -40, -10, 100, 50}), (BlurRegion{1, 2, 0, 0, 60, 40}));
    EXPECT_EQ(BlurRegionEdits::fitted(project, {1, 2, 1200, 700, 200, 100, Style::blur}),
              (BlurRegion{1, 2, 1200, 700, 80, 20, Style::blur}));

    const std::vector<std::pair<BlurRegion, std::string>> refused = {
        {{1, 2, 1280, 0, 10, 10}, "The blur rectangle 1280, 0, 10 x 10 lies outside the recording's picture"},
        {{1, 2, -30, 0, 30, 10}, "lies outside the recording's picture (1280 x 720)."},
        {{1, 2, 10, 10, 0, 10}, "The blur region needs a rectangle with a width and a height above 0."},
        {{3, 3, 10, 10, 10, 10}, "The blur region's time span 3 s to 3 s must end after it starts."},
        {{9, 10.5, 10, 10, 10, 10}, "lies outside the recording (0 to 10 s)."},
        {{std::nan(""), 4, 10, 10, 10, 10}, "must end after it starts."},
    };
    for (const auto& [region, expected] : refused) {
        const std::string message = refusal([&] { BlurRegionEdits::withBlurRegion(project, region); });
        EXPECT_NE(message.find(expected), std::string::npos) << message;
    }
    EXPECT_NE(refusal([&] { BlurRegionEdits::withoutBlurRegion(project, 0); }).find("There is no blur region 0"),
              std::string::npos);
}

TEST(BlurRegionEdits, AddChangeAndRemoveAreEachOneUndoStepBesideTheOtherTimelineEdits)
{
    RecordingProject start = project10s();
    start.previewVideoPath = "preview.mp4";
    TimelineModel model(start);
    EXPECT_EQ(model.addBlurRegion({1, 3, 100, 100, 200, 80}), 0u);
    EXPECT_FALSE(model.project().previewVideoPath) << "an old preview no longer shows the picture";
    model.cut({5, 6});
    EXPECT_EQ(model.addBlurRegion({4, 9, 1200, 600, 200, 200, Style::blur}), 1u);
    EXPECT_EQ(model.project().blurRegions.at(1), (BlurRegion{4, 9, 1200, 600, 80, 120, Style::blur}));
    model.changeBlurRegion(0, {0.5, 3, 100, 100, 200, 80});
    model.removeBlurRegion(1);
    EXPECT_EQ(model.project().blurRegions, (std::vector<BlurRegion>{{0.5, 3, 100, 100, 200, 80}}));

    // A refused edit is no step.
    EXPECT_THROW(model.changeBlurRegion(3, {1, 2, 0, 0, 10, 10}), TimelineEditError);
    EXPECT_THROW(model.addBlurRegion({1, 2, 5000, 0, 10, 10}), TimelineEditError);

    model.undo();  // the removal
    EXPECT_EQ(model.project().blurRegions.size(), 2u);
    model.undo();  // the change
    EXPECT_EQ(model.project().blurRegions.at(0).start, 1);
    model.undo();  // the second region
    EXPECT_EQ(model.project().blurRegions.size(), 1u);
    model.undo();  // the cut, which kept the region
    EXPECT_TRUE(model.project().cuts.empty());
    EXPECT_EQ(model.project().blurRegions.size(), 1u);
    model.undo();
    EXPECT_TRUE(model.project().blurRegions.empty());
    EXPECT_FALSE(model.canUndo());
    for (int step = 0; step < 5; ++step) model.redo();
    EXPECT_EQ(model.project().blurRegions, (std::vector<BlurRegion>{{0.5, 3, 100, 100, 200, 80}}));
    EXPECT_EQ(model.project().cuts, (std::vector<TimeRange>{{5, 6}}));
    EXPECT_FALSE(model.canRedo());
}
