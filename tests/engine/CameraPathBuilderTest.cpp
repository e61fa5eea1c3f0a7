#include "engine/CameraPathBuilder.h"

#include "engine/EngineTestSupport.h"
#include "engine/EventStreams.h"
#include "engine/FocusPlanner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace vantile {
namespace {

using testing::sameList;
using Kind = FocusSegment::SegmentType;

constexpr double W = 1920;
constexpr double H = 1080;

TEST(CameraPathBuilderTest, WithoutSegmentsTheCameraRestsOnTheWholeFrame)
{
    const auto keyframes = CameraPathBuilder::buildKeyframes({}, 10, W, H);
    EXPECT_TRUE(sameList(keyframes, {{0, 960, 540, 1}}));
    for (double t : {-1.0, 0.0, 5.0, 1e9}) EXPECT_EQ(CameraPathBuilder::cameraStateAt(t, keyframes), keyframes[0]);
    // Only degenerate segments: the kept list is empty, yet the final hold is added.
    EXPECT_TRUE(sameList(CameraPathBuilder::buildKeyframes({{3, 3, Kind::clickFocus, 1, 1, 1.5}}, 10, W, H),
                         {{0, 960, 540, 1}, {10, 960, 540, 1}}));
    EXPECT_EQ(CameraPathBuilder::cameraStateAt(2, {}), (CameraKeyframe{2, 0, 0, 1}));
}

TEST(CameraPathBuilderTest, HoldsThenArrivesExactlyWhenTheSegmentStarts)
{
    const auto keyframes = CameraPathBuilder::buildKeyframes({{2, 3, Kind::clickFocus, 960, 540, 1.5}}, 10, W, H);
    // No travel, zoom 0.5: 0.42 + 0.22 * 0.625 = 0.5575 s.
    EXPECT_TRUE(sameList(keyframes, {{0, 960, 540, 1}, {2 - (0.42 + 0.22 * (0.5 / 0.8)), 960, 540, 1},
                                     {2, 960, 540, 1.5}, {10, 960, 540, 1.5}}));
}

TEST(CameraPathBuilderTest, BackToBackSegmentsMoveInsideTheLaterOne)
{
    const std::vector<FocusSegment> segments = {{1, 3, Kind::clickFocus, 500, 400, 1.5},
                                                {3, 4, Kind::scrollFocus, 1200, 700, 1.2},
                                                {4, 4.1, Kind::clickFocus, 900, 500, 1.6}};
    const auto keyframes = CameraPathBuilder::buildKeyframes(segments, 6, W, H);
    ASSERT_EQ(keyframes.size(), 8u);
    // Second segment: the move cannot start before the first one ends, so it starts at 3 and
    // arrives after its own transition time.
    const double dn = std::sqrt(700.0 * 700.0 + 300.0 * 300.0) / std::hypot(W, H);
    const double transition = 0.36 + 0.42 * dn + 0.22 * (0.3 / 0.8);
    EXPECT_EQ(keyframes[3].time, 3);
    EXPECT_EQ(keyframes[3].centerX, 500);
    EXPECT_DOUBLE_EQ(keyframes[4].time, 3 + transition);
    EXPECT_EQ(keyframes[4].centerX, 1200);
    // Third, 0.1 s long: the move starts at 4 and would take 0.16 s, but arrives by the segment's end.
    EXPECT_EQ(keyframes[5].time, 4);
    EXPECT_EQ(keyframes[5].centerX, 1200);
    EXPECT_EQ(keyframes[6], (CameraKeyframe{4.1, 900, 500, 1.6}));
    EXPECT_EQ(keyframes[7], (CameraKeyframe{6, 900, 500, 1.6}));
}

TEST(CameraPathBuilderTest, FarMovesAndBigZoomsTakeLongerWithinTheirBounds)
{
    // Beyond a whole diagonal and a full zoom change: 0.72 + 0.42 + 0.22 is cut to 1.2 s.
    const auto far = CameraPathBuilder::buildKeyframes({{5, 9, Kind::overview, -2000, -1000, 2.0}}, 10, W, H);
    EXPECT_DOUBLE_EQ(far[1].time, 5 - 1.2);
    // A short segment caps the move at its own length.
    const auto brief = CameraPathBuilder::buildKeyframes({{5, 5.3, Kind::overview, -2000, -1000, 2.0}}, 10, W, H);
    EXPECT_DOUBLE_EQ(brief[1].time, 5 - 0.3);
    // A one-pixel move with no zoom change takes little more than its type's base time.
    const auto small = CameraPathBuilder::buildKeyframes({{5, 9, Kind::scrollFocus, 961, 540, 1.0}}, 10, W, H);
    EXPECT_DOUBLE_EQ(small[1].time, 5 - 0.36 - 0.42 / std::hypot(W, H));
}

TEST(CameraPathBuilderTest, DecisionsAtTheSameMomentKeepOnlyTheLater)
{
    // The move starts at 0 (replacing the opening keyframe) and arrives at 0.3; the final hold at
    // 0.30005 is the same moment and replaces the arrival.
    const auto keyframes =
        CameraPathBuilder::buildKeyframes({{0, 0.3, Kind::typingFocus, 800, 500, 1.4}}, 0.30005, W, H);
    EXPECT_TRUE(sameList(keyframes, {{0, 960, 540, 1}, {0.30005, 800, 500, 1.4}}));
}

TEST(CameraPathBuilderTest, SamplingBlendsWithSmootherStepAndJumpsAcrossEqualTimes)
{
    const std::vector<CameraKeyframe> keyframes = {{1, 100, 200, 1}, {3, 300, 600, 2}, {3, 900, 900, 1.5}, {5, 0, 0, 1}};
    EXPECT_EQ(CameraPathBuilder::cameraStateAt(0.5, keyframes), keyframes[0]);  // before: the first, own time
    EXPECT_EQ(CameraPathBuilder::cameraStateAt(2, keyframes), (CameraKeyframe{2, 200, 400, 1.5}));
    const double eased = 0.25 * 0.25 * 0.25 * (0.25 * (6 * 0.25 - 15) + 10);
    EXPECT_EQ(CameraPathBuilder::cameraStateAt(1.5, keyframes),
              (CameraKeyframe{1.5, 100 + 200 * eased, 200 + 400 * eased, 1 + eased}));
    // At 3 the first matching pair is (1, 3), which ends at its second keyframe's values.
    EXPECT_EQ(CameraPathBuilder::cameraStateAt(3, keyframes), (CameraKeyframe{3, 300, 600, 2}));
    EXPECT_EQ(CameraPathBuilder::cameraStateAt(7, keyframes), keyframes[3]);
}

TEST(CameraPathBuilderTest, PlannedCameraMovesForwardAndItsCropStaysInsideTheVideo)
{
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        const double duration = 60;
        const auto events = testing::demoSession(duration, W, H, seed);
        const auto output = FocusPlanner().plan({duration, W, H, events, zoomIntensityTexts.allCases()[seed % 3]});
        const auto& keyframes = output.cameraKeyframes;
        ASSERT_GE(keyframes.size(), 2u);
        EXPECT_EQ(keyframes.front().time, 0);
        EXPECT_EQ(keyframes.back().time, duration);
        for (std::size_t i = 1; i < keyframes.size(); ++i) EXPECT_LT(keyframes[i - 1].time, keyframes[i].time);
        for (int frame = 0; frame <= 60 * 30; ++frame) {
            const double t = frame / 30.0;
            const CameraKeyframe camera = CameraPathBuilder::cameraStateAt(t, keyframes);
            SCOPED_TRACE(testing::describe(camera));
            ASSERT_TRUE(testing::viewInsideVideo(camera.centerX, camera.centerY, camera.scale, W, H));
        }
    }
}

TEST(CameraPathBuilderTest, DegenerateValuesDoNotBreakThePath)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<FocusSegment> segments = {{nan, 2, Kind::clickFocus, 5, 5, 1.5},
                                                {1, 2, Kind::clickFocus, nan, 5, nan},
                                                {-5, -1, Kind::scrollFocus, 5, 5, 1.2}};
    for (double duration : {nan, 0.0, -1.0, 4.0}) {
        const auto keyframes = CameraPathBuilder::buildKeyframes(segments, duration, 0, 0);
        ASSERT_FALSE(keyframes.empty());
        (void)CameraPathBuilder::cameraStateAt(nan, keyframes);
        (void)CameraPathBuilder::cameraStateAt(1.5, keyframes);
    }
}

}  // namespace
}  // namespace vantile
