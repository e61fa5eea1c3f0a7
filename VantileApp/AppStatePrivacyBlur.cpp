// Privacy blur as the preview and the timeline call it: each call is one undoable edit of the
// current project's timeline.
#include "AppState.h"

#include "ProjectSession.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vantile {

namespace {

// A negative index from QML is no region; the model refuses it with its own message.
std::size_t regionIndex(int index)
{
    return index < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(index);
}

}  // namespace

void AppState::addBlurRegion(double playhead, double x1, double y1, double x2, double y2)
{
    session_->editTimeline([&](TimelineModel& model) {
        const double duration = model.project().duration;
        // Near the end the span reaches back instead, so it keeps its length.
        const double end = std::min(std::max(playhead, 0.0) + newBlurRegionLength, duration);
        const double start = std::max(0.0, std::min(playhead, end - newBlurRegionLength));
        model.addBlurRegion({start, end, std::min(x1, x2), std::min(y1, y2), std::abs(x2 - x1), std::abs(y2 - y1)});
    });
}

void AppState::setBlurRegionSpan(int index, double start, double end)
{
    session_->editTimeline([&](TimelineModel& model) {
        const std::vector<BlurRegion>& regions = model.project().blurRegions;
        const std::size_t at = regionIndex(index);
        BlurRegion changed = at < regions.size() ? regions[at] : BlurRegion{};
        changed.start = start;
        changed.end = end;
        model.changeBlurRegion(at, changed);
    });
}

void AppState::removeBlurRegion(int index)
{
    session_->editTimeline([&](TimelineModel& model) { model.removeBlurRegion(regionIndex(index)); });
}

}  // namespace vantile
