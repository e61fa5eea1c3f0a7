#include "CameraThumbnailItem.h"

#include "AppState.h"
#include "MainThreadResume.h"

#include <QPainter>

#include <libyuv/convert_argb.h>

#include <algorithm>

namespace vantile {

CameraThumbnailItem::CameraThumbnailItem(QQuickItem* parent) : QQuickPaintedItem(parent)
{
    timer_.setInterval(interval);
    connect(&timer_, &QTimer::timeout, this, [this] { takePicture(); });
    connect(this, &QQuickItem::visibleChanged, this, [this] { restart(); });
}

void CameraThumbnailItem::setAppState(AppState* state)
{
    if (appState_ == state) return;
    appState_ = state;
    emit appStateChanged();
    restart();
}

void CameraThumbnailItem::setCameraId(const QString& id)
{
    if (cameraId_ == id) return;
    cameraId_ = id;
    emit cameraIdChanged();
    restart();
}

void CameraThumbnailItem::setActive(bool active)
{
    if (active_ == active) return;
    active_ = active;
    emit activeChanged();
    restart();
}

void CameraThumbnailItem::restart()
{
    timer_.stop();
    stream_.reset();
    newest_ = {};
    ++generation_;
    if (!picture_.isNull()) {
        picture_ = {};
        update();
    }
    if (!appState_ || !active_ || !isVisible() || cameraId_.isEmpty()) return;
    std::shared_ptr<CameraService> service = appState_->cameraService();
    if (!service) return;
    runOffMainThread(
        appState_->workers(), this,
        [service, choice = cameraId_.toStdString()]() -> std::shared_ptr<CameraStream> {
            try {
                return service->start(choice);
            } catch (const std::exception&) {
                // The picture simply stays empty; the recording tells what is wrong with the camera.
                return nullptr;
            }
        },
        [this, generation = generation_](std::shared_ptr<CameraStream> stream) {
            if (generation != generation_ || !stream) return;
            stream_ = std::move(stream);
            timer_.start();
            takePicture();
        });
}

void CameraThumbnailItem::takePicture()
{
    if (!stream_) return;
    if (stream_->ended()) {
        timer_.stop();
        return;
    }
    if (!stream_->takeNewest(newest_)) return;
    const PlanarFrame& frame = newest_.frame;
    QImage image(frame.width, frame.height, QImage::Format_RGB32);
    // libyuv's ARGB is Qt's RGB32 in memory on little-endian machines.
    libyuv::I420ToARGB(frame.luma.data(), frame.width, frame.blueDifference.data(), frame.chromaWidth(),
                       frame.redDifference.data(), frame.chromaWidth(), image.bits(),
                       static_cast<int>(image.bytesPerLine()), frame.width, frame.height);
    picture_ = std::move(image);
    ++pictureCount_;
    emit pictureChanged();
    update();
}

void CameraThumbnailItem::paint(QPainter* painter)
{
    const QRectF area = boundingRect();
    if (picture_.isNull() || area.isEmpty()) return;
    // Filled and centre-cropped, mirrored as a mirror shows one's face.
    const double scale = std::max(area.width() / picture_.width(), area.height() / picture_.height());
    const QSizeF drawn(picture_.width() * scale, picture_.height() * scale);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->setClipRect(area);
    painter->translate(area.center());
    painter->scale(-1, 1);
    painter->drawImage(QRectF(QPointF(-drawn.width() / 2, -drawn.height() / 2), drawn), picture_);
}

}  // namespace vantile
