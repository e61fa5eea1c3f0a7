#pragma once

#include "engine/TimelineEditError.h"
#include "model/RecordingProject.h"

#include <cstddef>

namespace vantile {

// Text callout edits as pure functions, like TimelineEdits: each returns the edited project or
// throws TimelineEditError, so a refused edit never touches the caller's project.
namespace TextCalloutEdits {

// How long a callout added at the playhead shows, unless the recording ends first.
inline constexpr double newCalloutLength = 3.0;

// Throws when `callout` is empty, does not end after it starts, leaves the recording or is placed off the frame.
void validate(const TextCallout& callout, double recordingDuration);

// Appends `callout`; callouts may overlap, each is drawn over the ones before it.
RecordingProject withTextCallout(const RecordingProject& project, const TextCallout& callout);
RecordingProject withTextCalloutChanged(const RecordingProject& project, std::size_t index, const TextCallout& changed);
RecordingProject withoutTextCallout(const RecordingProject& project, std::size_t index);

// A label callout with `text` at `playhead`, three seconds or up to the recording's end.
TextCallout calloutAt(double playhead, double recordingDuration, std::string text);

}  // namespace TextCalloutEdits

}  // namespace vantile
