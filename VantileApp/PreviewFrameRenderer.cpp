#include "PreviewFrameRenderer.h"

#include <QPainter>

namespace vantile {

CompositorScene PreviewFrameRenderer::sceneFor(const RecordingProject& project, const RenderSettings& settings)
{
    return CompositorScene::of(project, settings);
}

void PreviewFrameRenderer::setScene(CompositorScene scene)
{
    scene_ = std::move(scene);
    compositor_.reset();
}

void PreviewFrameRenderer::render(QImage& target, const QImage* source, double time)
{
    if (!scene_ || target.isNull()) return;
    // The compositor's camera and cursor only read forward; going back starts a new one.
    if (!compositor_ || time < lastTime_) {
        compositor_ = std::make_unique<FrameCompositor>(*scene_, [this](double) { return source_; });
    }
    lastTime_ = time;
    source_ = source;

    const double outputWidth = static_cast<double>(scene_->settings.outputWidth);
    const double outputHeight = static_cast<double>(scene_->settings.outputHeight);
    QPainter painter(&target);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.scale(target.width() / outputWidth, target.height() / outputHeight);
    compositor_->drawFrame(painter, QRectF(0, 0, outputWidth, outputHeight), time);
}

}  // namespace vantile
