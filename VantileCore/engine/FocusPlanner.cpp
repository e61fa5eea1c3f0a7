#include "engine/FocusPlanner.h"

#include "engine/CameraPathBuilder.h"
#include "engine/MathUtils.h"
#include "engine/TimeOrder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <optional>

namespace vantile {

namespace {

using EventType = InputEvent::EventType;
using SegmentType = FocusSegment::SegmentType;
using MathUtils::clamp;

// Only what the planner reads of an event; sorting these is far cheaper than sorting InputEvents.
struct TimedPoint {
    double time;
    EventType type;
    double x;
    double y;
};

constexpr double interactionRadius = 1.4;
constexpr double scrollRadius = 0.8;
constexpr double typingWithoutEnd = 1.0;
constexpr double smallestScale = 1.0;
constexpr double largestScale = 1.8;

struct ScaleBases {
    double light;
    double standard;
    double strong;

    double of(ZoomIntensity intensity) const
    {
        switch (intensity) {
        case ZoomIntensity::light: return light;
        case ZoomIntensity::standard: return standard;
        case ZoomIntensity::strong: return strong;
        }
        return standard;
    }
};

// How a candidate reacts to a busy neighbourhood: with k = density - 2, it starts
// leadBase - clamp(leadStep k, 0, leadCap) before the action and ends tailBase - clamp(tailStep k, 0, tailCap) after it.
struct CandidateShape {
    double leadBase;
    double leadCap;
    double tailBase;
    double tailCap;
    ScaleBases scale;
};

constexpr double leadStep = 0.04;
constexpr double tailStep = 0.07;
constexpr double scaleStep = 0.055;
constexpr double scaleCap = 0.22;

constexpr CandidateShape clickShape{0.5, 0.16, 0.95, 0.28, {1.3, 1.52, 1.72}};
constexpr CandidateShape scrollShape{0.36, 0.1, 0.65, 0.25, {1.12, 1.2, 1.3}};
// Typing tails are capped at 0.22, tighter than the 0.28 of clicks.
constexpr CandidateShape typingShape{0.55, 0.16, 0.65, 0.22, {1.38, 1.62, 1.8}};

bool isInteraction(EventType type)
{
    return type == EventType::leftMouseDown || type == EventType::scrollWheel ||
           type == EventType::typingActivityStart;
}

// Counts the sorted times e with |e - t| <= radius for queries t that never decrease.
// For one t the passing times form one contiguous run (rounding of e - t is monotone in e), and
// both ends of that run only move forward as t grows, so the literal test drives a sliding window.
class SlidingWindowCount {
public:
    SlidingWindowCount(const std::vector<double>& sortedTimes, double radius) : times_(sortedTimes), radius_(radius) {}

    std::int64_t around(double t)
    {
        const auto within = [&](double e) { return std::abs(e - t) <= radius_; };
        while (first_ < times_.size() && times_[first_] < t && !within(times_[first_])) ++first_;
        if (last_ < first_) last_ = first_;
        while (last_ < times_.size() && within(times_[last_])) ++last_;
        return static_cast<std::int64_t>(last_ - first_);
    }

private:
    const std::vector<double>& times_;
    double radius_;
    std::size_t first_ = 0;
    std::size_t last_ = 0;
};

class CandidateBuilder {
public:
    CandidateBuilder(const std::vector<TimedPoint>& events, const FocusPlannerInput& input) : input_(input)
    {
        for (const TimedPoint& event : events) {
            if (isInteraction(event.type)) interactionTimes_.push_back(event.time);
            if (event.type == EventType::scrollWheel) scrollTimes_.push_back(event.time);
            if (event.type == EventType::typingActivityEnd) typingEndTimes_.push_back(event.time);
        }
    }

    std::vector<FocusSegment> build(const std::vector<TimedPoint>& events) const
    {
        // Events come in time order, so every lookup below only moves forward.
        SlidingWindowCount interactionDensity(interactionTimes_, interactionRadius);
        SlidingWindowCount scrollDensity(scrollTimes_, scrollRadius);
        auto nextTypingEnd = typingEndTimes_.begin();

        std::vector<FocusSegment> candidates;
        candidates.reserve(interactionTimes_.size());
        std::optional<TimedPoint> lastClick;
        for (const TimedPoint& event : events) {
            const double t = event.time;
            switch (event.type) {
            case EventType::leftMouseDown:
                lastClick = event;
                candidates.push_back(
                    candidate(clickShape, SegmentType::clickFocus, interactionDensity.around(t), t, t, event));
                break;
            case EventType::scrollWheel:
                candidates.push_back(
                    candidate(scrollShape, SegmentType::scrollFocus, scrollDensity.around(t), t, t, event));
                break;
            case EventType::typingActivityStart: {
                // The burst ends at the earliest end marker at or after its start, else a second later.
                while (nextTypingEnd != typingEndTimes_.end() && *nextTypingEnd < t) ++nextTypingEnd;
                const double typingEnd = nextTypingEnd != typingEndTimes_.end()
                                             ? *nextTypingEnd
                                             : std::min(t + typingWithoutEnd, input_.duration);
                candidates.push_back(candidate(typingShape, SegmentType::typingFocus, interactionDensity.around(t), t,
                                               typingEnd, lastClick.value_or(event)));
                break;
            }
            default:
                break;
            }
        }
        return candidates;
    }

private:
    // Busier neighbourhoods start earlier, end sooner and zoom less.
    FocusSegment candidate(const CandidateShape& shape, SegmentType type, std::int64_t density, double actionStart,
                           double actionEnd, const TimedPoint& anchor) const
    {
        const double k = static_cast<double>(density - 2);
        const double lead = shape.leadBase - clamp(leadStep * k, 0.0, shape.leadCap);
        const double tail = shape.tailBase - clamp(tailStep * k, 0.0, shape.tailCap);
        const double scale =
            clamp(shape.scale.of(input_.zoomIntensity) - clamp(scaleStep * k, 0.0, scaleCap), smallestScale, largestScale);
        FocusSegment segment;
        segment.start = std::max(actionStart - lead, 0.0);
        segment.end = std::min(actionEnd + tail, input_.duration);
        segment.type = type;
        segment.centerX = anchor.x;
        segment.centerY = anchor.y;
        segment.scale = scale;
        return segment;
    }

    const FocusPlannerInput& input_;
    std::vector<double> interactionTimes_;
    std::vector<double> scrollTimes_;
    std::vector<double> typingEndTimes_;
};

bool mattersToPlanning(EventType type)
{
    return isInteraction(type) || type == EventType::typingActivityEnd;
}

// Pointer moves, releases, right clicks and drags make no candidate and count in no density, so
// they are left out before sorting; a stable sort orders the remaining events the same either way.
std::vector<TimedPoint> planningEventsByTime(const std::vector<InputEvent>& events)
{
    std::vector<TimedPoint> points;
    points.reserve(events.size());  // pages beyond those filled are never touched
    for (const InputEvent& event : events) {
        // A time that is not a number has no place on the timeline.
        if (!mattersToPlanning(event.type) || std::isnan(event.time)) continue;
        points.push_back({event.time, event.type, event.x, event.y});
    }
    stableSortByTime(points);
    return points;
}

// Keeps the zoomed view inside the video. The half extents use the scale before its upper cap.
void constrain(FocusSegment& segment, double width, double height)
{
    const double zoom = std::max(segment.scale, 1.0);
    const double halfWidth = (width / zoom) * 0.5;
    const double halfHeight = (height / zoom) * 0.5;
    segment.centerX = std::min(std::max(segment.centerX, halfWidth), std::max(halfWidth, width - halfWidth));
    segment.centerY = std::min(std::max(segment.centerY, halfHeight), std::max(halfHeight, height - halfHeight));
    segment.scale = std::min(std::max(segment.scale, smallestScale), largestScale);
}

FocusSegment overview(double start, double end, double width, double height)
{
    return {start, end, SegmentType::overview, width * 0.5, height * 0.5, 1.0};
}

}  // namespace

FocusPlannerOutput FocusPlanner::plan(const FocusPlannerInput& input) const
{
    const std::vector<TimedPoint> events = planningEventsByTime(input.events);
    std::vector<FocusSegment> candidates = CandidateBuilder(events, input).build(events);
    std::vector<FocusSegment> segments = insertOverviewSegments(mergeNearbySegments(std::move(candidates)), input.duration,
                                                                input.videoWidth, input.videoHeight);
    for (FocusSegment& segment : segments) constrain(segment, input.videoWidth, input.videoHeight);
    std::erase_if(segments, [](const FocusSegment& segment) { return !(segment.start < segment.end); });
    stableSortByStart(segments);

    FocusPlannerOutput output;
    output.cameraKeyframes =
        CameraPathBuilder::buildKeyframes(segments, input.duration, input.videoWidth, input.videoHeight);
    output.segments = std::move(segments);
    return output;
}

std::vector<FocusSegment> FocusPlanner::mergeNearbySegments(std::vector<FocusSegment> sorted)
{
    stableSortByStart(sorted);
    std::vector<FocusSegment> merged;
    if (sorted.empty()) return merged;

    FocusSegment current = sorted.front();
    for (auto next = std::next(sorted.begin()); next != sorted.end(); ++next) {
        const double gap = next->start - current.end;
        const bool bothScroll = current.type == SegmentType::scrollFocus && next->type == SegmentType::scrollFocus;
        // Scroll bursts drift across the page, so they fuse over longer gaps and distances.
        const bool closeInTime = gap < (bothScroll ? 1.1 : 0.7);
        const bool closeInPlace =
            MathUtils::distance(current.centerX, current.centerY, next->centerX, next->centerY) <
            (bothScroll ? 420.0 : 220.0);
        const bool similarZoom = std::abs(current.scale - next->scale) < 0.35;
        if (!(closeInTime && closeInPlace && similarZoom)) {
            merged.push_back(current);
            current = *next;
            continue;
        }
        // A merged segment weighs by its whole span, gaps included.
        const double currentWeight = std::max(current.end - current.start, 0.001);
        const double nextWeight = std::max(next->end - next->start, 0.001);
        const double totalWeight = currentWeight + nextWeight;
        current.start = std::min(current.start, next->start);
        current.end = std::max(current.end, next->end);
        current.centerX = (current.centerX * currentWeight + next->centerX * nextWeight) / totalWeight;
        current.centerY = (current.centerY * currentWeight + next->centerY * nextWeight) / totalWeight;
        current.scale = std::max(current.scale, next->scale);
        if (current.type == SegmentType::overview) current.type = next->type;
    }
    merged.push_back(current);
    return merged;
}

std::vector<FocusSegment> FocusPlanner::insertOverviewSegments(const std::vector<FocusSegment>& segments,
                                                               double duration, double width, double height)
{
    if (segments.empty()) return {overview(0, duration, width, height)};

    std::vector<FocusSegment> result;
    result.reserve(2 * segments.size() + 1);
    double lastEnd = 0;
    for (const FocusSegment& segment : segments) {
        const double gap = segment.start - lastEnd;
        if (gap > 1.35) {
            const double pad = gap > 2.4 ? 0.28 : 0.16;
            result.push_back(overview(lastEnd + pad, std::max(segment.start - pad, lastEnd + pad), width, height));
        }
        result.push_back(segment);
        lastEnd = std::max(lastEnd, segment.end);
    }
    // The closing overview starts shortly after the last action, whatever the gap.
    if (duration - lastEnd > 1.2) result.push_back(overview(lastEnd + 0.2, duration, width, height));
    return result;
}

}  // namespace vantile
