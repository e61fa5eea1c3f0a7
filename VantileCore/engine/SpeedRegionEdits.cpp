#include "engine/SpeedRegionEdits.h"

#include "engine/TimelineEdits.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace vantile::SpeedRegionEdits {

namespace {

std::string describe(const SpeedRegion& region)
{
    std::ostringstream text;
    text << region.start << " s to " << region.end << " s";
    return text.str();
}

void requirePlayable(const SpeedRegion& region, double duration, const std::string& key)
{
    if (!std::isfinite(region.start) || !std::isfinite(region.end) || !(region.start < region.end)) {
        throw TimelineEditError("The speed region " + describe(region) + " must end after it starts.", key);
    }
    if (region.start < 0 || region.end > duration) {
        std::ostringstream text;
        text << "The speed region " << describe(region) << " lies outside the recording (0 to " << duration << " s).";
        throw TimelineEditError(text.str(), key);
    }
    if (!(region.speed >= slowestSpeed && region.speed <= fastestSpeed)) {
        std::ostringstream text;
        text << "The speed " << region.speed << "x must lie between 0.25x and 16x.";
        throw TimelineEditError(text.str(), key);
    }
}

std::size_t checkedIndex(const RecordingProject& project, std::size_t index)
{
    if (index >= project.speedRegions.size()) {
        throw TimelineEditError("There is no speed region " + std::to_string(index) + "; the project has " +
                                std::to_string(project.speedRegions.size()) + " (numbered from 0).");
    }
    return index;
}

// Sorted, checked against everything else in the project, and no earlier preview kept.
RecordingProject placed(RecordingProject project)
{
    std::stable_sort(project.speedRegions.begin(), project.speedRegions.end(),
                     [](const SpeedRegion& a, const SpeedRegion& b) { return a.start < b.start; });
    for (std::size_t index = 1; index < project.speedRegions.size(); ++index) {
        const SpeedRegion& before = project.speedRegions[index - 1];
        const SpeedRegion& after = project.speedRegions[index];
        if (after.start < before.end) {
            throw TimelineEditError("The speed region " + describe(after) + " overlaps the speed region " +
                                    describe(before) + ".");
        }
    }
    TimelineEdits::validate(project);
    project.previewVideoPath.reset();
    return project;
}

}  // namespace

void validate(const RecordingProject& project)
{
    const auto& regions = project.speedRegions;
    for (std::size_t index = 0; index < regions.size(); ++index) {
        const std::string key = "speedRegions[" + std::to_string(index) + "]";
        requirePlayable(regions[index], project.duration, key);
        if (index > 0 && regions[index].start < regions[index - 1].end) {
            throw TimelineEditError("The speed region " + describe(regions[index]) +
                                        " overlaps or comes before the one before it.",
                                    key);
        }
    }
}

RecordingProject withRegion(const RecordingProject& project, const SpeedRegion& region)
{
    requirePlayable(region, project.duration, {});
    RecordingProject edited = project;
    edited.speedRegions.push_back(region);
    return placed(std::move(edited));
}

RecordingProject withRegionChanged(const RecordingProject& project, std::size_t index, const SpeedRegion& changed)
{
    requirePlayable(changed, project.duration, {});
    RecordingProject edited = project;
    edited.speedRegions[checkedIndex(project, index)] = changed;
    return placed(std::move(edited));
}

RecordingProject withoutRegion(const RecordingProject& project, std::size_t index)
{
    RecordingProject edited = project;
    edited.speedRegions.erase(edited.speedRegions.begin() + static_cast<std::ptrdiff_t>(checkedIndex(project, index)));
    return placed(std::move(edited));
}

}  // namespace vantile::SpeedRegionEdits
