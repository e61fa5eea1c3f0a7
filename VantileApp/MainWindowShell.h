#pragma once

#include "AppServices.h"
#include "DesktopNotifier.h"
#include "FileManagerReveal.h"
#include "RecordingControlWindow.h"
#include "RecordingCountdownWindow.h"
#include "RecordingHintPanel.h"

#include <QPointer>
#include <QRect>
#include <QTimer>

#include <chrono>

#include <functional>
#include <memory>
#include <optional>

class QWindow;

namespace vantile {

// The windows around the controller: the main window titled "Vantile", the recording hint
// (a placed panel, or a desktop notification where it cannot be placed away from the
// recording), the recording control for desktops without a tray, and the file manager.
class MainWindowShell : public DesktopShell {
public:
    using TrayProbe = std::function<bool()>;
    // Where the pointer is in global screen coordinates, when the desktop tells.
    using PointerProbe = std::function<std::optional<QPoint>()>;

    MainWindowShell();
    ~MainWindowShell() override;

    bool showMainWindow() override;
    void hideMainWindow() override;
    // Qt marks a window unexposed when the server's UnmapNotify arrives (X11); then the screen
    // is watched until it no longer shows our windows, or, where it cannot be read, about one
    // more frame passes.
    void hideWindowsBeforeCapture(std::function<void()> hidden) override;
    bool recordsEveryScreen(const CaptureSource& recorded) override;
    // The main window goes; on a recorded single screen the countdown carries the recording hint
    // (and the desktop shows it as a notification, withdrawn before the first frame).
    void runCountdown(int seconds, const CaptureSource& recorded, std::function<void()> finished,
                      std::function<void()> cancelled) override;
    void cancelCountdown() override;
    void showRecordingHint(const CaptureSource& recorded) override;
    void dismissRecordingHint() override;
    void revealFile(const std::filesystem::path& file) override;
    std::vector<CGRectCodable> ownWindowAreas() override;
    std::vector<CGRectCodable> stopGestureWay(StopTrigger trigger) override;

    // What the recording control's 停止 does; the same as the tray menu's stop.
    void setStopRecordingAction(std::function<void()> action) { stopRecording_ = std::move(action); }
    void setTrayProbe(TrayProbe probe) { trayAvailable_ = std::move(probe); }
    void setQuitAction(std::function<void()> quit) { quit_ = std::move(quit); }
    // While this holds (an export runs), closing the main window without a tray leaves it open
    // and only asks the quit action, which asks the user first.
    void setKeepOpenWhileQuitting(std::function<bool()> keepOpen) { keepOpen_ = std::move(keepOpen); }
    // Where a reveal that found neither a file manager nor a folder opener is told.
    void setRevealFailedAction(std::function<void(const std::string&)> failed) { revealFailed_ = std::move(failed); }
    void setRevealWays(FileManagerReveal::Ways ways) { revealWays_ = std::move(ways); }
    void setNotifier(DesktopNotifier* notifier) { notifier_ = notifier; }
    // X11 answers QCursor::pos(); a desktop that tells the pointer only through the captured
    // stream's cursor metadata feeds it here instead.
    void setPointerProbe(PointerProbe probe) { pointer_ = std::move(probe); }
    void setRecordingElapsedText(const QString& text);
    // The recording is over: the recording control goes away.
    void endRecording();
    // Without a tray nothing would be left to reopen a closed main window, so closing it quits.
    void quitWhenClosedWithoutTray(QWindow* mainWindow);
    // A finished export offers to reveal the movie.
    void announceExport(const std::filesystem::path& movie);

    static constexpr const char* mainWindowTitle = "Vantile";
    static constexpr int hintMilliseconds = 4000;
    static constexpr int trayCheckMilliseconds = 1000;
    static constexpr int redrawAfterUnmapMilliseconds = 100;
    // Windows the server never reports unmapped (never shown, or an unanswered request) stop
    // holding the start back after this.
    static constexpr int unmapWaitLimitMilliseconds = 300;
    // A screen that still looks the same after this is not waiting for us (another window covers ours).
    static constexpr int redrawWaitLimitMilliseconds = 1000;
    // Three frames at 60 Hz without a change: a fade-out has ended.
    static constexpr int settledMilliseconds = 50;
    // A withdrawn notification fades out on most desktops; its place is unknown, so this is waited.
    static constexpr int notificationFadeMilliseconds = 400;
    // A recorded single screen without a tray keeps the recording control out of the picture: it
    // shows when the pointer rests this close to the screen's corner where it lives, for this long,
    // and goes again once the pointer has been away from it for a while.
    static constexpr int hotCornerSize = 4;
    static constexpr int hotCornerRestMilliseconds = 300;
    static constexpr int hotCornerLingerMilliseconds = 1500;
    static constexpr int placedByDesktopLingerMilliseconds = 3000;
    static constexpr int hotCornerPollMilliseconds = 50;
    static constexpr const char* hintTitle = "正在录制";
    static constexpr const char* hintMessage = "主窗口已隐藏，可从系统托盘的 Vantile 图标停止或打开。";
    static constexpr const char* hintMessageWithoutTray = "主窗口已隐藏，可从 Vantile 录制控制条停止。";

    // The key that stops the recording from anywhere, named in the hint and on the recording
    // control; empty when none is held.
    void setStopShortcutText(const QString& text);
    // Wayland without a shortcut: the desktop's own screen-sharing indicator ends the stream.
    void setDesktopIndicatorStops(bool stops) { desktopIndicatorStops_ = stops; }
    // What the hint says now, after the tray, the shortcut and the desktop.
    QString hintMessageNow() const;
    // The same for a recording of `recorded`, which may hide the control behind a hot corner.
    QString hintMessageFor(const CaptureSource& recorded) const;
    // Whether the recording control of `recorded` waits behind a hot corner: a display without a
    // tray that leaves no screen free, or any display where the desktop places windows itself.
    bool hidesControlFor(const CaptureSource& recorded) const;
    // The hot corner of such a recording, in the pointer probe's coordinates.
    QRect hotCornerFor(const CaptureSource& recorded) const;
    // The hot corner of the running recording, if its control hides behind one.
    std::optional<QRect> hotCorner() const { return hotCorner_; }

    const RecordingHintPanel* recordingHintPanel() const { return recordingHintPanel_.get(); }
    RecordingCountdownWindow* countdown() const { return countdown_.get(); }
    RecordingControlWindow* recordingControl() const { return recordingControl_.get(); }

private:
    bool canPlaceWindows() const;
    void showRecordingControlIfNoTray();
    void watchHotCorner();
    void hideOwnWindows(std::function<void()> hidden);

    TrayProbe trayAvailable_;
    std::function<void()> stopRecording_;
    std::function<void()> quit_;
    std::function<bool()> keepOpen_;
    std::function<void(const std::string&)> revealFailed_;
    FileManagerReveal::Ways revealWays_ = FileManagerReveal::desktopWays();
    QPointer<DesktopNotifier> notifier_;
    std::unique_ptr<RecordingHintPanel> recordingHintPanel_;
    std::unique_ptr<QTimer> recordingHintTask_;
    std::unique_ptr<RecordingControlWindow> recordingControl_;
    std::optional<CaptureSource> recorded_;
    QString elapsedText_ = "00:00";
    QString stopShortcutText_;
    bool desktopIndicatorStops_ = false;
    QTimer trayCheck_;
    std::unique_ptr<QObject> closeWatcher_;
    std::unique_ptr<QTimer> hiddenCheck_;
    PointerProbe pointer_;
    std::unique_ptr<RecordingCountdownWindow> countdown_;
    // The countdown told the recording hint already: no notification once the capture runs.
    bool hintTold_ = false;
    std::optional<QRect> hotCorner_;
    // Where the desktop put the control, once a click on it told.
    std::optional<QRect> controlPlace_;
    QTimer hotCornerWatch_;
    std::optional<std::chrono::steady_clock::time_point> restingInCornerSince_;
    std::chrono::steady_clock::time_point lastNearControl_;
};

}  // namespace vantile
