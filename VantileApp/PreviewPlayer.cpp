#include "PreviewPlayer.h"

#include "render/ImageConversion.h"
#include "render/MovieReader.h"

#include <chrono>
#include <cmath>

namespace vantile {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double placeholderFps = 30;

}  // namespace

// Everything the main thread hands to the playback thread, under one lock.
struct PreviewPlayer::Shared {
    std::mutex mutex;
    std::condition_variable wake;
    bool quit = false;

    // Commands.
    bool reopen = false;
    std::optional<std::filesystem::path> movie;
    bool sceneChanged = false;
    std::optional<CompositorScene> scene;
    std::optional<RenderJob> overlays;
    std::optional<OutputTimeline> timeline;
    QSize canvasSize;
    std::optional<double> seekTarget;
    bool wantsPlaying = false;

    // Results.
    std::optional<std::string> failure;
    QImage latest;
    bool latestIsNew = false;
};

PreviewPlayer::PreviewPlayer(QObject* parent) : QObject(parent), shared_(std::make_unique<Shared>())
{
    thread_ = std::thread([this] { run(); });
}

PreviewPlayer::~PreviewPlayer()
{
    {
        std::lock_guard lock(shared_->mutex);
        shared_->quit = true;
    }
    shared_->wake.notify_all();
    thread_.join();
}

void PreviewPlayer::open(const std::optional<std::filesystem::path>& movie, double duration)
{
    {
        std::lock_guard lock(shared_->mutex);
        shared_->reopen = true;
        shared_->movie = movie;
        shared_->seekTarget = 0;
        shared_->wantsPlaying = false;
        shared_->failure.reset();
    }
    playing_ = false;
    currentTime_ = 0;
    duration_ = duration;
    droppedFrames_ = 0;
    shared_->wake.notify_all();
    emit stateChanged();
}

void PreviewPlayer::setScene(std::optional<CompositorScene> scene, std::optional<RenderJob> overlays)
{
    {
        std::lock_guard lock(shared_->mutex);
        shared_->scene = std::move(scene);
        shared_->overlays = std::move(overlays);
        shared_->sceneChanged = true;
    }
    shared_->wake.notify_all();
}

void PreviewPlayer::setTimeline(const OutputTimeline& timeline)
{
    {
        std::lock_guard lock(shared_->mutex);
        shared_->timeline = timeline;
    }
    shared_->wake.notify_all();
}

void PreviewPlayer::setCanvasSize(QSize size)
{
    {
        std::lock_guard lock(shared_->mutex);
        if (shared_->canvasSize == size) return;
        shared_->canvasSize = size;
        shared_->sceneChanged = true;
    }
    shared_->wake.notify_all();
}

void PreviewPlayer::play()
{
    {
        std::lock_guard lock(shared_->mutex);
        // Playing again from the end starts over.
        if (currentTime_.load() >= duration_.load() - 1e-6) shared_->seekTarget = 0;
        shared_->wantsPlaying = true;
    }
    playing_ = true;
    shared_->wake.notify_all();
    emit stateChanged();
}

void PreviewPlayer::pause()
{
    {
        std::lock_guard lock(shared_->mutex);
        shared_->wantsPlaying = false;
    }
    playing_ = false;
    shared_->wake.notify_all();
    emit stateChanged();
}

void PreviewPlayer::seek(double time)
{
    const double clamped = std::clamp(time, 0.0, std::max(duration_.load(), 0.0));
    {
        std::lock_guard lock(shared_->mutex);
        shared_->seekTarget = clamped;
    }
    currentTime_ = clamped;
    shared_->wake.notify_all();
    emit stateChanged();
}

std::optional<std::string> PreviewPlayer::failure() const
{
    std::lock_guard lock(shared_->mutex);
    return shared_->failure;
}

QImage PreviewPlayer::latestFrame(bool* isNew)
{
    std::lock_guard lock(shared_->mutex);
    if (isNew) {
        *isNew = shared_->latestIsNew;
        shared_->latestIsNew = false;
    }
    return shared_->latest;
}

void PreviewPlayer::run()
{
    std::unique_ptr<MovieReader> reader;
    PreviewFrameRenderer renderer;
    QSize canvasSize;
    FrameHandle pending;       // decoded but not yet due
    double pendingTime = 0;
    QImage sourceImage;        // the raw picture currently shown
    bool hasSource = false;
    double shownTime = 0;
    bool playing = false;
    Clock::time_point clockStart;
    double mediaStart = 0;
    // The clock starts with the first decoded frame, so the decoder's start-up is not lateness.
    bool clockPending = false;

    const auto publish = [&](double time) {
        if (!canvasSize.isValid() || !renderer.hasScene()) return;
        // A fresh picture each time: the main thread may still hold the previous one.
        QImage canvas(canvasSize, QImage::Format_RGB32);
        renderer.render(canvas, hasSource ? &sourceImage : nullptr, time);
        {
            std::lock_guard lock(shared_->mutex);
            shared_->latest = std::move(canvas);
            shared_->latestIsNew = true;
            // A seek asked for meanwhile has published its own time; this frame's is stale.
            if (!shared_->seekTarget) currentTime_ = time;
        }
        QMetaObject::invokeMethod(this, &PreviewPlayer::frameReady, Qt::QueuedConnection);
    };
    const auto finishPlayback = [&] {
        playing = false;
        playing_ = false;
        currentTime_ = duration_.load();
        {
            std::lock_guard lock(shared_->mutex);
            shared_->wantsPlaying = false;
        }
        // The player stays at the end; no rewind, no loop.
        QMetaObject::invokeMethod(this, &PreviewPlayer::stateChanged, Qt::QueuedConnection);
    };
    const auto fail = [&](const std::string& reason) {
        reader.reset();
        hasSource = false;
        std::lock_guard lock(shared_->mutex);
        shared_->failure = reason;
    };
    const auto seekTo = [&](double time) {
        pending.reset();
        shownTime = time;
        if (reader) {
            try {
                if (FrameHandle frame = reader->frameAt(time)) {
                    convertFrameToImage(*frame, sourceImage);
                    hasSource = true;
                }
            } catch (const std::exception& error) {
                fail(error.what());
            }
        }
        publish(time);
    };

    std::optional<OutputTimeline> timeline;
    for (;;) {
        std::optional<double> seekTarget;
        bool sceneChanged = false;
        {
            std::unique_lock lock(shared_->mutex);
            timeline = shared_->timeline;
            shared_->wake.wait(lock, [&] {
                return shared_->quit || shared_->reopen || shared_->sceneChanged || shared_->seekTarget ||
                       shared_->wantsPlaying != playing || playing;
            });
            if (shared_->quit) return;
            if (shared_->reopen) {
                shared_->reopen = false;
                const auto movie = shared_->movie;
                lock.unlock();
                reader.reset();
                hasSource = false;
                pending.reset();
                if (movie) {
                    try {
                        reader = std::make_unique<MovieReader>(*movie);
                    } catch (const std::exception& error) {
                        fail(error.what());
                    }
                }
                lock.lock();
            }
            if (shared_->sceneChanged) {
                shared_->sceneChanged = false;
                sceneChanged = true;
                if (shared_->scene) renderer.setScene(*shared_->scene, shared_->overlays);
                canvasSize = shared_->canvasSize;
            }
            seekTarget = shared_->seekTarget;
            shared_->seekTarget.reset();
            if (shared_->wantsPlaying != playing) {
                playing = shared_->wantsPlaying;
                if (playing) {
                    clockStart = Clock::now();
                    mediaStart = seekTarget.value_or(shownTime);
                    clockPending = true;
                }
            }
        }

        if (seekTarget) {
            seekTo(*seekTarget);
            if (playing) {
                clockStart = Clock::now();
                mediaStart = *seekTarget;
                clockPending = true;
            }
        } else if (sceneChanged) {
            // A new look or size shows at once, also while paused.
            publish(shownTime);
        }
        if (!playing) continue;

        // The clock runs at the speed of the stretch it started in; where that stretch ends it
        // starts again at the next one's speed (also out of a stretch at normal speed).
        const auto played = timeline ? timeline->playedRangeAt(mediaStart) : std::nullopt;
        const double speed = played ? played->speed : 1.0;
        double now = mediaStart + speed * std::chrono::duration<double>(Clock::now() - clockStart).count();
        if (played && !clockPending && now >= played->range.end &&
            timeline->outputTime(played->range.end)) {
            clockStart += std::chrono::duration_cast<Clock::duration>(
                std::chrono::duration<double>((played->range.end - mediaStart) / speed));
            mediaStart = played->range.end;
            continue;
        }
        // Removed stretches are skipped as the export skips them: a hard cut to the next kept instant.
        if (timeline && !timeline->isIdentity() && !clockPending && !timeline->outputTime(now)) {
            const double output = timeline->outputTimeAtOrAfter(now);
            if (output >= timeline->duration()) {
                finishPlayback();
                continue;
            }
            const double resume = timeline->recordingTime(output);
            seekTo(resume);
            clockStart = Clock::now();
            mediaStart = resume;
            clockPending = true;
            continue;
        }
        if (!reader) {
            // Placeholder playback: frames on a fixed grid for the project's duration.
            const double duration = duration_.load();
            if (now >= duration) {
                finishPlayback();
                continue;
            }
            const double next = (std::floor(now * placeholderFps) + 1) / placeholderFps;
            shownTime = now;
            publish(now);
            std::unique_lock lock(shared_->mutex);
            shared_->wake.wait_until(lock, clockStart + std::chrono::duration_cast<Clock::duration>(
                                                            std::chrono::duration<double>((next - mediaStart) / speed)));
            continue;
        }
        if (!pending) {
            try {
                pending = reader->readFrame();
            } catch (const std::exception& error) {
                fail(error.what());
                continue;
            }
            if (!pending) {
                finishPlayback();
                continue;
            }
            pendingTime = reader->frameTime(*pending);
        }
        if (clockPending) {
            clockPending = false;
            clockStart = Clock::now();
            mediaStart = std::max(pendingTime, mediaStart);
            continue;
        }
        if (pendingTime > now) {
            std::unique_lock lock(shared_->mutex);
            shared_->wake.wait_until(lock, clockStart + std::chrono::duration_cast<Clock::duration>(
                                                            std::chrono::duration<double>((pendingTime - mediaStart) / speed)));
            continue;
        }
        FrameHandle due = std::move(pending);
        const double dueTime = pendingTime;
        // When even the frame after this one is a whole frame late, this one is skipped.
        try {
            pending = reader->readFrame();
            if (pending) pendingTime = reader->frameTime(*pending);
        } catch (const std::exception& error) {
            fail(error.what());
            continue;
        }
        if (pending && 2 * pendingTime - dueTime <= now) {
            ++droppedFrames_;
            continue;
        }
        convertFrameToImage(*due, sourceImage);
        hasSource = true;
        shownTime = dueTime;
        publish(dueTime);
    }
}

}  // namespace vantile
