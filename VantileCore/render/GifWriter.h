#pragma once

#include "render/ExportMonitor.h"
#include "render/RenderJob.h"

#include <filesystem>

namespace vantile {

// Renders jobs into animated GIFs: the same frames as the movie export, scaled down, with one
// palette chosen from the whole animation (FFmpeg's palettegen, then paletteuse). No audio.
namespace GifWriter {

inline constexpr int maximumWidth = 960;
inline constexpr int maximumFps = 15;

struct GifFormat {
    int width = 2;
    int height = 2;
    int fps = 1;

    bool operator==(const GifFormat&) const = default;
};

// The output size narrowed to at most 960 pixels wide (even, aspect kept) and fps capped at 15.
GifFormat gifFormat(std::int64_t outputWidth, std::int64_t outputHeight, std::int64_t fps);

// True for a path ending in .gif (any case).
bool isGifPath(const std::filesystem::path& path);

// Writes job.outputURL through a hidden temporary file beside it; on failure or cancel the
// temporary file is removed and the destination is left as it was.
void writeGif(const RenderJob& job, ExportMonitor* monitor = nullptr);

}  // namespace GifWriter

}  // namespace vantile
