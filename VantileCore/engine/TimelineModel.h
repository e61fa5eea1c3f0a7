#pragma once

#include "engine/OutputTimeline.h"
#include "engine/TimelineEditError.h"
#include "model/CameraBubbleLook.h"
#include "model/RecordingProject.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

namespace vantile {

// What a timeline edit changes; the undo history keeps only this, not the whole project. The
// camera bubble's edits share the history, so one undo goes back one step of either.
struct TimelineState {
    std::optional<TimeRange> trim;
    std::vector<TimeRange> cuts;
    std::vector<FocusSegment> focusSegments;
    CameraBubbleLook cameraBubble;
    std::vector<SpeedRegion> speedRegions;
    std::vector<TextCallout> textCallouts;
    std::vector<BlurRegion> blurRegions{};
    std::optional<RecordingCrop> crop{};
    std::vector<std::int64_t> hiddenShortcuts{};

    bool operator==(const TimelineState&) const = default;
};

// The editing timeline behind the app's timeline view: gestures become validated edits of the
// project, each one undoable. A refused edit throws TimelineEditError and changes nothing; one
// that leaves the timeline as it was adds no undo step.
class TimelineModel {
public:
    static constexpr std::size_t undoLimit = 100;
    static constexpr double newSegmentLength = 2.0;
    static constexpr double newSegmentScale = 2.0;

    explicit TimelineModel(RecordingProject project);

    const RecordingProject& project() const { return project_; }
    TimelineState state() const;
    // Takes the project as changed elsewhere (settings, a re-plan) without an undo step.
    void adopt(RecordingProject project);
    const OutputTimeline& timeline() const { return timeline_; }

    // Keeps the length; the start is clamped so the segment stays inside the recording and off
    // the edited segments beside it.
    void moveSegment(std::size_t index, double start);
    void resizeSegment(std::size_t index, double start, double end);
    void setDepth(std::size_t index, double scale);
    void setFocusPoint(std::size_t index, double x, double y);
    void removeSegment(std::size_t index);
    // A zoom at the playhead on the cursor's position there (or the video's centre); returns its index.
    std::size_t addSegment(double playhead);
    void setTrim(TimeRange kept);
    void cut(TimeRange removed);
    // Nothing happens when the look is the project's already.
    void setCameraBubble(const CameraBubbleLook& look);
    // Speed regions: each call is one undo step; an overlapping or out-of-range region is refused.
    void addSpeedRegion(const SpeedRegion& region);
    void changeSpeedRegion(std::size_t index, const SpeedRegion& changed);
    void removeSpeedRegion(std::size_t index);
    // Several edits as one undo step (applying the proposals of the idle finder, say).
    void applyAsOneStep(const RecordingProject& edited);

    bool canUndo() const { return !undo_.empty(); }
    bool canRedo() const { return !redo_.empty(); }
    void undo();
    void redo();

    // Text callouts; each is one undo step. Returns the added callout's index.
    std::size_t addTextCallout(const TextCallout& callout);
    void changeTextCallout(std::size_t index, const TextCallout& changed);
    void removeTextCallout(std::size_t index);
    // Privacy blur: the rectangle is clipped to the picture; adding returns the new region's index.
    std::size_t addBlurRegion(const BlurRegion& region);
    void changeBlurRegion(std::size_t index, const BlurRegion& changed);
    void removeBlurRegion(std::size_t index);
    // Sets or clears the crop in one undo step; the automatic zooms are planned again for it.
    // Nothing happens when the crop is the project's already.
    void setCrop(const std::optional<RecordingCrop>& crop);
    // Hides or shows the badge of shortcut `index` (in the order pressed) in one undo step;
    // refused for a shortcut the recording does not have.
    void setShortcutHidden(std::size_t index, bool hidden);

private:
    void restore(const TimelineState& state);
    void commit(RecordingProject edited);
    const FocusSegment& segment(std::size_t index) const;
    // The free stretch around `index` between its edited neighbours (or the recording's ends).
    TimeRange freeRoom(std::size_t index) const;

    RecordingProject project_;
    OutputTimeline timeline_;
    std::deque<TimelineState> undo_;
    std::vector<TimelineState> redo_;
};

}  // namespace vantile
