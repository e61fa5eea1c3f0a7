#include "DesktopNotifier.h"
#include "FakeServices.h"
#include "MainWindowShell.h"
#include "RecordingHintPlacement.h"
#include "StatusItemController.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <QWindow>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::waitFor;

constexpr int waitLimitMilliseconds = 10000;

CaptureSource displaySource(const QRect& area)
{
    CaptureSource source;
    source.region = CGRectCodable{double(area.x()), double(area.y()), double(area.width()), double(area.height())};
    return source;
}

CaptureSource windowSource(const QRect& area)
{
    CaptureSource source = displaySource(area);
    source.kind = CaptureSource::SourceKind::window;
    return source;
}

TEST(RecordingHintPlacementTest, HintAndControlStayOffRecordedDisplaysAndBesideRecordedWindows)
{
    const QSize size(200, 40);
    HintScreens two;
    two.availableAreas = {QRect(0, 32, 1920, 1048), QRect(1920, 0, 1280, 1024)};
    two.fullAreas = {QRect(0, 0, 1920, 1080), QRect(1920, 0, 1280, 1024)};
    two.primaryScreen = 0;
    two.pointerScreen = 0;

    // The pointer's screen is recorded: hint and control go to the other one.
    const QRect onSecond = recordingControlGeometry(two, displaySource(two.fullAreas[0]), size);
    EXPECT_TRUE(two.availableAreas[1].contains(onSecond)) << onSecond.x() << "," << onSecond.y();
    // Both recorded (one big virtual display): no hint; the tray tooltip says it instead.
    EXPECT_EQ(chooseHintScreen(two, displaySource(QRect(0, 0, 3200, 1080))), std::nullopt);
    // A window recording never shows the hint, so the pointer's screen is fine.
    EXPECT_EQ(chooseHintScreen(two, windowSource(QRect(0, 0, 3200, 1080))), 0u);
    EXPECT_EQ(chooseHintScreen(HintScreens{}, windowSource(QRect(0, 0, 3200, 1080))), std::nullopt);
    // Pointer on the other display: the hint stays with the pointer.
    two.pointerScreen = 1;
    EXPECT_EQ(chooseHintScreen(two, displaySource(two.fullAreas[0])), 1u);
    EXPECT_EQ(hintGeometry(two.availableAreas[0]), QRect(1920 - 360 - 14, 32 + 12, 360, 74));

    // A window covering the right half of the only screen does not cover the control.
    HintScreens one = two;
    one.availableAreas.resize(1);
    one.fullAreas.resize(1);
    const QRect rightHalf(960, 0, 960, 1080);
    const QRect besideWindow = recordingControlGeometry(one, windowSource(rightHalf), size);
    EXPECT_FALSE(besideWindow.intersects(rightHalf));
    EXPECT_TRUE(one.availableAreas[0].contains(besideWindow));
    // A window filling the first screen sends it to the second.
    const QRect besideFullWindow = recordingControlGeometry(two, windowSource(two.fullAreas[0]), size);
    EXPECT_FALSE(besideFullWindow.intersects(two.fullAreas[0]));
}

TEST(MainWindowShellTest, WindowHintAndRecordingControlFollowTheTrayAndClosingQuitsOnlyWithoutIt)
{
    MainWindowShell shell;
    bool trayAvailable = true;
    int stops = 0;
    int quits = 0;
    shell.setTrayProbe([&] { return trayAvailable; });
    shell.setStopRecordingAction([&] { ++stops; });
    shell.setQuitAction([&] { ++quits; });
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    EXPECT_FALSE(shell.showMainWindow());
    QWindow window;
    window.setTitle(MainWindowShell::mainWindowTitle);
    window.show();
    shell.hideMainWindow();
    EXPECT_FALSE(window.isVisible());
    EXPECT_TRUE(shell.showMainWindow());
    EXPECT_TRUE(window.isVisible());
    shell.quitWhenClosedWithoutTray(&window);

    // With a tray, the tray menu stops the recording: no extra window. The hint panel shows over
    // a window recording and goes when the window comes back; closing the window does not quit.
    shell.showRecordingHint(windowSource(QRect(0, 0, 100, 100)));
    EXPECT_EQ(shell.recordingControl(), nullptr);
    ASSERT_TRUE(shell.recordingHintPanel());
    EXPECT_TRUE(shell.recordingHintPanel()->isVisible());
    shell.showMainWindow();
    EXPECT_FALSE(shell.recordingHintPanel());
    window.close();
    QCoreApplication::processEvents();
    EXPECT_EQ(quits, 0);

    // The tray goes away while recording: the control appears within the next check.
    trayAvailable = false;
    ASSERT_TRUE(QTest::qWaitFor([&] { return shell.recordingControl() != nullptr; }, waitLimitMilliseconds));
    EXPECT_TRUE(shell.recordingControl()->isVisible());
    shell.setRecordingElapsedText("01:07");
    EXPECT_EQ(shell.recordingControl()->elapsedText(), "01:07");
    QTest::mouseClick(shell.recordingControl()->stopButton(), Qt::LeftButton);
    EXPECT_EQ(stops, 1);
    // Closing the control's window stops too, rather than leave a recording nothing can stop.
    shell.recordingControl()->close();
    EXPECT_EQ(stops, 2);
    shell.endRecording();
    EXPECT_EQ(shell.recordingControl(), nullptr);

    // A new recording without a tray shows it at once, counting from zero again (beside a recorded
    // window; a recorded single screen hides it behind a hot corner).
    shell.showRecordingHint(windowSource(QRect(0, 0, 100, 100)));
    ASSERT_NE(shell.recordingControl(), nullptr);
    EXPECT_EQ(shell.recordingControl()->elapsedText(), "00:00");
    EXPECT_TRUE(screen.contains(shell.recordingControl()->geometry()));
    // Its place is where input is not the user's and where a stop from it went; the hidden
    // main window is no longer in the way.
    const QRect control = shell.recordingControl()->frameGeometry();
    const CGRectCodable controlArea{double(control.x()), double(control.y()), double(control.width()),
                                    double(control.height())};
    EXPECT_EQ(shell.ownWindowAreas(), std::vector{controlArea});
    EXPECT_EQ(shell.stopGestureWay(StopTrigger::control), std::vector{controlArea});
    EXPECT_TRUE(shell.stopGestureWay(StopTrigger::tray).empty());
    shell.endRecording();

    // Without a tray, closing the window quits; while an export runs the window stays open for
    // the question the quit asks.
    bool exporting = true;
    shell.setKeepOpenWhileQuitting([&] { return exporting; });
    window.show();
    window.close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return quits == 1; }, waitLimitMilliseconds));
    EXPECT_TRUE(window.isVisible());
    exporting = false;
    window.close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return quits == 2; }, waitLimitMilliseconds));
    EXPECT_FALSE(window.isVisible());
}

TEST(MainWindowShellTest, OnARecordedSingleScreenTheControlShowsOnlyWhenThePointerRestsInItsCorner)
{
    MainWindowShell shell;
    std::optional<QPoint> pointer = QPoint(300, 300);
    shell.setTrayProbe([] { return false; });
    shell.setPointerProbe([&] { return pointer; });
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    shell.showRecordingHint(displaySource(screen));
    ASSERT_NE(shell.recordingControl(), nullptr);
    ASSERT_TRUE(shell.hotCorner());
    const QRect corner = *shell.hotCorner();
    EXPECT_EQ(corner.size(), QSize(MainWindowShell::hotCornerSize, MainWindowShell::hotCornerSize));
    EXPECT_TRUE(screen.contains(corner));
    const bool atRight = corner.right() == screen.right();
    const bool atBottom = corner.bottom() == screen.bottom();
    EXPECT_TRUE(atRight || corner.left() == screen.left());
    EXPECT_TRUE(atBottom || corner.top() == screen.top());
    const auto controlShown = [&] { return shell.recordingControl()->isVisible(); };
    // Hidden, it is no window of ours on the screen, and the hint tells where it waits.
    QTest::qWait(3 * MainWindowShell::hotCornerPollMilliseconds);
    EXPECT_FALSE(controlShown());
    EXPECT_TRUE(shell.ownWindowAreas().empty());
    EXPECT_TRUE(shell.hintMessageNow().contains("屏幕" + QString(atRight ? "右" : "左") + (atBottom ? "下" : "上") + "角"))
        << shell.hintMessageNow().toStdString();

    // Passing through the corner, in less time than a rest by this test's own clock, is no request.
    const auto entered = std::chrono::steady_clock::now();
    pointer = corner.center();
    QTest::qWait(MainWindowShell::hotCornerPollMilliseconds * 2);
    pointer = QPoint(screen.center());
    const auto passed = std::chrono::steady_clock::now() - entered;
    QTest::qWait(MainWindowShell::hotCornerRestMilliseconds);
    if (passed < std::chrono::milliseconds(MainWindowShell::hotCornerRestMilliseconds)) {
        EXPECT_FALSE(controlShown());
    }

    // Resting there shows it, beside the corner; it stays while the pointer is over it.
    pointer = corner.topLeft();
    ASSERT_TRUE(QTest::qWaitFor(controlShown, waitLimitMilliseconds));
    const QRect control = shell.recordingControl()->frameGeometry();
    EXPECT_TRUE(screen.contains(control));
    EXPECT_LT(std::hypot(double((atRight ? control.right() : control.left()) - corner.center().x()),
                         double((atBottom ? control.bottom() : control.top()) - corner.center().y())),
              60);
    pointer = control.center();
    QTest::qWait(MainWindowShell::hotCornerLingerMilliseconds + 500);
    EXPECT_TRUE(controlShown());
    // Shown, it is ours: input over it is dropped, and a stop from it trims the way through the corner.
    const std::vector<CGRectCodable> areas = shell.ownWindowAreas();
    ASSERT_EQ(areas.size(), 1u);
    EXPECT_EQ(areas[0].x, control.x());
    const auto way = shell.stopGestureWay(StopTrigger::control);
    ASSERT_EQ(way.size(), 2u);
    for (std::size_t index = 0; index < way.size(); ++index) {
        const QPoint point = index == 0 ? corner.center() : control.center();
        EXPECT_TRUE(point.x() >= way[index].minX() && point.x() < way[index].maxX() && point.y() >= way[index].minY() &&
                    point.y() < way[index].maxY())
            << point.x() << "," << point.y();
    }

    // Away from it for a while, it hides again, and comes back from the corner.
    pointer = QPoint(screen.center());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !controlShown(); }, waitLimitMilliseconds));
    pointer = corner.center();
    ASSERT_TRUE(QTest::qWaitFor(controlShown, waitLimitMilliseconds));
    shell.endRecording();
    EXPECT_EQ(shell.recordingControl(), nullptr);

    // With a tray, or a second screen left free, the control is not hidden this way.
    shell.setTrayProbe([] { return true; });
    EXPECT_FALSE(shell.hidesControlFor(displaySource(screen)));
    shell.setTrayProbe([] { return false; });
    EXPECT_FALSE(shell.hidesControlFor(windowSource(screen)));
    EXPECT_TRUE(shell.hidesControlFor(displaySource(screen)));
}

std::vector<std::string> menuTexts(const QMenu& menu)
{
    std::vector<std::string> texts;
    for (const QAction* action : menu.actions()) {
        texts.push_back(action->isSeparator() ? "---" : action->text().toStdString() + (action->isEnabled() ? "" : " (off)"));
    }
    return texts;
}

TEST(StatusItemTest, MenuAndTooltipFollowTheRecordingAndTheStopItemOpensTheWindowAfterward)
{
    AppFixture app;
    StatusItemController statusItem;
    int windowOpenings = 0;
    statusItem.configure(app.state.get(), [&] { ++windowOpenings; });
    ASSERT_TRUE(statusItem.menu());
    EXPECT_EQ(statusItem.statusItem()->toolTip(), "Vantile");
    EXPECT_EQ(menuTexts(*statusItem.menu()), (std::vector<std::string>{"Vantile 在后台保持可用 (off)", "---", "打开窗口",
                                                                        "隐藏窗口", "---", "退出 Vantile"}));

    ASSERT_TRUE(app.record());
    ASSERT_TRUE(waitFor([&] { return statusItem.statusItem()->toolTip() == "Vantile 正在录制"; }));
    const std::vector<std::string> recording{"正在录制 (off)", "---", "打开窗口", "隐藏窗口", "---",
                                             "停止录制并打开预览", "---", "退出 Vantile"};
    EXPECT_EQ(menuTexts(*statusItem.menu()), recording);

    statusItem.menu()->actions()[3]->trigger();
    EXPECT_EQ(app.log.entries().back(), "shell.hideMainWindow");
    statusItem.menu()->actions()[2]->trigger();
    EXPECT_EQ(windowOpenings, 1);

    app.recorder->stopGate.close();
    statusItem.menu()->actions()[5]->trigger();
    EXPECT_EQ(app.state->route(), Route::generating);
    EXPECT_EQ(windowOpenings, 1);  // not before the project is ready
    app.recorder->stopGate.open();
    ASSERT_TRUE(waitFor([&] { return windowOpenings == 2; }));
    EXPECT_EQ(app.state->route(), Route::preview);
    ASSERT_TRUE(waitFor([&] { return statusItem.menu()->actions().size() == 6; }));
    EXPECT_EQ(statusItem.statusItem()->toolTip(), "Vantile");
}

// A notification server of our own on a private session bus, recording what it was sent.
class NotificationServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Sent {
        QString body;
        QStringList actions;
    };
    std::vector<Sent> sent;
    std::vector<uint> closed;

public slots:
    uint Notify(const QString&, uint, const QString&, const QString&, const QString& body, const QStringList& actions,
                const QVariantMap&, int)
    {
        sent.push_back({body, actions});
        return uint(sent.size()) + 40;
    }
    void CloseNotification(uint id) { closed.push_back(id); }
};

// A file manager on the same bus that notes what it was asked to show.
class FakeFileManager : public QDBusVirtualObject {
public:
    QStringList shown;

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.member() != "ShowItems" || message.arguments().isEmpty()) return false;
        shown += message.arguments().front().toStringList();
        connection.send(message.createReply());
        return true;
    }
};

TEST(DesktopNotificationTest, HintAndFinishedExportReachTheDesktopAndItsActionShowsTheMovie)
{
    testing::TemporaryDirectory directory;
    const std::string address = "unix:path=" + (directory / "bus").string();
    ChildProcess bus({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1",
                      "--address=" + address},
                     {.captureOutput = true});
    ASSERT_TRUE(bus.readLine(std::chrono::milliseconds(waitLimitMilliseconds)).has_value());
    // The file manager is reached on the session bus: this one, before anything here has used another.
    setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);

    QDBusConnection serverBus = QDBusConnection::connectToBus(QString::fromStdString(address), "notification-server");
    ASSERT_TRUE(serverBus.isConnected());
    NotificationServer server;
    ASSERT_TRUE(serverBus.registerObject(DesktopNotifier::path, &server, QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(serverBus.registerService(DesktopNotifier::service));
    FakeFileManager fileManager;
    ASSERT_TRUE(serverBus.registerVirtualObject("/org/freedesktop/FileManager1", &fileManager));
    ASSERT_TRUE(serverBus.registerService("org.freedesktop.FileManager1"));
    QDBusConnection clientBus = QDBusConnection::connectToBus(QString::fromStdString(address), "vantile-client");
    {
        DesktopNotifier notifier(clientBus);
        MainWindowShell shell;
        shell.setNotifier(&notifier);
        shell.setTrayProbe([] { return true; });

        // The only screen is recorded and no countdown ran: the panel has no place, and a
        // notification sent now would be drawn into the movie's first seconds.
        shell.showRecordingHint(displaySource(QGuiApplication::primaryScreen()->geometry()));
        QTest::qWait(300);
        EXPECT_TRUE(server.sent.empty());
        EXPECT_EQ(shell.recordingHintPanel(), nullptr);
        shell.endRecording();

        // On the only screen the countdown carries the hint, and the desktop's copy of it (as every
        // notification of ours) is withdrawn before the capture may start.
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        bool finished = false;
        bool cancelled = false;
        shell.runCountdown(1, displaySource(screen), [&] { finished = true; }, [&] { cancelled = true; });
        ASSERT_NE(shell.countdown(), nullptr);
        EXPECT_TRUE(shell.countdown()->isVisible());
        EXPECT_TRUE(shell.countdown()->hintText().contains(MainWindowShell::hintMessage));
        ASSERT_TRUE(QTest::qWaitFor([&] { return server.sent.size() == 1; }, waitLimitMilliseconds));
        EXPECT_EQ(server.sent[0].body, MainWindowShell::hintMessage);
        ASSERT_TRUE(QTest::qWaitFor([&] { return finished; }, waitLimitMilliseconds));
        EXPECT_FALSE(cancelled);
        EXPECT_EQ(shell.countdown(), nullptr);
        std::optional<std::vector<uint>> closedAtCapture;
        shell.hideWindowsBeforeCapture([&] { closedAtCapture = server.closed; });
        ASSERT_TRUE(QTest::qWaitFor([&] { return closedAtCapture.has_value(); }, waitLimitMilliseconds));
        EXPECT_EQ(std::ranges::count(*closedAtCapture, 41u), 1);
        // Once recording, no notification repeats it into the movie.
        shell.showRecordingHint(displaySource(screen));
        QTest::qWait(300);
        EXPECT_EQ(server.sent.size(), 1u);
        shell.endRecording();

        // Esc or 取消 during the countdown: nothing starts, and the desktop's hint goes.
        shell.runCountdown(3, displaySource(screen), [&] { finished = false; }, [&] { cancelled = true; });
        ASSERT_TRUE(QTest::qWaitFor([&] { return server.sent.size() == 2; }, waitLimitMilliseconds));
        QTest::mouseClick(shell.countdown()->cancelButton(), Qt::LeftButton);
        EXPECT_TRUE(cancelled);
        EXPECT_TRUE(finished);
        EXPECT_EQ(shell.countdown(), nullptr);
        ASSERT_TRUE(QTest::qWaitFor([&] { return std::ranges::count(server.closed, 42u) == 1; }, waitLimitMilliseconds));
        QTest::qWait(1200);
        EXPECT_TRUE(finished);

        // A finished export offers to reveal the movie; picking the action reveals it.
        shell.announceExport("/videos/project-1/export.mp4");
        ASSERT_TRUE(QTest::qWaitFor([&] { return server.sent.size() == 3; }, waitLimitMilliseconds));
        EXPECT_EQ(server.sent[2].actions.front(), "default");
        QDBusMessage click = QDBusMessage::createSignal(DesktopNotifier::path, DesktopNotifier::interface,
                                                        "ActionInvoked");
        click << uint(43) << QString("default");
        // A click before the notifier has its notification's id back counts for nothing, so the
        // user clicks until the movie shows. The file manager answers on this very thread, so a
        // reveal that waited for it would stall here past the limit.
        ASSERT_TRUE(QTest::qWaitFor([&] { return serverBus.send(click) && !fileManager.shown.isEmpty(); },
                                    waitLimitMilliseconds));
        EXPECT_EQ(fileManager.shown, QStringList{"file:///videos/project-1/export.mp4"});
    }
    QDBusConnection::disconnectFromBus("vantile-client");
    QDBusConnection::disconnectFromBus("notification-server");
    bus.stop();
}

}  // namespace
}  // namespace vantile

#include "DesktopShellTest.moc"
