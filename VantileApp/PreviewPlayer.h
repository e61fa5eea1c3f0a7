#pragma once

#include "PreviewFrameRenderer.h"
#include "engine/OutputTimeline.h"

#include <QImage>
#include <QObject>
#include <QSize>

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <thread>

namespace vantile {

// Plays the raw movie on a thread of its own: decodes in presentation order against a
// steady playback clock, composes each due frame with the export's compositor at the
// preview canvas size and hands the newest picture to the main thread. Late frames are
// skipped rather than shown late. Without a readable movie it plays the compositor's
// placeholder for the project's duration.
class PreviewPlayer : public QObject {
    Q_OBJECT

public:
    explicit PreviewPlayer(QObject* parent = nullptr);
    ~PreviewPlayer() override;

    // Opens `movie` (or nothing) for a project of `duration` seconds, paused at 0.
    void open(const std::optional<std::filesystem::path>& movie, double duration);
    // `overlays`: what the export's overlay layers are built from (PreviewFrameRenderer::overlaysFor).
    void setScene(std::optional<CompositorScene> scene, std::optional<RenderJob> overlays = std::nullopt);
    // The project's trim and cuts: playback skips what they remove and stops at the kept end.
    void setTimeline(const OutputTimeline& timeline);
    void setCanvasSize(QSize size);

    void play();
    void pause();
    void seek(double time);

    bool isPlaying() const { return playing_.load(); }
    double currentTime() const { return currentTime_.load(); }
    double duration() const { return duration_.load(); }
    // Why the movie cannot be read, if it cannot.
    std::optional<std::string> failure() const;
    // Frames skipped to keep up, since the last open.
    long droppedFrames() const { return droppedFrames_.load(); }

    // The newest composed frame; with `isNew`, whether it is new since the last such call.
    QImage latestFrame(bool* isNew = nullptr);

signals:
    void frameReady();
    void stateChanged();

private:
    struct Shared;
    void run();

    std::unique_ptr<Shared> shared_;
    std::atomic<bool> playing_{false};
    std::atomic<double> currentTime_{0};
    std::atomic<double> duration_{0};
    std::atomic<long> droppedFrames_{0};
    std::thread thread_;
};

}  // namespace vantile
