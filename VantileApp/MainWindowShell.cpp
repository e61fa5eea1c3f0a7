#include "MainWindowShell.h"

#include "FileManagerReveal.h"
#include "RecordingHintPlacement.h"

#include <QCoreApplication>
#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QWindow>

namespace vantile {

namespace {

std::vector<QWindow*> mainWindows()
{
    std::vector<QWindow*> windows;
    for (QWindow* window : QGuiApplication::topLevelWindows()) {
        if (window->title() == MainWindowShell::mainWindowTitle) windows.push_back(window);
    }
    return windows;
}

HintScreens currentScreens()
{
    HintScreens screens;
    const auto allScreens = QGuiApplication::screens();
    for (qsizetype index = 0; index < allScreens.size(); ++index) {
        screens.availableAreas.push_back(allScreens[index]->availableGeometry());
        screens.fullAreas.push_back(allScreens[index]->geometry());
        if (allScreens[index] == QGuiApplication::screenAt(QCursor::pos())) screens.pointerScreen = index;
        if (allScreens[index] == QGuiApplication::primaryScreen()) screens.primaryScreen = index;
    }
    return screens;
}

// Qt places windows in device-independent pixels; input is logged in the display's pixels.
CGRectCodable devicePixels(const QRect& area, qreal pixelRatio)
{
    return {area.x() * pixelRatio, area.y() * pixelRatio, area.width() * pixelRatio, area.height() * pixelRatio};
}

class CloseWatcher : public QObject {
public:
    CloseWatcher(QWindow* window, MainWindowShell::TrayProbe trayAvailable, std::function<void()> quit)
        : window_(window), trayAvailable_(std::move(trayAvailable)), quit_(std::move(quit))
    {
        window->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == window_ && event->type() == QEvent::Close && !trayAvailable_()) {
            // Queued, so the close finishes first; quitting while recording finishes the movie.
            QMetaObject::invokeMethod(this, quit_, Qt::QueuedConnection);
        }
        return false;
    }

private:
    QPointer<QWindow> window_;
    MainWindowShell::TrayProbe trayAvailable_;
    std::function<void()> quit_;
};

}  // namespace

MainWindowShell::MainWindowShell()
    : trayAvailable_([] { return QSystemTrayIcon::isSystemTrayAvailable(); }),
      quit_([] { QCoreApplication::quit(); })
{
    // A tray that goes away while recording must not leave the user without a stop button.
    trayCheck_.setInterval(trayCheckMilliseconds);
    QObject::connect(&trayCheck_, &QTimer::timeout, [this] { showRecordingControlIfNoTray(); });
}

MainWindowShell::~MainWindowShell() = default;

bool MainWindowShell::showMainWindow()
{
    dismissRecordingHint();
    const auto windows = mainWindows();
    if (windows.empty()) return false;
    QWindow* window = windows.front();
    window->show();
    window->raise();
    window->requestActivate();
    return true;
}

void MainWindowShell::hideMainWindow()
{
    for (QWindow* window : mainWindows()) window->hide();
}

bool MainWindowShell::canPlaceWindows() const
{
    // Wayland lets no client choose where its windows go.
    return !QGuiApplication::platformName().startsWith("wayland");
}

void MainWindowShell::showRecordingHint(const CaptureSource& recorded)
{
    dismissRecordingHint();
    recorded_ = recorded;
    showRecordingControlIfNoTray();
    trayCheck_.start();

    const HintScreens screens = currentScreens();
    const auto chosen = canPlaceWindows() ? chooseHintScreen(screens, recorded) : std::nullopt;
    // Without a tray the recording control, placed where the panel would go, is the hint.
    if (chosen && recordingControl_) return;
    if (!chosen) {
        // Nowhere to put the panel without it landing in the recording: the desktop says it.
        if (notifier_) {
            notifier_->notify(hintTitle, trayAvailable_() ? hintMessage : hintMessageWithoutTray, hintMilliseconds);
        }
        return;
    }

    recordingHintPanel_ = std::make_unique<RecordingHintPanel>();
    recordingHintPanel_->setGeometry(hintGeometry(screens.availableAreas[*chosen]));
    recordingHintPanel_->show();
    recordingHintTask_ = std::make_unique<QTimer>();
    recordingHintTask_->setSingleShot(true);
    QPointer<RecordingHintPanel> panel(recordingHintPanel_.get());
    QObject::connect(recordingHintTask_.get(), &QTimer::timeout, [this, panel] {
        if (panel && panel == recordingHintPanel_.get()) {
            panel->hide();
            recordingHintPanel_.release()->deleteLater();
            recordingHintTask_.release()->deleteLater();
        }
    });
    recordingHintTask_->start(hintMilliseconds);
}

void MainWindowShell::showRecordingControlIfNoTray()
{
    if (!recorded_ || recordingControl_ || trayAvailable_()) return;
    recordingControl_ = std::make_unique<RecordingControlWindow>(canPlaceWindows());
    recordingControl_->setElapsedText(elapsedText_);
    QObject::connect(recordingControl_.get(), &RecordingControlWindow::stopRequested, [this] {
        if (stopRecording_) stopRecording_();
    });
    if (canPlaceWindows()) {
        recordingControl_->setGeometry(recordingControlGeometry(
            currentScreens(), *recorded_,
            QSize(RecordingControlWindow::controlWidth, RecordingControlWindow::controlHeight)));
    }
    recordingControl_->show();
}

void MainWindowShell::setRecordingElapsedText(const QString& text)
{
    elapsedText_ = text;
    if (recordingControl_) recordingControl_->setElapsedText(text);
}

void MainWindowShell::endRecording()
{
    recorded_.reset();
    trayCheck_.stop();
    elapsedText_ = "00:00";
    if (recordingControl_) {
        recordingControl_->hide();
        // Deleted later: the stop may come from the control's own button.
        recordingControl_.release()->deleteLater();
    }
}

void MainWindowShell::dismissRecordingHint()
{
    recordingHintTask_.reset();
    if (recordingHintPanel_) recordingHintPanel_->hide();
    recordingHintPanel_.reset();
}

void MainWindowShell::revealFile(const std::filesystem::path& file)
{
    FileManagerReveal::reveal(file);
}

std::vector<CGRectCodable> MainWindowShell::ownWindowAreas()
{
    std::vector<CGRectCodable> areas;
    const QWindow* control = recordingControl_ ? recordingControl_->windowHandle() : nullptr;
    for (QWindow* window : QGuiApplication::topLevelWindows()) {
        if (!window->isVisible()) continue;
        // Only windows whose place on screen Qt knows: a tray icon embedded in a panel reports
        // a place relative to the panel and would hide a corner of the screen.
        const bool placed = window == control || window->type() == Qt::Popup ||
                            window->title() == QLatin1String(mainWindowTitle);
        if (placed) areas.push_back(devicePixels(window->frameGeometry(), window->devicePixelRatio()));
    }
    return areas;
}

std::optional<CGRectCodable> MainWindowShell::stopGestureTarget(StopTrigger trigger)
{
    if (trigger != StopTrigger::control || !recordingControl_ || !recordingControl_->isVisible()) return std::nullopt;
    return devicePixels(recordingControl_->frameGeometry(), recordingControl_->devicePixelRatioF());
}

void MainWindowShell::quitWhenClosedWithoutTray(QWindow* mainWindow)
{
    closeWatcher_ =
        mainWindow ? std::make_unique<CloseWatcher>(
                                    mainWindow, [this] { return trayAvailable_(); }, [this] { quit_(); })
                              : nullptr;
}

void MainWindowShell::announceExport(const std::filesystem::path& movie)
{
    if (!notifier_) return;
    notifier_->notifyWithAction("导出完成", QString::fromStdString(movie.filename().string()), "在文件管理器中显示",
                                [this, movie] { revealFile(movie); });
}

}  // namespace vantile
