#include "render/layers/CameraBubbleLayer.h"

#include "render/CompositorGeometry.h"
#include "render/ImageConversion.h"
#include "render/RenderError.h"
#include "render/ShadowPainter.h"

#include <QPainter>
#include <QTransform>

#include <libyuv/convert_argb.h>
#include <libyuv/planar_functions.h>
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
        // The bubble shows the camera at a fraction of its size.
        frames = std::make_unique<SourceFrameProvider>(cameraURL, MovieReader::Fidelity::shownSmall);
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
    imageContent_ = planesContent_ = -1;
    const double blur = std::max(4.0, side * shadowBlurPerSide);
    const double drop = std::round(side * shadowDropPerSide);
    shadowReach_ = (static_cast<int>(std::ceil(blur * 1.5 + drop)) + 3) & ~1;
    shape_ = shapePath(settings_.cameraShape, side);
    picture_ = QImage(side, side, QImage::Format_ARGB32_Premultiplied);
    unmirrored_ = QImage(side, side, QImage::Format_ARGB32_Premultiplied);
    shapeMask_ = QImage(side, side, QImage::Format_ARGB32_Premultiplied);
    if (picture_.isNull() || unmirrored_.isNull() || shapeMask_.isNull()) throw RenderError::pixelBufferCreationFailed();
    shapeMask_.fill(Qt::transparent);
    {
        QPainter painter(&shapeMask_);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(shape_, Qt::black);
    }
    picturePlanes_.planes = allocateFrame(AV_PIX_FMT_YUV420P, side, side);
    picturePlanes_.alpha.resize(static_cast<std::size_t>(side) * static_cast<std::size_t>(side));
    libyuv::ARGBExtractAlpha(shapeMask_.constBits(), static_cast<int>(shapeMask_.bytesPerLine()),
                             picturePlanes_.alpha.data(), side, side, side);
    shadow_ = QImage();
    shadowPlanes_ = PlanarTile{};
    if (!settings_.cameraShadow) return;
    const int tileSide = side + 2 * shadowReach_;
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

const PlanarTile& CameraBubbleLayer::shadowPlanes()
{
    if (shadowPlanes_.planes) return shadowPlanes_;
    const int tileSide = shadow_.width();
    // Black, with the shadow's coverage.
    shadowPlanes_.planes = allocateFrame(AV_PIX_FMT_YUV420P, tileSide, tileSide);
    AVFrame& planes = *shadowPlanes_.planes;
    libyuv::SetPlane(planes.data[0], planes.linesize[0], tileSide, tileSide, 16);
    libyuv::SetPlane(planes.data[1], planes.linesize[1], (tileSide + 1) / 2, (tileSide + 1) / 2, 128);
    libyuv::SetPlane(planes.data[2], planes.linesize[2], (tileSide + 1) / 2, (tileSide + 1) / 2, 128);
    shadowPlanes_.alpha.resize(static_cast<std::size_t>(tileSide) * static_cast<std::size_t>(tileSide));
    libyuv::ARGBExtractAlpha(shadow_.constBits(), static_cast<int>(shadow_.bytesPerLine()), shadowPlanes_.alpha.data(),
                             tileSide, tileSide, tileSide);
    return shadowPlanes_;
}

bool CameraBubbleLayer::scaleCropInYuv(const AVFrame& frame)
{
    if (frame.format != AV_PIX_FMT_YUV420P && frame.format != AV_PIX_FMT_YUVJ420P) return false;
    // The largest centred square of the camera frame, on whole chroma samples.
    const int cropSide = std::min(frame.width, frame.height) & ~1;
    const int left = ((frame.width - cropSide) / 2) & ~1;
    const int top = ((frame.height - cropSide) / 2) & ~1;
    if (cropSide < 2) return false;
    if (!scaledCrop_ || scaledCrop_->width != side_) scaledCrop_ = allocateFrame(AV_PIX_FMT_YUV420P, side_, side_);
    const auto at = [&](int plane, int x, int y) {
        return frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane] + x;
    };
    AVFrame& scaled = *scaledCrop_;
    const std::uint8_t* planes[3] = {at(0, left, top), at(1, left / 2, top / 2), at(2, left / 2, top / 2)};
    const int* strides = frame.linesize;
    int planesSide = cropSide;
    // Every camera pixel counts, so a 720-pixel crop shrinks without aliasing: halving with a
    // box first, then filtering the rest, costs a third of one uneven box step.
    if (cropSide >= 2 * side_ && cropSide >= 4) {
        planesSide = cropSide / 2 & ~1;
        if (!halvedCrop_ || halvedCrop_->width != planesSide) {
            halvedCrop_ = allocateFrame(AV_PIX_FMT_YUV420P, planesSide, planesSide);
        }
        AVFrame& halved = *halvedCrop_;
        if (libyuv::I420Scale(planes[0], strides[0], planes[1], strides[1], planes[2], strides[2], cropSide, cropSide,
                              halved.data[0], halved.linesize[0], halved.data[1], halved.linesize[1], halved.data[2],
                              halved.linesize[2], planesSide, planesSide, libyuv::kFilterBox) != 0) {
            return false;
        }
        planes[0] = halved.data[0];
        planes[1] = halved.data[1];
        planes[2] = halved.data[2];
        strides = halved.linesize;
    }
    return libyuv::I420Scale(planes[0], strides[0], planes[1], strides[1], planes[2], strides[2], planesSide,
                             planesSide, scaled.data[0], scaled.linesize[0], scaled.data[1], scaled.linesize[1],
                             scaled.data[2], scaled.linesize[2], side_, side_, libyuv::kFilterBox) == 0;
}

void CameraBubbleLayer::paintImage(const AVFrame& frame)
{
    // Scaling the crop before converting it touches only the pixels the bubble shows.
    if (scaleCropInYuv(frame)) {
        const AVFrame& scaled = *scaledCrop_;
        QImage& converted = settings_.cameraMirror ? unmirrored_ : picture_;
        libyuv::I420ToARGBMatrix(scaled.data[0], scaled.linesize[0], scaled.data[1], scaled.linesize[1],
                                 scaled.data[2], scaled.linesize[2], converted.bits(),
                                 static_cast<int>(converted.bytesPerLine()), &yuvToRgbConstants(frame), side_, side_);
        // As the presenter sees themselves in a mirror, the way such bubbles are expected to look.
        if (settings_.cameraMirror) {
            libyuv::ARGBMirror(unmirrored_.constBits(), static_cast<int>(unmirrored_.bytesPerLine()), picture_.bits(),
                               static_cast<int>(picture_.bytesPerLine()), side_, side_);
        }
    } else {
        convertFrameToImage(frame, cameraImage_);
        const double cropSide = std::min(cameraImage_.width(), cameraImage_.height());
        const QRectF crop((cameraImage_.width() - cropSide) / 2, (cameraImage_.height() - cropSide) / 2, cropSide,
                          cropSide);
        picture_.fill(Qt::black);
        QPainter painter(&picture_);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        if (settings_.cameraMirror) painter.setTransform(QTransform(-1, 0, 0, 1, side_, 0));
        painter.drawImage(QRectF(0, 0, side_, side_), cameraImage_, crop);
    }
    // The shape's antialiased coverage, as filling it with the picture would give.
    QPainter painter(&picture_);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    painter.drawImage(0, 0, shapeMask_);
}

bool CameraBubbleLayer::fillPlanes(const AVFrame& frame)
{
    const bool encoderColours = frame.format == AV_PIX_FMT_YUV420P && frame.color_range != AVCOL_RANGE_JPEG &&
                                (frame.colorspace == AVCOL_SPC_SMPTE170M || frame.colorspace == AVCOL_SPC_BT470BG ||
                                 frame.colorspace == AVCOL_SPC_UNSPECIFIED);
    if (!encoderColours || !scaleCropInYuv(frame)) return false;
    const AVFrame& scaled = *scaledCrop_;
    AVFrame& planes = *picturePlanes_.planes;
    if (settings_.cameraMirror) {
        libyuv::I420Mirror(scaled.data[0], scaled.linesize[0], scaled.data[1], scaled.linesize[1], scaled.data[2],
                           scaled.linesize[2], planes.data[0], planes.linesize[0], planes.data[1], planes.linesize[1],
                           planes.data[2], planes.linesize[2], side_, side_);
    } else {
        libyuv::I420Copy(scaled.data[0], scaled.linesize[0], scaled.data[1], scaled.linesize[1], scaled.data[2],
                         scaled.linesize[2], planes.data[0], planes.linesize[0], planes.data[1], planes.linesize[1],
                         planes.data[2], planes.linesize[2], side_, side_);
    }
    return true;
}

std::vector<OverlayTile> CameraBubbleLayer::tilesAt(double time, const QRectF& canvas, TileForm form)
{
    const double cameraTime = time - startOffset_;
    const double duration = frames_->duration();
    // Before the camera's first frame and after its last, the bubble shows nothing.
    if (cameraTime < 0 || (duration > 0 && cameraTime >= duration)) return {};
    const AVFrame* frame = frames_->decodedFrame(cameraTime);
    if (!frame) return {};

    const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect(
        {canvas.x(), canvas.y(), canvas.width(), canvas.height()}, settings_);
    prepareForSide(static_cast<int>(bubble.width));
    const QRect pictureRect(static_cast<int>(bubble.x), static_cast<int>(bubble.y), side_, side_);
    const std::int64_t content = frame->pts == AV_NOPTS_VALUE ? frame->best_effort_timestamp : frame->pts;
    std::vector<OverlayTile> tiles;
    const bool even = pictureRect.x() % 2 == 0 && pictureRect.y() % 2 == 0;
    const bool planes = form == TileForm::planesWhereOffered && even;
    if (!shadow_.isNull()) {
        OverlayTile shadow{pictureRect.adjusted(-shadowReach_, -shadowReach_, shadowReach_, shadowReach_), side_, nullptr,
                           nullptr};
        if (planes) {
            shadow.planes = &shadowPlanes();
        } else {
            shadow.image = &shadow_;
        }
        tiles.push_back(shadow);
    }
    OverlayTile picture{pictureRect, content, nullptr, nullptr};
    if (planes && (planesContent_ == content || fillPlanes(*frame))) {
        planesContent_ = content;
        picture.planes = &picturePlanes_;
    } else {
        if (imageContent_ != content) paintImage(*frame);
        imageContent_ = content;
        picture.image = &picture_;
    }
    tiles.push_back(picture);
    return tiles;
}

}  // namespace vantile
