#include "StatusItemController.h"

#include "AppState.h"
#include "ProductMark.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPalette>

namespace vantile {

void StatusItemController::configure(AppState* appState, Callback openMainWindow)
{
    appState_ = appState;
    openMainWindow_ = std::move(openMainWindow);
    if (!statusItem_) {
        statusItem_ = std::make_unique<QSystemTrayIcon>();
        statusItem_->setToolTip("Vantile");
    }
    disconnect(routeSubscription_);
    // Queued, so a refresh sees the route after the change has been published.
    routeSubscription_ = connect(appState, &AppState::routeChanged, this, &StatusItemController::refresh,
                                 Qt::QueuedConnection);
    refresh();
    statusItem_->show();
}

void StatusItemController::refresh()
{
    if (!statusItem_ || !appState_) return;
    const bool isRecording = appState_->route() == Route::recording;
    const QColor tint = isRecording ? QColor(255, 59, 48) : QGuiApplication::palette().color(QPalette::WindowText);
    statusItem_->setIcon(ProductMark::icon(tint));
    statusItem_->setToolTip(isRecording ? "Vantile 正在录制" : "Vantile");
    rebuildMenu(isRecording);
}

void StatusItemController::rebuildMenu(bool isRecording)
{
    auto menu = std::make_unique<QMenu>();
    QAction* header = menu->addAction(isRecording ? "正在录制" : "Vantile 在后台保持可用");
    header->setEnabled(false);
    menu->addSeparator();
    QPointer<StatusItemController> self(this);
    connect(menu->addAction("打开窗口"), &QAction::triggered, this, [self] {
        if (self && self->appState_ && self->openMainWindow_) self->openMainWindow_();
    });
    connect(menu->addAction("隐藏窗口"), &QAction::triggered, this, [self] {
        if (self && self->appState_) self->appState_->hideMainWindow();
    });
    if (isRecording) {
        menu->addSeparator();
        connect(menu->addAction("停止录制并打开预览"), &QAction::triggered, this, [self] {
            if (self) self->stopRecordingAndOpen(StopTrigger::tray);
        });
    }
    menu->addSeparator();
    connect(menu->addAction("退出 Vantile"), &QAction::triggered, this, [this] {
        if (appState_) {
            // The question about a running export is asked in the main window.
            if (appState_->isExporting() && openMainWindow_) openMainWindow_();
            appState_->requestQuit();
        } else {
            QCoreApplication::quit();
        }
    });
    statusItem_->setContextMenu(menu.get());
    menu_ = std::move(menu);
}

void StatusItemController::stopRecordingAndOpen(StopTrigger trigger)
{
    if (!appState_) return;
    std::vector<CGRectCodable> gestureWay;
    // Where the icon is, when the tray tells (in device-independent pixels, as Qt places windows).
    if (trigger == StopTrigger::tray && statusItem_ && statusItem_->geometry().isValid()) {
        const QRect icon = statusItem_->geometry();
        const qreal ratio = qGuiApp->devicePixelRatio();
        gestureWay.push_back({icon.x() * ratio, icon.y() * ratio, icon.width() * ratio, icon.height() * ratio});
    }
    appState_->stopRecording(trigger, gestureWay);
    if (!appState_->isBusy()) {
        if (openMainWindow_) openMainWindow_();
        return;
    }
    // The window opens once the whole stop-and-generate flow is over.
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(appState_, &AppState::isBusyChanged, this, [this, connection] {
        if (!appState_ || appState_->isBusy()) return;
        disconnect(*connection);
        if (openMainWindow_) openMainWindow_();
    });
}

}  // namespace vantile
