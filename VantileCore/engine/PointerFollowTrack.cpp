#include "engine/PointerFollowTrack.h"

#include <algorithm>
#include <cmath>

namespace vantile {

namespace {

// The pointer between its frames by straight lines; frames are in time order.
CodablePoint pointerAt(const std::vector<CursorFrame>& cursor, std::size_t& index, double time)
{
    while (index + 1 < cursor.size() && cursor[index + 1].time <= time) ++index;
    const CursorFrame& a = cursor[index];
    if (index + 1 >= cursor.size() || time <= a.time) return {a.x, a.y};
    const CursorFrame& b = cursor[index + 1];
    const double share = (time - a.time) / std::max(b.time - a.time, 1e-9);
    return {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share};
}

// Where the centre must move for the pointer to be back inside the dead zone; it stays put
// while the pointer is inside.
double chase(double centre, double pointer, double reach)
{
    if (pointer > centre + reach) return pointer - reach;
    if (pointer < centre - reach) return pointer + reach;
    return centre;
}

}  // namespace

PointerFollowTrack::PointerFollowTrack(const std::vector<CursorFrame>& cursor, double videoWidth, double videoHeight,
                                       double cropWidth, double cropHeight)
{
    if (cursor.empty()) return;
    std::vector<CursorFrame> frames = cursor;
    std::stable_sort(frames.begin(), frames.end(), [](const CursorFrame& a, const CursorFrame& b) { return a.time < b.time; });
    const double lowX = std::min(cropWidth / 2, videoWidth / 2);
    const double highX = std::max(videoWidth - cropWidth / 2, lowX);
    const double lowY = std::min(cropHeight / 2, videoHeight / 2);
    const double highY = std::max(videoHeight - cropHeight / 2, lowY);
    const auto inside = [&](CodablePoint point) {
        return CodablePoint{std::clamp(point.x, lowX, highX), std::clamp(point.y, lowY, highY)};
    };
    std::size_t index = 0;
    const double end = std::max(frames.back().time, 0.0);
    const auto count = static_cast<std::size_t>(std::ceil(end * sampleRate)) + 1;
    points_.reserve(count);
    CodablePoint centre = inside(pointerAt(frames, index, 0));
    CodablePoint velocity{0, 0};
    // Four spring steps per sample keep the integration stable and smooth.
    constexpr int substeps = 4;
    const double step = 1 / (sampleRate * substeps);
    for (std::size_t sample = 0; sample < count; ++sample) {
        if (sample > 0) {
            const double time = static_cast<double>(sample) / sampleRate;
            const CodablePoint pointer = pointerAt(frames, index, time);
            for (int substep = 0; substep < substeps; ++substep) {
                const CodablePoint target = inside({chase(centre.x, pointer.x, cropWidth * deadZone),
                                                    chase(centre.y, pointer.y, cropHeight * deadZone)});
                velocity.x += (stiffness * stiffness * (target.x - centre.x) - 2 * stiffness * velocity.x) * step;
                velocity.y += (stiffness * stiffness * (target.y - centre.y) - 2 * stiffness * velocity.y) * step;
                centre.x += velocity.x * step;
                centre.y += velocity.y * step;
            }
            centre = inside(centre);
        }
        points_.push_back(centre);
    }
}

CodablePoint PointerFollowTrack::centerAt(double time) const
{
    if (points_.empty()) return {0, 0};
    const double position = std::max(time, 0.0) * sampleRate;
    const auto index = static_cast<std::size_t>(position);
    if (index + 1 >= points_.size()) return points_.back();
    const double share = position - static_cast<double>(index);
    const CodablePoint& a = points_[index];
    const CodablePoint& b = points_[index + 1];
    return {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share};
}

}  // namespace vantile
