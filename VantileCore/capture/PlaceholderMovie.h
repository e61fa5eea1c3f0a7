#pragma once

#include <filesystem>

namespace vantile {

// A self-contained animated movie (dark background, rounded panel, pulsing disc) written in
// place of a recording that produced no usable frames, so the project stays playable.
namespace PlaceholderMovie {

// Replaces `url`; throws RecordingError when the movie cannot be written.
// The movie runs at RawMovieWriter::fps.
void write(const std::filesystem::path& url, int width, int height, double duration);

}  // namespace PlaceholderMovie

}  // namespace vantile
