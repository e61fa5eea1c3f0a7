#pragma once

#include <filesystem>

namespace vantile {

// Moves a file or folder to the desktop's trash (the freedesktop.org one Qt writes), never
// deleting it. False when it could not be trashed; the item is then where it was.
bool moveToDesktopTrash(const std::filesystem::path& item);

}  // namespace vantile
