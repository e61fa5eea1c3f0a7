#include "engine/TimelineEdits.h"

#include "engine/CroppedRecording.h"
#include "engine/FocusPlanner.h"
#include "engine/OutputTimeline.h"
#include "engine/SegmentFitting.h"
#include "engine/SpeedRegionEdits.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iterator>
#include <sstream>

namespace vantile::TimelineEdits {

namespace {

std::string seconds(double value)
{
    std::ostringstream text;
    text << std::setprecision(6) << value << " s";
    return text.str();
}

std::string describe(const TimeRange& range)
{
    return seconds(range.start) + " to " + seconds(range.end);
}

void requireInsideRecording(const TimeRange& range, double duration, const std::string& what,
                            const std::string& key = {})
{
    if (!std::isfinite(range.start) || !std::isfinite(range.end)) {
        throw TimelineEditError("The " + what + " needs finite start and end times.", key);
    }
    if (!(range.start < range.end)) {
        throw TimelineEditError("The " + what + " " + describe(range) + " must end after it starts.", key);
    }
    if (range.start < 0 || range.end > duration) {
        throw TimelineEditError("The " + what + " " + describe(range) + " lies outside the recording (0 to " +
                                seconds(duration) + ").",
                                key);
    }
}

bool overlaps(const FocusSegment& a, const FocusSegment& b)
{
    return a.start < b.end && b.start < a.end;
}

void validateSegment(const FocusSegment& segment, const RecordingProject& project, const std::string& what)
{
    requireInsideRecording({segment.start, segment.end}, project.duration, what);
    if (!(segment.scale >= smallestZoomScale && segment.scale <= largestZoomScale)) {
        std::ostringstream text;
        text << "The " << what << "'s scale " << segment.scale << " must lie between 1.0 and 4.0.";
        throw TimelineEditError(text.str());
    }
    const auto width = static_cast<double>(project.video.width);
    const auto height = static_cast<double>(project.video.height);
    if (!(segment.centerX >= 0 && segment.centerX <= width && segment.centerY >= 0 && segment.centerY <= height)) {
        std::ostringstream text;
        text << "The " << what << "'s focus point (" << segment.centerX << ", " << segment.centerY
             << ") lies outside the " << project.video.width << "x" << project.video.height << " video.";
        throw TimelineEditError(text.str());
    }
}

std::vector<FocusSegment> fitted(const std::vector<FocusSegment>& segments, const RecordingProject& project)
{
    return SegmentFitting::fitAroundEdited(segments, project.duration, static_cast<double>(project.video.width),
                                           static_cast<double>(project.video.height));
}

// Edited segments may not overlap each other; the automatic ones make way for the placed one.
std::vector<FocusSegment> placeEdited(const std::vector<FocusSegment>& segments, const FocusSegment& placed,
                                      const RecordingProject& project)
{
    for (const FocusSegment& other : segments) {
        if (other.edited && overlaps(other, placed)) {
            throw TimelineEditError("The zoom " + describe({placed.start, placed.end}) + " overlaps the edited zoom " +
                                    describe({other.start, other.end}) + ".");
        }
    }
    std::vector<FocusSegment> placedAmong = segments;
    placedAmong.push_back(placed);
    return fitted(placedAmong, project);
}

// The segment at `index` goes; the time only it covered shows the overview, so taking a zoom away
// never leaves the camera holding the view before it.
std::vector<FocusSegment> withoutSegmentAt(const RecordingProject& project, std::size_t index)
{
    std::vector<FocusSegment> segments = project.focusSegments;
    const FocusSegment removed = segments[index];
    segments.erase(segments.begin() + static_cast<std::ptrdiff_t>(index));
    if (removed.type != FocusSegment::SegmentType::overview || removed.edited) {
        const auto overviews = SegmentFitting::overviewsWhereUncovered(
            segments, removed.start, removed.end, static_cast<double>(project.video.width),
            static_cast<double>(project.video.height));
        segments.insert(segments.end(), overviews.begin(), overviews.end());
    }
    return segments;
}

std::size_t checkedIndex(const RecordingProject& project, std::size_t index)
{
    if (index >= project.focusSegments.size()) {
        throw TimelineEditError("There is no segment " + std::to_string(index) + "; the project has " +
                                std::to_string(project.focusSegments.size()) + " (numbered from 0).");
    }
    return index;
}

RecordingProject validated(RecordingProject project)
{
    validate(project);
    // The exported movie changes with the timeline; an earlier preview or export no longer shows it.
    project.previewVideoPath.reset();
    return project;
}

}  // namespace

void validate(const RecordingProject& project)
{
    if (project.trim) requireInsideRecording(*project.trim, project.duration, "trim", "trim");
    for (std::size_t index = 0; index < project.cuts.size(); ++index) {
        requireInsideRecording(project.cuts[index], project.duration, "cut", "cuts[" + std::to_string(index) + "]");
    }
    SpeedRegionEdits::validate(project);
    const OutputTimeline timeline(project);
    const double oneFrame = 1.0 / static_cast<double>(std::max<std::int64_t>(project.renderSettings.fps, 1));
    if ((project.trim || !project.cuts.empty()) && timeline.duration() < oneFrame) {
        throw TimelineEditError("The trim and cuts keep nothing of the recording.",
                                !project.trim ? "cuts" : project.cuts.empty() ? "trim" : "trim, cuts");
    }
    for (std::size_t index = 0; index < project.focusSegments.size(); ++index) {
        const FocusSegment& segment = project.focusSegments[index];
        if (!segment.edited) continue;
        try {
            validateSegment(segment, project, "zoom");
        } catch (const TimelineEditError& error) {
            throw TimelineEditError(error.what(), "focusSegments[" + std::to_string(index) + "]");
        }
    }
}

RecordingProject withTrim(const RecordingProject& project, TimeRange kept)
{
    RecordingProject edited = project;
    edited.trim = kept;
    return validated(std::move(edited));
}

RecordingProject withCut(const RecordingProject& project, TimeRange removed)
{
    requireInsideRecording(removed, project.duration, "cut");
    RecordingProject edited = project;
    std::vector<TimeRange> cuts = project.cuts;
    cuts.push_back(removed);
    std::sort(cuts.begin(), cuts.end(), [](const TimeRange& a, const TimeRange& b) { return a.start < b.start; });
    edited.cuts.clear();
    for (const TimeRange& cut : cuts) {
        if (!edited.cuts.empty() && cut.start <= edited.cuts.back().end) {
            edited.cuts.back().end = std::max(edited.cuts.back().end, cut.end);
        } else {
            edited.cuts.push_back(cut);
        }
    }
    return validated(std::move(edited));
}

RecordingProject withZoom(const RecordingProject& project, const FocusSegment& zoom)
{
    FocusSegment added = zoom;
    added.edited = true;
    validateSegment(added, project, "zoom");
    RecordingProject edited = project;
    edited.focusSegments = placeEdited(project.focusSegments, added, project);
    return validated(std::move(edited));
}

RecordingProject withSegmentChanged(const RecordingProject& project, std::size_t index, FocusSegment changed)
{
    checkedIndex(project, index);
    changed.edited = true;
    validateSegment(changed, project, "zoom");
    RecordingProject edited = project;
    edited.focusSegments = placeEdited(withoutSegmentAt(project, index), changed, project);
    return validated(std::move(edited));
}

RecordingProject withoutSegment(const RecordingProject& project, std::size_t index)
{
    checkedIndex(project, index);
    RecordingProject edited = project;
    edited.focusSegments = fitted(withoutSegmentAt(project, index), project);
    return validated(std::move(edited));
}

RecordingProject withoutEdits(const RecordingProject& project)
{
    RecordingProject edited = project;
    edited.trim.reset();
    edited.cuts.clear();
    edited.speedRegions.clear();
    edited.focusSegments = plannedSegments(project);
    return validated(std::move(edited));
}

std::vector<FocusSegment> plannedSegments(const RecordingProject& project)
{
    // The director plans what the crop leaves, the way the movie will show it.
    const RecordingProject view = CroppedRecording::view(project);
    FocusPlannerInput input;
    input.duration = view.duration;
    input.videoWidth = static_cast<double>(view.video.width);
    input.videoHeight = static_cast<double>(view.video.height);
    input.events = view.events;
    input.zoomIntensity = view.renderSettings.zoomIntensity;
    return CroppedRecording::segmentsInRecording(FocusPlanner().plan(input).segments, project.crop);
}

std::vector<FocusSegment> replannedSegments(const RecordingProject& project)
{
    return mergeReplanned(project, plannedSegments(project));
}

std::vector<FocusSegment> mergeReplanned(const RecordingProject& project, std::vector<FocusSegment> planned)
{
    std::vector<FocusSegment> merged;
    std::copy_if(project.focusSegments.begin(), project.focusSegments.end(), std::back_inserter(merged),
                 [](const FocusSegment& segment) { return segment.edited; });
    for (FocusSegment& segment : planned) {
        segment.edited = false;
        merged.push_back(std::move(segment));
    }
    return fitted(merged, project);
}

}  // namespace vantile::TimelineEdits
