#include "ProjectThumbnails.h"

#include "render/ImageConversion.h"
#include "render/MovieReader.h"

#include <QCryptographicHash>
#include <QSaveFile>
#include <QStandardPaths>
#include <QUrl>

namespace vantile {

namespace fs = std::filesystem;

ProjectThumbnails::ProjectThumbnails(fs::path cacheDirectory) : cacheDirectory_(std::move(cacheDirectory)) {}

fs::path ProjectThumbnails::defaultCacheDirectory()
{
    return fs::path(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation).toStdString()) / "vantile" /
           "thumbnails";
}

std::optional<fs::path> ProjectThumbnails::cachedFileOf(const fs::path& movie) const
{
    std::error_code error;
    const auto size = fs::file_size(movie, error);
    if (error) return std::nullopt;
    const auto changed = fs::last_write_time(movie, error);
    if (error) return std::nullopt;
    QCryptographicHash key(QCryptographicHash::Sha256);
    key.addData(QByteArray::fromStdString(fs::absolute(movie).string()));
    key.addData(QByteArray::number(qulonglong(size)));
    key.addData(QByteArray::number(qlonglong(changed.time_since_epoch().count())));
    return cacheDirectory_ / (key.result().toHex().left(32).toStdString() + ".png");
}

QImage ProjectThumbnails::thumbnail(const fs::path& movie) const
{
    const auto cached = cachedFileOf(movie);
    if (!cached) return {};
    QImage picture(QString::fromStdString(cached->string()));
    if (!picture.isNull()) return picture;
    try {
        MovieReader reader(movie);
        const double duration = reader.duration();
        FrameHandle frame = reader.frameAt(duration > 0 ? std::min(frameTime, duration / 2) : 0);
        if (!frame) return {};
        QImage full;
        convertFrameToImage(*frame, full);
        picture = full.scaledToWidth(width, Qt::SmoothTransformation);
    } catch (const std::exception&) {
        return {};
    }
    // A failed write only costs decoding again next time.
    std::error_code error;
    fs::create_directories(cacheDirectory_, error);
    QSaveFile file(QString::fromStdString(cached->string()));
    if (file.open(QIODevice::WriteOnly) && picture.save(&file, "PNG")) file.commit();
    return picture;
}

ProjectThumbnailProvider::ProjectThumbnailProvider(ProjectThumbnails thumbnails)
    : QQuickImageProvider(QQuickImageProvider::Image, QQuickImageProvider::ForceAsynchronousImageLoading),
      thumbnails_(std::move(thumbnails))
{
}

QImage ProjectThumbnailProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize)
{
    const fs::path movie = QUrl::fromPercentEncoding(id.toUtf8()).toStdString();
    QImage picture = thumbnails_.thumbnail(movie);
    // QML asks for one side only (the other 0) when it keeps the picture's shape.
    if (!picture.isNull() && requestedSize.width() > 0 && requestedSize.width() < picture.width())
        picture = picture.scaledToWidth(requestedSize.width(), Qt::SmoothTransformation);
    else if (!picture.isNull() && requestedSize.height() > 0 && requestedSize.height() < picture.height())
        picture = picture.scaledToHeight(requestedSize.height(), Qt::SmoothTransformation);
    if (size) *size = picture.size();
    return picture;
}

}  // namespace vantile
