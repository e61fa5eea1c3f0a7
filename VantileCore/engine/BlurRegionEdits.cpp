#include "engine/BlurRegionEdits.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace vantile::BlurRegionEdits {

namespace {

std::string number(double value)
{
    std::ostringstream text;
    text << std::setprecision(6) << value;
    return text.str();
}

void requireIndex(const RecordingProject& project, std::size_t index)
{
    if (index >= project.blurRegions.size()) {
        throw TimelineEditError("There is no blur region " + std::to_string(index) + " (the project has " +
                                std::to_string(project.blurRegions.size()) + ").");
    }
}

}  // namespace

BlurRegion fitted(const RecordingProject& project, BlurRegion region)
{
    if (!std::isfinite(region.start) || !std::isfinite(region.end) || !(region.start < region.end)) {
        throw TimelineEditError("The blur region's time span " + number(region.start) + " s to " +
                                number(region.end) + " s must end after it starts.");
    }
    if (region.start < 0 || region.end > project.duration) {
        throw TimelineEditError("The blur region's time span " + number(region.start) + " s to " +
                                number(region.end) + " s lies outside the recording (0 to " +
                                number(project.duration) + " s).");
    }
    if (!std::isfinite(region.x) || !std::isfinite(region.y) || !std::isfinite(region.width) ||
        !std::isfinite(region.height) || !(region.width > 0) || !(region.height > 0)) {
        throw TimelineEditError("The blur region needs a rectangle with a width and a height above 0.");
    }
    const auto videoWidth = static_cast<double>(project.video.width);
    const auto videoHeight = static_cast<double>(project.video.height);
    const double left = std::max(region.x, 0.0);
    const double top = std::max(region.y, 0.0);
    const double right = std::min(region.x + region.width, videoWidth);
    const double bottom = std::min(region.y + region.height, videoHeight);
    if (!(right > left) || !(bottom > top)) {
        throw TimelineEditError("The blur rectangle " + number(region.x) + ", " + number(region.y) + ", " +
                                number(region.width) + " x " + number(region.height) +
                                " lies outside the recording's picture (" + number(videoWidth) + " x " +
                                number(videoHeight) + ").");
    }
    region.x = left;
    region.y = top;
    region.width = right - left;
    region.height = bottom - top;
    return region;
}

RecordingProject withBlurRegion(const RecordingProject& project, const BlurRegion& region)
{
    RecordingProject edited = project;
    edited.blurRegions.push_back(fitted(project, region));
    edited.previewVideoPath.reset();
    return edited;
}

RecordingProject withBlurRegionChanged(const RecordingProject& project, std::size_t index, const BlurRegion& changed)
{
    requireIndex(project, index);
    RecordingProject edited = project;
    edited.blurRegions[index] = fitted(project, changed);
    edited.previewVideoPath.reset();
    return edited;
}

RecordingProject withoutBlurRegion(const RecordingProject& project, std::size_t index)
{
    requireIndex(project, index);
    RecordingProject edited = project;
    edited.blurRegions.erase(edited.blurRegions.begin() + static_cast<std::ptrdiff_t>(index));
    edited.previewVideoPath.reset();
    return edited;
}

}  // namespace vantile::BlurRegionEdits
