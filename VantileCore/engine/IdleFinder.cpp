#include "engine/IdleFinder.h"

#include "engine/OutputTimeline.h"
#include "engine/SpeedRegionEdits.h"
#include "engine/TimelineEdits.h"

#include <algorithm>

namespace vantile::IdleFinder {

std::vector<TimeRange> idleStretches(const std::vector<InputEvent>& events, const std::vector<double>& screenChanges,
                                     double duration, double minimumSeconds)
{
    // Busy spans: an instant for each event and change, a whole burst for typing.
    std::vector<TimeRange> busy;
    busy.reserve(events.size() + screenChanges.size());
    std::vector<InputEvent> ordered = events;
    std::stable_sort(ordered.begin(), ordered.end(), [](const InputEvent& a, const InputEvent& b) { return a.time < b.time; });
    std::optional<double> typingSince;
    for (const InputEvent& event : ordered) {
        if (event.type == InputEvent::EventType::typingActivityStart) {
            if (!typingSince) typingSince = event.time;
        } else if (event.type == InputEvent::EventType::typingActivityEnd && typingSince) {
            busy.push_back({*typingSince, event.time});
            typingSince.reset();
        } else {
            busy.push_back({event.time, event.time});
        }
    }
    // A burst that never ended keeps the rest of the take busy.
    if (typingSince) busy.push_back({*typingSince, duration});
    for (const double change : screenChanges) busy.push_back({change, change});
    std::sort(busy.begin(), busy.end(), [](const TimeRange& a, const TimeRange& b) { return a.start < b.start; });

    std::vector<TimeRange> idle;
    double quietSince = 0;
    const auto close = [&](double until) {
        until = std::min(until, duration);
        if (until - quietSince >= minimumSeconds && until > quietSince) idle.push_back({quietSince, until});
    };
    for (const TimeRange& span : busy) {
        if (span.start > quietSince) close(span.start);
        quietSince = std::max(quietSince, span.end);
    }
    close(duration);
    return idle;
}

RecordingProject withIdleRemoved(const RecordingProject& project, const std::vector<TimeRange>& stretches,
                                 IdleRemoval removal)
{
    RecordingProject edited = project;
    if (removal == IdleRemoval::cut) {
        for (const TimeRange& stretch : stretches) edited = TimelineEdits::withCut(edited, stretch);
        return edited;
    }
    for (const TimeRange& stretch : stretches) {
        // Only what still plays at its own speed speeds up; cuts and the user's regions stay as they are.
        const OutputTimeline timeline(edited);
        for (const PlayedRange& piece : timeline.playedRanges()) {
            const double from = std::max(piece.range.start, stretch.start);
            const double until = std::min(piece.range.end, stretch.end);
            if (piece.speed != 1 || !(from < until)) continue;
            edited = SpeedRegionEdits::withRegion(edited, {from, until, idleSpeed});
        }
    }
    return edited;
}

}  // namespace vantile::IdleFinder
