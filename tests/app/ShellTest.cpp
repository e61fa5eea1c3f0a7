#include "FakeServices.h"
#include "MainWindowShell.h"
#include "RecordingHintPlacement.h"
#include "StatusItemController.h"

#include <QWindow>

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::waitFor;

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

CaptureSource display(double x, double width)
{
    CaptureSource source;
    source.id = "display-1";
    source.region = {x, 0, width, 1080};
    return source;
}

TEST(RecordingHintPlacementTest, HintAvoidsTheRecordedDisplayAndSitsTopRight)
{
    HintScreens two;
    two.fullAreas = {QRect(0, 0, 1920, 1080), QRect(1920, 0, 1280, 1024)};
    two.availableAreas = {QRect(0, 32, 1920, 1048), QRect(1920, 0, 1280, 1024)};
    two.primaryScreen = 0;

    // Pointer on the recorded display: the hint moves to the other one.
    two.pointerScreen = 0;
    EXPECT_EQ(chooseHintScreen(two, display(0, 1920)), 1u);
    // Pointer on the other display: it stays with the pointer.
    two.pointerScreen = 1;
    EXPECT_EQ(chooseHintScreen(two, display(0, 1920)), 1u);
    // Both recorded (one big virtual display): nowhere; the tray tooltip says it instead.
    EXPECT_EQ(chooseHintScreen(two, display(0, 3200)), std::nullopt);
    // A window recording never shows the hint, so the pointer's screen is fine.
    CaptureSource window = display(0, 3200);
    window.kind = CaptureSource::SourceKind::window;
    two.pointerScreen = 0;
    EXPECT_EQ(chooseHintScreen(two, window), 0u);
    EXPECT_EQ(chooseHintScreen(HintScreens{}, window), std::nullopt);

    EXPECT_EQ(hintGeometry(QRect(0, 32, 1920, 1048)), QRect(1920 - 360 - 14, 32 + 12, 360, 74));
}

TEST(MainWindowShellTest, HidesAndShowsTheWindowTitledVantileAndTheHintGoesAway)
{
    MainWindowShell shell;
    // With a tray; without one the recording control stands in for the panel.
    shell.setTrayProbe([] { return true; });
    EXPECT_FALSE(shell.showMainWindow());
    QWindow window;
    window.setTitle("Vantile");
    window.show();
    shell.hideMainWindow();
    EXPECT_FALSE(window.isVisible());
    EXPECT_TRUE(shell.showMainWindow());
    EXPECT_TRUE(window.isVisible());

    CaptureSource source;
    source.kind = CaptureSource::SourceKind::window;
    shell.showRecordingHint(source);
    ASSERT_TRUE(shell.recordingHintPanel());
    EXPECT_TRUE(shell.recordingHintPanel()->isVisible());
    EXPECT_EQ(shell.recordingHintPanel()->size(), QSize(360, 74));
    shell.showMainWindow();
    EXPECT_FALSE(shell.recordingHintPanel());
}

}  // namespace
}  // namespace vantile
