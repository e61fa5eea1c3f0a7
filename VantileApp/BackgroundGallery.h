#pragma once

#include <QQuickImageProvider>
#include <QVariantList>

#include <filesystem>
#include <vector>

namespace vantile {

// What the background picker offers besides the templates: the desktop's wallpapers and
// Vantile's own, as thumbnails.
namespace BackgroundGallery {

// The pictures under the freedesktop wallpaper folders (`/usr/share/backgrounds`, then the
// user's `$XDG_DATA_HOME/backgrounds`), sorted by path, at most `limit` of them.
std::vector<std::filesystem::path> systemWallpapers(const std::vector<std::filesystem::path>& folders,
                                                    std::size_t limit = 200);
std::vector<std::filesystem::path> systemWallpaperFolders();

// {"path", "name", "thumbnail"} for each wallpaper, for the panel.
QVariantList wallpaperEntries(const std::vector<std::filesystem::path>& wallpapers);
// {"value": "generated-N", "thumbnail"} for each of Vantile's own.
QVariantList generatedEntries();

}  // namespace BackgroundGallery

// "image://backgroundThumbnail/generated/N" draws wallpaper N; ".../file/ENCODED-PATH" reads a
// picture small.
class BackgroundThumbnailProvider : public QQuickImageProvider {
public:
    BackgroundThumbnailProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;

    static constexpr const char* name = "backgroundThumbnail";
};

}  // namespace vantile
