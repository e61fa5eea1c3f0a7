#include "ScreenHarness.h"
#include "SampleProject.h"

#include <QTest>

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::ScreenHarness;
using testing::sampleDisplay;
using testing::sampleWindow;
using testing::waitFor;

// Waits until every one of `expected` shows on screen; names those that never did.
::testing::AssertionResult shows(const ScreenHarness& screens, const std::vector<std::string>& expected)
{
    std::vector<std::string> missing;
    waitFor([&] {
        const auto shown = screens.visibleTexts();
        missing.clear();
        std::ranges::copy_if(expected, std::back_inserter(missing), [&](const auto& text) { return !shown.count(text); });
        return missing.empty();
    });
    if (missing.empty()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "not shown: " << ::testing::PrintToString(missing);
}

// The visible item that shows exactly `text`.
QQuickItem* itemShowing(QQuickItem* item, const QString& text)
{
    if (!item->isVisible()) return nullptr;
    if (item->property("text").toString() == text) return item;
    for (QQuickItem* child : item->childItems())
        if (QQuickItem* found = itemShowing(child, text)) return found;
    return nullptr;
}

TEST(ScreensTest, HomePermissionsAndSourcePickerShowTheirStateAndPickARow)
{
    ScreenHarness screens;
    ASSERT_TRUE(screens.window());
    // The home screen loads sources as it appears.
    ASSERT_TRUE(waitFor([&] { return screens.log.contains("sources.load") && !screens.state->isBusy(); }));

    // Only the row that is not granted offers its actions, and the refusal is told.
    screens.permissions->status = {true, false, true};
    screens.state->refreshPermissionStatus();
    screens.state->setRouteName("permissions");
    EXPECT_TRUE(shows(screens, {"打开设置", "未开启", "请先开启“辅助功能”权限后再开始录制。"}));

    // The picker lists the sources; the microphones show only for a mode that records one.
    screens.loadSources({sampleDisplay(), sampleWindow()});
    screens.state->setRouteName("sourcePicker");
    EXPECT_TRUE(shows(screens, {"screen", "notes.txt"}));
    EXPECT_FALSE(screens.visibleTexts().count("系统默认"));
    screens.state->setAudioCaptureMode(AudioCaptureMode::systemAndMicrophone);
    EXPECT_TRUE(shows(screens, {"系统默认", "Blue Yeti", "内置麦克风"}));

    // Choosing a row selects that source.
    auto* list = screens.item("sourceList");
    ASSERT_TRUE(list);
    const QPointF secondRow = list->mapToScene(QPointF(40, 64 + 8 + 20));
    QTest::mouseClick(screens.window(), Qt::LeftButton, {}, secondRow.toPoint());
    ASSERT_TRUE(waitFor([&] { return screens.state->selectedSource()->id == "window-7"; }, 2000));

    // The countdown is chosen beside the sound (a short sound panel keeps it in view).
    screens.state->setAudioCaptureMode(AudioCaptureMode::none);
    EXPECT_TRUE(shows(screens, {"倒计时", "自动", "3 秒", "2 秒", "关"}));
    QQuickItem* twoSeconds = itemShowing(screens.window()->contentItem(), "2 秒");
    ASSERT_TRUE(twoSeconds);
    QTest::mouseClick(screens.window(), Qt::LeftButton, {},
                      twoSeconds->mapToScene(QPointF(twoSeconds->width() / 2, twoSeconds->height() / 2)).toPoint());
    ASSERT_TRUE(waitFor([&] { return screens.state->recordingCountdown() == CountdownChoice::twoSeconds; }, 2000));

    // The frame rate sits with the countdown.
    EXPECT_TRUE(shows(screens, {"帧率", "30 fps", "60 fps"}));
    QQuickItem* sixty = itemShowing(screens.window()->contentItem(), "60 fps");
    ASSERT_TRUE(sixty);
    QTest::mouseClick(screens.window(), Qt::LeftButton, {},
                      sixty->mapToScene(QPointF(sixty->width() / 2, sixty->height() / 2)).toPoint());
    ASSERT_TRUE(waitFor([&] { return screens.state->recordingFps() == 60; }, 2000));

    // The camera section: none, then each listed camera by its title; choosing one marks it.
    EXPECT_TRUE(shows(screens, {"摄像头", "不录制摄像头", "没有找到摄像头。连接摄像头后点“重新加载”。"}));
    {
        std::lock_guard lock(screens.fakeCameras->mutex);
        screens.fakeCameras->cameras = {{.id = "camera-a", .title = "USB 2.0 Camera"},
                                        {.id = "camera-b", .title = "Integrated Webcam"}};
    }
    screens.state->loadSources();
    ASSERT_TRUE(shows(screens, {"USB 2.0 Camera", "Integrated Webcam"}));
    QQuickItem* row = itemShowing(screens.window()->contentItem(), "Integrated Webcam");
    while (row && !row->property("selected").isValid()) row = row->parentItem();
    ASSERT_TRUE(row);
    EXPECT_FALSE(row->property("selected").toBool());
    QMetaObject::invokeMethod(row, "chosen");
    EXPECT_EQ(screens.state->selectedCameraIdText(), "camera-b");
    EXPECT_TRUE(row->property("selected").toBool());
}

TEST(ScreensTest, WhereInputDevicesAreClosedThePermissionScreenOffersTheHelperAndSaysWhatItReads)
{
    ScreenHarness screens;
    ASSERT_TRUE(screens.window());
    ASSERT_TRUE(waitFor([&] { return screens.log.contains("sources.load") && !screens.state->isBusy(); }));
    screens.permissions->status = {.screenRecordingGranted = true,
                                   .accessibilityGranted = true,
                                   .inputMonitoringGranted = false,
                                   .inputMonitoringHowTo = "点击“授权读取点击”并输入密码。",
                                   .inputHelperOffered = true};
    screens.state->refreshPermissionStatus();
    screens.state->setRouteName("permissions");
    ASSERT_TRUE(shows(screens, {"授权读取点击", "未开启"}));
    // No settings page grants it, and the screen says what the helper reads and what it never reads.
    EXPECT_FALSE(screens.visibleTexts().count("打开设置"));
    const auto shown = screens.visibleTexts();
    const auto explanation = std::ranges::find_if(
        shown, [](const std::string& text) { return text.find("vantile-input-helper") != std::string::npos; });
    ASSERT_NE(explanation, shown.end());
    for (const char* told : {"鼠标按键", "滚轮", "按了哪个键", "密码", "从不读取", "10 分钟"})
        EXPECT_NE(explanation->find(told), std::string::npos) << told;

    screens.permissions->inputHelperConsents = true;
    QQuickItem* button = itemShowing(screens.window()->contentItem(), "授权读取点击");
    ASSERT_TRUE(button);
    QTest::mouseClick(screens.window(), Qt::LeftButton, {},
                      button->mapToScene(QPointF(button->width() / 2, button->height() / 2)).toPoint());
    ASSERT_TRUE(waitFor([&] { return screens.state->permissionStatus().inputMonitoringGranted; }));
    EXPECT_TRUE(screens.log.contains("permissions.requestInputMonitoring"));
    EXPECT_TRUE(waitFor([&] { return !screens.visibleTexts().count("授权读取点击"); }));
}

TEST(ScreensTest, RecordingAndGeneratingScreensFollowTheFlow)
{
    ScreenHarness screens;
    ASSERT_TRUE(screens.record());
    screens.clock.advance(83);
    EXPECT_TRUE(shows(screens, {"01:23"}));

    screens.recorder->stopGate.close();
    screens.state->stopRecording();
    EXPECT_TRUE(shows(screens, {"正在生成演示视频"}));
    screens.recorder->stopGate.open();
    ASSERT_TRUE(waitFor([&] { return screens.state->route() == Route::preview && !screens.state->isBusy(); }));
}

TEST(ScreensTest, PreviewPlaysTheProjectAndExportsWithProgressAndCancel)
{
    ScreenHarness screens;
    const auto directory = screens.root / "projects" / "project-sample";
    const RecordingProject project = testing::makeSampleProject(directory);
    screens.openProject(directory);
    auto* preview = screens.item("livePreview");
    ASSERT_TRUE(preview);
    ASSERT_TRUE(waitFor([&] { return preview->property("ready").toBool(); }));
    EXPECT_TRUE(shows(screens, {"0:00 / 0:04", std::to_string(project.focusSegments.size()) +
                                               " focus segments · 原视频 1280 x 720 · 当前输出 1920 x 1080 · 30 fps"}));

    // A new look shows at once, also while paused, and reaches the screen.
    screens.state->updateAspectRatio("portrait9x16");
    screens.state->updateAspectRatio("landscape16x9");
    screens.state->changeRenderSetting("templateName", "gradientBlue");
    const QRectF canvas = preview->property("canvasRect").toRectF();
    const QPoint corner = preview->mapToScene(canvas.topLeft() + QPointF(3, 3)).toPoint();
    QRgb onScreen = 0;
    EXPECT_TRUE(waitFor([&] {
        onScreen = screens.window()->grabWindow().pixel(corner);
        return std::abs(qRed(onScreen) - 0x0F) + std::abs(qGreen(onScreen) - 0x17) + std::abs(qBlue(onScreen) - 0x2A) <= 4;
    }, 3000)) << std::hex << onScreen;

    // Export with its progress bar and a cancel button, then the exports list.
    screens.exporter->holdUntilCancelled = true;
    screens.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return screens.state->exportProgress() == 0.5; }));
    EXPECT_TRUE(shows(screens, {"50%"}));
    // The settings wait while the export renders the ones it started with.
    EXPECT_FALSE(screens.item("previewSettingsPanel")->isEnabled());
    QMetaObject::invokeMethod(screens.item("cancelExportButton"), "clicked");
    ASSERT_TRUE(waitFor([&] { return !screens.state->isBusy(); }));
    EXPECT_EQ(screens.state->errorMessage(), "Export cancelled.");

    screens.exporter->holdUntilCancelled = false;
    screens.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return !screens.state->isBusy(); }));
    EXPECT_TRUE(shows(screens, {"export.mp4", "MP4", "5 bytes"}));
}

TEST(ScreensTest, PreviewOfAMissingMovieSaysSoAndStillShowsTheCamera)
{
    ScreenHarness screens;
    const auto directory = screens.root / "projects" / "project-gone";
    testing::makeSampleProject(directory, 640, 360, 2);
    std::filesystem::remove(directory / "raw.mov");
    screens.openProject(directory);
    auto* preview = screens.item("livePreview");
    ASSERT_TRUE(waitFor([&] { return preview->property("ready").toBool(); }));
    EXPECT_NE(preview->property("failure").toString().toStdString().find("raw.mov"), std::string::npos);
    // Playing runs the camera to the end, where it stops.
    QMetaObject::invokeMethod(preview, "togglePlayback");
    ASSERT_TRUE(waitFor([&] { return preview->property("playing").toBool(); }));
    ASSERT_TRUE(waitFor([&] { return !preview->property("playing").toBool(); }, 15000));
    EXPECT_DOUBLE_EQ(preview->property("currentTime").toDouble(), 2.0);

    // A project directory that is gone altogether: the store's message, the app stays where it was.
    screens.state->openProject(screens.root / "projects" / "nowhere");
    EXPECT_TRUE(screens.state->errorMessage());
    EXPECT_EQ(screens.state->route(), Route::preview);
}

}  // namespace
}  // namespace vantile
