#include "engine/TextCalloutEdits.h"

#include <algorithm>
#include <sstream>

namespace vantile::TextCalloutEdits {

namespace {

std::string seconds(double value)
{
    std::ostringstream text;
    text << value << " s";
    return text.str();
}

std::size_t checkedIndex(const RecordingProject& project, std::size_t index)
{
    if (index >= project.textCallouts.size()) {
        throw TimelineEditError("There is no text callout " + std::to_string(index) + "; the project has " +
                                std::to_string(project.textCallouts.size()) + " (numbered from 0).");
    }
    return index;
}

}  // namespace

void validate(const TextCallout& callout, double recordingDuration)
{
    if (const auto problem = textCalloutProblem(callout)) {
        throw TimelineEditError("The text callout's " + problem->key + " " + problem->problem + ".");
    }
    if (callout.end > recordingDuration) {
        throw TimelineEditError("The text callout " + seconds(callout.start) + " to " + seconds(callout.end) +
                                " lies outside the recording (0 to " + seconds(recordingDuration) + ").");
    }
}

RecordingProject withTextCallout(const RecordingProject& project, const TextCallout& callout)
{
    validate(callout, project.duration);
    RecordingProject edited = project;
    edited.textCallouts.push_back(callout);
    edited.previewVideoPath.reset();
    return edited;
}

RecordingProject withTextCalloutChanged(const RecordingProject& project, std::size_t index, const TextCallout& changed)
{
    validate(changed, project.duration);
    RecordingProject edited = project;
    edited.textCallouts[checkedIndex(project, index)] = changed;
    edited.previewVideoPath.reset();
    return edited;
}

RecordingProject withoutTextCallout(const RecordingProject& project, std::size_t index)
{
    RecordingProject edited = project;
    edited.textCallouts.erase(edited.textCallouts.begin() +
                              static_cast<std::ptrdiff_t>(checkedIndex(project, index)));
    edited.previewVideoPath.reset();
    return edited;
}

TextCallout calloutAt(double playhead, double recordingDuration, std::string text)
{
    TextCallout callout;
    // Near the end it starts earlier rather than shrinking to nothing.
    callout.start = std::max(0.0, std::min(playhead, recordingDuration - newCalloutLength));
    callout.end = std::min(callout.start + newCalloutLength, recordingDuration);
    callout.text = std::move(text);
    callout.style = TextCalloutStyle::label;
    return callout;
}

}  // namespace vantile::TextCalloutEdits
