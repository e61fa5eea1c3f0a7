// The timeline editor's operations as QML calls them: each one is a single undoable edit of the
// current project's timeline.
#include "AppState.h"

#include "ProjectSession.h"
#include "engine/OutputTimeline.h"
#include "engine/TimelineRuler.h"

#include <algorithm>
#include <limits>

namespace vantile {

namespace {

std::size_t segmentIndex(int index)
{
    // A negative index from QML is no segment; the model refuses it with its own message.
    return index < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(index);
}

}  // namespace

void AppState::addTimelineSegment(double playhead)
{
    session_->editTimeline([&](TimelineModel& model) { model.addSegment(playhead); });
}
void AppState::moveTimelineSegment(int index, double start)
{
    session_->editTimeline([&](TimelineModel& model) { model.moveSegment(segmentIndex(index), start); });
}
void AppState::resizeTimelineSegment(int index, double start, double end)
{
    session_->editTimeline([&](TimelineModel& model) { model.resizeSegment(segmentIndex(index), start, end); });
}
void AppState::setTimelineSegmentDepth(int index, double scale)
{
    session_->editTimeline([&](TimelineModel& model) { model.setDepth(segmentIndex(index), scale); });
}
void AppState::setTimelineSegmentFocus(int index, double x, double y)
{
    session_->editTimeline([&](TimelineModel& model) { model.setFocusPoint(segmentIndex(index), x, y); });
}
void AppState::removeTimelineSegment(int index)
{
    session_->editTimeline([&](TimelineModel& model) { model.removeSegment(segmentIndex(index)); });
}
void AppState::setTimelineTrim(double start, double end)
{
    session_->editTimeline([&](TimelineModel& model) { model.setTrim({start, end}); });
}
void AppState::cutTimelineRange(double start, double end)
{
    session_->editTimeline([&](TimelineModel& model) { model.cut({std::min(start, end), std::max(start, end)}); });
}
void AppState::undoTimelineEdit()
{
    session_->editTimeline([](TimelineModel& model) { model.undo(); });
}
void AppState::redoTimelineEdit()
{
    session_->editTimeline([](TimelineModel& model) { model.redo(); });
}

QVariantList AppState::timelineRulerTicks(double pixelWidth) const
{
    QVariantList marks;
    if (!currentProject_) return marks;
    const OutputTimeline timeline(*currentProject_);
    for (const RulerTick& tick : TimelineRuler::ticks(timeline, currentProject_->duration, pixelWidth)) {
        marks.append(QVariantMap{{"time", tick.recordingTime},
                                 {"outputTime", tick.outputTime},
                                 {"label", QString::fromStdString(tick.label)}});
    }
    return marks;
}

}  // namespace vantile
