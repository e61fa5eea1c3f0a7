#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantile {

// Writes `contents` to a temporary file beside `target`, flushes it to disk and renames it
// over the target, so a reader never sees a half-written file under the final name.
// Throws ProjectFileError (fileSystem) and leaves no temporary file behind.
void writeFileAtomically(const std::filesystem::path& target, std::string_view contents);

// The same for several files at once: every file is written and flushed before any is
// renamed, so a failure (a full disk) leaves all the earlier files as they were.
void writeFilesAtomically(const std::vector<std::pair<std::filesystem::path, std::string>>& files);

// A hidden sibling of `target` for work in progress: "." + name + "-" + marker, with the name
// shortened so the whole stays within the file system's limit on one name.
std::filesystem::path temporarySiblingPath(const std::filesystem::path& target, std::string_view marker);

// A hidden sibling of `target` for work in progress that a killed process would leave behind,
// naming its writer and unique to this call: temporarySiblingPath with the marker
// role + "-" + pid + "-" + an upper-case UUID + extension (an extension of 16 characters or
// more is left out).
std::filesystem::path processTemporarySiblingPath(const std::filesystem::path& target, std::string_view role,
                                                  std::string_view extension);

// Removes the regular files in `directory` named by processTemporarySiblingPath with one of
// `roles` whose writing process no longer exists; every other entry stays, and so does every
// file whose writer still runs. Best effort: what cannot be read or removed is left.
void removeAbandonedTemporarySiblings(const std::filesystem::path& directory, const std::vector<std::string>& roles);

// Far above any real project file; a larger one is a mistake (a link to a device, say).
inline constexpr std::uintmax_t maximumReadableFileSize = std::uintmax_t{512} << 20;

// Reads a whole regular file; anything else (a FIFO, a device, a dangling or looping link, a
// file over the size limit) throws ProjectFileError (fileSystem) naming the file.
std::string readWholeFile(const std::filesystem::path& path, std::uintmax_t maximumSize = maximumReadableFileSize);

// Whether anything, even a dangling link, is at `path`.
bool entryExists(const std::filesystem::path& path);

}  // namespace vantile
