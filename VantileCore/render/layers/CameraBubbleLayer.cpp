#include "render/layers/CameraBubbleLayer.h"

#include "render/CompositorGeometry.h"
#include "render/ImageConversion.h"
#include "render/RenderError.h"
#include "render/ShadowPainter.h"

#include <QPainter>
#include <QTransform>

#include <libyuv/convert_argb.h>
#include <libyuv/scale.h>

#include <algorithm>
#include <cmath>

namespace vantile {

namespace {

// A soft shadow under the bubble, like the card's, scaled with the bubble.
constexpr double shadowAlpha = 0.35;
constexpr double shadowBlurPerSide = 0.08;
constexpr double shadowDropPerSide = 0.03;
constexpr double roundedCornerPerSide = 0.22;

QPainterPath shapePath(CameraShape shape, double side)
{
    QPainterPath path;
    switch (shape) {
    case CameraShape::circle: path.addEllipse(QRectF(0, 0, side, side)); break;
    case CameraShape::roundedSquare:
        path.addRoundedRect(QRectF(0, 0, side, side), side * roundedCornerPerSide, side * roundedCornerPerSide);
        break;
    case CameraShape::square: path.addRect(QRectF(0, 0, side, side)); break;
    }
    return path;
}

}  // namespace

std::unique_ptr<CameraBubbleLayer> CameraBubbleLayer::forJob(const RenderJob& job)
{
    const auto& camera = job.project.camera;
    if (!camera || !job.renderSettings.cameraVisible) return nullptr;
    const std::filesystem::path path(camera->path);
    const std::filesystem::path cameraURL = path.is_absolute() ? path : job.rawVideoURL.parent_path() / path;
    std::unique_ptr<SourceFrameProvider> frames;
    try {
        frames = std::make_unique<SourceFrameProvider>(cameraURL);
    } catch (const RenderError&) {
        return nullptr;
    }
    if (!frames->hasMovie()) return nullptr;
    return std::make_unique<CameraBubbleLayer>(*camera, job.renderSettings, std::move(frames));
}

CameraBubbleLayer::CameraBubbleLayer(const CameraRecording& camera, const RenderSettings& settings,
                                     std::unique_ptr<SourceFrameProvider> frames)
    : startOffset_(camera.startOffset), settings_(settings), frames_(std::move(frames))
{
}

void CameraBubbleLayer::prepareForSide(int side)
{
    if (side == side_) return;
    side_ = side;
    const double blur = std::max(4.0, side * shadowBlurPerSide);
    const double drop = std::round(side * shadowDropPerSide);
    shadowReach_ = static_cast<int>(std::ceil(blur * 1.5 + drop)) + 2;
    shape_ = shapePath(settings_.cameraShape, side);
    const int tileSide = side + 2 * shadowReach_;
    tile_ = QImage(tileSide, tileSide, QImage::Format_ARGB32_Premultiplied);
    square_ = QImage(side, side, QImage::Format_RGB32);
    if (tile_.isNull() || square_.isNull()) throw RenderError::pixelBufferCreationFailed();
    shadow_ = QImage();
    if (!settings_.cameraShadow) return;
    QImage shapeAlpha(tileSide, tileSide, QImage::Format_ARGB32_Premultiplied);
    shapeAlpha.fill(Qt::transparent);
    {
        QPainter painter(&shapeAlpha);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(shadowReach_, shadowReach_ + drop);
        painter.fillPath(shape_, Qt::black);
    }
    shadow_ = ShadowPainter::shadowImage(shapeAlpha, QColor::fromRgbF(0, 0, 0, static_cast<float>(shadowAlpha)), blur);
}

bool CameraBubbleLayer::scaleCropInYuv(const AVFrame& frame)
{
    if (frame.format != AV_PIX_FMT_YUV420P && frame.format != AV_PIX_FMT_YUVJ420P) return false;
    // The largest centred square of the camera frame, on whole chroma samples.
    const int cropSide = std::min(frame.width, frame.height) & ~1;
    const int left = ((frame.width - cropSide) / 2) & ~1;
    const int top = ((frame.height - cropSide) / 2) & ~1;
    if (cropSide < 2) return false;
    if (!scaledCrop_ || scaledCrop_->width != side_) {
        scaledCrop_ = allocateFrame(AV_PIX_FMT_YUV420P, side_, side_);
    }
    const auto at = [&](int plane, int x, int y) {
        return frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane] + x;
    };
    AVFrame& scaled = *scaledCrop_;
    // A box filter: every camera pixel counts, so a 720-pixel crop shrinks without aliasing.
    if (libyuv::I420Scale(at(0, left, top), frame.linesize[0], at(1, left / 2, top / 2), frame.linesize[1],
                          at(2, left / 2, top / 2), frame.linesize[2], cropSide, cropSide, scaled.data[0],
                          scaled.linesize[0], scaled.data[1], scaled.linesize[1], scaled.data[2], scaled.linesize[2],
                          side_, side_, libyuv::kFilterBox) != 0) {
        return false;
    }
    return libyuv::I420ToARGBMatrix(scaled.data[0], scaled.linesize[0], scaled.data[1], scaled.linesize[1],
                                    scaled.data[2], scaled.linesize[2], square_.bits(),
                                    static_cast<int>(square_.bytesPerLine()), &yuvToRgbConstants(frame), side_,
                                    side_) == 0;
}

void CameraBubbleLayer::paintTile(const AVFrame& frame)
{
    // Scaling the crop before converting it touches only the pixels the bubble shows.
    if (!scaleCropInYuv(frame)) {
        convertFrameToImage(frame, cameraImage_);
        const double cropSide = std::min(cameraImage_.width(), cameraImage_.height());
        const QRectF crop((cameraImage_.width() - cropSide) / 2, (cameraImage_.height() - cropSide) / 2, cropSide,
                          cropSide);
        QPainter painter(&square_);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(QRectF(0, 0, side_, side_), cameraImage_, crop);
    }
    tile_.fill(Qt::transparent);
    QPainter painter(&tile_);
    if (!shadow_.isNull()) painter.drawImage(0, 0, shadow_);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(shadowReach_, shadowReach_);
    // Filling the shape with the picture as its brush gives the edge antialiasing a clip would not.
    QBrush picture(square_);
    // As the presenter sees themselves in a mirror, the way such bubbles are expected to look.
    if (settings_.cameraMirror) picture.setTransform(QTransform(-1, 0, 0, 1, side_, 0));
    painter.fillPath(shape_, picture);
}

std::optional<OverlayTile> CameraBubbleLayer::tileAt(double time, const QRectF& canvas)
{
    const double cameraTime = time - startOffset_;
    const double duration = frames_->duration();
    // Before the camera's first frame and after its last, the bubble shows nothing.
    if (cameraTime < 0 || (duration > 0 && cameraTime >= duration)) return std::nullopt;
    const AVFrame* frame = frames_->decodedFrame(cameraTime);
    if (!frame) return std::nullopt;

    const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect(
        {canvas.x(), canvas.y(), canvas.width(), canvas.height()}, settings_);
    prepareForSide(static_cast<int>(bubble.width));
    const QRect rect(static_cast<int>(bubble.x) - shadowReach_, static_cast<int>(bubble.y) - shadowReach_,
                     tile_.width(), tile_.height());
    const std::int64_t content = frame->pts == AV_NOPTS_VALUE ? frame->best_effort_timestamp : frame->pts;
    if (!lastTile_ || lastTile_->content != content || lastTile_->rect.size() != rect.size()) {
        paintTile(*frame);
    }
    lastTile_ = OverlayTile{rect, content, &tile_};
    return lastTile_;
}

}  // namespace vantile
