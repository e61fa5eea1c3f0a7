#include "engine/OutputTimeline.h"
#include "engine/TimelineLayout.h"
#include "engine/TimelineRuler.h"
#include "engine/WaveformPeaks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace vantile;

namespace {

TEST(TimelineRulerTest, StepsAreTheUsualOnesAndKeepLabelsApart)
{
    EXPECT_EQ(TimelineRuler::tickStep(200, 56), 0.5);
    EXPECT_EQ(TimelineRuler::tickStep(56, 56), 1);
    EXPECT_EQ(TimelineRuler::tickStep(40, 56), 2);
    EXPECT_EQ(TimelineRuler::tickStep(8, 56), 10);
    EXPECT_EQ(TimelineRuler::tickStep(1.2, 56), 60);
    EXPECT_EQ(TimelineRuler::tickStep(0, 56), 1800);

    EXPECT_EQ(TimelineRuler::label(0, 1), "0:00");
    EXPECT_EQ(TimelineRuler::label(75, 5), "1:15");
    EXPECT_EQ(TimelineRuler::label(59.96, 1), "1:00");
    EXPECT_EQ(TimelineRuler::label(1.5, 0.5), "0:01.5");
    EXPECT_EQ(TimelineRuler::label(61, 0.5), "1:01.0");
}

// A 20 s recording trimmed to [2, 18] with [6, 10] cut: the movie is 12 s long, and its
// seconds sit on the recording's track skipping the cut.
TEST(TimelineRulerTest, MarksCountOutputTimeAcrossTrimAndCut)
{
    const OutputTimeline timeline(20, TimeRange{2, 18}, {{6, 10}});
    ASSERT_DOUBLE_EQ(timeline.duration(), 12);
    // 800 px for 20 s: 40 px a second, so marks every 2 s.
    const auto marks = TimelineRuler::ticks(timeline, 20, 800);
    ASSERT_EQ(marks.size(), 7U);
    const double expectedOutput[] = {0, 2, 4, 6, 8, 10, 12};
    const double expectedRecording[] = {2, 4, 10, 12, 14, 16, 18};
    const char* expectedLabels[] = {"0:00", "0:02", "0:04", "0:06", "0:08", "0:10", "0:12"};
    for (std::size_t index = 0; index < marks.size(); ++index) {
        EXPECT_DOUBLE_EQ(marks[index].outputTime, expectedOutput[index]) << index;
        EXPECT_DOUBLE_EQ(marks[index].recordingTime, expectedRecording[index]) << index;
        EXPECT_EQ(marks[index].label, expectedLabels[index]) << index;
    }
    // The playhead's output time past the cut: recording 11 s plays at 5 s of the movie.
    EXPECT_DOUBLE_EQ(timeline.outputTimeAtOrAfter(11), 5);
    EXPECT_DOUBLE_EQ(timeline.outputTimeAtOrAfter(7), 4);
    EXPECT_DOUBLE_EQ(timeline.outputTimeAtOrAfter(1), 0);

    EXPECT_TRUE(TimelineRuler::ticks(timeline, 0, 800).empty());
    EXPECT_TRUE(TimelineRuler::ticks(timeline, 20, 0).empty());
}

TEST(TimelineLayoutTest, DepthLabelsShowTheRealScale)
{
    EXPECT_EQ(TimelineLayout::depthLabel(1.52), "×1.52");
    EXPECT_EQ(TimelineLayout::depthLabel(1.5), "×1.5");
    EXPECT_EQ(TimelineLayout::depthLabel(2), "×2");
    EXPECT_EQ(TimelineLayout::depthLabel(1.0), "×1");
    EXPECT_EQ(TimelineLayout::depthLabel(1.8249), "×1.82");
    EXPECT_EQ(TimelineLayout::depthLabel(1.996), "×2");
}

TEST(TimelineLayoutTest, OverlappingBlocksTakeRowsOfTheirOwnAndTouchingOnesShareOne)
{
    using Type = FocusSegment::SegmentType;
    const std::vector<FocusSegment> segments{
        {0, 4, Type::overview, 0, 0, 1},     {4, 8, Type::clickFocus, 0, 0, 2},  // touching: one row
        {5, 7, Type::clickFocus, 0, 0, 1.5},                                      // inside the second
        {6, 9, Type::clickFocus, 0, 0, 1.5},                                      // over both
        {8.5, 12, Type::overview, 0, 0, 1},                                       // row 0 is free again at 8
    };
    EXPECT_EQ(TimelineLayout::lanes(segments), (std::vector<int>{0, 0, 1, 2, 0}));
    // The list's order does not matter: rows follow start times.
    const std::vector<FocusSegment> reversed(segments.rbegin(), segments.rend());
    EXPECT_EQ(TimelineLayout::lanes(reversed), (std::vector<int>{0, 2, 1, 0, 0}));
    EXPECT_TRUE(TimelineLayout::lanes({}).empty());
}

// Two seconds of silence, then a second of a loud 440 Hz tone, then silence again, fed in
// uneven pieces as a decoder would hand them over.
TEST(WaveformPeaksTest, PeaksFollowTheEnvelopeOfATone)
{
    const int rate = 8000;
    const double duration = 4;
    std::vector<float> stereo;
    for (int frame = 0; frame < rate * 4; ++frame) {
        const double time = static_cast<double>(frame) / rate;
        const float value = time >= 2 && time < 3 ? static_cast<float>(0.8 * std::sin(2 * std::numbers::pi * 440 * time)) : 0.0F;
        stereo.push_back(value);
        stereo.push_back(value * 0.5F);
    }
    WaveformPeaks peaks(duration, rate, 40);
    std::int64_t fed = 0;
    for (int piece = 1; fed < rate * 4; piece = piece % 7 + 1) {
        const int count = static_cast<int>(std::min<std::int64_t>(piece * 311, rate * 4 - fed));
        peaks.add(fed, stereo.data() + fed * 2, count, 2);
        fed += count;
    }
    ASSERT_EQ(peaks.peaks().size(), 40U);
    for (std::size_t bucket = 0; bucket < 40; ++bucket) {
        const double start = static_cast<double>(bucket) * 0.1;
        if (start >= 2 && start < 3) EXPECT_NEAR(peaks.peaks()[bucket], 0.8, 0.02) << "at " << start;
        else EXPECT_EQ(peaks.peaks()[bucket], 0.0F) << "at " << start;
    }

    // Samples beyond the duration and clipping: dropped and held at 1.
    WaveformPeaks clipped(1, rate, 4);
    const std::vector<float> loud(static_cast<std::size_t>(rate * 2), 3.0F);
    clipped.add(0, loud.data(), rate * 2, 1);
    EXPECT_EQ(clipped.peaks(), (std::vector<float>{1, 1, 1, 1}));
}

}  // namespace
