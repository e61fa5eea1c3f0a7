#include "engine/CroppedRecording.h"

#include <algorithm>

namespace vantile::CroppedRecording {

namespace {

struct Shift {
    double x;
    double y;
    double width;
    double height;

    explicit Shift(const RecordingCrop& crop)
        : x(static_cast<double>(crop.x)),
          y(static_cast<double>(crop.y)),
          width(static_cast<double>(crop.width)),
          height(static_cast<double>(crop.height))
    {
    }

    double insideX(double value) const { return std::clamp(value - x, 0.0, width); }
    double insideY(double value) const { return std::clamp(value - y, 0.0, height); }
};

std::optional<BlurRegion> clipped(BlurRegion region, const Shift& shift)
{
    const double left = shift.insideX(region.x);
    const double top = shift.insideY(region.y);
    const double right = shift.insideX(region.x + region.width);
    const double bottom = shift.insideY(region.y + region.height);
    if (!(right > left && bottom > top)) return std::nullopt;
    region.x = left;
    region.y = top;
    region.width = right - left;
    region.height = bottom - top;
    return region;
}

}  // namespace

std::vector<FocusSegment> segmentsInside(std::vector<FocusSegment> segments, const RecordingCrop& crop)
{
    const Shift shift(crop);
    for (FocusSegment& segment : segments) {
        // An overview shows the whole picture, so it looks at the middle of what is left of it.
        if (segment.type == FocusSegment::SegmentType::overview) {
            segment.centerX = shift.width / 2;
            segment.centerY = shift.height / 2;
            continue;
        }
        segment.centerX = shift.insideX(segment.centerX);
        segment.centerY = shift.insideY(segment.centerY);
    }
    return segments;
}

std::vector<CursorFrame> cursorInside(std::vector<CursorFrame> frames, const RecordingCrop& crop)
{
    const Shift shift(crop);
    for (CursorFrame& frame : frames) {
        frame.x = shift.insideX(frame.x);
        frame.y = shift.insideY(frame.y);
    }
    return frames;
}

RecordingProject view(const RecordingProject& project)
{
    if (!project.crop) return project;
    const RecordingCrop crop = *project.crop;
    const Shift shift(crop);
    RecordingProject cropped = project;
    cropped.crop.reset();
    cropped.video.width = crop.width;
    cropped.video.height = crop.height;
    for (InputEvent& event : cropped.events) {
        event.x = shift.insideX(event.x);
        event.y = shift.insideY(event.y);
    }
    cropped.focusSegments = segmentsInside(std::move(cropped.focusSegments), crop);
    cropped.cursorFrames = cursorInside(std::move(cropped.cursorFrames), crop);
    cropped.blurRegions.clear();
    for (const BlurRegion& region : project.blurRegions) {
        if (auto inside = clipped(region, shift)) cropped.blurRegions.push_back(std::move(*inside));
    }
    return cropped;
}

std::vector<FocusSegment> segmentsInRecording(std::vector<FocusSegment> segments,
                                              const std::optional<RecordingCrop>& crop)
{
    if (!crop) return segments;
    for (FocusSegment& segment : segments) {
        segment.centerX += static_cast<double>(crop->x);
        segment.centerY += static_cast<double>(crop->y);
    }
    return segments;
}

CodablePoint pointInRecording(CodablePoint point, const std::optional<RecordingCrop>& crop)
{
    if (!crop) return point;
    return {point.x + static_cast<double>(crop->x), point.y + static_cast<double>(crop->y)};
}

}  // namespace vantile::CroppedRecording
