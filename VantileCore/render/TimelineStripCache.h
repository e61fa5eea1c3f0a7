#pragma once

#include "render/TimelineStripReader.h"

#include <filesystem>
#include <optional>

namespace vantile {

// Decoded timeline strips kept on disk, so a project opened again shows its strip at once.
// An entry is found by the movie's path, size and change time and by the request, so a
// touched or replaced movie, or another request, never reads a stale strip. Entries that
// cannot be read in full are treated as missing; writes replace an entry in one rename.
class TimelineStripCache {
public:
    explicit TimelineStripCache(std::filesystem::path directory);

    // "$XDG_CACHE_HOME/vantile/strips".
    static std::filesystem::path defaultDirectory();

    // The stored strip, or nothing when there is none or it is damaged.
    std::optional<TimelineStrip> load(const std::filesystem::path& movie, const TimelineStripRequest& request) const;
    // Stores `strip` and drops the entries of earlier versions of the same movie. False when
    // the movie is gone or the entry cannot be written; the strip is then decoded again next time.
    bool store(const std::filesystem::path& movie, const TimelineStripRequest& request, const TimelineStrip& strip) const;
    // Where the entry for `movie` and `request` lives; nothing when the movie is missing.
    std::optional<std::filesystem::path> entryOf(const std::filesystem::path& movie,
                                                 const TimelineStripRequest& request) const;

private:
    std::filesystem::path directory_;
};

}  // namespace vantile
