#pragma once

#include "render/ExportMonitor.h"
#include "render/FrameCompositor.h"
#include "render/RenderJob.h"

#include <QRegion>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

struct AVFrame;

namespace vantile {

class SourceFrameProvider;

// Renders jobs into movies: a producer thread draws and converts frames, the calling thread
// encodes them, joined by a small bounded queue.
namespace VideoFileWriter {

// Draws the frame at `time` straight into the encoder's yuv420p `frame`. `previous` is where
// that buffer differed from the unchanging parts when it was last drawn (nothing when unknown);
// returns where it differs now.
using DrawYuvFrame = std::function<QRegion(AVFrame& frame, const std::optional<QRegion>& previous, double time)>;

// How one video pass reports and how far it goes.
struct VideoPassOptions {
    ExportMonitor* monitor = nullptr;
    double progressStart = 0;  // the pass reports progress from here ...
    double progressEnd = 1;    // ... to here
    // Frames beyond this are not drawn (the audio merge would cut them off anyway).
    std::int64_t frameLimit = std::numeric_limits<std::int64_t>::max();
    // libx264's speed preset and crf; empty and negative keep the encoder's defaults (medium, 23).
    std::string encoderPreset;
    int crf = -1;
    std::string encoderOptions;  // libx264 "key=value:..." over the preset
};

// The whole export: video pass into a hidden temporary movie, then the audio merge into
// job.outputURL. On failure or cancel the temporary file is removed and the destination is
// left as it was.
void writeRenderedDemo(const RenderJob& job, ExportMonitor* monitor = nullptr);

// Only the video, written to job.outputURL.
void writeRenderedVideoOnly(const RenderJob& job, const VideoPassOptions& options = {});

// What the job's frames are drawn from; throws when the raw movie's size is not the project's.
CompositorScene compositorScene(const RenderJob& job, const SourceFrameProvider& source);

// ceil(duration × fps), at least 1.
std::int64_t frameCount(double duration, std::int64_t fps);

// Draws frame i at time i / fps for every frame and encodes it with libx264 (options choose preset and crf).
void writeMovie(const std::filesystem::path& url, int width, int height, double duration, int fps,
                const DrawYuvFrame& draw, const VideoPassOptions& options = {});

// The roles of an export's hidden files beside its output (see processTemporarySiblingPath):
// the finished movie waiting to replace the output, the rendered video, the merged movie, the
// cleaned audio tracks.
inline const std::vector<std::string> exportTemporaryRoles{"export", "video", "merge", "sound"};

// "<dir>/.<name>-video-<pid>-<UUID>.mov" beside the output (.mkv or .webm for those outputs).
std::filesystem::path temporaryRenderedVideoURL(const std::filesystem::path& outputURL);

void removeExisting(const std::filesystem::path& url);
void replace(const std::filesystem::path& destination, const std::filesystem::path& source);

}  // namespace VideoFileWriter

}  // namespace vantile
