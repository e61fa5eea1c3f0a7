#pragma once

#include <filesystem>
#include <string>

namespace vantile {

// A self-contained animated movie (drifting grid, panel, pulsing disc) written when a
// recording produced no usable frames.
namespace PlaceholderMovie {

// `title` is accepted for callers that have one; nothing draws it.
void write(const std::filesystem::path& url, int width, int height, double duration, int fps,
           const std::string& title = {});

}  // namespace PlaceholderMovie

}  // namespace vantile
