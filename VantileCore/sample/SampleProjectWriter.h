#pragma once

#include "model/RecordingProject.h"

#include <filesystem>

namespace vantile {

struct SampleProjectOptions {
    double duration = 20;
    int width = 1920;   // rounded down to even, at least 2
    int height = 1080;
    AudioCaptureMode audio = AudioCaptureMode::none;

    bool operator==(const SampleProjectOptions&) const = default;
};

// Writes a complete project without a display: a synthetic screen recording ("raw.mov",
// H.264 at 30 fps with one AAC track per recorded audio source), its scripted input events,
// and the planned focus segments and cursor path, as the stop flow of a recording would.
// Needs a QGuiApplication (text is drawn with the system's fonts).
class SampleProjectWriter {
public:
    static RecordingProject write(const std::filesystem::path& directory, const SampleProjectOptions& options);
};

}  // namespace vantile
