#pragma once

#include <filesystem>
#include <string>

namespace vantile {

// Copies `image` into the project's own folder, so the project stays whole when the original
// moves, and returns its path relative to the project folder. The file is read first: a
// missing or broken picture throws a RenderError naming it, and nothing is copied. The same
// picture adopted twice is kept once.
std::string adoptBackgroundImage(const std::filesystem::path& image, const std::filesystem::path& projectDirectory);

}  // namespace vantile
