#pragma once

#include "engine/OutputTimeline.h"

#include <filesystem>
#include <optional>

namespace vantile {

// Puts the raw recording's audio tracks beside the rendered video by stream copy (no
// re-encode), each source track its own output track, cut to the shorter of the two movies.
namespace AudioMerger {

// Writes `outputURL` (MPEG-4 with its index in front when the name ends in "mp4", Matroska for
// "mkv", WebM for "webm", otherwise QuickTime) and removes the rendered movie; without a raw
// movie, audio tracks, video or a common duration, the rendered movie is simply moved into
// place. Tracks the container does not take (AAC in WebM) are re-encoded as the edited merge
// does. A previous file at the destination is replaced only once the new one is complete.
void mergeAudioTracksIfPresent(const std::filesystem::path& renderedVideoURL, const std::filesystem::path& rawVideoURL,
                               const std::filesystem::path& outputURL);

// The same with a trim or cuts: the audio tracks are decoded and only the timeline's kept
// ranges are re-encoded back to back (AAC at each track's own rate and channels; Opus for WebM), so each kept
// range stays in sync with its video; the result is cut to the shorter of video and kept audio.
void mergeEditedAudioTracksIfPresent(const std::filesystem::path& renderedVideoURL,
                                     const std::filesystem::path& rawVideoURL, const std::filesystem::path& outputURL,
                                     const OutputTimeline& timeline);

// The raw movie's duration in seconds when it has audio tracks that a merge would copy.
std::optional<double> audioMergeDuration(const std::filesystem::path& rawVideoURL);

}  // namespace AudioMerger

}  // namespace vantile
