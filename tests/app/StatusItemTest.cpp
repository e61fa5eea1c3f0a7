#include "FakeServices.h"
#include "StatusItemController.h"

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

}  // namespace
}  // namespace vantile
