#include "render/TimelineStripCache.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDataStream>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

#include <string>

namespace vantile {

namespace fs = std::filesystem;

namespace {

// Raised whenever the entry's layout or the reader's output changes, so old entries miss.
constexpr quint32 entryVersion = 1;
constexpr char entryMagic[] = "VANTILE-STRIP";
constexpr int magicSize = sizeof entryMagic;
constexpr int checksumSize = 32;
// Far above any real strip; a damaged count must not allocate gigabytes.
constexpr quint32 largestCount = 100000;

QByteArray hashOf(const QByteArray& data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Sha256);
}

// The request as stored and hashed: every field, the duration to the last bit.
QByteArray describeRequest(const TimelineStripRequest& request)
{
    QByteArray text;
    QDataStream stream(&text, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_6_0);
    stream << entryVersion << request.duration << qint32(request.thumbnailCount) << qint32(request.thumbnailHeight)
           << qint32(request.peaksPerTrack);
    return text;
}

std::optional<QByteArray> describeMovieState(const fs::path& movie)
{
    std::error_code error;
    const auto size = fs::file_size(movie, error);
    if (error) return std::nullopt;
    const auto changed = fs::last_write_time(movie, error);
    if (error) return std::nullopt;
    return QByteArray::number(qulonglong(size)) + '|' + QByteArray::number(qlonglong(changed.time_since_epoch().count()));
}

std::string hexPrefix(const QByteArray& data, int length)
{
    return hashOf(data).toHex().left(length).toStdString();
}

// "<movie path>-": every entry of one movie starts with it, whatever its state or request.
std::string moviePrefix(const fs::path& movie)
{
    return hexPrefix(QByteArray::fromStdString(fs::absolute(movie).string()), 16) + "-";
}

QByteArray encodeStrip(const QByteArray& request, const TimelineStrip& strip)
{
    QByteArray payload;
    QDataStream stream(&payload, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_6_0);
    stream.writeRawData(entryMagic, magicSize);
    stream << request;
    stream << quint32(strip.thumbnailTimes.size());
    for (const double time : strip.thumbnailTimes) stream << time;
    stream << quint32(strip.thumbnails.size());
    for (const QImage& picture : strip.thumbnails) {
        QByteArray png;
        if (!picture.isNull()) {
            QBuffer buffer(&png);
            buffer.open(QIODevice::WriteOnly);
            picture.save(&buffer, "PNG");
        }
        stream << qint32(picture.format()) << png;
    }
    stream << quint32(strip.waveforms.size());
    for (const auto& peaks : strip.waveforms) {
        stream << quint32(peaks.size());
        for (const float peak : peaks) stream << peak;
    }
    return payload + hashOf(payload);
}

std::optional<TimelineStrip> decodeStrip(const QByteArray& entry, const QByteArray& request)
{
    if (entry.size() < checksumSize) return std::nullopt;
    const QByteArray payload = entry.left(entry.size() - checksumSize);
    if (hashOf(payload) != entry.right(checksumSize)) return std::nullopt;

    QDataStream stream(payload);
    stream.setVersion(QDataStream::Qt_6_0);
    char magic[magicSize] = {};
    if (stream.readRawData(magic, magicSize) != magicSize ||
        QByteArray(magic, magicSize) != QByteArray(entryMagic, magicSize)) {
        return std::nullopt;
    }
    QByteArray storedRequest;
    stream >> storedRequest;
    // A different request that happened to hash alike is a miss, not someone else's strip.
    if (storedRequest != request) return std::nullopt;

    TimelineStrip strip;
    quint32 times = 0;
    stream >> times;
    if (times > largestCount) return std::nullopt;
    strip.thumbnailTimes.resize(times);
    for (double& time : strip.thumbnailTimes) stream >> time;
    quint32 pictures = 0;
    stream >> pictures;
    if (pictures > largestCount) return std::nullopt;
    for (quint32 index = 0; index < pictures && stream.status() == QDataStream::Ok; ++index) {
        qint32 format = 0;
        QByteArray png;
        stream >> format >> png;
        QImage picture;
        if (!png.isEmpty()) {
            if (!picture.loadFromData(png, "PNG")) return std::nullopt;
            // PNG keeps no pixel format; the strip compares equal only in the one it was decoded in.
            if (format > QImage::Format_Invalid && format < QImage::NImageFormats)
                picture = picture.convertToFormat(static_cast<QImage::Format>(format));
        }
        strip.thumbnails.push_back(std::move(picture));
    }
    quint32 tracks = 0;
    stream >> tracks;
    if (tracks > largestCount) return std::nullopt;
    for (quint32 track = 0; track < tracks && stream.status() == QDataStream::Ok; ++track) {
        quint32 count = 0;
        stream >> count;
        if (count > largestCount) return std::nullopt;
        std::vector<float> peaks(count);
        for (float& peak : peaks) stream >> peak;
        strip.waveforms.push_back(std::move(peaks));
    }
    if (stream.status() != QDataStream::Ok || !stream.atEnd()) return std::nullopt;
    return strip;
}

}  // namespace

TimelineStripCache::TimelineStripCache(fs::path directory) : directory_(std::move(directory)) {}

fs::path TimelineStripCache::defaultDirectory()
{
    return fs::path(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation).toStdString()) / "vantile" /
           "strips";
}

std::optional<fs::path> TimelineStripCache::entryOf(const fs::path& movie, const TimelineStripRequest& request) const
{
    const auto state = describeMovieState(movie);
    if (!state) return std::nullopt;
    return directory_ /
           (moviePrefix(movie) + hexPrefix(*state, 12) + "-" + hexPrefix(describeRequest(request), 12) + ".strip");
}

std::optional<TimelineStrip> TimelineStripCache::load(const fs::path& movie, const TimelineStripRequest& request) const
{
    const auto entry = entryOf(movie, request);
    if (!entry) return std::nullopt;
    QFile file(QString::fromStdString(entry->string()));
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    return decodeStrip(file.readAll(), describeRequest(request));
}

bool TimelineStripCache::store(const fs::path& movie, const TimelineStripRequest& request,
                               const TimelineStrip& strip) const
{
    const auto entry = entryOf(movie, request);
    if (!entry) return false;
    std::error_code error;
    fs::create_directories(directory_, error);
    // Written beside the entry and renamed over it: a killed process leaves the old entry or none.
    QSaveFile file(QString::fromStdString(entry->string()));
    if (!file.open(QIODevice::WriteOnly)) return false;
    file.write(encodeStrip(describeRequest(request), strip));
    if (!file.commit()) return false;

    // The movie's earlier states will not come back; one entry per movie state is enough.
    const std::string prefix = moviePrefix(movie);
    const std::string current = entry->filename().string();
    const std::string currentState = current.substr(0, prefix.size() + 13);
    for (fs::directory_iterator other(directory_, error); !error && other != fs::directory_iterator();
         other.increment(error)) {
        const std::string name = other->path().filename().string();
        std::error_code ignored;
        if (name.starts_with(prefix) && !name.starts_with(currentState)) fs::remove(other->path(), ignored);
    }
    return true;
}

}  // namespace vantile
