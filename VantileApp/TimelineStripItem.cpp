#include "TimelineStripItem.h"

#include "MainThreadResume.h"
#include "render/TimelineStripCache.h"

#include <QPainter>

#include <algorithm>
#include <filesystem>
#include <utility>

namespace vantile {

namespace {

const QColor waveformColor(96, 165, 250, 200);
const QColor rowLineColor(255, 255, 255, 10);
const QColor rowShadeColor(0, 0, 0, 40);

// One background thread: the strip waits behind the preview's own decoding rather than competing with it.
QThreadPool& stripWorkers()
{
    static QThreadPool pool;
    pool.setMaxThreadCount(1);
    return pool;
}

// A strip with no picture and no waveform says nothing worth keeping: the movie may read next time.
bool hasContent(const TimelineStrip& strip)
{
    return !strip.waveforms.empty() ||
           std::ranges::any_of(strip.thumbnails, [](const QImage& picture) { return !picture.isNull(); });
}

}  // namespace

TimelineStripItem::TimelineStripItem(QQuickItem* parent) : QQuickPaintedItem(parent) {}

TimelineStripItem::~TimelineStripItem()
{
    if (cancelled_) cancelled_->store(true);
}

void TimelineStripItem::setMovie(const QUrl& movie)
{
    if (movie == movie_) return;
    movie_ = movie;
    emit movieChanged();
    reload();
}

void TimelineStripItem::setDuration(double duration)
{
    if (duration == duration_) return;
    duration_ = duration;
    emit movieChanged();
    reload();
}

void TimelineStripItem::reload()
{
    if (cancelled_) cancelled_->store(true);
    cancelled_.reset();
    strip_ = {};
    ready_ = false;
    emit stripChanged();
    update();
    if (!movie_.isLocalFile() || !(duration_ > 0)) return;

    const std::filesystem::path path = movie_.toLocalFile().toStdString();
    TimelineStripRequest request;
    request.duration = duration_;
    // Read where the user's cache is now, so a strip stored once is found from any window.
    const TimelineStripCache cache(TimelineStripCache::defaultDirectory());
    if (auto cached = cache.load(path, request)) {
        strip_ = std::move(*cached);
        ready_ = true;
        emit stripChanged();
        update();
        return;
    }
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    cancelled_ = cancelled;
    runOffMainThread(
        stripWorkers(), this,
        [path, request, cancelled, cache] {
            TimelineStrip strip = readTimelineStrip(path, request, cancelled.get());
            // A cancelled read is partial; keeping it would show a gap for good.
            if (!cancelled->load() && hasContent(strip)) cache.store(path, request, strip);
            return strip;
        },
        [this, cancelled](TimelineStrip strip) {
            if (cancelled->load()) return;
            strip_ = std::move(strip);
            ready_ = true;
            emit stripChanged();
            update();
        });
}

void TimelineStripItem::paint(QPainter* painter)
{
    if (!ready_ || !(duration_ > 0) || width() < 1) return;
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    const double rowTop = thumbnailHeight();

    // Each picture fills the stretch of the track it stands for, cropped about its middle.
    const auto count = strip_.thumbnails.size();
    for (std::size_t index = 0; index < count; ++index) {
        const QImage& picture = strip_.thumbnails[index];
        const double left = width() * static_cast<double>(index) / static_cast<double>(count);
        const double right = width() * static_cast<double>(index + 1) / static_cast<double>(count);
        const QRectF cell(left, 0, right - left, rowTop);
        if (picture.isNull()) continue;
        const double scale = std::max(cell.width() / picture.width(), cell.height() / picture.height());
        const QSizeF shown(cell.width() / scale, cell.height() / scale);
        const QRectF source((picture.width() - shown.width()) / 2, (picture.height() - shown.height()) / 2,
                            shown.width(), shown.height());
        painter->drawImage(cell, picture, source);
        painter->fillRect(QRectF(right - 1, 0, 1, rowTop), QColor(0, 0, 0, 90));
    }

    // Waveforms: each stretch's peak drawn up and down from the row's middle.
    for (std::size_t track = 0; track < strip_.waveforms.size(); ++track) {
        const auto& peaks = strip_.waveforms[track];
        const double top = rowTop + waveformHeight() * static_cast<double>(track);
        const double middle = top + waveformHeight() / 2;
        painter->fillRect(QRectF(0, top, width(), waveformHeight()), track % 2 ? rowShadeColor : rowLineColor);
        if (peaks.empty()) continue;
        // Each track to its own loudest moment, so a quiet narration still shows where it speaks;
        // near-silence is not blown up into noise.
        const double loudest = std::max(static_cast<double>(*std::max_element(peaks.begin(), peaks.end())), 0.05);
        const double barWidth = width() / static_cast<double>(peaks.size());
        for (std::size_t index = 0; index < peaks.size(); ++index) {
            const double level = static_cast<double>(peaks[index]) / loudest;
            const double half = std::max(0.5, level * (waveformHeight() / 2 - 1));
            painter->fillRect(QRectF(barWidth * static_cast<double>(index), middle - half, std::max(barWidth, 1.0), half * 2),
                              waveformColor);
        }
    }
}

}  // namespace vantile
