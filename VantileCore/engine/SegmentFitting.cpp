#include "engine/SegmentFitting.h"

#include "engine/CameraPathBuilder.h"
#include "engine/TimeOrder.h"

#include <algorithm>

namespace vantile::SegmentFitting {

namespace {

// A piece shorter than one camera move would only make the camera twitch.
constexpr double shortestPiece = CameraPathBuilder::shortestMove;

struct VideoSize {
    double width = 0;
    double height = 0;
};

FocusSegment overview(double start, double end, const VideoSize& video)
{
    return {start, end, FocusSegment::SegmentType::overview, video.width * 0.5, video.height * 0.5, 1.0};
}

void keepIfLongEnough(const FocusSegment& piece, std::vector<FocusSegment>& pieces)
{
    if (piece.end - piece.start >= shortestPiece) pieces.push_back(piece);
}

// The parts of an automatic segment outside `edited` and outside the move into it: the camera leaves
// the piece before the zoom early enough to arrive as the zoom starts.
void cutAround(const FocusSegment& piece, const FocusSegment& edited, const VideoSize& video,
               std::vector<FocusSegment>& pieces)
{
    const double moveStart =
        edited.start - CameraPathBuilder::transitionDuration(piece, edited, video.width, video.height);
    if (piece.end <= moveStart || piece.start >= edited.end) {
        pieces.push_back(piece);
        return;
    }
    if (piece.start < moveStart) {
        FocusSegment before = piece;
        before.end = moveStart;
        keepIfLongEnough(before, pieces);
    }
    if (piece.end > edited.end) {
        FocusSegment after = piece;
        after.start = edited.end;
        keepIfLongEnough(after, pieces);
    }
}

std::vector<FocusSegment> cutAroundAll(std::vector<FocusSegment> pieces, const std::vector<FocusSegment>& edited,
                                       const VideoSize& video)
{
    for (const FocusSegment& zoom : edited) {
        std::vector<FocusSegment> remaining;
        remaining.reserve(pieces.size() + 1);
        for (const FocusSegment& piece : pieces) cutAround(piece, zoom, video, remaining);
        pieces = std::move(remaining);
    }
    return pieces;
}

bool isAutomaticOverview(const FocusSegment& segment)
{
    return !segment.edited && segment.type == FocusSegment::SegmentType::overview;
}

bool sameView(const FocusSegment& a, const FocusSegment& b)
{
    return a.centerX == b.centerX && a.centerY == b.centerY && a.scale == b.scale;
}

// Sorted input; an automatic overview joins the one before it when nothing else lies in between.
std::vector<FocusSegment> joinOverviews(const std::vector<FocusSegment>& sorted)
{
    std::vector<FocusSegment> joined;
    joined.reserve(sorted.size());
    double coveredUntil = 0;
    for (const FocusSegment& segment : sorted) {
        const bool joins = !joined.empty() && isAutomaticOverview(segment) && isAutomaticOverview(joined.back()) &&
                           sameView(segment, joined.back()) && coveredUntil <= joined.back().end;
        if (joins) {
            joined.back().end = std::max(joined.back().end, segment.end);
        } else {
            joined.push_back(segment);
        }
        coveredUntil = std::max(coveredUntil, segment.end);
    }
    return joined;
}

// The camera path takes such close times for one moment, so a segment starting a hair after a zoom
// ends would replace the zoom's hold and the camera would drift out from the zoom's start.
void snapToZoomEnds(std::vector<FocusSegment>& segments, const std::vector<FocusSegment>& zooms)
{
    for (FocusSegment& segment : segments) {
        for (const FocusSegment& zoom : zooms) {
            const double after = segment.start - zoom.end;
            if (after > 0 && after < CameraPathBuilder::sameMomentTolerance) segment.start = zoom.end;
        }
    }
}

}  // namespace

std::vector<FocusSegment> fitAroundEdited(const std::vector<FocusSegment>& segments, double duration,
                                          double videoWidth, double videoHeight)
{
    const VideoSize video{videoWidth, videoHeight};
    std::vector<FocusSegment> edited;
    std::vector<FocusSegment> automatic;
    for (const FocusSegment& segment : segments) (segment.edited ? edited : automatic).push_back(segment);
    snapToZoomEnds(edited, edited);
    snapToZoomEnds(automatic, edited);
    stableSortByStart(edited);

    std::vector<FocusSegment> fitted = cutAroundAll(std::move(automatic), edited, video);
    fitted.insert(fitted.end(), edited.begin(), edited.end());

    // The camera path holds a segment's view until the next move, so without something after it a
    // zoom would last until the next segment's move or the end of the recording.
    std::vector<FocusSegment> returns;
    for (const FocusSegment& zoom : edited) {
        double next = duration;
        for (const FocusSegment& other : fitted) {
            if (other.start >= zoom.end) next = std::min(next, other.start);
        }
        if (next - zoom.end >= shortestPiece) returns.push_back(overview(zoom.end, next, video));
    }
    returns = cutAroundAll(std::move(returns), edited, video);
    fitted.insert(fitted.end(), returns.begin(), returns.end());

    stableSortByStart(fitted);
    return joinOverviews(fitted);
}

std::vector<FocusSegment> overviewsWhereUncovered(const std::vector<FocusSegment>& segments, double start, double end,
                                                  double videoWidth, double videoHeight)
{
    std::vector<FocusSegment> covering;
    std::copy_if(segments.begin(), segments.end(), std::back_inserter(covering),
                 [&](const FocusSegment& segment) { return segment.start < end && start < segment.end; });
    stableSortByStart(covering);
    std::vector<FocusSegment> overviews;
    double from = start;
    for (const FocusSegment& segment : covering) {
        if (segment.start > from) keepIfLongEnough(overview(from, segment.start, {videoWidth, videoHeight}), overviews);
        from = std::max(from, segment.end);
    }
    if (end > from) keepIfLongEnough(overview(from, end, {videoWidth, videoHeight}), overviews);
    return overviews;
}

}  // namespace vantile::SegmentFitting
