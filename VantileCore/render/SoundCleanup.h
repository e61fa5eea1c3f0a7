#pragma once

#include "model/RenderSettings.h"
#include "render/ExportMonitor.h"

#include <filesystem>
#include <vector>

namespace vantile::SoundCleanup {

// Writes the raw movie's audio tracks, cleaned as the settings choose, into `target`: a
// QuickTime file of 32-bit float tracks on the raw movie's clock (sample-exact timestamps,
// which Matroska's milliseconds are not), which the edited merge reads
// in place of the raw movie. `roles` names the raw movie's tracks in order; a track without a
// role gets only the choices for every track. Per track: noise reduction (afftdn, its noise
// floor measured first), loudness normalisation to -16 LUFS (measured with ebur128, applied
// with loudnorm's second pass), the track's volume or mute; then the ducked track is
// compressed under the other (sidechaincompress). Throws RenderError; cancelled when the
// monitor asks for it.
void writeCleanedTracks(const std::filesystem::path& rawVideoURL, const std::vector<AudioTrackRole>& roles,
                        const RenderSettings& settings, const std::filesystem::path& target,
                        const ExportMonitor* monitor = nullptr);

// The loudness a normalised track is brought to, in LUFS.
inline constexpr double targetLoudness = -16;

}  // namespace vantile::SoundCleanup
