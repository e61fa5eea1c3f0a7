#include "render/FrameProviders.h"

#include "engine/Easing.h"

#include <algorithm>
#include <cmath>

namespace vantile {

CameraFrameProvider::CameraFrameProvider(std::vector<CameraKeyframe> keyframes) : keyframes_(std::move(keyframes))
{
    std::stable_sort(keyframes_.begin(), keyframes_.end(),
                     [](const CameraKeyframe& a, const CameraKeyframe& b) { return a.time < b.time; });
}

CameraKeyframe CameraFrameProvider::state(double time)
{
    if (keyframes_.empty() || time <= keyframes_.front().time || time >= keyframes_.back().time) return stateAt(time);
    const auto count = static_cast<std::ptrdiff_t>(keyframes_.size());
    while (index_ + 1 < count - 1 && keyframes_[static_cast<std::size_t>(index_ + 1)].time < time) ++index_;
    return between(keyframes_[static_cast<std::size_t>(index_)],
                   keyframes_[static_cast<std::size_t>(std::min(index_ + 1, count - 1))], time);
}

CameraKeyframe CameraFrameProvider::stateAt(double time) const
{
    if (keyframes_.empty()) return following({time, 0, 0, 1}, time);
    if (time <= keyframes_.front().time) return following(keyframes_.front(), time);
    if (time >= keyframes_.back().time) return following(keyframes_.back(), time);
    const auto count = static_cast<std::ptrdiff_t>(keyframes_.size());
    const auto after = std::lower_bound(keyframes_.begin(), keyframes_.end(), time,
                                        [](const CameraKeyframe& keyframe, double at) { return keyframe.time < at; });
    const std::ptrdiff_t index = std::clamp<std::ptrdiff_t>((after - keyframes_.begin()) - 1, 0, count - 2);
    return between(keyframes_[static_cast<std::size_t>(index)], keyframes_[static_cast<std::size_t>(index + 1)], time);
}

CameraKeyframe CameraFrameProvider::following(CameraKeyframe keyframe, double time) const
{
    // Only the overview follows; a zoom looks where it was planned to.
    if (follow_.empty() || keyframe.scale > 1 + 1e-9) return keyframe;
    const CodablePoint centre = follow_.centerAt(time);
    keyframe.centerX = centre.x;
    keyframe.centerY = centre.y;
    return keyframe;
}

CameraKeyframe CameraFrameProvider::between(const CameraKeyframe& from, const CameraKeyframe& to, double time) const
{
    const CameraKeyframe a = following(from, time);
    const CameraKeyframe b = following(to, time);
    const double u = std::clamp((time - a.time) / std::max(b.time - a.time, 0.001), 0.0, 1.0);
    const double e = Easing::smootherStep(u);
    return {time, a.centerX + (b.centerX - a.centerX) * e, a.centerY + (b.centerY - a.centerY) * e,
            a.scale + (b.scale - a.scale) * e};
}

CursorFrameProvider::CursorFrameProvider(std::vector<CursorFrame> frames) : frames_(std::move(frames))
{
    std::stable_sort(frames_.begin(), frames_.end(),
                     [](const CursorFrame& a, const CursorFrame& b) { return a.time < b.time; });
}

void CursorFrameProvider::advance(double time)
{
    const auto count = static_cast<std::ptrdiff_t>(frames_.size());
    while (index_ + 1 < count && frames_[static_cast<std::size_t>(index_ + 1)].time <= time) ++index_;
}

std::ptrdiff_t CursorFrameProvider::nearestIndex(double time) const
{
    const auto count = static_cast<std::ptrdiff_t>(frames_.size());
    if (index_ + 1 >= count) return index_;
    const double nextDistance = std::abs(frame(index_ + 1).time - time);
    return nextDistance < std::abs(frame(index_).time - time) ? index_ + 1 : index_;
}

double CursorFrameProvider::speed(std::ptrdiff_t index) const
{
    const auto count = static_cast<std::ptrdiff_t>(frames_.size());
    std::ptrdiff_t first = 0;
    if (index + 1 < count) {
        first = index;
    } else if (index >= 1) {
        first = index - 1;
    } else {
        return 0;
    }
    const CursorFrame& a = frame(first);
    const CursorFrame& b = frame(first + 1);
    return std::hypot(b.x - a.x, b.y - a.y) / std::max(b.time - a.time, 0.001);
}

QPointF CursorFrameProvider::positionAt(double time) const
{
    if (frames_.empty()) return {};
    const auto after = std::upper_bound(frames_.begin(), frames_.end(), time,
                                        [](double at, const CursorFrame& frame) { return at < frame.time; });
    if (after == frames_.begin()) return {frames_.front().x, frames_.front().y};
    if (after == frames_.end()) return {frames_.back().x, frames_.back().y};
    const CursorFrame& a = *(after - 1);
    const CursorFrame& b = *after;
    const double u = b.time > a.time ? (time - a.time) / (b.time - a.time) : 1;
    return {a.x + (b.x - a.x) * u, a.y + (b.y - a.y) * u};
}

}  // namespace vantile
