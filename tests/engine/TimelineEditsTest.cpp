#include "engine/OutputTimeline.h"
#include "engine/TimelineEdits.h"
#include "engine/TimelineModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

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

RecordingProject plannedProject()
{
    RecordingProject project;
    project.id = "model";
    project.duration = 30;
    project.video = {"raw.mov", 1280, 720, 30};
    for (int index = 0; index < 20; ++index) {
        const double time = 0.7 + index * 1.4;
        project.events.push_back({time, InputEvent::EventType::leftMouseDown, 100.0 + index * 50, 80.0 + index * 30, {}, {}, {}});
        project.events.push_back({time + 0.1, InputEvent::EventType::leftMouseUp, 100.0 + index * 50, 80.0 + index * 30, {}, {}, {}});
    }
    for (int frame = 0; frame <= 900; ++frame) project.cursorFrames.push_back({frame / 30.0, 10.0 + frame, 20.0 + frame / 2.0});
    project.focusSegments = TimelineEdits::plannedSegments(project);
    return project;
}

TimelineState stateOf(const RecordingProject& project)
{
    return {project.trim,         project.cuts,        project.focusSegments, CameraBubbleLook::of(project.renderSettings),
            project.speedRegions, project.textCallouts, project.blurRegions,   project.crop,
            project.hiddenShortcuts};
}

// The obvious version: walk output time through the kept ranges one by one.
bool removed(double time, const std::optional<TimeRange>& trim, const std::vector<TimeRange>& cuts, double duration)
{
    const TimeRange whole = trim ? *trim : TimeRange{0, duration};
    if (time < whole.start || time >= whole.end) return true;
    for (const TimeRange& cut : cuts) {
        if (time >= cut.start && time < cut.end) return true;
    }
    return false;
}

double slowSpeedAt(double time, const std::vector<SpeedRegion>& regions)
{
    for (const SpeedRegion& region : regions) {
        if (time >= region.start && time < region.end) return region.speed;
    }
    return 1;
}

// Output time of a recording instant as a sweep over every edit boundary before it: each kept
// stretch between two boundaries adds its length over its speed.
double slowOutputTime(double recording, const std::optional<TimeRange>& trim, const std::vector<TimeRange>& cuts,
                      const std::vector<SpeedRegion>& regions, double duration)
{
    std::vector<double> boundaries{0, duration, recording};
    if (trim) boundaries.insert(boundaries.end(), {trim->start, trim->end});
    for (const TimeRange& cut : cuts) boundaries.insert(boundaries.end(), {cut.start, cut.end});
    for (const SpeedRegion& region : regions) boundaries.insert(boundaries.end(), {region.start, region.end});
    std::sort(boundaries.begin(), boundaries.end());
    double output = 0;
    for (std::size_t index = 0; index + 1 < boundaries.size() && boundaries[index + 1] <= recording; ++index) {
        const double middle = (boundaries[index] + boundaries[index + 1]) / 2;
        if (!removed(middle, trim, cuts, duration)) {
            output += (boundaries[index + 1] - boundaries[index]) / slowSpeedAt(middle, regions);
        }
    }
    return output;
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

TEST(TimelineEdits, CutsMergeAndZoomsCutBackTheAutomaticSegmentsTheyOverlap)
{
    RecordingProject project = TimelineEdits::withCut(project20s(), {3, 5});
    project = TimelineEdits::withCut(project, {4, 6});
    project = TimelineEdits::withCut(project, {10, 11});
    EXPECT_EQ(project.cuts, (std::vector<TimeRange>{{3, 6}, {10, 11}}));

    // The click before the zoom ends early enough for the camera to move in by 7 s; the typing
    // focus goes on once the zoom is over.
    project = TimelineEdits::withZoom(project, zoom(7, 9, 400, 300, 2.5));
    ASSERT_EQ(project.focusSegments.size(), 5U);
    EXPECT_EQ(project.focusSegments[0], (FocusSegment{0, 4, Type::overview, 640, 360, 1}));
    EXPECT_EQ(project.focusSegments[1].start, 4);
    EXPECT_EQ(project.focusSegments[1].type, Type::clickFocus);
    EXPECT_GT(project.focusSegments[1].end, 6);
    EXPECT_LT(project.focusSegments[1].end, 7);
    EXPECT_EQ(project.focusSegments[2], (FocusSegment{7, 9, Type::clickFocus, 400, 300, 2.5, true}));
    EXPECT_EQ(project.focusSegments[3], (FocusSegment{9, 14, Type::typingFocus, 900, 500, 1.8}));
    EXPECT_EQ(project.focusSegments[4].start, 14);

    // Another edited zoom may not overlap the first.
    EXPECT_THROW(TimelineEdits::withZoom(project, zoom(8.5, 10, 400, 300, 2)), TimelineEditError);
    // Changing an automatic segment marks it edited.
    project = TimelineEdits::withSegmentChanged(project, 0, zoom(0.5, 3, 200, 100, 3));
    EXPECT_TRUE(project.focusSegments[0].edited);

    const RecordingProject cleared = TimelineEdits::withoutEdits(project);
    EXPECT_TRUE(cleared.cuts.empty());
    EXPECT_EQ(cleared.focusSegments, TimelineEdits::plannedSegments(project20s()));
}

TEST(TimelineEdits, ReplanningKeepsEditedSegmentsAndFitsTheNewPlanAroundThem)
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

    // Automatic segments of the old plan never survive a re-plan; the new plan's overview resumes
    // where the edited zoom ends.
    project.focusSegments = {{1, 2, Type::clickFocus, 1, 1, 2}, {3, 4, Type::clickFocus, 1, 1, 2, true}};
    const std::vector<FocusSegment> merged =
        TimelineEdits::mergeReplanned(project, {{0, 20, Type::overview, 640, 360, 1}});
    ASSERT_EQ(merged.size(), 3U);
    EXPECT_EQ(merged[0].start, 0);
    EXPECT_LT(merged[0].end, 3);
    EXPECT_EQ(merged[1], (FocusSegment{3, 4, Type::clickFocus, 1, 1, 2, true}));
    EXPECT_EQ(merged[2], (FocusSegment{4, 20, Type::overview, 640, 360, 1}));
}

TEST(TimelineModel, AddMoveResizeDepthDeleteThenUndoStepsBackAndANewEditDropsRedo)
{
    TimelineModel model(plannedProject());
    EXPECT_FALSE(model.canUndo());

    const std::size_t added = model.addSegment(12);
    const FocusSegment& made = model.project().focusSegments.at(added);
    EXPECT_EQ(made, (FocusSegment{12, 14, Type::clickFocus, 370, 200, 2, true}));  // on the cursor at 12 s

    // A second zoom just after the first: it is shortened to fit, never overlapping.
    const std::size_t second = model.addSegment(15);
    EXPECT_EQ(model.project().focusSegments.at(second).start, 15);
    EXPECT_THROW(model.addSegment(13), TimelineEditError);

    // Edits re-sort the segments and the automatic ones make way, so the zoom is found again by its
    // start, as the app's timeline does.
    const auto editedStartingAt = [&](double start) {
        const auto& segments = model.project().focusSegments;
        const auto found = std::find_if(segments.begin(), segments.end(), [&](const FocusSegment& segment) {
            return segment.edited && segment.start == start;
        });
        return static_cast<std::size_t>(found - segments.begin());
    };
    // Moving the first one right stops at the second one's start.
    model.moveSegment(editedStartingAt(12), 20);
    EXPECT_EQ(model.project().focusSegments.at(editedStartingAt(13)).end, 15);
    model.resizeSegment(editedStartingAt(13), 11, 16);  // the end stops at the neighbour
    const std::size_t first = editedStartingAt(11);
    EXPECT_EQ(model.project().focusSegments.at(first).end, 15);
    model.setDepth(first, 3.5);
    EXPECT_EQ(model.project().focusSegments.at(editedStartingAt(11)).scale, 3.5);
    model.setFocusPoint(editedStartingAt(11), 640, 360);

    model.cut({2, 4});
    model.setTrim({1, 28});
    EXPECT_DOUBLE_EQ(model.timeline().duration(), 25);
    model.removeSegment(editedStartingAt(11));
    // Undo steps back over the trim to the cut; a new edit then drops the redo history.
    model.undo();
    model.undo();
    EXPECT_DOUBLE_EQ(model.timeline().duration(), 28);
    EXPECT_TRUE(model.canRedo());
    model.cut({5, 6});
    EXPECT_FALSE(model.canRedo());
}

// Every kind of timeline edit shares one history: each change is one step, an edit that changes
// nothing is none, a refused one changes nothing, and the preview render goes stale.
TEST(TimelineModel, GeneratedEditSequencesOfEveryKindUndoToTheStartAndRedoToTheEndBeyondFiftySteps)
{
    std::mt19937 random(77);
    std::uniform_real_distribution<double> unit(0, 1);
    for (int round = 0; round < 8; ++round) {
        RecordingProject start = plannedProject();
        start.previewVideoPath = "preview.mp4";
        for (int chord = 0; chord < 4; ++chord) {
            start.events.push_back({3.0 + 5 * chord, InputEvent::EventType::keyboardShortcut, 0, 0, {}, {}, {}, "Ctrl+S"});
        }
        TimelineModel model(start);
        std::vector<TimelineState> history{stateOf(model.project())};
        while (history.size() < 61) {
            const auto count = model.project().focusSegments.size();
            const std::size_t index = count ? static_cast<std::size_t>(unit(random) * count) % count : 0;
            const auto pick = [&](std::size_t size) { return static_cast<std::size_t>(unit(random) * (size + 1)); };
            const double time = 29 * unit(random);
            try {
                switch (static_cast<int>(unit(random) * 14)) {
                case 0: model.addSegment(29 * unit(random)); break;
                case 1: model.moveSegment(index, 30 * unit(random)); break;
                case 2: {
                    const double start = 29 * unit(random);
                    model.resizeSegment(index, start, start + 0.2 + 3 * unit(random));
                    break;
                }
                case 3: model.setDepth(index, 1 + 3 * unit(random)); break;
                case 4: model.removeSegment(index); break;
                case 5: {
                    const double start = 29 * unit(random);
                    model.cut({start, start + 0.5 * unit(random) + 0.01});
                    break;
                }
                case 6: {
                    // The camera bubble's edits share the history with the timeline's.
                    CameraBubbleLook look = CameraBubbleLook::of(model.project().renderSettings);
                    look.position = CameraPosition::custom;
                    look.centerX = unit(random);
                    look.size = 0.12 + 0.38 * unit(random);
                    model.setCameraBubble(look);
                    break;
                }
                // Indices may be one past the end: refused.
                case 7: model.addTextCallout({time, time + 3 * unit(random), "callout", TextCalloutStyle::label, {}}); break;
                case 8: model.removeTextCallout(pick(model.project().textCallouts.size())); break;
                case 9: {
                    // Partly off the picture: kept clipped.
                    model.addBlurRegion({time, time + 2, 1280 * unit(random) - 100, 720 * unit(random), 200, 150});
                    break;
                }
                case 10: model.removeBlurRegion(pick(model.project().blurRegions.size())); break;
                case 11: {
                    const std::int64_t x = 2 * static_cast<std::int64_t>(400 * unit(random));
                    model.setCrop(unit(random) < 0.3 ? std::nullopt : std::optional(RecordingCrop{x, 0, 640, 720}));
                    break;
                }
                case 12: model.setShortcutHidden(pick(4), unit(random) < 0.5); break;
                default: model.setFocusPoint(index, 1280 * unit(random), 720 * unit(random)); break;
                }
            } catch (const TimelineEditError&) {
                ASSERT_EQ(stateOf(model.project()), history.back()) << "a refused edit changed the timeline";
                continue;
            }
            if (stateOf(model.project()) == history.back()) continue;  // no step, as undo below checks
            ASSERT_FALSE(model.project().previewVideoPath) << "an edit left the old preview render";
            history.push_back(stateOf(model.project()));
            // Edited segments never overlap each other, and every segment stays inside the recording.
            const auto& segments = model.project().focusSegments;
            for (std::size_t a = 0; a < segments.size(); ++a) {
                ASSERT_GE(segments[a].start, 0);
                ASSERT_LE(segments[a].end, 30);
                for (std::size_t b = a + 1; b < segments.size() && segments[a].edited; ++b) {
                    if (!segments[b].edited) continue;
                    ASSERT_FALSE(segments[a].start < segments[b].end && segments[b].start < segments[a].end);
                }
            }
        }
        for (std::size_t step = history.size() - 1; step > 0; --step) {
            ASSERT_TRUE(model.canUndo()) << "only " << history.size() - 1 - step << " undo steps";
            model.undo();
            ASSERT_EQ(stateOf(model.project()), history[step - 1]) << "undo step " << step;
        }
        for (std::size_t step = 1; step < history.size(); ++step) {
            model.redo();
            ASSERT_EQ(stateOf(model.project()), history[step]) << "redo step " << step;
        }
    }
}

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

// Speed regions: each edit one undo step, overlaps and odd speeds refused with nothing changed,
// a stored overlap found by validation, and clearing the edits clears them.
TEST(TimelineModel, SpeedRegionEditsUndoOneByOneAndRefuseOverlaps)
{
    TimelineModel model(project20s());
    model.addSpeedRegion({2, 5, 4});
    model.addSpeedRegion({10, 12, 0.5});
    model.changeSpeedRegion(0, {1, 5, 8});
    EXPECT_EQ(model.project().speedRegions, (std::vector<SpeedRegion>{{1, 5, 8}, {10, 12, 0.5}}));
    EXPECT_DOUBLE_EQ(model.timeline().duration(), 20 - 4 + 0.5 - 2 + 4);
    const RecordingProject before = model.project();
    EXPECT_THROW(model.addSpeedRegion({4, 6, 2}), TimelineEditError);
    EXPECT_THROW(model.changeSpeedRegion(1, {4, 12, 2}), TimelineEditError);
    EXPECT_THROW(model.addSpeedRegion({14, 16, 17}), TimelineEditError);
    EXPECT_THROW(model.addSpeedRegion({18, 21, 2}), TimelineEditError);
    EXPECT_THROW(model.removeSpeedRegion(2), TimelineEditError);
    EXPECT_EQ(model.project(), before);

    model.removeSpeedRegion(0);
    EXPECT_EQ(model.project().speedRegions, (std::vector<SpeedRegion>{{10, 12, 0.5}}));
    model.undo();
    EXPECT_EQ(model.project().speedRegions, before.speedRegions);
    model.undo();
    EXPECT_EQ(model.project().speedRegions, (std::vector<SpeedRegion>{{2, 5, 4}, {10, 12, 0.5}}));
    model.redo();
    EXPECT_EQ(model.project().speedRegions, before.speedRegions);

    RecordingProject stored = model.project();
    stored.speedRegions.push_back({11, 13, 2});
    EXPECT_THROW(TimelineEdits::validate(stored), TimelineEditError);
    EXPECT_TRUE(TimelineEdits::withoutEdits(model.project()).speedRegions.empty());
}

TEST(OutputTimeline, HandWorkedSpeedRegionsAroundACut)
{
    // 20 s, cut 5..7, 4x over 3..8 (the cut wins over its middle), 0.5x over 16..18:
    // 0-3 (3) + 3-5 at 4x (0.5) + 7-8 at 4x (0.25) + 8-16 (8) + 16-18 at 0.5x (4) + 18-20 (2) = 17.75.
    const OutputTimeline timeline(20, std::nullopt, {{5, 7}}, {{16, 18, 0.5}, {3, 8, 4}});
    EXPECT_EQ(timeline.playedRanges(), (std::vector<PlayedRange>{
                                           {{0, 3}, 1}, {{3, 5}, 4}, {{7, 8}, 4}, {{8, 16}, 1}, {{16, 18}, 0.5}, {{18, 20}, 1}}));
    EXPECT_EQ(timeline.keptRanges(), (std::vector<TimeRange>{{0, 5}, {7, 20}}));
    EXPECT_DOUBLE_EQ(timeline.duration(), 17.75);
    EXPECT_FALSE(timeline.isIdentity());
    EXPECT_DOUBLE_EQ(timeline.recordingTime(3.25), 4);
    EXPECT_DOUBLE_EQ(timeline.recordingTime(3.5), 7);  // the hard cut inside the region
    EXPECT_DOUBLE_EQ(timeline.recordingTime(12.75), 16.5);
    EXPECT_DOUBLE_EQ(*timeline.outputTime(17), 13.75);
    EXPECT_DOUBLE_EQ(*timeline.outputTime(19), 16.75);
    EXPECT_FALSE(OutputTimeline(20, std::nullopt, {}, {{0, 20, 2}}).isIdentity());
}

TEST(OutputTimeline, WithoutEditsItIsTheIdentityAndCuttingEverythingLeavesNothing)
{
    EXPECT_TRUE(OutputTimeline(12.5, std::nullopt, {}).isIdentity());

    const OutputTimeline everythingCut(10, TimeRange{2, 4}, {{1, 5}});
    EXPECT_TRUE(everythingCut.keptRanges().empty());
    EXPECT_DOUBLE_EQ(everythingCut.duration(), 0);
}

TEST(OutputTimeline, GeneratedEditsAndSpeedsMapMonotonicallyRoundTripAndMatchASweepOverTheBoundaries)
{
    std::mt19937 random(1414);
    std::uniform_real_distribution<double> unit(0, 1);
    const std::vector<double> speeds{0.25, 0.5, 0.75, 1.5, 2, 4, 8, 16};
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
        // Half the rounds play stretches at other speeds; regions may overlap cuts and the trim.
        std::vector<SpeedRegion> regions;
        double cursor = 0;
        while (round % 2 == 1 && cursor < duration) {
            const double start = cursor + duration * 0.2 * unit(random);
            const double end = std::min(duration, start + duration * 0.2 * unit(random) + 0.001);
            if (start >= end) break;
            regions.push_back({start, end, speeds[static_cast<std::size_t>(unit(random) * speeds.size())]});
            cursor = end;
        }
        const OutputTimeline timeline(duration, trim, cuts, regions);

        const double lastKept = timeline.keptRanges().empty() ? 0 : timeline.keptRanges().back().end;
        ASSERT_NEAR(timeline.duration(), slowOutputTime(duration, trim, cuts, regions, duration), 1e-9) << round;
        for (const PlayedRange& piece : timeline.playedRanges()) {
            ASSERT_LT(piece.range.start, piece.range.end);
            ASSERT_EQ(piece.speed, slowSpeedAt((piece.range.start + piece.range.end) / 2, regions));
        }
        if (timeline.keptRanges().empty()) continue;

        double previous = -1;
        for (int step = 0; step <= 400; ++step) {
            const double output = timeline.duration() * step / 400.0;
            const double recording = timeline.recordingTime(output);
            ASSERT_GE(recording, previous) << "round " << round << " goes back in time at output " << output;
            previous = recording;
            if (step < 400) {
                ASSERT_FALSE(removed(recording, trim, cuts, duration)) << round << " shows a removed instant " << recording;
                ASSERT_NEAR(slowOutputTime(recording, trim, cuts, regions, duration), output, 1e-9) << round;
                const auto back = timeline.outputTime(recording);
                ASSERT_TRUE(back.has_value());
                ASSERT_NEAR(*back, output, 1e-9);
            }
        }
        for (int step = 0; step <= 200; ++step) {
            const double recording = duration * step / 200.0;
            const auto output = timeline.outputTime(recording);
            if (recording < lastKept) {
                ASSERT_EQ(output.has_value(), !removed(recording, trim, cuts, duration)) << round << " " << recording;
            }
            if (output) {
                ASSERT_NEAR(timeline.recordingTime(*output), recording, 1e-9);
            }
        }
    }
}
