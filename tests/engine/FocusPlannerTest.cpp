#include "engine/CameraPathBuilder.h"
#include "engine/FocusPlanner.h"

#include "engine/CursorPathSmoother.h"
#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include "engine/EngineTestSupport.h"
#include "engine/EventStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace vantile {
namespace {

using testing::makeEvent;
using testing::runCli;
using testing::sameList;
using Type = InputEvent::EventType;
using Kind = FocusSegment::SegmentType;

FocusPlannerInput inputWith(std::vector<InputEvent> events, double duration = 10,
                            ZoomIntensity intensity = ZoomIntensity::standard)
{
    return {duration, 1920, 1080, std::move(events), intensity};
}

std::vector<FocusSegment> planSegments(const FocusPlannerInput& input)
{
    return FocusPlanner().plan(input).segments;
}

TEST(FocusPlannerTest, QuietRecordingIsOneWholeFrameOverview)
{
    const FocusSegment whole{0, 10, Kind::overview, 960, 540, 1.0};
    EXPECT_TRUE(sameList(planSegments(inputWith({})), {whole}));
    const FocusPlannerOutput output = FocusPlanner().plan(inputWith({}));
    // The "move" into the overview starts at 0 and takes its base 0.72 s without going anywhere.
    EXPECT_TRUE(sameList(output.cameraKeyframes, {{0, 960, 540, 1}, {0.72, 960, 540, 1}, {10, 960, 540, 1}}));
}

TEST(FocusPlannerTest, HandWorkedClicksZoomWithOverviewsPaddedByTheGap)
{
    const auto clicks = [](std::vector<double> times, double x, double y) {
        std::vector<InputEvent> events;
        for (double t : times) events.push_back(makeEvent(t, Type::leftMouseDown, x, y));
        return events;
    };
    const auto overview = [](double start, double end) { return FocusSegment{start, end, Kind::overview, 960, 540, 1}; };
    std::vector<InputEvent> near = clicks({2.0}, 600, 500);
    near.push_back(makeEvent(2.5, Type::leftMouseDown, 700, 500));
    const struct {
        const char* what;
        FocusPlannerInput input;
        std::vector<FocusSegment> expected;
    } cases[] = {
        {"a lone click, then the closing overview 0.2 s after it",
         inputWith(clicks({0.2}, 700, 400)),
         {{0, 0.2 + 0.95, Kind::clickFocus, 700, 400, 1.52}, overview(0.2 + 0.95 + 0.2, 10)}},
        // Every click sees all five (k = 3): lead 0.5 - 0.12, tail 0.95 - 0.21, scale 1.72 - 0.165;
        // the gap before is longer than 2.4 s and takes the wide pad.
        {"five clicks in one spot within 1.4 s start earlier, end sooner and zoom less",
         inputWith(clicks({4.0, 4.3, 4.6, 4.9, 5.2}, 800, 500), 20, ZoomIntensity::strong),
         {overview(0.28, 4.0 - (0.5 - 0.04 * 3) - 0.28),
          {4.0 - (0.5 - 0.04 * 3), 5.2 + (0.95 - 0.07 * 3), Kind::clickFocus, 800, 500, 1.72 - 0.055 * 3},
          overview(5.2 + (0.95 - 0.07 * 3) + 0.2, 20)}},
        // 0.5 s and 100 px apart: one segment centred by duration weights; a gap of 1.5 s takes the narrow pad.
        {"two close clicks merge", inputWith(near),
         {overview(0.16, 1.5 - 0.16), {1.5, 3.45, Kind::clickFocus, (600 * 1.45 + 700 * 1.45) / 2.9, 500, 1.52},
          overview(3.45 + 0.2, 10)}},
        // Scale 1.72: the view is 1920 / 1.72 wide, so the centre keeps half of that from the edges.
        {"a click in the corner keeps the view inside the video",
         inputWith(clicks({2}, 1915, 5), 10, ZoomIntensity::strong),
         {overview(0.16, 1.5 - 0.16),
          {1.5, 2.95, Kind::clickFocus, 1920 - (1920 / 1.72) * 0.5, (1080 / 1.72) * 0.5, 1.72},
          overview(2 + 0.95 + 0.2, 10)}},
    };
    for (const auto& [what, input, expected] : cases) EXPECT_TRUE(sameList(planSegments(input), expected)) << what;

    const auto far = planSegments(inputWith({makeEvent(2.0, Type::leftMouseDown, 600, 500),
                                             makeEvent(2.5, Type::leftMouseDown, 900, 500)}));
    EXPECT_EQ(std::count_if(far.begin(), far.end(), [](auto& s) { return s.type == Kind::clickFocus; }), 2);

}

TEST(FocusPlannerTest, MergeGapLimitDependsOnBothBeingScrolls)
{
    const FocusSegment scrollA{1, 2, Kind::scrollFocus, 500, 500, 1.2};
    // 0.9 s and 300 px apart: close only by the limits of two scrolls.
    const FocusSegment scrollB{2.9, 3.5, Kind::scrollFocus, 800, 500, 1.2};
    const FocusSegment click{2.9, 3.5, Kind::clickFocus, 800, 500, 1.2};
    EXPECT_EQ(FocusPlanner::mergeNearbySegments({scrollA, scrollB}).size(), 1u);
    EXPECT_EQ(FocusPlanner::mergeNearbySegments({scrollA, click}).size(), 2u);
    // Zoom levels 0.35 apart never merge; the earlier kind wins unless it is an overview.
    EXPECT_EQ(FocusPlanner::mergeNearbySegments({{1, 2, Kind::clickFocus, 500, 500, 1.0},
                                                 {2.1, 3, Kind::clickFocus, 500, 500, 1.35}})
                  .size(),
              2u);
    const auto typed = FocusPlanner::mergeNearbySegments(
        {{2.1, 3, Kind::typingFocus, 500, 500, 1.3}, {1, 2, Kind::overview, 500, 500, 1.0}});
    ASSERT_EQ(typed.size(), 1u);
    EXPECT_EQ(typed[0].type, Kind::typingFocus);
    EXPECT_EQ(typed[0].start, 1);
    EXPECT_EQ(typed[0].end, 3);
}

TEST(FocusPlannerTest, TypingEndsAtItsMarkerOrASecondLaterCentresOnTheLastClickAndCapsItsScale)
{
    // No end marker: te = min(t + 1, D), then the tail, capped at the duration.
    auto segments = planSegments(inputWith({makeEvent(3, Type::typingActivityStart, 700, 500)}));
    ASSERT_EQ(segments.size(), 3u);
    EXPECT_EQ(segments[1].type, Kind::typingFocus);
    EXPECT_DOUBLE_EQ(segments[1].start, 3 - 0.55);
    EXPECT_DOUBLE_EQ(segments[1].end, 4 + 0.65);
    EXPECT_EQ(segments[1].centerX, 700);  // no click yet: its own position

    // An earlier end marker does not count; the first one at or after the start does.
    segments = planSegments(inputWith({makeEvent(0.5, Type::leftMouseDown, 1000, 700),
                                       makeEvent(1.0, Type::typingActivityEnd), makeEvent(5, Type::typingActivityStart),
                                       makeEvent(6.5, Type::typingActivityEnd), makeEvent(8, Type::typingActivityEnd)},
                                      20));
    const auto typing = std::find_if(segments.begin(), segments.end(), [](auto& s) { return s.type == Kind::typingFocus; });
    ASSERT_NE(typing, segments.end());
    EXPECT_DOUBLE_EQ(typing->end, 6.5 + 0.65);
    // Centred on the click 4.5 s earlier, not on the typing start's own place.
    EXPECT_EQ(typing->centerX, 1000);
    EXPECT_EQ(typing->centerY, 700);

    // A strong burst reaches the scale cap and keeps its view inside the video.
    segments = planSegments(inputWith({makeEvent(3, Type::typingActivityStart, 1919, 1079)}, 10, ZoomIntensity::strong));
    EXPECT_EQ(segments[1].scale, 1.8);
    EXPECT_DOUBLE_EQ(segments[1].centerX, 1920 - (1920 / 1.8) * 0.5);
}

TEST(FocusPlannerTest, OverviewPadsFollowTheGapLength)
{
    const auto overviewsBefore = [](double start) {
        const std::vector<FocusSegment> result =
            FocusPlanner::insertOverviewSegments({{start, start + 1, Kind::clickFocus, 1, 1, 1.5}}, start + 1.5, 100, 50);
        return result;
    };
    EXPECT_EQ(overviewsBefore(1.35).size(), 1u);  // exactly 1.35: none
    auto result = overviewsBefore(2.4);
    ASSERT_EQ(result.size(), 2u);
    EXPECT_TRUE(sameList(result, {{0.16, 2.4 - 0.16, Kind::overview, 50, 25, 1}, {2.4, 3.4, Kind::clickFocus, 1, 1, 1.5}}));
    result = overviewsBefore(2.41);
    EXPECT_EQ(result[0].start, 0.28);
    EXPECT_EQ(result[0].end, 2.41 - 0.28);

    // Overlapping segments: the running end is the furthest one, and the tail starts 0.2 s after it.
    result = FocusPlanner::insertOverviewSegments(
        {{0.5, 6, Kind::clickFocus, 1, 1, 1.5}, {1, 2, Kind::scrollFocus, 1, 1, 1.2}, {6.5, 7, Kind::clickFocus, 1, 1, 1.5}},
        8.21, 100, 50);
    ASSERT_EQ(result.size(), 4u);
    EXPECT_TRUE(sameList(std::vector<FocusSegment>{result[3]}, {{7.2, 8.21, Kind::overview, 50, 25, 1}}));
    EXPECT_EQ(FocusPlanner::insertOverviewSegments({{0, 7, Kind::clickFocus, 1, 1, 1.5}}, 8.2, 100, 50).size(), 1u);
}

TEST(FocusPlannerTest, GeneratedPlansAreSortedInsideTheVideoAndIgnoreOrderMovesAndReleases)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const double width = 1000 + static_cast<double>(seed);
        const double height = 600;
        // Events at equal times keep the order the recorder gave them, so only one of each time is kept.
        std::vector<InputEvent> events = testing::demoSession(25, width, height, seed);
        std::sort(events.begin(), events.end(), [](const InputEvent& a, const InputEvent& b) { return a.time < b.time; });
        events.erase(std::unique(events.begin(), events.end(),
                                 [](const InputEvent& a, const InputEvent& b) { return a.time == b.time; }),
                     events.end());
        for (ZoomIntensity intensity : zoomIntensityTexts.allCases()) {
            const FocusPlannerOutput expected = FocusPlanner().plan({25, width, height, events, intensity});
            ASSERT_FALSE(expected.segments.empty());
            for (std::size_t i = 0; i < expected.segments.size(); ++i) {
                const FocusSegment& s = expected.segments[i];
                SCOPED_TRACE(testing::describe(s));
                EXPECT_LT(s.start, s.end);
                EXPECT_GE(s.start, 0);
                EXPECT_LE(s.end, 25);
                EXPECT_TRUE(testing::viewInsideVideo(s.centerX, s.centerY, s.scale, width, height));
                EXPECT_TRUE(s.type != Kind::overview || s.scale == 1.0);
                EXPECT_TRUE(i == 0 || expected.segments[i - 1].start <= s.start);
            }
            // Shuffled, and with pointer moves and releases added, the same recording plans the same.
            std::vector<InputEvent> noisy = events;
            std::mt19937_64 random(seed);
            std::uniform_real_distribution<double> unit(0, 1);
            for (int added = 0; added < 50; ++added) {
                const Type type = added % 3 == 0 ? Type::leftMouseUp : added % 3 == 1 ? Type::mouseMove : Type::rightMouseUp;
                noisy.push_back(makeEvent(25 * unit(random), type, width * unit(random), height * unit(random)));
            }
            std::shuffle(noisy.begin(), noisy.end(), random);
            const FocusPlannerOutput actual = FocusPlanner().plan({25, width, height, noisy, intensity});
            ASSERT_TRUE(sameList(actual.segments, expected.segments)) << "seed " << seed;
            ASSERT_TRUE(sameList(actual.cameraKeyframes, expected.cameraKeyframes)) << "seed " << seed;
        }
    }
}

TEST(FocusPlannerTest, DegenerateInputGivesEmptyOrDefaultOutput)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const std::vector<InputEvent> odd = {
        makeEvent(1, Type::leftMouseDown, nan, 300),   makeEvent(nan, Type::scrollWheel, 10, 10),
        makeEvent(2, Type::typingActivityStart, -5e9, 5e9), makeEvent(infinity, Type::typingActivityEnd),
        makeEvent(50, Type::leftMouseDown, 10, 10),    makeEvent(-infinity, Type::leftMouseDown, 10, 10),
    };
    for (double duration : {0.0, -3.0, 5.0, nan, infinity}) {
        for (auto [width, height] : {std::pair{0.0, 0.0}, std::pair{1920.0, 1080.0}, std::pair{-4.0, 2.0}}) {
            const FocusPlannerOutput output = FocusPlanner().plan({duration, width, height, odd, ZoomIntensity::strong});
            EXPECT_FALSE(output.cameraKeyframes.empty());
            for (const FocusSegment& s : output.segments) EXPECT_LT(s.start, s.end);
        }
    }
    // Nothing fits into a recording without length.
    EXPECT_TRUE(planSegments(inputWith({makeEvent(0.5, Type::leftMouseDown, 5, 5)}, 0)).empty());
    EXPECT_EQ(FocusPlanner().plan(inputWith({}, -2)).cameraKeyframes.size(), 1u);
}

TEST(PlanCommandTest, PrintsExactlyWhatTheEngineComputesForShuffledEvents)
{
    const testing::TemporaryDirectory directory;
    std::vector<InputEvent> events = testing::demoSession(45, 2560, 1440, 11);
    std::shuffle(events.begin(), events.end(), std::mt19937_64(5));
    testing::writeText(directory / "events.json", Json(events).dump());

    const auto result = runCli({"plan", "--events", (directory / "events.json").string(), "--duration", "44.75",
                                "--width", "2560", "--height", "1440", "--intensity", "strong", "--fps", "24"});
    ASSERT_EQ(result.exitCode, 0) << result.standardError;
    const Json printed = Json::parse(result.standardOutput);
    ASSERT_EQ(printed.size(), 3u);

    const FocusPlannerOutput expected = FocusPlanner().plan({44.75, 2560, 1440, events, ZoomIntensity::strong});
    const auto segments = decodeDocument<std::vector<FocusSegment>>(printed.at("segments"));
    const auto keyframes = decodeDocument<std::vector<CameraKeyframe>>(printed.at("cameraKeyframes"));
    const auto frames = decodeDocument<std::vector<CursorFrame>>(printed.at("cursorFrames"));
    // Bit-for-bit: the printed numbers read back as the same doubles.
    EXPECT_TRUE(sameList(segments, expected.segments));
    EXPECT_TRUE(sameList(keyframes, expected.cameraKeyframes));
    EXPECT_TRUE(sameList(frames, CursorPathSmoother().smooth(events, 24, 44.75)));
    EXPECT_EQ(frames.size(), 24u * 44 + 18 + 1);
}

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
