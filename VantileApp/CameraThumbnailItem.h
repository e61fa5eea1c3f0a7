#pragma once

#include "capture/camera/CameraStream.h"

#include <QImage>
#include <QPointer>
#include <QQuickPaintedItem>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <memory>

namespace vantile {

class AppState;

// A small live picture of the chosen camera in the source picker, so users see themselves before
// they start. It streams only while it is shown, active and has a camera; any other state stops it.
class CameraThumbnailItem : public QQuickPaintedItem {
    Q_OBJECT
    Q_PROPERTY(vantile::AppState* controller READ appState WRITE setAppState NOTIFY appStateChanged)
    Q_PROPERTY(QString cameraId READ cameraId WRITE setCameraId NOTIFY cameraIdChanged)
    Q_PROPERTY(bool active READ isActive WRITE setActive NOTIFY activeChanged)
    Q_PROPERTY(int pictureCount READ pictureCount NOTIFY pictureChanged)

public:
    // About ten pictures a second: enough to see oneself move, cheap beside the picker.
    static constexpr std::chrono::milliseconds interval{100};

    explicit CameraThumbnailItem(QQuickItem* parent = nullptr);

    AppState* appState() const { return appState_; }
    void setAppState(AppState* state);
    const QString& cameraId() const { return cameraId_; }
    void setCameraId(const QString& id);
    bool isActive() const { return active_; }
    void setActive(bool active);
    int pictureCount() const { return pictureCount_; }
    const QImage& picture() const { return picture_; }
    bool isStreaming() const { return stream_ != nullptr; }

    void paint(QPainter* painter) override;

signals:
    void appStateChanged();
    void cameraIdChanged();
    void activeChanged();
    void pictureChanged();

private:
    void restart();
    void takePicture();

    QPointer<AppState> appState_;
    QString cameraId_;
    bool active_ = true;
    std::shared_ptr<CameraStream> stream_;
    // Counts the starts, so a camera that comes up after the choice changed is dropped.
    std::uint64_t generation_ = 0;
    CameraPicture newest_;
    QImage picture_;
    int pictureCount_ = 0;
    QTimer timer_;
};

}  // namespace vantile
