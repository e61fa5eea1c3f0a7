#include "engine/OutputTimeline.h"

#include <gtest/gtest.h>

#include <random>

using namespace vantile;

namespace {

// The obvious version: walk output time through the kept ranges one by one.
double slowRecordingTime(const std::vector<TimeRange>& kept, double outputTime)
{
    double elapsed = 0;
    for (std::size_t index = 0; index < kept.size(); ++index) {
        const TimeRange& range = kept[index];
        if (outputTime < elapsed + range.length() || index + 1 == kept.size()) {
            return std::min(range.start + std::max(outputTime - elapsed, 0.0), range.end);
        }
        elapsed += range.length();
    }
    return 0;
}

bool removed(double time, const std::optional<TimeRange>& trim, const std::vector<TimeRange>& cuts, double duration)
{
    const TimeRange whole = trim ? *trim : TimeRange{0, duration};
    if (time < whole.start || time >= whole.end) return true;
    for (const TimeRange& cut : cuts) {
        if (time >= cut.start && time < cut.end) return true;
    }
    return false;
}

}  // namespace

TEST(OutputTimeline, HandWorkedTrimAndTwoCutsMapBothWays)
{
    // 20 s recording, keep 2..18, cut 5..7 and 10..13: kept 2-5, 7-10, 13-18 = 3 + 3 + 5 = 11 s.
    const OutputTimeline timeline(20, TimeRange{2, 18}, {{10, 13}, {5, 7}});
    ASSERT_EQ(timeline.keptRanges(), (std::vector<TimeRange>{{2, 5}, {7, 10}, {13, 18}}));
    EXPECT_DOUBLE_EQ(timeline.duration(), 11);
    EXPECT_FALSE(timeline.isIdentity());
    // A hard cut: the output instant 3 is already the next range's first frame; past the end holds the last.
    EXPECT_DOUBLE_EQ(timeline.recordingTime(3), 7);
    EXPECT_DOUBLE_EQ(timeline.recordingTime(50), 18);

    EXPECT_EQ(timeline.outputTime(6), std::nullopt);
    EXPECT_EQ(timeline.outputTime(18.5), std::nullopt);
    EXPECT_DOUBLE_EQ(*timeline.outputTime(18), 11);  // the end itself still maps
    EXPECT_DOUBLE_EQ(timeline.outputTimeAtOrAfter(6), 3);
    EXPECT_DOUBLE_EQ(timeline.outputTimeAtOrAfter(19), 11);
}

TEST(OutputTimeline, WithoutEditsItIsTheIdentityAndCuttingEverythingLeavesNothing)
{
    EXPECT_TRUE(OutputTimeline(12.5, std::nullopt, {}).isIdentity());

    const OutputTimeline everythingCut(10, TimeRange{2, 4}, {{1, 5}});
    EXPECT_TRUE(everythingCut.keptRanges().empty());
    EXPECT_DOUBLE_EQ(everythingCut.duration(), 0);
}

TEST(OutputTimeline, GeneratedEditsMapMonotonicallyRoundTripAndKeepTheSumOfRanges)
{
    std::mt19937 random(1414);
    std::uniform_real_distribution<double> unit(0, 1);
    for (int round = 0; round < 300; ++round) {
        const double duration = 1 + 120 * unit(random);
        std::optional<TimeRange> trim;
        if (unit(random) < 0.6) {
            const double a = duration * unit(random) * 0.4;
            trim = TimeRange{a, duration - duration * unit(random) * 0.4};
        }
        std::vector<TimeRange> cuts;
        const int cutCount = static_cast<int>(unit(random) * 6);
        for (int index = 0; index < cutCount; ++index) {
            const double start = duration * unit(random);
            cuts.push_back({start, std::min(duration, start + duration * 0.15 * unit(random) + 0.001)});
        }
        const OutputTimeline timeline(duration, trim, cuts);

        double sum = 0;
        for (const TimeRange& range : timeline.keptRanges()) {
            ASSERT_LT(range.start, range.end);
            sum += range.length();
        }
        ASSERT_NEAR(timeline.duration(), sum, 1e-9);
        if (timeline.keptRanges().empty()) continue;

        double previous = -1;
        for (int step = 0; step <= 400; ++step) {
            const double output = timeline.duration() * step / 400.0;
            const double recording = timeline.recordingTime(output);
            ASSERT_NEAR(recording, slowRecordingTime(timeline.keptRanges(), output), 1e-9) << round << " " << output;
            ASSERT_GE(recording, previous) << "round " << round << " goes back in time at output " << output;
            previous = recording;
            if (step < 400) {
                ASSERT_FALSE(removed(recording, trim, cuts, duration)) << round << " shows a removed instant " << recording;
                const auto back = timeline.outputTime(recording);
                ASSERT_TRUE(back.has_value());
                ASSERT_NEAR(*back, output, 1e-9);
            }
        }
        for (int step = 0; step <= 200; ++step) {
            const double recording = duration * step / 200.0;
            const auto output = timeline.outputTime(recording);
            if (recording < timeline.keptRanges().back().end) {
                ASSERT_EQ(output.has_value(), !removed(recording, trim, cuts, duration)) << round << " " << recording;
            }
            if (output) {
                ASSERT_NEAR(timeline.recordingTime(*output), recording, 1e-9);
            }
        }
    }
}
