#include "engine/CameraPathBuilder.h"

#include "engine/Easing.h"
#include "engine/TimeOrder.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vantile {

namespace {

// Seconds a move into a segment takes at least, by segment type (declaration order).
constexpr std::array<double, 4> transitionBase = {0.72, 0.42, 0.5, 0.36};
constexpr double distanceWeight = 0.42;
constexpr double scaleChangeWeight = 0.22;
constexpr double fullScaleChange = 0.8;
constexpr double shortestTransition = 0.28;
constexpr double longestTransition = CameraPathBuilder::longestTransition;
constexpr double shortestMove = CameraPathBuilder::shortestMove;
constexpr double sameMomentTolerance = CameraPathBuilder::sameMomentTolerance;
constexpr double smallestSpan = 0.001;

double baseTransition(FocusSegment::SegmentType type)
{
    return transitionBase.at(static_cast<std::size_t>(type));
}

// The path never goes back in time: a keyframe earlier than the last one is dropped.
void append(const CameraKeyframe& keyframe, std::vector<CameraKeyframe>& keyframes)
{
    if (keyframe.time < 0) return;
    if (!keyframes.empty() && std::abs(keyframes.back().time - keyframe.time) < sameMomentTolerance) {
        keyframes.back() = keyframe;
        return;
    }
    if (!keyframes.empty() && keyframe.time < keyframes.back().time) return;
    keyframes.push_back(keyframe);
}

struct CameraView {
    double centerX = 0;
    double centerY = 0;
    double scale = 1;
};

CameraKeyframe at(double time, const CameraView& view)
{
    return {time, view.centerX, view.centerY, view.scale};
}

// Far moves and large zoom changes take longer; a move never outlasts its segment but takes at least the
// shortest move.
double moveDuration(const CameraView& previous, FocusSegment::SegmentType type, const CameraView& target,
                    double segmentLength, double diagonal)
{
    const double dx = previous.centerX - target.centerX;
    const double dy = previous.centerY - target.centerY;
    const double normalizedDistance = std::sqrt(dx * dx + dy * dy) / diagonal;
    const double distanceTerm = normalizedDistance > 0 ? distanceWeight * std::min(normalizedDistance, 1.0) : 0;
    const double normalizedScaleChange = std::abs(target.scale - previous.scale) / fullScaleChange;
    const double scaleTerm = normalizedScaleChange > 0 ? scaleChangeWeight * std::min(normalizedScaleChange, 1.0) : 0;
    const double raw = baseTransition(type) + distanceTerm + scaleTerm;
    const double transition = std::min(std::max(raw, shortestTransition), longestTransition);
    return std::min(transition, std::max(segmentLength, shortestMove));
}

double diagonalOf(double videoWidth, double videoHeight)
{
    return std::max(std::hypot(videoWidth, videoHeight), 1.0);
}

}  // namespace

std::vector<CameraKeyframe> CameraPathBuilder::buildKeyframes(const std::vector<FocusSegment>& segments,
                                                              double duration, double videoWidth, double videoHeight)
{
    const CameraView home{videoWidth * 0.5, videoHeight * 0.5, 1.0};
    if (segments.empty()) return {at(0, home)};

    std::vector<FocusSegment> kept;
    kept.reserve(segments.size());
    std::copy_if(segments.begin(), segments.end(), std::back_inserter(kept),
                 [](const FocusSegment& segment) { return segment.start < segment.end; });
    stableSortByStart(kept);

    std::vector<CameraKeyframe> keyframes;
    keyframes.reserve(2 * kept.size() + 2);
    keyframes.push_back(at(0, home));
    const double diagonal = diagonalOf(videoWidth, videoHeight);
    CameraView previous = home;
    double previousEnd = 0;

    for (const FocusSegment& segment : kept) {
        const double start = std::min(std::max(segment.start, 0.0), duration);
        const double end = std::min(std::max(segment.end, start), duration);
        if (!(start < end)) continue;
        const double lastTime = keyframes.back().time;
        const CameraView target{segment.centerX, segment.centerY, segment.scale};
        const double transition = moveDuration(previous, segment.type, target, end - start, diagonal);

        const double moveStart = std::max({start - transition, previousEnd, lastTime});
        const double room = end - moveStart;
        const double move = room >= shortestMove ? std::min(room, transition) : std::min(transition, shortestMove);
        const double arrival = moveStart < start ? start : std::min(moveStart + move, end);

        // Hold the previous view until the move begins, then ease into the target.
        append(at(moveStart, previous), keyframes);
        append(at(arrival, target), keyframes);
        previous = target;
        previousEnd = end;
    }

    if (keyframes.back().time < duration) append(at(duration, previous), keyframes);
    return keyframes;
}

double CameraPathBuilder::transitionDuration(const FocusSegment& from, const FocusSegment& into, double videoWidth,
                                             double videoHeight)
{
    return moveDuration({from.centerX, from.centerY, from.scale}, into.type,
                        {into.centerX, into.centerY, into.scale}, into.end - into.start,
                        diagonalOf(videoWidth, videoHeight));
}

CameraKeyframe CameraPathBuilder::cameraStateAt(double time, const std::vector<CameraKeyframe>& keyframes)
{
    if (keyframes.empty()) return {time, 0, 0, 1.0};
    if (time <= keyframes.front().time) return keyframes.front();
    if (keyframes.size() == 1 || keyframes.back().time <= time) return keyframes.back();

    for (std::size_t index = 0; index + 1 < keyframes.size(); ++index) {
        const CameraKeyframe& a = keyframes[index];
        const CameraKeyframe& b = keyframes[index + 1];
        if (!(a.time <= time && time <= b.time)) continue;
        double progress = (time - a.time) / std::max(b.time - a.time, smallestSpan);
        if (progress <= 0) progress = 0;
        if (progress > 1) progress = 1;
        const double eased = Easing::smootherStep(progress);
        return {time, a.centerX + (b.centerX - a.centerX) * eased, a.centerY + (b.centerY - a.centerY) * eased,
                a.scale + (b.scale - a.scale) * eased};
    }
    return keyframes.back();
}

}  // namespace vantile
