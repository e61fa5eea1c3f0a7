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
