#include "engine/PointerFollowTrack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace vantile {
namespace {

std::vector<CursorFrame> framesThrough(const std::vector<CodablePoint>& points, double fps = 30)
{
    std::vector<CursorFrame> frames;
    for (std::size_t index = 0; index < points.size(); ++index) {
        frames.push_back({static_cast<double>(index) / fps, points[index].x, points[index].y, true, false});
    }
    return frames;
}

TEST(PointerFollowTrackTest, GeneratedPathsKeepTheCropInsideMovingSmoothlyAndSettleAroundARestingPointer)
{
    // A 9:16 crop of a 1920 x 1080 recording: 607.5 x 1080.
    constexpr double width = 1920;
    constexpr double height = 1080;
    constexpr double cropWidth = 1080.0 * 9 / 16;
    std::mt19937 random(7);
    std::uniform_real_distribution<double> across(-100, width + 100);
    std::uniform_real_distribution<double> down(-50, height + 50);
    for (int run = 0; run < 40; ++run) {
        SCOPED_TRACE(run);
        // Jumps between random places, each held for a while, then a long rest at the last.
        std::vector<CodablePoint> points;
        CodablePoint at{across(random), down(random)};
        for (int jump = 0; jump < 6; ++jump) {
            const CodablePoint next{across(random), down(random)};
            for (int step = 0; step < 12; ++step) {
                points.push_back({at.x + (next.x - at.x) * step / 11, at.y + (next.y - at.y) * step / 11});
            }
            for (int hold = 0; hold < 20; ++hold) points.push_back(next);
            at = next;
        }
        for (int hold = 0; hold < 90; ++hold) points.push_back(at);
        const auto frames = framesThrough(points);
        const PointerFollowTrack track(frames, width, height, cropWidth, height);
        CodablePoint previous = track.centerAt(0);
        for (double time = 0; time <= frames.back().time; time += 1.0 / 120) {
            const CodablePoint centre = track.centerAt(time);
            ASSERT_GE(centre.x - cropWidth / 2, -1e-9) << time;
            ASSERT_LE(centre.x + cropWidth / 2, width + 1e-9) << time;
            ASSERT_DOUBLE_EQ(centre.y, height / 2);  // a full-height crop has nowhere to go
            // No jumps: under a tenth of the crop's width in 1/120 s.
            ASSERT_LT(std::abs(centre.x - previous.x), cropWidth / 10) << time;
            previous = centre;
        }
        // After three seconds' rest the pointer is inside the dead zone (or the crop is at the
        // recording's edge nearest it).
        const CodablePoint settled = track.centerAt(frames.back().time);
        const double reach = cropWidth * PointerFollowTrack::deadZone + 1;
        const double pointerX = std::clamp(at.x, 0.0, width);
        const bool atEdge = settled.x <= cropWidth / 2 + 1 || settled.x >= width - cropWidth / 2 - 1;
        EXPECT_TRUE(std::abs(pointerX - settled.x) <= reach || atEdge) << pointerX << " vs " << settled.x;
    }
}

TEST(PointerFollowTrackTest, SmallMotionsInsideTheDeadZoneLeaveTheCropStill)
{
    std::vector<CodablePoint> points;
    for (int index = 0; index < 120; ++index) points.push_back({960 + 80 * std::sin(index * 0.3), 540});
    const PointerFollowTrack track(framesThrough(points), 1920, 1080, 600, 1080);
    for (double time = 0; time < 4; time += 0.05) EXPECT_DOUBLE_EQ(track.centerAt(time).x, 960) << time;
    EXPECT_TRUE(PointerFollowTrack({}, 1920, 1080, 600, 1080).empty());
}

}  // namespace
}  // namespace vantile
