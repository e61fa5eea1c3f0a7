#pragma once

#include <filesystem>

namespace vantile {

// A self-contained animated movie (dark background, rounded panel, pulsing disc) written in
// place of a recording that produced no usable frames, so the project stays playable.
namespace PlaceholderMovie {

// Replaces `url` with a movie at `fps`; throws RecordingError when the movie cannot be written.
void write(const std::filesystem::path& url, int width, int height, double duration, int fps);

}  // namespace PlaceholderMovie

}  // namespace vantile
