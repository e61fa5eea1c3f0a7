#include "engine/CropEdits.h"

#include "engine/TimelineEdits.h"

#include <cmath>
#include <sstream>

namespace vantile::CropEdits {

namespace {

std::string describe(double x, double y, double width, double height)
{
    std::ostringstream text;
    text << width << "x" << height << " at " << x << "," << y;
    return text.str();
}

}  // namespace

RecordingCrop fitted(const RecordingProject& project, double x, double y, double width, double height)
{
    const auto videoWidth = static_cast<double>(project.video.width);
    const auto videoHeight = static_cast<double>(project.video.height);
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(width) || !std::isfinite(height)) {
        throw TimelineEditError("The crop needs finite numbers.");
    }
    if (x < 0 || y < 0 || width <= 0 || height <= 0 || x + width > videoWidth || y + height > videoHeight) {
        throw TimelineEditError("The crop " + describe(x, y, width, height) + " reaches outside the " +
                                std::to_string(project.video.width) + "x" + std::to_string(project.video.height) +
                                " recording.");
    }
    // Inward to even edges, so no pixel outside the asked rectangle is ever shown.
    const auto left = static_cast<std::int64_t>(std::ceil(x / 2)) * 2;
    const auto top = static_cast<std::int64_t>(std::ceil(y / 2)) * 2;
    const auto right = static_cast<std::int64_t>(std::floor((x + width) / 2)) * 2;
    const auto bottom = static_cast<std::int64_t>(std::floor((y + height) / 2)) * 2;
    if (right - left < smallestCropSide || bottom - top < smallestCropSide) {
        throw TimelineEditError("The crop " + describe(x, y, width, height) + " is too small; each side needs at least " +
                                std::to_string(smallestCropSide) + " pixels.");
    }
    return RecordingCrop{left, top, right - left, bottom - top};
}

RecordingProject withCrop(const RecordingProject& project, const std::optional<RecordingCrop>& crop)
{
    RecordingProject edited = project;
    if (crop) edited.crop = fitted(project, static_cast<double>(crop->x), static_cast<double>(crop->y),
                                   static_cast<double>(crop->width), static_cast<double>(crop->height));
    else edited.crop.reset();
    if (edited.crop == project.crop) return edited;
    edited.focusSegments = TimelineEdits::replannedSegments(edited);
    return edited;
}

}  // namespace vantile::CropEdits
