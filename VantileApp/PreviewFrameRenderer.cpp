#include "PreviewFrameRenderer.h"

#include "render/RenderError.h"
#include "render/layers/OverlayLayers.h"

#include <QPainter>

namespace vantile {

CompositorScene PreviewFrameRenderer::sceneFor(const RecordingProject& project, const RenderSettings& settings,
                                               const std::optional<std::filesystem::path>& projectDirectory)
{
    if (projectDirectory) {
        try {
            return CompositorScene::of(project, settings, *projectDirectory);
        } catch (const RenderError&) {
        }
    }
    return CompositorScene::of(project, settings);
}

RenderJob PreviewFrameRenderer::overlaysFor(const RecordingProject& project, const RenderSettings& settings,
                                            const std::filesystem::path& rawMovie)
{
    RenderJob job;
    job.project = project;
    job.rawVideoURL = rawMovie;
    job.renderSettings = settings;
    return croppedJob(std::move(job));
}

void PreviewFrameRenderer::setScene(CompositorScene scene, std::optional<RenderJob> overlays)
{
    scene_ = std::move(scene);
    overlays_ = std::move(overlays);
    compositor_.reset();
}

void PreviewFrameRenderer::render(QImage& target, const QImage* source, double time)
{
    if (!scene_ || target.isNull()) return;
    // The compositor's camera and cursor, and the camera movie of the bubble, only read
    // forward; going back starts them all anew.
    if (!compositor_ || time < lastTime_) {
        compositor_ = std::make_unique<FrameCompositor>(*scene_, [this](double) { return source_; });
        if (overlays_) addOverlayLayers(*compositor_, *overlays_);
    }
    lastTime_ = time;
    source_ = source;
    const std::optional<RecordingCrop> crop = overlays_ ? overlays_->sourceCrop : std::nullopt;
    if (source && crop) {
        const QRect part(static_cast<int>(crop->x), static_cast<int>(crop->y), static_cast<int>(crop->width),
                         static_cast<int>(crop->height));
        if (source->depth() == 32 && source->rect().contains(part)) {
            croppedSource_ = QImage(source->constBits() + part.y() * source->bytesPerLine() + part.x() * 4,
                                    part.width(), part.height(), source->bytesPerLine(), source->format());
        } else {
            croppedSource_ = source->copy(part);
        }
        source_ = &croppedSource_;
    }

    const double outputWidth = static_cast<double>(scene_->settings.outputWidth);
    const double outputHeight = static_cast<double>(scene_->settings.outputHeight);
    QPainter painter(&target);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.scale(target.width() / outputWidth, target.height() / outputHeight);
    compositor_->drawFrame(painter, QRectF(0, 0, outputWidth, outputHeight), time);
}

}  // namespace vantile
