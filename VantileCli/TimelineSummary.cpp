#include "TimelineSummary.h"

#include "engine/OutputTimeline.h"

#include <algorithm>
#include <cstdio>

namespace vantile::cli {

namespace {

std::string range(const TimeRange& value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.3f s to %.3f s", value.start, value.end);
    return text;
}

TimeRange keptWhole(const RecordingProject& project)
{
    return project.trim ? *project.trim : TimeRange{0, project.duration};
}

// One line, and none for a project without callouts, which reads as before.
std::string describeTextCallouts(const RecordingProject& project)
{
    if (project.textCallouts.empty()) return {};
    std::string text = "texts         ";
    for (std::size_t index = 0; index < project.textCallouts.size(); ++index) {
        const TextCallout& callout = project.textCallouts[index];
        text += (index ? ", " : "") + std::to_string(index) + " " + range({callout.start, callout.end}) + " " +
                rawValue(callout.style) + " \"" + callout.text + "\"";
    }
    return text + "\n";
}

// One line, and none for an uncropped project, which reads as before.
std::string describeCrop(const std::optional<RecordingCrop>& crop)
{
    if (!crop) return {};
    return "crop          " + std::to_string(crop->width) + "x" + std::to_string(crop->height) + " at " +
           std::to_string(crop->x) + "," + std::to_string(crop->y) + "\n";
}

}  // namespace

std::string describeTimelineEdit(const RecordingProject& project)
{
    char kept[96];
    std::snprintf(kept, sizeof kept, "%.3f s of %.3f s", OutputTimeline(project).duration(), project.duration);
    std::string cuts;
    for (const TimeRange& cut : project.cuts) cuts += (cuts.empty() ? "" : ", ") + range(cut);
    std::string speeds;
    for (const SpeedRegion& region : project.speedRegions) {
        char factor[32];
        std::snprintf(factor, sizeof factor, " at %gx", region.speed);
        speeds += (speeds.empty() ? "" : ", ") + range(region.range()) + factor;
    }
    return std::string("kept          ") + kept + "\n" +
           "trim          " + (project.trim ? range(*project.trim) : std::string("none")) + "\n" +
           "cuts          " + (cuts.empty() ? std::string("none") : cuts) + "\n" +
           "speed         " + (speeds.empty() ? std::string("none") : speeds) + "\n" +
           describeCrop(project.crop) + describeTextCallouts(project);
}

std::string describeSegments(const RecordingProject& project, bool onlyEdited)
{
    const auto edited = std::count_if(project.focusSegments.begin(), project.focusSegments.end(),
                                      [](const FocusSegment& segment) { return segment.edited; });
    std::string text = "segments      " + std::to_string(project.focusSegments.size()) + " (" +
                       std::to_string(edited) + " edited)\n";
    for (std::size_t index = 0; index < project.focusSegments.size(); ++index) {
        const FocusSegment& segment = project.focusSegments[index];
        if (onlyEdited && !segment.edited) continue;
        char line[160];
        std::snprintf(line, sizeof line, "  %3zu  %8.3f - %8.3f s  %-11s at %.0f,%.0f  x%.2f%s\n", index, segment.start,
                      segment.end, rawValue(segment.type).c_str(), segment.centerX, segment.centerY, segment.scale,
                      segment.edited ? "  edited" : "");
        text += line;
    }
    return text;
}

std::string describeBlurRegions(const RecordingProject& project)
{
    if (project.blurRegions.empty()) return {};
    std::string text = "blur         ";
    for (std::size_t index = 0; index < project.blurRegions.size(); ++index) {
        const BlurRegion& region = project.blurRegions[index];
        char item[160];
        std::snprintf(item, sizeof item, "%s %zu: %.3f - %.3f s at %.0f,%.0f %.0fx%.0f %s", index ? "," : "", index,
                      region.start, region.end, region.x, region.y, region.width, region.height,
                      rawValue(region.style).c_str());
        text += item;
    }
    return text + "\n";
}

Json timelineJson(const RecordingProject& project)
{
    Json timeline{{"duration", OutputTimeline(project).duration()},
                  {"trim", keptWhole(project)},
                  {"cuts", project.cuts},
                  {"speedRegions", project.speedRegions},
                  {"segments", project.focusSegments}};
    if (!project.textCallouts.empty()) timeline["textCallouts"] = project.textCallouts;
    if (!project.blurRegions.empty()) timeline["blurRegions"] = project.blurRegions;
    if (project.crop) timeline["crop"] = *project.crop;
    if (!project.hiddenShortcuts.empty()) timeline["hiddenShortcuts"] = project.hiddenShortcuts;
    return timeline;
}

}  // namespace vantile::cli
