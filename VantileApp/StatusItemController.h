#pragma once

#include "StopTrigger.h"

#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>

#include "AppServices.h"

#include <functional>
#include <memory>

namespace vantile {

class AppState;

// The tray icon that keeps the application reachable while its window is hidden: its menu
// and icon follow whether a recording runs.
class StatusItemController : public QObject {
    Q_OBJECT

public:
    using Callback = std::function<void()>;

    void configure(AppState* appState, Callback openMainWindow);
    void refresh();

    QSystemTrayIcon* statusItem() const { return statusItem_.get(); }
    QMenu* menu() const { return menu_.get(); }

    // Stops the recording and brings the main window back once the stop flow is over.
    void stopRecordingAndOpen(StopTrigger trigger);

private:
    void rebuildMenu(bool isRecording);

    std::unique_ptr<QSystemTrayIcon> statusItem_;
    QPointer<AppState> appState_;
    QMetaObject::Connection routeSubscription_;
    Callback openMainWindow_;
    std::unique_ptr<QMenu> menu_;
};

}  // namespace vantile
