#include "engine/CoordinateMapper.h"
#include "engine/Easing.h"
#include "engine/RecordingDurationFormatter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vantile {
namespace {

TEST(CoordinateMapperTest, CaptureLocalPointsScaleIntoTheVideoAndStayInside)
{
    const CGRectCodable region{0, 0, 1440, 900};
    const VideoInfo video{"raw.mov", 2880, 1800, 30};
    EXPECT_EQ(CoordinateMapper::mapCaptureLocalToVideo({720, 450}, region, video), (CodablePoint{1440, 900}));
    EXPECT_EQ(CoordinateMapper::mapCaptureLocalToVideo({1500, 950}, region, video), (CodablePoint{2880, 1800}));
    EXPECT_EQ(CoordinateMapper::mapCaptureLocalToVideo({-3, 0}, region, video), (CodablePoint{0, 0}));

    // A degenerate region counts as one pixel instead of dividing by zero.
    const CGRectCodable empty{0, 0, 0, 0.5};
    EXPECT_EQ(CoordinateMapper::mapCaptureLocalToVideo({0.25, 0.25}, empty, video), (CodablePoint{720, 450}));
}

TEST(CoordinateMapperTest, MappedEventsKeepOrderCountAndEveryOtherField)
{
    InputEvent scroll{3.5, InputEvent::EventType::scrollWheel, 100, 50, 1.0, -2.0, std::nullopt};
    InputEvent click{1.25, InputEvent::EventType::leftMouseDown, 800, 600, std::nullopt, std::nullopt, "left"};
    const std::vector<InputEvent> mapped =
        CoordinateMapper::mapEventsToVideo({scroll, click}, {0, 0, 800, 600}, {"raw.mov", 1600, 1200, 30});
    ASSERT_EQ(mapped.size(), 2u);
    scroll.x = 200;
    scroll.y = 100;
    click.x = 1600;
    click.y = 1200;
    EXPECT_EQ(mapped[0], scroll);
    EXPECT_EQ(mapped[1], click);
}

TEST(EasingTest, SmootherStepHitsItsKnownValuesAndClampsItsArgument)
{
    EXPECT_EQ(Easing::smootherStep(0.5), 0.5);
    EXPECT_EQ(Easing::smootherStep(-1), 0);
    EXPECT_EQ(Easing::smootherStep(2), 1);
    EXPECT_EQ(Easing::smootherStep(std::nan("")), 0);
    EXPECT_DOUBLE_EQ(Easing::smootherStep(0.25), 0.103515625);
    EXPECT_DOUBLE_EQ(Easing::smootherStep(0.75), 1 - 0.103515625);
}

TEST(RecordingDurationFormatterTest, ClockTextOfWholeSeconds)
{
    using namespace RecordingDurationFormatter;
    EXPECT_EQ(formatDuration(75.9), "01:15");
    EXPECT_EQ(formatDuration(-3), "00:00");
    EXPECT_EQ(formatDuration(6000 * 60 + 7), "6000:07");
    EXPECT_EQ(formatDuration(std::numeric_limits<double>::infinity()), "00:00");
}

}  // namespace
}  // namespace vantile
