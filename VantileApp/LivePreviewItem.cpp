#include "LivePreviewItem.h"

#include "AppState.h"
#include "PreviewGeometry.h"
#include "render/CompositorGeometry.h"

#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRectangleNode>

#include <algorithm>

namespace vantile {

namespace {

const QColor backdropColor(7, 11, 22);

}  // namespace

LivePreviewItem::LivePreviewItem(QQuickItem* parent) : QQuickItem(parent)
{
    setFlag(ItemHasContents);
    connect(&player_, &PreviewPlayer::frameReady, this, [this] {
        if (!ready_) {
            ready_ = true;
            emit readyChanged();
        }
        emit playbackChanged();
        update();
    });
    connect(&player_, &PreviewPlayer::stateChanged, this, &LivePreviewItem::playbackChanged);
}

void LivePreviewItem::setAppState(AppState* state)
{
    if (appState_ == state) return;
    if (appState_) disconnect(appState_, nullptr, this, nullptr);
    appState_ = state;
    if (appState_) {
        connect(appState_, &AppState::currentProjectChanged, this, [this] {
            reloadMovie();
            updateScene();
        });
        // The bubble's camera movie lies beside the raw movie.
        connect(appState_, &AppState::previewVideoURLChanged, this, [this] {
            reloadMovie();
            updateScene();
        });
        connect(appState_, &AppState::renderSettingsChanged, this, [this] {
            updateCanvas();
            updateScene();
        });
    }
    reloadMovie();
    updateCanvas();
    updateScene();
    emit appStateChanged();
}

QString LivePreviewItem::failureText() const
{
    const auto failure = player_.failure();
    return failure ? QString::fromStdString(*failure) : QString();
}

void LivePreviewItem::reloadMovie()
{
    if (!appState_) return;
    const QUrl movie = appState_->previewVideoURLValue();
    const auto& project = appState_->currentProject();
    const QString projectId = project ? QString::fromStdString(project->id) : QString();
    // Settings changes replace the project value; only a new movie or project reopens.
    if (movie == loadedMovie_ && projectId == loadedProjectId_) return;
    loadedMovie_ = movie;
    loadedProjectId_ = projectId;
    const auto path = appState_->previewVideoURL();
    player_.open(path, project ? project->duration : 0);
    if (ready_) {
        ready_ = false;
        emit readyChanged();
    }
}

QVariantMap LivePreviewItem::videoPointAt(double x, double y) const
{
    if (!appState_ || !appState_->currentProject() || canvasRect_.isEmpty()) return {};
    const RenderSettings& settings = appState_->renderSettings();
    // The canvas shows the output frame scaled down; work in output pixels as the compositor does.
    const double scale = static_cast<double>(settings.outputWidth) / canvasRect_.width();
    const auto point = PreviewGeometry::videoPointAt(
        *appState_->currentProject(), settings, static_cast<double>(settings.outputWidth),
        static_cast<double>(settings.outputHeight), (x - canvasRect_.x()) * scale, (y - canvasRect_.y()) * scale,
        currentTime());
    if (!point) return {};
    return {{"x", point->x}, {"y", point->y}};
}

CodablePoint LivePreviewItem::outputPointAt(double x, double y) const
{
    const RenderSettings& settings = appState_->renderSettings();
    return {(x - canvasRect_.x()) * static_cast<double>(settings.outputWidth) / canvasRect_.width(),
            (y - canvasRect_.y()) * static_cast<double>(settings.outputHeight) / canvasRect_.height()};
}

bool LivePreviewItem::pressCameraBubble(double x, double y)
{
    cameraBubbleDrag_.reset();
    if (!appState_ || !appState_->currentProject() || !appState_->currentProject()->camera || canvasRect_.isEmpty()) {
        return false;
    }
    const RenderSettings& settings = appState_->renderSettings();
    const CGRectCodable canvas{0, 0, static_cast<double>(settings.outputWidth), static_cast<double>(settings.outputHeight)};
    cameraBubbleDrag_ = CameraBubbleDrag::begin(canvas, settings, outputPointAt(x, y));
    if (!cameraBubbleDrag_) return false;
    appState_->beginCameraBubbleGesture();
    return true;
}

void LivePreviewItem::dragCameraBubble(double x, double y)
{
    if (!cameraBubbleDrag_ || !appState_) return;
    appState_->setCameraBubble(CameraBubbleLook::of(cameraBubbleDrag_->movedTo(outputPointAt(x, y))));
}

void LivePreviewItem::releaseCameraBubble(double x, double y)
{
    if (!cameraBubbleDrag_ || !appState_) return;
    appState_->setCameraBubble(CameraBubbleLook::of(cameraBubbleDrag_->releasedAt(outputPointAt(x, y))));
    cameraBubbleDrag_.reset();
    appState_->endCameraBubbleGesture();
}

namespace {

// The recording uncropped and held in the overview, so every part of it can be chosen.
RecordingProject wholePicture(RecordingProject project)
{
    project.crop.reset();
    const auto width = static_cast<double>(project.video.width);
    const auto height = static_cast<double>(project.video.height);
    project.focusSegments = {{0, project.duration, FocusSegment::SegmentType::overview, width / 2, height / 2, 1}};
    return project;
}

}  // namespace

void LivePreviewItem::setShowsWholePicture(bool shows)
{
    if (showsWholePicture_ == shows) return;
    showsWholePicture_ = shows;
    updateScene();
    emit showsWholePictureChanged();
}

QRectF LivePreviewItem::wholePictureArea() const
{
    if (!appState_ || !appState_->currentProject() || canvasRect_.isEmpty()) return {};
    RenderSettings settings = appState_->renderSettings();
    settings.layout = VideoLayout::card;
    const auto outputWidth = static_cast<double>(settings.outputWidth);
    const auto outputHeight = static_cast<double>(settings.outputHeight);
    const VideoInfo& video = appState_->currentProject()->video;
    const CGRectCodable shown = CompositorGeometry::frameLayout({0, 0, outputWidth, outputHeight},
                                                                static_cast<double>(video.width),
                                                                static_cast<double>(video.height), settings)
                                    .video;
    const double scale = canvasRect_.width() / std::max(outputWidth, 1.0);
    return {canvasRect_.x() + shown.x * scale, canvasRect_.y() + shown.y * scale, shown.width * scale,
            shown.height * scale};
}

void LivePreviewItem::updateScene()
{
    if (!appState_ || !appState_->currentProject()) {
        player_.setScene(std::nullopt);
        timeline_ = OutputTimeline(0, std::nullopt, {});
        return;
    }
    RecordingProject project = *appState_->currentProject();
    RenderSettings settings = appState_->renderSettings();
    if (showsWholePicture_) {
        project = wholePicture(std::move(project));
        settings.layout = VideoLayout::card;
    }
    std::optional<RenderJob> overlays;
    if (const auto movie = appState_->previewVideoURL()) overlays = PreviewFrameRenderer::overlaysFor(project, settings, *movie);
    player_.setScene(PreviewFrameRenderer::sceneFor(project, settings, appState_->projectDirectory()),
                     std::move(overlays));
    timeline_ = OutputTimeline(*appState_->currentProject());
    player_.setTimeline(timeline_);
    emit playbackChanged();
}

void LivePreviewItem::updateCanvas()
{
    if (!appState_) return;
    const RenderSettings& settings = appState_->renderSettings();
    const QSize available(static_cast<int>(width()), static_cast<int>(height()));
    if (available.width() < 2 || available.height() < 2) return;
    const QSize logical = PreviewGeometry::fittedCanvasSize(static_cast<double>(settings.outputWidth),
                                                            static_cast<double>(settings.outputHeight), available);
    const QRectF rect((width() - logical.width()) / 2, (height() - logical.height()) / 2, logical.width(),
                      logical.height());
    if (rect != canvasRect_) {
        canvasRect_ = rect;
        emit canvasRectChanged();
    }
    const double ratio = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    player_.setCanvasSize(QSize(static_cast<int>(logical.width() * ratio), static_cast<int>(logical.height() * ratio)));
}

void LivePreviewItem::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size()) updateCanvas();
}

void LivePreviewItem::togglePlayback()
{
    if (player_.isPlaying()) {
        player_.pause();
    } else {
        player_.play();
    }
}

void LivePreviewItem::handleScrubbing(bool editing, double time)
{
    if (editing) {
        wasPlayingBeforeScrub_ = player_.isPlaying();
        isScrubbing_ = true;
        scrubTime_ = time;
        player_.pause();
    } else {
        isScrubbing_ = false;
        player_.seek(time);
        if (wasPlayingBeforeScrub_) player_.play();
    }
    emit playbackChanged();
}

void LivePreviewItem::scrubTo(double time)
{
    scrubTime_ = time;
    emit playbackChanged();
}

void LivePreviewItem::stepBy(double outputSeconds)
{
    const double target = std::clamp(outputTime() + outputSeconds, 0.0, timeline_.duration());
    player_.pause();
    isScrubbing_ = false;
    player_.seek(timeline_.recordingTime(target));
    emit playbackChanged();
}

void LivePreviewItem::stepFrames(int frames)
{
    double fps = 30;
    if (appState_ && appState_->currentProject() && appState_->currentProject()->video.fps > 0) {
        fps = static_cast<double>(appState_->currentProject()->video.fps);
    }
    stepBy(frames / fps);
}

void LivePreviewItem::seekToStart()
{
    stepBy(-outputTime());
}

void LivePreviewItem::seekToEnd()
{
    stepBy(timeline_.duration() - outputTime());
}

QString LivePreviewItem::formatPlaybackTime(double time) const
{
    return QString::fromStdString(PreviewGeometry::formatPlaybackTime(time));
}

QSGNode* LivePreviewItem::updatePaintNode(QSGNode* node, UpdatePaintNodeData*)
{
    bool isNew = false;
    const QImage frame = player_.latestFrame(&isNew);
    if (frame.isNull() || canvasRect_.isEmpty()) {
        delete node;
        return nullptr;
    }
    // The whole item is painted (backdrop, then the frame), so no earlier frame of another
    // size lingers at the edges when the aspect ratio changes.
    auto* backdrop = static_cast<QSGRectangleNode*>(node);
    QSGImageNode* imageNode = nullptr;
    if (!backdrop) {
        backdrop = window()->createRectangleNode();
        imageNode = window()->createImageNode();
        imageNode->setOwnsTexture(true);
        imageNode->setFiltering(QSGTexture::Linear);
        backdrop->appendChildNode(imageNode);
        isNew = true;
    } else {
        imageNode = static_cast<QSGImageNode*>(backdrop->firstChild());
    }
    backdrop->setRect(boundingRect());
    backdrop->setColor(backdropColor);
    if (isNew) imageNode->setTexture(window()->createTextureFromImage(frame));
    imageNode->setRect(canvasRect_);
    return backdrop;
}

void LivePreviewItem::releaseResources()
{
    QQuickItem::releaseResources();
}

}  // namespace vantile
