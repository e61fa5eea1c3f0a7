#include "engine/TimelineModel.h"
#include "engine/TimelineEdits.h"

#include <gtest/gtest.h>

#include <random>

using namespace vantile;
using Type = FocusSegment::SegmentType;

namespace {

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
    return {project.trim, project.cuts, project.focusSegments};
}

}  // namespace

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

    // Moving the first one right stops at the second one's start.
    std::size_t first = added;
    model.moveSegment(first, 20);
    EXPECT_EQ(model.project().focusSegments.at(first).start, 13);
    EXPECT_EQ(model.project().focusSegments.at(first).end, 15);
    model.resizeSegment(first, 11, 16);  // the end stops at the neighbour
    EXPECT_EQ(model.project().focusSegments.at(first).start, 11);
    EXPECT_EQ(model.project().focusSegments.at(first).end, 15);
    model.setDepth(first, 3.5);
    EXPECT_EQ(model.project().focusSegments.at(first).scale, 3.5);
    model.setFocusPoint(first, 640, 360);

    model.cut({2, 4});
    model.setTrim({1, 28});
    EXPECT_DOUBLE_EQ(model.timeline().duration(), 25);
    model.removeSegment(first);
    // Undo steps back over the trim to the cut; a new edit then drops the redo history.
    model.undo();
    model.undo();
    EXPECT_DOUBLE_EQ(model.timeline().duration(), 28);
    EXPECT_TRUE(model.canRedo());
    model.cut({5, 6});
    EXPECT_FALSE(model.canRedo());
}

TEST(TimelineModel, GeneratedEditSequencesUndoToTheStartAndRedoToTheEndBeyondFiftySteps)
{
    std::mt19937 random(77);
    std::uniform_real_distribution<double> unit(0, 1);
    for (int round = 0; round < 8; ++round) {
        TimelineModel model(plannedProject());
        std::vector<TimelineState> history{stateOf(model.project())};
        while (history.size() < 61) {
            const auto count = model.project().focusSegments.size();
            const std::size_t index = count ? static_cast<std::size_t>(unit(random) * count) % count : 0;
            try {
                switch (static_cast<int>(unit(random) * 7)) {
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
                default: model.setFocusPoint(index, 1280 * unit(random), 720 * unit(random)); break;
                }
            } catch (const TimelineEditError&) {
                ASSERT_EQ(stateOf(model.project()), history.back()) << "a refused edit changed the timeline";
                continue;
            }
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
