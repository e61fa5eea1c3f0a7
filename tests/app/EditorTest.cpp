#include "ScreenHarness.h"
#include "SampleProject.h"

#include "engine/TimelineLayout.h"
#include "store/ProjectFileManager.h"

#include <QQmlComponent>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>

namespace vantile {
namespace {

using testing::ScreenHarness;
using testing::waitFor;

constexpr double frame = 1.0 / 30;

// The preview screen of a 4 s sample project, its window active so its keys reach it.
struct EditorScreen : ScreenHarness {
    QQuickItem* preview = nullptr;
    QQuickItem* timeline = nullptr;
    bool active = false;

    explicit EditorScreen(AudioCaptureMode audio = AudioCaptureMode::none)
    {
        const auto directory = root / "projects" / "project-keys";
        SampleProjectWriter::write(directory, {4, 640, 360, audio});
        openProject(directory);
        preview = item("livePreview");
        timeline = item("timelineView");
        window()->requestActivate();
        active = QTest::qWaitForWindowActive(window());
        waitFor([&] { return preview && preview->property("ready").toBool(); });
        window()->contentItem()->forceActiveFocus();
    }

    void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(window(), static_cast<Qt::Key>(key), modifiers);
    }
    double time() const { return preview->property("currentTime").toDouble(); }
    bool playing() const { return preview->property("playing").toBool(); }
    std::size_t segmentCount() const { return state->currentProject()->focusSegments.size(); }
    // A removed zoom leaves the overview in its place, so zooms are counted rather than segments.
    std::size_t zoomCount() const
    {
        const auto zoomed = [](const FocusSegment& segment) {
            return segment.edited || segment.type != FocusSegment::SegmentType::overview;
        };
        return static_cast<std::size_t>(std::ranges::count_if(state->currentProject()->focusSegments, zoomed));
    }
    bool helpShown() const
    {
        auto* help = window()->findChild<QObject*>("shortcutHelp");
        return help && help->property("visible").toBool();
    }
    bool exportDialogShown() const
    {
        auto* dialog = window()->findChild<QObject*>("exportDialog");
        return dialog && dialog->property("visible").toBool();
    }
    QString timecode() const { return item("playbackTime")->property("text").toString(); }
};

TEST(EditorKeysTest, KeysPlayStepSeekEditExportAndListThemselves)
{
    EditorScreen screen;
    ASSERT_TRUE(screen.preview && screen.timeline && screen.active);
    ASSERT_TRUE(screen.preview->property("ready").toBool());

    screen.press(Qt::Key_Space);
    EXPECT_TRUE(waitFor([&] { return screen.playing(); }));
    screen.press(Qt::Key_Space);
    EXPECT_TRUE(waitFor([&] { return !screen.playing(); }));

    // One frame, one second, the ends.
    screen.press(Qt::Key_Home);
    EXPECT_DOUBLE_EQ(screen.time(), 0);
    screen.press(Qt::Key_Right);
    screen.press(Qt::Key_Right);
    EXPECT_NEAR(screen.time(), 2 * frame, 1e-6);
    screen.press(Qt::Key_Left);
    EXPECT_NEAR(screen.time(), frame, 1e-6);
    screen.press(Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_NEAR(screen.time(), 1 + frame, 1e-6);
    screen.press(Qt::Key_End);
    EXPECT_DOUBLE_EQ(screen.time(), 4);
    screen.press(Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_NEAR(screen.time(), 3, 1e-6);

    // After a trim and a cut, steps count the finished movie's time and jump over the cut,
    // and the timecode reads that time.
    screen.state->setTimelineTrim(0.5, 4);
    screen.state->cutTimelineRange(1.5, 2.5);
    screen.press(Qt::Key_Home);
    EXPECT_DOUBLE_EQ(screen.time(), 0.5);
    screen.press(Qt::Key_Right, Qt::ShiftModifier);
    screen.press(Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_NEAR(screen.time(), 3.5, 1e-6);
    EXPECT_NEAR(screen.preview->property("outputTime").toDouble(), 2, 1e-6);
    EXPECT_TRUE(waitFor([&] { return screen.timecode() == "0:02 / 0:02"; })) << screen.timecode().toStdString();
    screen.press(Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_NEAR(screen.time(), 2.5, 1e-6);
    EXPECT_TRUE(waitFor([&] { return screen.timecode() == "0:01 / 0:02"; })) << screen.timecode().toStdString();
    screen.press(Qt::Key_End);
    EXPECT_DOUBLE_EQ(screen.time(), 4);

    // Delete removes the selected zoom; Ctrl+Z brings it back, Ctrl+Y and Ctrl+Shift+Z redo.
    const std::size_t before = screen.zoomCount();
    ASSERT_GT(before, 0U);
    screen.timeline->setProperty("selected", 0);
    screen.press(Qt::Key_Delete);
    EXPECT_EQ(screen.zoomCount(), before - 1);
    EXPECT_EQ(screen.timeline->property("selected").toInt(), -1);
    screen.press(Qt::Key_Delete);  // nothing selected: nothing more goes
    EXPECT_EQ(screen.zoomCount(), before - 1);
    screen.press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(screen.zoomCount(), before);
    screen.press(Qt::Key_Y, Qt::ControlModifier);
    EXPECT_EQ(screen.zoomCount(), before - 1);
    screen.press(Qt::Key_Z, Qt::ControlModifier);
    screen.press(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(screen.zoomCount(), before - 1);

    // `?` lists every key; Escape closes the list.
    screen.press(Qt::Key_Question);
    ASSERT_TRUE(waitFor([&] { return screen.helpShown(); }));
    const auto shown = screen.visibleTexts();
    for (const char* listed : {"空格", "← / →", "Shift + ← / →", "Home / End", "Ctrl + Shift + Z / Ctrl + Y", "Delete",
                               "删除选中的缩放", "Ctrl + O", "Ctrl + E", "导出 MP4", "?"})
        EXPECT_TRUE(shown.count(listed)) << listed;
    screen.press(Qt::Key_Escape);
    EXPECT_TRUE(waitFor([&] { return !screen.helpShown(); }));

    // Ctrl+E asks where to save, as the export button does.
    screen.press(Qt::Key_E, Qt::ControlModifier);
    EXPECT_TRUE(waitFor([&] { return screen.exportDialogShown(); }));
    QMetaObject::invokeMethod(screen.window()->findChild<QObject*>("exportDialog"), "reject");
    EXPECT_TRUE(waitFor([&] { return !screen.exportDialogShown(); }));
}

TEST(EditorKeysTest, KeysTypeIntoAFocusedTextFieldAndDoNothingElse)
{
    EditorScreen screen;
    ASSERT_TRUE(screen.preview && screen.timeline);
    QQmlComponent component(screen.engine.get());
    component.setData("import QtQuick.Controls.Basic\nTextField { objectName: \"typing\"; width: 240 }", QUrl());
    std::unique_ptr<QQuickItem> field(qobject_cast<QQuickItem*>(component.create()));
    ASSERT_TRUE(field) << component.errorString().toStdString();
    field->setParentItem(screen.window()->contentItem());
    field->forceActiveFocus();
    ASSERT_TRUE(field->hasActiveFocus());

    screen.press(Qt::Key_Home);
    const double start = screen.time();
    const std::size_t segments = screen.segmentCount();
    screen.timeline->setProperty("selected", 0);
    for (const auto& [key, modifiers] : std::vector<std::pair<int, Qt::KeyboardModifiers>>{
             {Qt::Key_A, Qt::NoModifier},
             {Qt::Key_Space, Qt::NoModifier},
             {Qt::Key_Right, Qt::NoModifier},
             {Qt::Key_Right, Qt::ShiftModifier},
             {Qt::Key_End, Qt::NoModifier},
             {Qt::Key_Delete, Qt::NoModifier},
             {Qt::Key_Question, Qt::NoModifier},
             {Qt::Key_E, Qt::ControlModifier},
             {Qt::Key_Y, Qt::ControlModifier},
         }) {
        screen.press(key, modifiers);
    }
    QTest::qWait(100);
    EXPECT_FALSE(screen.playing());
    EXPECT_DOUBLE_EQ(screen.time(), start);
    EXPECT_EQ(screen.segmentCount(), segments);
    EXPECT_EQ(screen.timeline->property("selected").toInt(), 0);
    EXPECT_FALSE(screen.helpShown());
    EXPECT_FALSE(screen.exportDialogShown());
    // The keys went to the field instead.
    EXPECT_TRUE(field->property("text").toString().contains("a ")) << field->property("text").toString().toStdString();

    // Once the field lets go of the focus, the keys act again.
    field->setFocus(false);
    ASSERT_FALSE(field->hasActiveFocus());
    screen.press(Qt::Key_Right);
    EXPECT_NEAR(screen.time(), start + frame, 1e-6);
}

// Where `item` sits in the window.
QRectF placeOf(QQuickItem* item)
{
    return QRectF(item->mapToScene(QPointF(0, 0)), item->size());
}

TEST(TimelineViewTest, BlocksShowTheirRealDepthAndTheStripArrivesWithoutMovingAnything)
{
    EditorScreen screen(AudioCaptureMode::systemAndMicrophone);
    ASSERT_TRUE(screen.preview && screen.timeline);
    auto* strip = screen.item("timelineStrip");
    auto* track = screen.item("timelineTrack");
    ASSERT_TRUE(strip && track);
    const QRectF trackBefore = placeOf(track);
    const QRectF exportBefore = placeOf(screen.item("exportButton"));

    // The strip is read in the background: sixteen pictures and a waveform per recorded track,
    // in rows that were kept for them from the start.
    ASSERT_TRUE(waitFor([&] { return strip->property("ready").toBool(); }, 30000));
    EXPECT_EQ(strip->property("thumbnailCount").toInt(), 16);
    EXPECT_EQ(strip->property("audioTrackCount").toInt(), 2);
    EXPECT_DOUBLE_EQ(strip->height(), strip->property("thumbnailHeight").toDouble() +
                                          2 * strip->property("waveformHeight").toDouble());
    EXPECT_EQ(placeOf(track), trackBefore);

    // The planner's depths and an edited one read as they are.
    const auto& segments = screen.state->currentProject()->focusSegments;
    const auto zoomed = std::ranges::find_if(segments, [](const FocusSegment& segment) { return segment.scale > 1.01; });
    ASSERT_NE(zoomed, segments.end());
    EXPECT_TRUE(screen.visibleTexts().count(TimelineLayout::depthLabel(zoomed->scale)));
    const int index = static_cast<int>(zoomed - segments.begin());
    screen.state->setTimelineSegmentDepth(index, 1.52);
    EXPECT_TRUE(waitFor([&] { return screen.visibleTexts().count("×1.52") > 0; }));

    // Selecting a block shows its depth beside the slider and moves nothing else.
    screen.timeline->setProperty("selected", index);
    EXPECT_TRUE(waitFor([&] { return screen.visibleTexts().count("缩放深度 ×1.52") > 0; }));
    QTest::qWait(50);
    EXPECT_EQ(placeOf(track), trackBefore);
    EXPECT_EQ(placeOf(screen.item("exportButton")), exportBefore);
}

// Speed regions show on their track labelled with their speed and change the kept length; the
// idle finder scans in the background and its proposals, taken all at once, are one undo step.
TEST(TimelineViewTest, SpeedRegionsShowOnTheirTrackAndIdleProposalsApplyAsOneStep)
{
    EditorScreen screen;
    ASSERT_TRUE(screen.preview && screen.timeline);
    screen.state->addSpeedRegion(2, 1, 2);
    ASSERT_EQ(screen.state->currentProject()->speedRegions, (std::vector<SpeedRegion>{{1, 2, 2}}));
    EXPECT_TRUE(waitFor([&] { return screen.visibleTexts().count("2×") > 0; }));
    EXPECT_TRUE(waitFor([&] { return screen.visibleTexts().count("保留 3.5 s / 4.0 s") > 0; }));
    // Saved with the project, as every edit is.
    const auto saved = [&] {
        return ProjectFileManager(screen.root / "projects").loadProject(screen.root / "projects" / "project-keys").speedRegions;
    };
    EXPECT_TRUE(waitFor([&] { return saved().size() == 1; }));
    // An overlapping region is refused with its reason and changes nothing.
    screen.state->addSpeedRegion(1.5, 3, 2);
    EXPECT_EQ(screen.state->currentProject()->speedRegions.size(), 1U);
    EXPECT_NE(screen.state->errorMessageText().indexOf("overlaps"), -1);
    screen.state->undoTimelineEdit();
    EXPECT_TRUE(screen.state->currentProject()->speedRegions.empty());

    screen.state->findIdleStretches(0.5);
    EXPECT_TRUE(screen.state->isFindingIdle());
    ASSERT_TRUE(waitFor([&] { return !screen.state->isFindingIdle(); }, 30000));
    const QVariantList proposals = screen.state->idleProposalsValue();
    if (proposals.isEmpty()) return;
    QVariantList all;
    for (int index = 0; index < proposals.size(); ++index) all.append(index);
    const RecordingProject before = *screen.state->currentProject();
    screen.state->applyIdleProposals(all, false);
    EXPECT_FALSE(screen.state->currentProject()->speedRegions.empty());
    EXPECT_TRUE(screen.state->idleProposalsValue().isEmpty());
    screen.state->undoTimelineEdit();
    EXPECT_EQ(screen.state->currentProject()->speedRegions, before.speedRegions);
}

}  // namespace
}  // namespace vantile
