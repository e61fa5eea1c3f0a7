#include "MainWindowShell.h"

#include "FileManagerReveal.h"
#include "RecordingHintPlacement.h"

#include <QCoreApplication>
#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QWindow>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

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

// The share of sampled pixels that differ between two pictures of the same area.
double differingShare(const QImage& first, const QImage& second)
{
    if (first.size() != second.size()) return 1;
    const QImage a = first.convertToFormat(QImage::Format_RGB32);
    const QImage b = second.convertToFormat(QImage::Format_RGB32);
    constexpr int step = 4;
    long long sampled = 0;
    long long differing = 0;
    for (int y = 0; y < a.height(); y += step) {
        const auto* rowA = reinterpret_cast<const QRgb*>(a.constScanLine(y));
        const auto* rowB = reinterpret_cast<const QRgb*>(b.constScanLine(y));
        for (int x = 0; x < a.width(); x += step) {
            ++sampled;
            if (rowA[x] != rowB[x]) ++differing;
        }
    }
    return sampled == 0 ? 0 : double(differing) / double(sampled);
}

// Qt places windows in device-independent pixels; input is logged in the display's pixels.
CGRectCodable devicePixels(const QRect& area, qreal pixelRatio)
{
    return {area.x() * pixelRatio, area.y() * pixelRatio, area.width() * pixelRatio, area.height() * pixelRatio};
}

// The corner of the screen under `control` nearest to it, `size` pixels square.
QRect cornerNear(const QRect& control, int size)
{
    QScreen* screen = QGuiApplication::screenAt(control.center());
    if (!screen) screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->geometry() : control;
    const bool right = control.center().x() >= area.center().x();
    const bool bottom = control.center().y() >= area.center().y();
    const int x = right ? area.x() + area.width() - size : area.x();
    const int y = bottom ? area.y() + area.height() - size : area.y();
    return QRect(x, y, size, size);
}

// Where windows cannot be placed, the control's corner is the recorded screen's bottom right, in
// the coordinates the capture stream tells the pointer in.
QRect recordedScreenCorner(const CaptureSource& recorded, int size)
{
    return QRect(int(recorded.region.maxX()) - size, int(recorded.region.maxY()) - size, size, size);
}

QString cornerName(const QRect& corner)
{
    QScreen* screen = QGuiApplication::screenAt(corner.center());
    const QRect area = screen ? screen->geometry() : corner;
    const bool right = corner.center().x() >= area.center().x();
    const bool bottom = corner.center().y() >= area.center().y();
    return QString(bottom ? "下" : "上").prepend(right ? "右" : "左") + "角";
}

class CloseWatcher : public QObject {
public:
    CloseWatcher(QWindow* window, MainWindowShell::TrayProbe trayAvailable, std::function<void()> quit,
                 std::function<bool()> keepOpen)
        : window_(window), trayAvailable_(std::move(trayAvailable)), quit_(std::move(quit)), keepOpen_(std::move(keepOpen))
    {
        window->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == window_ && event->type() == QEvent::Close && !trayAvailable_()) {
            // Queued, so the close finishes first; quitting while recording finishes the movie.
            QMetaObject::invokeMethod(this, quit_, Qt::QueuedConnection);
            if (keepOpen_()) {
                // The question is asked in this window.
                event->ignore();
                return true;
            }
        }
        return false;
    }

private:
    QPointer<QWindow> window_;
    MainWindowShell::TrayProbe trayAvailable_;
    std::function<void()> quit_;
    std::function<bool()> keepOpen_;
};

}  // namespace

MainWindowShell::MainWindowShell()
    : trayAvailable_([] { return QSystemTrayIcon::isSystemTrayAvailable(); }),
      quit_([] { QCoreApplication::quit(); }),
      pointer_([]() -> std::optional<QPoint> { return QCursor::pos(); })
{
    // A tray that goes away while recording must not leave the user without a stop button.
    trayCheck_.setInterval(trayCheckMilliseconds);
    QObject::connect(&trayCheck_, &QTimer::timeout, [this] { showRecordingControlIfNoTray(); });
    hotCornerWatch_.setInterval(hotCornerPollMilliseconds);
    QObject::connect(&hotCornerWatch_, &QTimer::timeout, [this] { watchHotCorner(); });
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

void MainWindowShell::hideWindowsBeforeCapture(std::function<void()> hidden)
{
    dismissRecordingHint();
    if (notifier_ && notifier_->anyShown()) {
        // The desktop draws notifications over everything, so none may remain for the first frame.
        notifier_->withdrawAll([this, hidden = std::move(hidden)]() mutable {
            QTimer::singleShot(notificationFadeMilliseconds, [this, hidden = std::move(hidden)]() mutable {
                hideOwnWindows(std::move(hidden));
            });
        });
        return;
    }
    hideOwnWindows(std::move(hidden));
}

bool MainWindowShell::recordsEveryScreen(const CaptureSource& recorded)
{
    return recorded.kind == CaptureSource::SourceKind::display && !chooseHintScreen(currentScreens(), recorded);
}

void MainWindowShell::runCountdown(int seconds, const CaptureSource& recorded, std::function<void()> finished,
                                   std::function<void()> cancelled)
{
    hideMainWindow();
    hintTold_ = recordsEveryScreen(recorded);
    const QString hint = hintTold_ ? hintMessageFor(recorded) : QString();
    if (hintTold_ && notifier_) notifier_->notify(hintTitle, hint, -1);
    countdown_ = std::make_unique<RecordingCountdownWindow>(seconds, hintTitle, hint);
    if (canPlaceWindows()) {
        // Before the capture starts nothing records it: the middle of the recorded area is where eyes are.
        const QRect area = QRect(int(recorded.region.x), int(recorded.region.y), int(recorded.region.width),
                                 int(recorded.region.height));
        QRect place(QPoint(0, 0), countdown_->size());
        place.moveCenter(area.isEmpty() ? QGuiApplication::primaryScreen()->geometry().center() : area.center());
        countdown_->setGeometry(place);
    }
    const auto done = [this](const std::function<void()>& next) {
        // Deleted later: the signal comes from the window itself.
        if (countdown_) countdown_.release()->deleteLater();
        next();
    };
    QObject::connect(countdown_.get(), &RecordingCountdownWindow::finished, [done, finished] { done(finished); });
    QObject::connect(countdown_.get(), &RecordingCountdownWindow::cancelled, [this, done, cancelled] {
        hintTold_ = false;
        if (notifier_) notifier_->withdrawAll([] {});
        done(cancelled);
    });
    countdown_->start();
}

void MainWindowShell::cancelCountdown()
{
    if (countdown_) countdown_->cancel();
}

void MainWindowShell::hideOwnWindows(std::function<void()> hidden)
{
    std::vector<QPointer<QWindow>> hiding;
    QRect shownArea;
    for (QWindow* window : QGuiApplication::topLevelWindows()) {
        if (!window->isVisible() && !window->isExposed()) continue;
        // An icon docked in an X11 tray is such a window, and belongs to the tray's panel.
        if (window->flags().testFlag(Qt::BypassWindowManagerHint)) continue;
        hiding.emplace_back(window);
        shownArea |= window->frameGeometry();
    }
    // What the screen shows there with our windows: a compositing window manager keeps showing
    // them after the unmap until it has drawn its next frame, which takes longer when it is busy.
    // Where the screen cannot be read (Wayland), a fixed wait stands in.
    QScreen* screen = hiding.empty() ? nullptr : QGuiApplication::screenAt(shownArea.center());
    const QRect grabbed = screen ? shownArea.intersected(screen->geometry()).translated(-screen->geometry().topLeft())
                                 : QRect();
    const auto grabScreen = [screen = QPointer<QScreen>(screen), grabbed] {
        return screen && !grabbed.isEmpty()
                   ? screen->grabWindow(0, grabbed.x(), grabbed.y(), grabbed.width(), grabbed.height()).toImage()
                   : QImage();
    };
    const QImage withWindows = grabScreen();
    for (const QPointer<QWindow>& window : hiding) window->hide();

    hiddenCheck_ = std::make_unique<QTimer>();
    hiddenCheck_->setInterval(10);
    const auto waitStarted = std::chrono::steady_clock::now();
    // The last picture that differed from the one before, and since when the screen has shown it.
    struct Settling {
        QImage picture;
        std::chrono::steady_clock::time_point since;
    };
    const auto settling = std::make_shared<Settling>();
    QObject::connect(hiddenCheck_.get(), &QTimer::timeout,
                     [this, hiding, waitStarted, withWindows, grabScreen, settling, hidden = std::move(hidden)] {
        const auto waited = std::chrono::steady_clock::now() - waitStarted;
        // Polled rather than followed through expose events, which Qt does not promise for every kind of window.
        const bool unmapped = std::ranges::none_of(hiding, [](const QPointer<QWindow>& w) { return w && w->isExposed(); });
        if (!unmapped && waited < std::chrono::milliseconds(unmapWaitLimitMilliseconds)) return;
        if (!withWindows.isNull() && waited < std::chrono::milliseconds(redrawWaitLimitMilliseconds)) {
            const QImage now = grabScreen();
            // Our own window may have drawn one more frame (a spinner) before it went: only a picture
            // that changed nearly everywhere is the desktop behind it.
            if (!now.isNull()) {
                const auto at = std::chrono::steady_clock::now();
                if (settling->picture.isNull() || differingShare(now, settling->picture) > 0) {
                    settling->picture = now;
                    settling->since = at;
                }
                if (differingShare(now, withWindows) < 0.5) return;
                // A window manager may fade the window out: the desktop is behind it once the
                // picture stops changing for a few of the compositor's frames.
                if (at - settling->since < std::chrono::milliseconds(settledMilliseconds)) return;
            }
            // Redrawn without us.
            hiddenCheck_.release()->deleteLater();
            QTimer::singleShot(0, hidden);
            return;
        }
        hiddenCheck_.release()->deleteLater();
        QTimer::singleShot(hiding.empty() || !withWindows.isNull() ? 0 : redrawAfterUnmapMilliseconds, hidden);
    });
    hiddenCheck_->start();
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
        // Told in the countdown already, and a notification now would be in the movie.
        if (std::exchange(hintTold_, false)) return;
        // Without a countdown there was no moment before the first frame: on the only recorded
        // screen the desktop would draw the notification into the movie, so the tray's tooltip
        // (where there is one) is all that tells.
        if (recordsEveryScreen(recorded)) return;
        // Nowhere to put the panel without it landing in the recording: the desktop says it.
        if (notifier_) {
            notifier_->notify(hintTitle, hintMessageNow(), hintMilliseconds);
        }
        return;
    }

    recordingHintPanel_ = std::make_unique<RecordingHintPanel>(hintMessageNow());
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
    recordingControl_->setShortcutText(stopShortcutText_);
    QObject::connect(recordingControl_.get(), &RecordingControlWindow::stopRequested, [this] {
        // Where the desktop put the control is learnt from the click: the pointer's place on the
        // screen less its place in the window.
        if (!canPlaceWindows() && recordingControl_) {
            if (const auto pointer = pointer_ ? pointer_() : std::nullopt)
                controlPlace_ = QRect(*pointer - recordingControl_->lastPressPosition(), recordingControl_->size());
        }
        if (stopRecording_) stopRecording_();
    });
    if (canPlaceWindows()) {
        recordingControl_->setGeometry(recordingControlGeometry(
            currentScreens(), *recorded_,
            QSize(RecordingControlWindow::controlWidth, RecordingControlWindow::controlHeight)));
    }
    if (hidesControlFor(*recorded_)) {
        // Anywhere on the only recorded screen it would be in the movie: it waits behind the corner.
        hotCorner_ = hotCornerFor(*recorded_);
        restingInCornerSince_.reset();
        hotCornerWatch_.start();
        return;
    }
    recordingControl_->show();
}

bool MainWindowShell::hidesControlFor(const CaptureSource& recorded) const
{
    // Where windows cannot be placed, the desktop may put it on any recorded screen.
    return recorded.kind == CaptureSource::SourceKind::display && !trayAvailable_() &&
           (!canPlaceWindows() || !chooseHintScreen(currentScreens(), recorded));
}

QRect MainWindowShell::hotCornerFor(const CaptureSource& recorded) const
{
    if (!canPlaceWindows()) return recordedScreenCorner(recorded, hotCornerSize);
    return cornerNear(recordingControlGeometry(currentScreens(), recorded,
                                               QSize(RecordingControlWindow::controlWidth,
                                                     RecordingControlWindow::controlHeight)),
                      hotCornerSize);
}

void MainWindowShell::watchHotCorner()
{
    if (!recordingControl_ || !hotCorner_) return;
    const std::optional<QPoint> pointer = pointer_ ? pointer_() : std::nullopt;
    if (!pointer) return;
    const auto now = std::chrono::steady_clock::now();
    if (!recordingControl_->isVisible()) {
        if (!hotCorner_->contains(*pointer)) {
            restingInCornerSince_.reset();
            return;
        }
        // Passing through the corner on the way elsewhere is no request.
        if (!restingInCornerSince_) restingInCornerSince_ = now;
        if (now - *restingInCornerSince_ < std::chrono::milliseconds(hotCornerRestMilliseconds)) return;
        recordingControl_->show();
        recordingControl_->raise();
        lastNearControl_ = now;
        return;
    }
    // The gap between the corner and the control counts as near, so the way over does not hide it.
    // Where the desktop chose the control's place, only the control itself knows the pointer is
    // on it, and the way from the corner may be long.
    const QRect near = canPlaceWindows() ? recordingControl_->frameGeometry().united(*hotCorner_).adjusted(-8, -8, 8, 8)
                                         : *hotCorner_;
    const int linger = canPlaceWindows() ? hotCornerLingerMilliseconds : placedByDesktopLingerMilliseconds;
    if (near.contains(*pointer) || recordingControl_->underMouse()) {
        lastNearControl_ = now;
    } else if (now - lastNearControl_ >= std::chrono::milliseconds(linger)) {
        recordingControl_->hide();
        restingInCornerSince_.reset();
    }
}

void MainWindowShell::setStopShortcutText(const QString& text)
{
    stopShortcutText_ = text;
    if (recordingControl_) recordingControl_->setShortcutText(text);
}

QString MainWindowShell::hintMessageNow() const
{
    return recorded_ ? hintMessageFor(*recorded_) : hintMessageFor(CaptureSource{.kind = CaptureSource::SourceKind::window});
}

QString MainWindowShell::hintMessageFor(const CaptureSource& recorded) const
{
    if (trayAvailable_()) return hintMessage;
    if (hidesControlFor(recorded)) {
        const QString corner = canPlaceWindows() ? cornerName(hotCornerFor(recorded)) : QString("右下角");
        if (!stopShortcutText_.isEmpty())
            return "主窗口已隐藏，按 " + stopShortcutText_ + " 停止，或把指针停在屏幕" + corner + "打开录制控制条。";
        if (desktopIndicatorStops_)
            return "主窗口已隐藏，可用桌面的屏幕共享指示器或 vantile --toggle-recording 停止，或把指针停在屏幕" + corner +
                   "打开录制控制条。";
        return "主窗口已隐藏，把指针停在屏幕" + corner + "可打开录制控制条停止。";
    }
    if (!stopShortcutText_.isEmpty()) return "主窗口已隐藏，按 " + stopShortcutText_ + " 或用 Vantile 录制控制条停止。";
    if (desktopIndicatorStops_)
        return "主窗口已隐藏，可用 Vantile 录制控制条、桌面的屏幕共享指示器或 vantile --toggle-recording 停止。";
    return hintMessageWithoutTray;
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
    hotCornerWatch_.stop();
    hotCorner_.reset();
    controlPlace_.reset();
    hintTold_ = false;
    restingInCornerSince_.reset();
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
    FileManagerReveal::reveal(file, revealWays_, [failed = revealFailed_](const std::string& failure) {
        if (failed) {
            failed(failure);
        } else {
            std::fprintf(stderr, "vantile: %s\n", failure.c_str());
        }
    });
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

std::vector<CGRectCodable> MainWindowShell::stopGestureWay(StopTrigger trigger)
{
    if (trigger != StopTrigger::control || !recordingControl_ || !recordingControl_->isVisible()) return {};
    std::vector<CGRectCodable> way;
    if (!canPlaceWindows()) {
        // The stream's pointer is already in the events' coordinates.
        const auto plain = [](const QRect& area) { return devicePixels(area, 1); };
        if (hotCorner_) way.push_back(plain(*hotCorner_));
        if (controlPlace_) way.push_back(plain(*controlPlace_));
        return way;
    }
    // Behind a hot corner the way to the control leads through the corner first.
    const qreal ratio = recordingControl_->devicePixelRatioF();
    if (hotCorner_) way.push_back(devicePixels(*hotCorner_, ratio));
    way.push_back(devicePixels(recordingControl_->frameGeometry(), ratio));
    return way;
}

void MainWindowShell::quitWhenClosedWithoutTray(QWindow* mainWindow)
{
    closeWatcher_ =
        mainWindow ? std::make_unique<CloseWatcher>(
                                    mainWindow, [this] { return trayAvailable_(); }, [this] { quit_(); },
                                    [this] { return keepOpen_ && keepOpen_(); })
                              : nullptr;
}

void MainWindowShell::announceExport(const std::filesystem::path& movie)
{
    if (!notifier_) return;
    notifier_->notifyWithAction("导出完成", QString::fromStdString(movie.filename().string()), "在文件管理器中显示",
                                [this, movie] { revealFile(movie); });
}

}  // namespace vantile
