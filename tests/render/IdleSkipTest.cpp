#include "engine/IdleFinder.h"
#include "engine/OutputTimeline.h"
#include "render/RenderTestSupport.h"
#include "render/ScreenChangeScanner.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vantile;
using namespace vantile::test;
namespace fs = std::filesystem;

namespace {

constexpr int width = 640;
constexpr int height = 360;
constexpr double fps = 30;

bool screenStill(double time)
{
    return (time >= 2 && time < 6) || (time >= 9 && time < 13);
}

// A white page with a black bar that moves every frame, except while the screen is still; a
// text caret blinks the whole time.
int barXAt(int frame)
{
    int shown = frame;
    while (shown > 0 && screenStill(shown / fps)) --shown;
    return (shown * 6) % (width - 40);
}

void paintPage(QImage& canvas, int frame)
{
    canvas.fill(Qt::white);
    const int barX = barXAt(frame);
    for (int y = 0; y < height; ++y) {
        for (int x = barX; x < barX + 40; ++x) canvas.setPixel(x, y, qRgb(0, 0, 0));
    }
    if ((frame / 15) % 2 == 0) {
        for (int y = 200; y < 212; ++y) {
            for (int x = 500; x < 502; ++x) canvas.setPixel(x, y, qRgb(0, 0, 0));
        }
    }
}

// Pointer moves every 0.1 s outside 1.5–7 s and 9–13 s, and one click at 11 s.
std::vector<InputEvent> pointerEvents()
{
    std::vector<InputEvent> events;
    for (int step = 0; step < 140; ++step) {
        const double time = step / 10.0;
        if ((time >= 1.5 && time < 7) || (time >= 9 && time < 13)) continue;
        events.push_back({time, InputEvent::EventType::mouseMove, 100.0 + step, 100});
    }
    events.push_back({11, InputEvent::EventType::leftMouseDown, 300, 200, {}, {}, "left"});
    return events;
}

}  // namespace

// The scan sees the bar's motion and not the caret; with the input, the finder proposes
// exactly the stretch where neither happens, to the frame, and takes the click into account.
TEST(IdleSkip, ProposalsLandOnTheKnownIdleStretchesAndBecomeRegionsOrCuts)
{
    TemporaryDirectory directory;
    const fs::path raw = directory.path() / "raw.mov";
    writeRawMovie(raw, width, height, 14, 0, paintPage);

    const std::vector<double> changes = ScreenChangeScanner::changeTimes(raw);
    // The still stretches (after their first frame) show no change although the caret blinks.
    for (const double change : changes) {
        EXPECT_FALSE(screenStill(change) && screenStill(change - 1 / fps + 1e-6))
            << "a change at " << change << " where only the caret blinks";
    }
    // Every frame of the bar's motion after the first: 6 s of it at 30 fps.
    EXPECT_NEAR(static_cast<double>(changes.size()), 6 * fps - 1, 1);
    // With a crop of the left edge, only the frames where the bar enters, crosses or leaves it change.
    const std::vector<double> croppedChanges = ScreenChangeScanner::changeTimes(raw, RecordingCrop{0, 0, 64, height});
    EXPECT_FALSE(croppedChanges.empty());
    EXPECT_LT(croppedChanges.size(), changes.size() / 4);
    const auto barInCrop = [](int frame) { return barXAt(frame) < 64; };
    for (const double change : croppedChanges) {
        const int frame = static_cast<int>(std::lround(change * fps));
        EXPECT_TRUE(barInCrop(frame) || barInCrop(frame - 1)) << "a change at " << change << " outside the crop";
    }

    const std::vector<InputEvent> events = pointerEvents();
    const auto idle = IdleFinder::idleStretches(events, changes, 14, 3);
    ASSERT_EQ(idle.size(), 1U);
    EXPECT_NEAR(idle[0].start, 2, 1 / fps + 1e-6);
    EXPECT_NEAR(idle[0].end, 6, 1 / fps + 1e-6);

    // Shorter stretches: the click splits the second still stretch in two.
    const auto shorter = IdleFinder::idleStretches(events, changes, 14, 1.5);
    ASSERT_EQ(shorter.size(), 3U);
    EXPECT_NEAR(shorter[1].start, 9, 1 / fps + 1e-6);
    EXPECT_DOUBLE_EQ(shorter[1].end, 11);
    EXPECT_DOUBLE_EQ(shorter[2].start, 11);
    EXPECT_NEAR(shorter[2].end, 13, 1 / fps + 1e-6);

    // Taken as 8x regions or as cuts, with a cut already inside the first stretch.
    RecordingProject project = makeProject(width, height, 14);
    project.events = events;
    project.cuts = {{3, 4}};
    const RecordingProject sped = IdleFinder::withIdleRemoved(project, shorter, IdleRemoval::speed);
    ASSERT_EQ(sped.speedRegions.size(), 4U);  // the cut splits the first stretch
    EXPECT_DOUBLE_EQ(sped.speedRegions[0].end, 3);
    EXPECT_DOUBLE_EQ(sped.speedRegions[1].start, 4);
    for (const SpeedRegion& region : sped.speedRegions) EXPECT_EQ(region.speed, idleSpeed);
    const double idleLength = (shorter[0].end - shorter[0].start - 1) + (shorter[1].end - shorter[1].start) +
                              (shorter[2].end - shorter[2].start);
    EXPECT_NEAR(OutputTimeline(sped).duration(), 13 - idleLength + idleLength / idleSpeed, 1e-9);

    const RecordingProject cut = IdleFinder::withIdleRemoved(project, shorter, IdleRemoval::cut);
    EXPECT_TRUE(cut.speedRegions.empty());
    EXPECT_NEAR(OutputTimeline(cut).duration(), 14 - (shorter[0].end - shorter[0].start) - 4, 2 / fps);
}

// Typing bursts are activity from start to end; an unended burst keeps the rest busy.
TEST(IdleSkip, TypingBurstsCountAsActivityThroughout)
{
    const std::vector<InputEvent> events = {
        {1, InputEvent::EventType::typingActivityStart, 0, 0},
        {6, InputEvent::EventType::typingActivityEnd, 0, 0},
        {12, InputEvent::EventType::typingActivityStart, 0, 0},
    };
    EXPECT_EQ(IdleFinder::idleStretches(events, {}, 20, 3), (std::vector<TimeRange>{{6, 12}}));
    EXPECT_EQ(IdleFinder::idleStretches({}, {}, 5, 3), (std::vector<TimeRange>{{0, 5}}));
    EXPECT_TRUE(IdleFinder::idleStretches({}, {1, 2, 3, 4}, 5, 3).empty());
}
