#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vantile {

// Writes `contents` to a temporary file beside `target`, flushes it to disk and renames it
// over the target, so a reader never sees a half-written file under the final name.
// Throws ProjectFileError (fileSystem) and leaves no temporary file behind.
void writeFileAtomically(const std::filesystem::path& target, std::string_view contents);

// Reads a whole file; throws ProjectFileError (fileSystem) naming the file.
std::string readWholeFile(const std::filesystem::path& path);

}  // namespace vantile
