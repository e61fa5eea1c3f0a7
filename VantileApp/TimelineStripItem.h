#pragma once

#include "render/TimelineStripReader.h"

#include <QQuickPaintedItem>
#include <QUrl>

#include <atomic>
#include <memory>

namespace vantile {

// The timeline's picture strip: thumbnails of the raw movie along the track, and under them
// one waveform row per audio track, all on the recording's time axis like the blocks above.
// The strip is decoded in the background when the movie changes and drawn once it is there,
// so opening a project never waits for it; strips once read are kept in the user's cache
// and drawn at once when the project opens again.
class TimelineStripItem : public QQuickPaintedItem {
    Q_OBJECT
    Q_PROPERTY(QUrl movie READ movie WRITE setMovie NOTIFY movieChanged)
    Q_PROPERTY(double duration READ duration WRITE setDuration NOTIFY movieChanged)
    Q_PROPERTY(bool ready READ isReady NOTIFY stripChanged)
    Q_PROPERTY(int thumbnailCount READ thumbnailCount NOTIFY stripChanged)
    Q_PROPERTY(int audioTrackCount READ audioTrackCount NOTIFY stripChanged)
    Q_PROPERTY(double thumbnailHeight READ thumbnailHeight CONSTANT)
    Q_PROPERTY(double waveformHeight READ waveformHeight CONSTANT)

public:
    explicit TimelineStripItem(QQuickItem* parent = nullptr);
    ~TimelineStripItem() override;

    QUrl movie() const { return movie_; }
    void setMovie(const QUrl& movie);
    double duration() const { return duration_; }
    void setDuration(double duration);
    bool isReady() const { return ready_; }
    int thumbnailCount() const { return static_cast<int>(strip_.thumbnails.size()); }
    int audioTrackCount() const { return static_cast<int>(strip_.waveforms.size()); }
    const TimelineStrip& strip() const { return strip_; }
    static double thumbnailHeight() { return 34; }
    static double waveformHeight() { return 16; }

    void paint(QPainter* painter) override;

signals:
    void movieChanged();
    void stripChanged();

private:
    void reload();

    QUrl movie_;
    double duration_ = 0;
    bool ready_ = false;
    TimelineStrip strip_;
    std::shared_ptr<std::atomic<bool>> cancelled_;
};

}  // namespace vantile
