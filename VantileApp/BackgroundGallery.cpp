#include "BackgroundGallery.h"

#include "model/BackgroundChoice.h"
#include "render/GeneratedWallpaper.h"

#include <QImageReader>
#include <QPainter>
#include <QUrl>

#include <algorithm>
#include <cstdlib>
#include <set>

namespace vantile {

namespace BackgroundGallery {

namespace {

bool isPicture(const std::filesystem::path& path)
{
    static const std::set<std::string> extensions{".jpg", ".jpeg", ".png", ".webp"};
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return extensions.count(extension) > 0;
}

QString thumbnailURL(const QString& kind, const QString& id)
{
    return QStringLiteral("image://") + BackgroundThumbnailProvider::name + "/" + kind + "/" + id;
}

}  // namespace

std::vector<std::filesystem::path> systemWallpaperFolders()
{
    std::vector<std::filesystem::path> folders{"/usr/share/backgrounds"};
    if (const char* dataHome = std::getenv("XDG_DATA_HOME"); dataHome && *dataHome) {
        folders.emplace_back(std::filesystem::path(dataHome) / "backgrounds");
    } else if (const char* home = std::getenv("HOME"); home && *home) {
        folders.emplace_back(std::filesystem::path(home) / ".local" / "share" / "backgrounds");
    }
    return folders;
}

std::vector<std::filesystem::path> systemWallpapers(const std::vector<std::filesystem::path>& folders,
                                                    std::size_t limit)
{
    std::vector<std::filesystem::path> found;
    for (const auto& folder : folders) {
        std::error_code error;
        std::filesystem::recursive_directory_iterator walk(
            folder, std::filesystem::directory_options::skip_permission_denied, error);
        std::vector<std::filesystem::path> here;
        // A folder that cannot be read, or that vanishes while it is walked, offers what was seen.
        for (; !error && walk != std::filesystem::recursive_directory_iterator(); walk.increment(error)) {
            if (walk->is_regular_file(error) && isPicture(walk->path())) here.push_back(walk->path());
        }
        std::sort(here.begin(), here.end());
        found.insert(found.end(), here.begin(), here.end());
    }
    if (found.size() > limit) found.resize(limit);
    return found;
}

QVariantList wallpaperEntries(const std::vector<std::filesystem::path>& wallpapers)
{
    QVariantList entries;
    for (const auto& path : wallpapers) {
        const QString text = QString::fromStdString(path.string());
        entries.append(QVariantMap{{"path", text},
                                   {"name", QString::fromStdString(path.stem().string())},
                                   {"thumbnail", thumbnailURL("file", QString::fromUtf8(QUrl::toPercentEncoding(text)))}});
    }
    return entries;
}

QVariantList generatedEntries()
{
    QVariantList entries;
    for (int index = 1; index <= BackgroundChoice::generatedCount; ++index) {
        entries.append(QVariantMap{{"value", QStringLiteral("generated-%1").arg(index)},
                                   {"thumbnail", thumbnailURL("generated", QString::number(index))}});
    }
    return entries;
}

}  // namespace BackgroundGallery

QImage BackgroundThumbnailProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize)
{
    const QSize wanted = requestedSize.isValid() && !requestedSize.isEmpty() ? requestedSize : QSize(160, 90);
    QImage image;
    if (id.startsWith("generated/")) {
        image = QImage(wanted, QImage::Format_RGB32);
        QPainter painter(&image);
        GeneratedWallpaper::paint(painter, QRectF(QPointF(0, 0), QSizeF(wanted)), id.mid(10).toInt());
    } else if (id.startsWith("file/")) {
        QImageReader reader(QUrl::fromPercentEncoding(id.mid(5).toUtf8()));
        reader.setAutoTransform(true);
        const QSize full = reader.size();
        if (full.isValid()) reader.setScaledSize(full.scaled(wanted, Qt::KeepAspectRatioByExpanding));
        image = reader.read();
    }
    if (size) *size = image.size();
    return image;
}

}  // namespace vantile
