#pragma once

#include "CommandLine.h"

#include "model/AudioSettings.h"
#include "model/RenderSettings.h"

#include <string>
#include <vector>

namespace vantile::cli {

// The export's sound options. `--volume TRACK DB`, `--mute TRACK` and `--unmute TRACK` take a
// track word and may be given once per track, so they are taken out of the arguments before
// the ordinary parser sees the rest.
class SoundOptions {
public:
    explicit SoundOptions(std::vector<std::string>& arguments);

    // The value and flag options that stay for the ordinary parser.
    static const std::vector<std::string> valueOptions;
    static const std::vector<std::string> flagOptions;

    // Applies them to `settings`; a track the recording lacks is a usage mistake.
    void apply(const Arguments& parsed, AudioCaptureMode recorded, RenderSettings& settings) const;

private:
    struct TrackChange {
        std::string option;
        AudioTrackRole track;
        double volume = 0;
    };
    std::vector<TrackChange> changes_;
};

}  // namespace vantile::cli
