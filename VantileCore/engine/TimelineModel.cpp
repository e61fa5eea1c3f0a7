#include "engine/TimelineModel.h"

#include "engine/BlurRegionEdits.h"
#include "engine/CameraPathBuilder.h"
#include "engine/CropEdits.h"
#include "engine/ShortcutBadgeEdits.h"
#include "engine/SpeedRegionEdits.h"
#include "engine/TextCalloutEdits.h"
#include "engine/TimelineEdits.h"

#include <algorithm>
#include <cmath>

namespace vantile {

TimelineModel::TimelineModel(RecordingProject project) : project_(std::move(project)), timeline_(project_) {}

namespace {

TimelineState timelineStateOf(const RecordingProject& project)
{
    return {project.trim,         project.cuts,        project.focusSegments, CameraBubbleLook::of(project.renderSettings),
            project.speedRegions, project.textCallouts, project.blurRegions,   project.crop,
            project.hiddenShortcuts};
}

}  // namespace

TimelineState TimelineModel::state() const { return timelineStateOf(project_); }

void TimelineModel::adopt(RecordingProject project)
{
    project_ = std::move(project);
    timeline_ = OutputTimeline(project_);
}

void TimelineModel::restore(const TimelineState& state)
{
    project_.trim = state.trim;
    project_.cuts = state.cuts;
    project_.focusSegments = state.focusSegments;
    project_.renderSettings = state.cameraBubble.appliedTo(project_.renderSettings);
    project_.speedRegions = state.speedRegions;
    project_.textCallouts = state.textCallouts;
    project_.blurRegions = state.blurRegions;
    project_.crop = state.crop;
    project_.hiddenShortcuts = state.hiddenShortcuts;
    project_.previewVideoPath.reset();
    timeline_ = OutputTimeline(project_);
}

void TimelineModel::commit(RecordingProject edited)
{
    // An edit that leaves the timeline as it was (a segment moved onto its own place) is no step:
    // undoing it would seem to do nothing.
    TimelineState before = state();
    if (timelineStateOf(edited) == before) return;
    undo_.push_back(std::move(before));
    if (undo_.size() > undoLimit) undo_.pop_front();
    redo_.clear();
    project_ = std::move(edited);
    timeline_ = OutputTimeline(project_);
}

const FocusSegment& TimelineModel::segment(std::size_t index) const
{
    if (index >= project_.focusSegments.size()) {
        throw TimelineEditError("There is no segment " + std::to_string(index) + ".");
    }
    return project_.focusSegments[index];
}

TimeRange TimelineModel::freeRoom(std::size_t index) const
{
    TimeRange room{0, project_.duration};
    const FocusSegment& moving = segment(index);
    for (std::size_t other = 0; other < project_.focusSegments.size(); ++other) {
        const FocusSegment& neighbour = project_.focusSegments[other];
        if (other == index || !neighbour.edited) continue;
        if (neighbour.end <= moving.start) room.start = std::max(room.start, neighbour.end);
        if (neighbour.start >= moving.end) room.end = std::min(room.end, neighbour.start);
    }
    return room;
}

void TimelineModel::moveSegment(std::size_t index, double start)
{
    FocusSegment moved = segment(index);
    const double length = moved.end - moved.start;
    const TimeRange room = freeRoom(index);
    moved.start = std::clamp(start, room.start, std::max(room.start, room.end - length));
    moved.end = moved.start + length;
    commit(TimelineEdits::withSegmentChanged(project_, index, moved));
}

void TimelineModel::resizeSegment(std::size_t index, double start, double end)
{
    FocusSegment resized = segment(index);
    const TimeRange room = freeRoom(index);
    resized.start = std::max(start, room.start);
    resized.end = std::min(end, room.end);
    commit(TimelineEdits::withSegmentChanged(project_, index, resized));
}

void TimelineModel::setDepth(std::size_t index, double scale)
{
    FocusSegment changed = segment(index);
    changed.scale = scale;
    commit(TimelineEdits::withSegmentChanged(project_, index, changed));
}

void TimelineModel::setFocusPoint(std::size_t index, double x, double y)
{
    FocusSegment changed = segment(index);
    changed.centerX = x;
    changed.centerY = y;
    commit(TimelineEdits::withSegmentChanged(project_, index, changed));
}

void TimelineModel::removeSegment(std::size_t index)
{
    commit(TimelineEdits::withoutSegment(project_, index));
}

std::size_t TimelineModel::addSegment(double playhead)
{
    FocusSegment added{playhead, playhead + newSegmentLength, FocusSegment::SegmentType::clickFocus,
                       static_cast<double>(project_.video.width) / 2, static_cast<double>(project_.video.height) / 2,
                       newSegmentScale, true};
    // Up to the next edited segment, so adding never refuses for lack of room after the playhead.
    for (const FocusSegment& other : project_.focusSegments) {
        if (!other.edited) continue;
        if (other.start <= playhead && playhead < other.end) {
            throw TimelineEditError("The playhead is already inside an edited zoom.");
        }
        if (other.start > playhead) added.end = std::min(added.end, other.start);
    }
    added.end = std::min(added.end, project_.duration);
    const auto cursor = std::lower_bound(project_.cursorFrames.begin(), project_.cursorFrames.end(), playhead,
                                         [](const CursorFrame& frame, double time) { return frame.time < time; });
    if (cursor != project_.cursorFrames.end()) {
        added.centerX = std::clamp(cursor->x, 0.0, static_cast<double>(project_.video.width));
        added.centerY = std::clamp(cursor->y, 0.0, static_cast<double>(project_.video.height));
    }
    commit(TimelineEdits::withZoom(project_, added));
    // Its start may have been set onto a zoom's end a hair before it; its end is its own.
    const auto found = std::find_if(project_.focusSegments.begin(), project_.focusSegments.end(),
                                    [&](const FocusSegment& segment) {
                                        return segment.edited && segment.end == added.end &&
                                               std::abs(segment.start - added.start) <
                                                   CameraPathBuilder::sameMomentTolerance;
                                    });
    return static_cast<std::size_t>(found - project_.focusSegments.begin());
}

void TimelineModel::setTrim(TimeRange kept)
{
    commit(TimelineEdits::withTrim(project_, kept));
}

void TimelineModel::cut(TimeRange removed)
{
    commit(TimelineEdits::withCut(project_, removed));
}

void TimelineModel::setCameraBubble(const CameraBubbleLook& look)
{
    RecordingProject edited = project_;
    edited.renderSettings = look.appliedTo(edited.renderSettings);
    commit(std::move(edited));
}

void TimelineModel::undo()
{
    if (undo_.empty()) return;
    redo_.push_back(state());
    const TimelineState previous = std::move(undo_.back());
    undo_.pop_back();
    restore(previous);
}

void TimelineModel::addSpeedRegion(const SpeedRegion& region)
{
    commit(SpeedRegionEdits::withRegion(project_, region));
}

void TimelineModel::changeSpeedRegion(std::size_t index, const SpeedRegion& changed)
{
    commit(SpeedRegionEdits::withRegionChanged(project_, index, changed));
}

void TimelineModel::removeSpeedRegion(std::size_t index)
{
    commit(SpeedRegionEdits::withoutRegion(project_, index));
}

void TimelineModel::applyAsOneStep(const RecordingProject& edited)
{
    TimelineEdits::validate(edited);
    RecordingProject checked = edited;
    checked.previewVideoPath.reset();
    commit(std::move(checked));
}

void TimelineModel::redo()
{
    if (redo_.empty()) return;
    undo_.push_back(state());
    const TimelineState next = std::move(redo_.back());
    redo_.pop_back();
    restore(next);
}

std::size_t TimelineModel::addTextCallout(const TextCallout& callout)
{
    commit(TextCalloutEdits::withTextCallout(project_, callout));
    return project_.textCallouts.size() - 1;
}

void TimelineModel::changeTextCallout(std::size_t index, const TextCallout& changed)
{
    commit(TextCalloutEdits::withTextCalloutChanged(project_, index, changed));
}

void TimelineModel::removeTextCallout(std::size_t index)
{
    commit(TextCalloutEdits::withoutTextCallout(project_, index));
}

std::size_t TimelineModel::addBlurRegion(const BlurRegion& region)
{
    commit(BlurRegionEdits::withBlurRegion(project_, region));
    return project_.blurRegions.size() - 1;
}

void TimelineModel::changeBlurRegion(std::size_t index, const BlurRegion& changed)
{
    commit(BlurRegionEdits::withBlurRegionChanged(project_, index, changed));
}

void TimelineModel::removeBlurRegion(std::size_t index)
{
    commit(BlurRegionEdits::withoutBlurRegion(project_, index));
}

void TimelineModel::setShortcutHidden(std::size_t index, bool hidden)
{
    commit(ShortcutBadgeEdits::withShortcutHidden(project_, index, hidden));
}

void TimelineModel::setCrop(const std::optional<RecordingCrop>& crop)
{
    RecordingProject edited = CropEdits::withCrop(project_, crop);
    if (edited.crop == project_.crop) return;
    commit(std::move(edited));
}

}  // namespace vantile
