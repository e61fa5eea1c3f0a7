#include "engine/CameraPathBuilder.h"
#include "engine/SegmentFitting.h"
#include "engine/TimelineEdits.h"
#include "engine/TimelineModel.h"

#include "engine/EngineTestSupport.h"
#include "engine/EventStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace vantile {
namespace {

using testing::describe;
using testing::makeEvent;
using Kind = FocusSegment::SegmentType;
using Click = InputEvent::EventType;

constexpr double width = 640;
constexpr double height = 360;

RecordingProject plannedProject(std::vector<InputEvent> events, double duration = 10)
{
    RecordingProject project;
    project.id = "fitting";
    project.duration = duration;
    project.video = {"raw.mov", static_cast<std::int64_t>(width), static_cast<std::int64_t>(height), 30};
    project.events = std::move(events);
    project.focusSegments = TimelineEdits::plannedSegments(project);
    return project;
}

// Clicks at 2 s and 6 s: the director's closing overview runs from 7.15 s to the end.
RecordingProject clickedProject()
{
    return plannedProject({makeEvent(2.0, Click::leftMouseDown, 100, 100), makeEvent(6.0, Click::leftMouseDown, 500, 250)});
}

FocusSegment zoom(double start, double end, double x, double y, double scale)
{
    return {start, end, Kind::clickFocus, x, y, scale};
}

CameraKeyframe cameraAt(const RecordingProject& project, double time)
{
    const auto keyframes =
        CameraPathBuilder::buildKeyframes(project.focusSegments, project.duration, width, height);
    return CameraPathBuilder::cameraStateAt(time, keyframes);
}

::testing::AssertionResult showsView(const RecordingProject& project, double time, const FocusSegment& view)
{
    const CameraKeyframe camera = cameraAt(project, time);
    if (std::abs(camera.scale - view.scale) < 1e-9 && std::abs(camera.centerX - view.centerX) < 1e-6 &&
        std::abs(camera.centerY - view.centerY) < 1e-6) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "at " << time << " s the camera is x" << camera.scale << " at ("
                                         << camera.centerX << ", " << camera.centerY << "), not x" << view.scale
                                         << " at (" << view.centerX << ", " << view.centerY << ")";
}

const FocusSegment overviewView{0, 0, Kind::overview, width / 2, height / 2, 1};

std::size_t indexOfEdited(const RecordingProject& project, double start)
{
    const auto& segments = project.focusSegments;
    const auto found = std::find_if(segments.begin(), segments.end(),
                                    [&](const FocusSegment& segment) { return segment.edited && segment.start == start; });
    EXPECT_NE(found, segments.end()) << "no edited segment starts at " << start;
    return static_cast<std::size_t>(found - segments.begin());
}

bool covered(const std::vector<FocusSegment>& segments, double time)
{
    return std::any_of(segments.begin(), segments.end(),
                       [&](const FocusSegment& segment) { return segment.start <= time && time < segment.end; });
}

// Sorted, inside the recording, nothing overlapping an edited segment; and around every edited
// zoom the camera arrives by its start (when the director's segment comes before it), holds it to
// its end, then moves at once to what follows and is there within one move.
::testing::AssertionResult zoomsKeepTheirTimes(const RecordingProject& project)
{
    const auto& segments = project.focusSegments;
    for (std::size_t index = 0; index < segments.size(); ++index) {
        const FocusSegment& segment = segments[index];
        if (!(segment.start >= 0 && segment.start < segment.end && segment.end <= project.duration)) {
            return ::testing::AssertionFailure() << "segment " << describe(segment) << " leaves the recording";
        }
        if (index > 0 && segments[index - 1].start > segment.start) {
            return ::testing::AssertionFailure() << "segment " << index << " is out of order";
        }
        if (!segment.edited) continue;
        for (std::size_t other = 0; other < segments.size(); ++other) {
            if (other != index && segments[other].start < segment.end && segment.start < segments[other].end) {
                return ::testing::AssertionFailure()
                       << describe(segments[other]) << " overlaps the edited " << describe(segment);
            }
        }
        const bool arrivesByStart = segment.start > 0 && (index == 0 || !segments[index - 1].edited);
        if (arrivesByStart) {
            for (const double time : {segment.start, (segment.start + segment.end) / 2}) {
                if (auto shown = showsView(project, time, segment); !shown) return shown << " inside " << describe(segment);
            }
        }
        if (auto shown = showsView(project, segment.end, segment); !shown) return shown << " at the end of " << describe(segment);
        if (index + 1 == segments.size()) {
            if (project.duration - segment.end >= CameraPathBuilder::shortestMove) {
                return ::testing::AssertionFailure() << "nothing follows " << describe(segment) << " before the end";
            }
            continue;
        }
        const FocusSegment& next = segments[index + 1];
        const double wait = next.start - segment.end;
        // Only an edited zoom close behind may be reached straight from this one.
        const double longestWait = next.edited ? CameraPathBuilder::longestTransition + CameraPathBuilder::shortestMove
                                               : CameraPathBuilder::shortestMove;
        if (wait >= longestWait) {
            return ::testing::AssertionFailure() << describe(next) << " comes " << wait << " s after " << describe(segment);
        }
        const double settled = std::min(next.end, next.start + CameraPathBuilder::longestTransition);
        if (auto shown = showsView(project, settled, next); !shown) return shown << " after " << describe(segment);
    }
    return ::testing::AssertionSuccess();
}

TEST(SegmentFitting, AnEditedZoomEndsWhereTheUserSaidWithOrWithoutDirectorSegmentsAfterIt)
{
    const RecordingProject clicked = clickedProject();
    // The director's closing overview overlaps the zoom and is all that brings the camera back.
    ASSERT_EQ(clicked.focusSegments.back().type, Kind::overview);
    ASSERT_LT(clicked.focusSegments.back().start, 8);
    ASSERT_GT(clicked.focusSegments.back().start, 7);
    const RecordingProject quiet = plannedProject({});
    ASSERT_EQ(quiet.focusSegments.size(), 1U);

    const FocusSegment added = zoom(7, 8, 200, 150, 2);
    for (const RecordingProject& project : {clicked, quiet}) {
        const RecordingProject edited = TimelineEdits::withZoom(project, added);
        FocusSegment expected = added;
        expected.edited = true;
        SCOPED_TRACE(describe(edited.focusSegments));
        EXPECT_TRUE(showsView(edited, 7.0, expected));
        EXPECT_TRUE(showsView(edited, 7.5, expected));
        EXPECT_TRUE(showsView(edited, 8.0, expected));
        EXPECT_LT(cameraAt(edited, 8.1).scale, 2);
        EXPECT_TRUE(showsView(edited, 9.5, overviewView));
        EXPECT_TRUE(showsView(edited, 10, overviewView));
        EXPECT_TRUE(zoomsKeepTheirTimes(edited));
        // Well before the zoom the director's plan still shows as it did.
        for (double time = 0; time < 5; time += 0.05) {
            const CameraKeyframe camera = cameraAt(project, time);
            EXPECT_TRUE(showsView(edited, time, {0, 0, Kind::overview, camera.centerX, camera.centerY, camera.scale}));
        }
    }

    // A zoom running to the end of the recording holds to the end: nothing comes after it.
    const RecordingProject toTheEnd = TimelineEdits::withZoom(quiet, zoom(8, 10, 200, 150, 2));
    EXPECT_EQ(toTheEnd.focusSegments.back().end, 10);
    EXPECT_TRUE(toTheEnd.focusSegments.back().edited);
    EXPECT_TRUE(zoomsKeepTheirTimes(toTheEnd));

    // Changing the intensity plans the director's segments again; they make way for the zoom the same way.
    RecordingProject replanned = TimelineEdits::withZoom(clicked, added);
    replanned.renderSettings.zoomIntensity = ZoomIntensity::strong;
    replanned.focusSegments = TimelineEdits::replannedSegments(replanned);
    EXPECT_TRUE(showsView(replanned, 9.5, overviewView));
    EXPECT_TRUE(zoomsKeepTheirTimes(replanned));
}

TEST(SegmentFitting, ZoomsThatFollowAtOnceGoStraightFromOneToTheNext)
{
    RecordingProject project = TimelineEdits::withZoom(plannedProject({}), zoom(7, 8, 200, 150, 2));
    project = TimelineEdits::withZoom(project, zoom(8, 9, 400, 200, 1.5));
    for (double time = 8; time <= 9; time += 0.02) {
        EXPECT_GE(cameraAt(project, time).scale, 1.5 - 1e-9) << "back towards the overview at " << time;
    }
    EXPECT_TRUE(showsView(project, 10, overviewView));
    EXPECT_TRUE(zoomsKeepTheirTimes(project));

    // A second zoom a moment after the first: no overview squeezed between, the camera leaves at the end.
    RecordingProject close = TimelineEdits::withZoom(plannedProject({}), zoom(3, 4, 200, 150, 2));
    close = TimelineEdits::withZoom(close, zoom(4.1, 5, 400, 200, 1.5));
    ASSERT_EQ(close.focusSegments.size(), 4U) << describe(close.focusSegments);
    EXPECT_TRUE(close.focusSegments[2].edited);
    EXPECT_LT(cameraAt(close, 4.05).scale, 2);
    EXPECT_TRUE(zoomsKeepTheirTimes(close));
}

TEST(SegmentFitting, RemovingOrMovingAZoomLeavesTheOverviewWhereItWasAndNoHoles)
{
    const RecordingProject quiet = plannedProject({});
    const RecordingProject added = TimelineEdits::withZoom(quiet, zoom(7, 8, 200, 150, 2));
    EXPECT_EQ(TimelineEdits::withoutSegment(added, indexOfEdited(added, 7)).focusSegments, quiet.focusSegments);

    const RecordingProject clicked = TimelineEdits::withZoom(clickedProject(), zoom(7, 8, 200, 150, 2));
    const RecordingProject removed = TimelineEdits::withoutSegment(clicked, indexOfEdited(clicked, 7));
    EXPECT_TRUE(showsView(removed, 7.5, overviewView));
    EXPECT_TRUE(showsView(removed, 9.5, overviewView));
    for (double time = 0; time < 10; time += 0.01) {
        if (covered(clicked.focusSegments, time)) {
            ASSERT_TRUE(covered(removed.focusSegments, time)) << "a hole at " << time << " s";
        }
    }

    // The app's move: the old place shows the overview, the new one the zoom, and only the new
    // zoom's move-in room may lose what covered it.
    TimelineModel model(clicked);
    model.moveSegment(indexOfEdited(clicked, 7), 2.0);
    const RecordingProject moved = model.project();
    EXPECT_TRUE(showsView(moved, 2.5, clicked.focusSegments[indexOfEdited(clicked, 7)]));
    EXPECT_TRUE(showsView(moved, 7.5, overviewView));
    EXPECT_TRUE(showsView(moved, 9.5, overviewView));
    EXPECT_TRUE(zoomsKeepTheirTimes(moved));
    for (double time = 0; time < 10; time += 0.01) {
        if (covered(clicked.focusSegments, time) && !(time >= 2.0 - CameraPathBuilder::longestTransition && time < 2.0)) {
            ASSERT_TRUE(covered(moved.focusSegments, time)) << "a hole at " << time << " s";
        }
    }
    model.undo();
    EXPECT_EQ(model.project().focusSegments, clicked.focusSegments);
}

TEST(SegmentFitting, GeneratedZoomEditsKeepTheTimelineWholeAndEveryZoomEndsOnTime)
{
    std::mt19937 random(2024);
    std::uniform_real_distribution<double> unit(0, 1);
    int accepted = 0;
    for (int round = 0; round < 24; ++round) {
        const double duration = 4 + 20 * unit(random);
        TimelineModel model(plannedProject(testing::demoSession(duration, width, height, 100 + round), duration));
        for (int step = 0; step < 14; ++step) {
            const auto count = model.project().focusSegments.size();
            const std::size_t index =
                count ? static_cast<std::size_t>(unit(random) * static_cast<double>(count)) % count : 0;
            const double start = (duration - 0.3) * unit(random);
            try {
                switch (static_cast<int>(unit(random) * 6)) {
                case 0: model.addSegment(start); break;
                case 1: model.moveSegment(index, start); break;
                case 2: model.resizeSegment(index, start, start + 0.2 + 2.5 * unit(random)); break;
                case 3: model.setDepth(index, 1 + 3 * unit(random)); break;
                case 4: model.removeSegment(index); break;
                default: {
                    RecordingProject replanned = model.project();
                    replanned.renderSettings.zoomIntensity = static_cast<ZoomIntensity>(static_cast<int>(unit(random) * 3));
                    replanned.focusSegments = TimelineEdits::replannedSegments(replanned);
                    model.adopt(replanned);
                    break;
                }
                }
            } catch (const TimelineEditError&) {
                continue;
            }
            ++accepted;
            ASSERT_TRUE(zoomsKeepTheirTimes(model.project()))
                << "round " << round << " step " << step << ": " << describe(model.project().focusSegments);
        }
    }
    EXPECT_GT(accepted, 200);
}

}  // namespace
}  // namespace vantile
