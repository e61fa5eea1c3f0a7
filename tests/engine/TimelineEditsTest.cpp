#include "engine/OutputTimeline.h"
#include "engine/TimelineEdits.h"

#include <gtest/gtest.h>

#include <functional>

using namespace vantile;
using Type = FocusSegment::SegmentType;

namespace {

RecordingProject project20s()
{
    RecordingProject project;
    project.id = "edits";
    project.duration = 20;
    project.video = {"raw.mov", 1280, 720, 30};
    project.focusSegments = {{0, 4, Type::overview, 640, 360, 1},
                             {4, 8, Type::clickFocus, 300, 200, 2},
                             {8, 14, Type::typingFocus, 900, 500, 1.8},
                             {14, 20, Type::overview, 640, 360, 1}};
    for (int index = 0; index < 12; ++index) {
        project.events.push_back({1.0 + index * 1.5, InputEvent::EventType::leftMouseDown, 100.0 + index * 80,
                                  100.0 + index * 40, {}, {}, {}});
    }
    return project;
}

FocusSegment zoom(double start, double end, double x, double y, double scale)
{
    return {start, end, Type::clickFocus, x, y, scale};
}

}  // namespace

TEST(TimelineEdits, EveryInvalidEditIsRefusedWithOneLineAndChangesNothing)
{
    RecordingProject project = TimelineEdits::withCut(project20s(), {9, 10});
    const RecordingProject before = project;
    const std::vector<std::pair<std::string, std::function<void()>>> refused = {
        {"outside", [&] { TimelineEdits::withTrim(project, {2, 20.5}); }},
        {"outside", [&] { TimelineEdits::withCut(project, {19, 21}); }},
        {"end after", [&] { TimelineEdits::withCut(project, {5, 5}); }},
        {"keep nothing", [&] { TimelineEdits::withCut(project, {0, 20}); }},
        {"keep nothing", [&] { TimelineEdits::withTrim(project, {9.2, 9.8}); }},
        {"scale", [&] { TimelineEdits::withZoom(project, zoom(1, 2, 10, 10, 4.5)); }},
        {"focus point", [&] { TimelineEdits::withZoom(project, zoom(1, 2, 1281, 10, 2)); }},
        {"end after", [&] { TimelineEdits::withZoom(project, zoom(3, 2, 10, 10, 2)); }},
        {"no segment 9", [&] { TimelineEdits::withoutSegment(project, 9); }},
        {"no segment 4", [&] { TimelineEdits::withSegmentChanged(project, 4, zoom(1, 2, 10, 10, 2)); }},
        {"scale", [&] { TimelineEdits::withSegmentChanged(project, 1, zoom(4, 8, 10, 10, 4.01)); }},
    };
    for (const auto& [expected, edit] : refused) {
        try {
            edit();
            ADD_FAILURE() << "accepted an edit that should fail with \"" << expected << "\"";
        } catch (const TimelineEditError& error) {
            const std::string message = error.what();
            EXPECT_NE(message.find(expected), std::string::npos) << message;
            EXPECT_EQ(message.find('\n'), std::string::npos) << message;
        }
        EXPECT_EQ(project, before);
    }
    // The edges of the allowed ranges are accepted.
    EXPECT_NO_THROW(TimelineEdits::withTrim(project, {0, 20}));
    EXPECT_NO_THROW(TimelineEdits::withZoom(project, zoom(0, 0.5, 1280, 720, 4)));
    EXPECT_NO_THROW(TimelineEdits::withZoom(project, zoom(19, 20, 0, 0, 1)));
}

TEST(TimelineEdits, CutsMergeAndZoomsReplaceTheAutomaticSegmentsTheyOverlap)
{
    RecordingProject project = TimelineEdits::withCut(project20s(), {3, 5});
    project = TimelineEdits::withCut(project, {4, 6});
    project = TimelineEdits::withCut(project, {10, 11});
    EXPECT_EQ(project.cuts, (std::vector<TimeRange>{{3, 6}, {10, 11}}));

    project = TimelineEdits::withZoom(project, zoom(7, 9, 400, 300, 2.5));
    ASSERT_EQ(project.focusSegments.size(), 3U);
    EXPECT_EQ(project.focusSegments[0], (FocusSegment{0, 4, Type::overview, 640, 360, 1}));
    EXPECT_EQ(project.focusSegments[1], (FocusSegment{7, 9, Type::clickFocus, 400, 300, 2.5, true}));
    EXPECT_EQ(project.focusSegments[2].start, 14);

    // Another edited zoom may not overlap the first.
    EXPECT_THROW(TimelineEdits::withZoom(project, zoom(8.5, 10, 400, 300, 2)), TimelineEditError);
    // Changing an automatic segment marks it edited.
    project = TimelineEdits::withSegmentChanged(project, 0, zoom(0.5, 3, 200, 100, 3));
    EXPECT_TRUE(project.focusSegments[0].edited);

    const RecordingProject cleared = TimelineEdits::withoutEdits(project);
    EXPECT_TRUE(cleared.cuts.empty());
    EXPECT_EQ(cleared.focusSegments, TimelineEdits::plannedSegments(project20s()));
}

TEST(TimelineEdits, ReplanningKeepsEditedSegmentsAndDropsAutomaticOnesOverlappingThem)
{
    RecordingProject project = project20s();
    project.focusSegments = TimelineEdits::plannedSegments(project);
    ASSERT_GT(project.focusSegments.size(), 3U);
    project = TimelineEdits::withZoom(project, zoom(5, 7.5, 500, 300, 3.5));
    project = TimelineEdits::withZoom(project, zoom(15, 16, 200, 300, 1.5));

    for (const ZoomIntensity intensity : {ZoomIntensity::light, ZoomIntensity::strong, ZoomIntensity::standard}) {
        project.renderSettings.zoomIntensity = intensity;
        const std::vector<FocusSegment> replanned = TimelineEdits::replannedSegments(project);
        std::vector<FocusSegment> edited;
        for (const FocusSegment& segment : replanned) {
            if (segment.edited) edited.push_back(segment);
        }
        ASSERT_EQ(edited.size(), 2U);
        EXPECT_EQ(edited[0], (FocusSegment{5, 7.5, Type::clickFocus, 500, 300, 3.5, true}));
        EXPECT_EQ(edited[1], (FocusSegment{15, 16, Type::clickFocus, 200, 300, 1.5, true}));
        bool sawAutomatic = false;
        for (std::size_t index = 0; index < replanned.size(); ++index) {
            if (index > 0) {
                EXPECT_LE(replanned[index - 1].start, replanned[index].start);
            }
            if (replanned[index].edited) continue;
            sawAutomatic = true;
            for (const FocusSegment& kept : edited) {
                EXPECT_FALSE(replanned[index].start < kept.end && kept.start < replanned[index].end)
                    << "automatic " << replanned[index].start << "-" << replanned[index].end << " overlaps an edit";
            }
        }
        EXPECT_TRUE(sawAutomatic);
        project.focusSegments = replanned;
    }

    // Automatic segments of the old plan never survive a re-plan.
    const std::vector<FocusSegment> planned = {{0, 20, Type::overview, 640, 360, 1}};
    const std::vector<FocusSegment> merged =
        TimelineEdits::mergeReplanned({{1, 2, Type::clickFocus, 1, 1, 2}, {3, 4, Type::clickFocus, 1, 1, 2, true}}, planned);
    EXPECT_EQ(merged, (std::vector<FocusSegment>{{3, 4, Type::clickFocus, 1, 1, 2, true}}));
}
