#pragma once

#include "render/ExportMonitor.h"
#include "render/RenderJob.h"

#include <QPainter>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>

namespace vantile {

// Renders jobs into movies: a producer thread draws and converts frames, the calling thread
// encodes them, joined by a small bounded queue.
namespace VideoFileWriter {

using DrawFrame = std::function<void(QPainter& painter, const QRectF& canvas, double time)>;

// How one video pass reports and how far it goes.
struct VideoPassOptions {
    ExportMonitor* monitor = nullptr;
    double progressStart = 0;  // the pass reports progress from here ...
    double progressEnd = 1;    // ... to here
    // Frames beyond this are not drawn (the audio merge would cut them off anyway).
    std::int64_t frameLimit = std::numeric_limits<std::int64_t>::max();
};

// The whole export: video pass into a hidden temporary movie, then the audio merge into
// job.outputURL. On failure or cancel the temporary file is removed and the destination is
// left as it was.
void writeRenderedDemo(const RenderJob& job, ExportMonitor* monitor = nullptr);

// Only the video, written to job.outputURL.
void writeRenderedVideoOnly(const RenderJob& job, const VideoPassOptions& options = {});

// ceil(duration × fps), at least 1.
std::int64_t frameCount(double duration, std::int64_t fps);

// Draws frame i at time i / fps for every frame and encodes it with libx264 at its defaults.
void writeMovie(const std::filesystem::path& url, int width, int height, double duration, int fps,
                const DrawFrame& draw, const VideoPassOptions& options = {});

// "<dir>/.<stem>-video-<UUID>.mov" beside the output.
std::filesystem::path temporaryRenderedVideoURL(const std::filesystem::path& outputURL);

void removeExisting(const std::filesystem::path& url);
void replace(const std::filesystem::path& destination, const std::filesystem::path& source);

}  // namespace VideoFileWriter

}  // namespace vantile
