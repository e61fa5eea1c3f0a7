#pragma once

#include <filesystem>

namespace vantile::FileManagerReveal {

// Shows the file selected in the desktop's file manager (org.freedesktop.FileManager1
// over D-Bus); without one, opens its folder.
void reveal(const std::filesystem::path& file);

}  // namespace vantile::FileManagerReveal
