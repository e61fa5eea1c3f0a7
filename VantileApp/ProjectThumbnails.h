#pragma once

#include <QImage>
#include <QQuickImageProvider>

#include <filesystem>
#include <optional>

namespace vantile {

// Small pictures of recordings for the project list: one frame of the raw movie, decoded
// once and kept as PNG under the user's cache directory. The cache key holds the movie's
// path, size and change time, so a replaced movie gets a new picture.
class ProjectThumbnails {
public:
    explicit ProjectThumbnails(std::filesystem::path cacheDirectory);

    // "$XDG_CACHE_HOME/vantile/thumbnails".
    static std::filesystem::path defaultCacheDirectory();

    // The picture of `movie`, from the cache or decoded now (slow: call it off the main
    // thread). Null when the movie cannot be read.
    QImage thumbnail(const std::filesystem::path& movie) const;
    // Where the picture of `movie` is cached; null when the movie is missing.
    std::optional<std::filesystem::path> cachedFileOf(const std::filesystem::path& movie) const;

    static constexpr int width = 320;
    // Late enough to pass the first frames, which may still show the desktop settling.
    static constexpr double frameTime = 1.0;

private:
    std::filesystem::path cacheDirectory_;
};

// Serves "image://projectThumbnail/<percent-encoded movie path>" to the project list, each
// request on a thread of its own so a long list never holds up the window.
class ProjectThumbnailProvider : public QQuickImageProvider {
public:
    explicit ProjectThumbnailProvider(ProjectThumbnails thumbnails);

    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;

    static constexpr const char* name = "projectThumbnail";

private:
    ProjectThumbnails thumbnails_;
};

}  // namespace vantile
