#include "engine/ShortcutBadgeEdits.h"
#include "engine/TimelineEdits.h"
#include "render/RenderJob.h"
#include "render/RenderTestSupport.h"
#include "render/VideoFileWriter.h"
#include "render/layers/ShortcutBadgeLayer.h"
#include "support/EditRefusal.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vantile;
using namespace vantile::test;
using vantile::testing::refusal;
namespace fs = std::filesystem;

namespace {

constexpr int width = 640;
constexpr int height = 360;

// Where two frames differ by more than a little, as a box; empty when they agree.
QRect differingBox(const QImage& a, const QImage& b)
{
    QRect box;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            const int difference = std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) + std::abs(qBlue(p) - qBlue(q));
            if (difference > 60) box |= QRect(x, y, 1, 1);
        }
    }
    return box;
}

double differenceSum(const QImage& a, const QImage& b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) sum += std::abs(qGray(a.pixel(x, y)) - qGray(b.pixel(x, y)));
    }
    return sum;
}

InputEvent shortcutAt(double time, const char* keys)
{
    InputEvent event{time, InputEvent::EventType::keyboardShortcut, 100, 100};
    event.keys = keys;
    return event;
}

}  // namespace

// A badge shows at the bottom centre for 1.2 s of output from its press, a newer one replaces it,
// one pressed in a cut never shows, and turning badges off gives the movie without them.
TEST(ShortcutBadge, BadgesShowAtTheBottomCentreForTheirTimeAndNotWhenHidden)
{
    ensureGuiApplication();
    TemporaryDirectory directory;
    const fs::path raw = directory.path() / "raw.mov";
    writeRawMovie(raw, width, height, 5, 0, [](QImage& canvas, int) { canvas.fill(QColor(40, 90, 160)); });
    RecordingProject project = makeProject(width, height, 5);
    project.renderSettings.showCursor = false;
    project.renderSettings.showClickRipple = false;
    project.focusSegments = {{0, 5, FocusSegment::SegmentType::overview, width / 2.0, height / 2.0, 1}};
    project.events = {shortcutAt(0.5, "Ctrl+Shift+P"), shortcutAt(1.2, "Alt+F4"), shortcutAt(3.2, "Ctrl+C")};
    project = TimelineEdits::withCut(project, {3, 3.5});

    const auto exportWith = [&](bool badges, const std::string& name) {
        RecordingProject shown = project;
        shown.renderSettings.showShortcuts = badges;
        const fs::path output = directory.path() / name;
        VideoFileWriter::writeRenderedDemo(
            RenderJob{shown, raw, shown.focusSegments, shown.cursorFrames, shown.renderSettings, output});
        return output;
    };
    const fs::path withBadges = exportWith(true, "badges.mp4");
    const fs::path without = exportWith(false, "plain.mp4");

    const auto box = [&](double outputTime) {
        return differingBox(decodeFrame(withBadges, outputTime), decodeFrame(without, outputTime));
    };
    // Before the first press, after the second's 1.2 s, and where the cut one would have been.
    for (const double quiet : {0.3, 2.6, 3.0, 3.6}) EXPECT_TRUE(box(quiet).isEmpty()) << quiet << " shows a badge";
    const QRect first = box(0.9);
    ASSERT_FALSE(first.isEmpty());
    EXPECT_NEAR(first.center().x(), width / 2.0, 3);
    EXPECT_NEAR(first.bottom(), height - 0.07 * height, 6);
    EXPECT_LT(first.height(), height / 6);
    // The second replaces the first: a shorter chord, so a narrower badge, still centred.
    const QRect second = box(1.8);
    ASSERT_FALSE(second.isEmpty());
    EXPECT_LT(second.width(), first.width());
    EXPECT_NEAR(second.center().x(), width / 2.0, 3);
    // Its last frames fade: the badge stands out less than at its full strength.
    const auto contrast = [&](double outputTime) {
        return differenceSum(decodeFrame(withBadges, outputTime), decodeFrame(without, outputTime));
    };
    EXPECT_LT(contrast(2.35), 0.6 * contrast(1.8));
    EXPECT_GT(contrast(2.35), 0.1 * contrast(1.8));

    // The first badge hidden on its own (as the app and `edit --hide-shortcut 0` do): nothing
    // while it would show, and the second one as before.
    project = ShortcutBadgeEdits::withShortcutHidden(project, 0, true);
    EXPECT_EQ(project.hiddenShortcuts, std::vector<std::int64_t>{0});
    const fs::path oneHidden = exportWith(true, "one-hidden.mp4");
    EXPECT_TRUE(differingBox(decodeFrame(oneHidden, 0.9), decodeFrame(without, 0.9)).isEmpty());
    // The encoder's soft edges may move it by a pixel.
    const QRect secondAlone = differingBox(decodeFrame(oneHidden, 1.8), decodeFrame(without, 1.8));
    for (const auto& [edge, expected] : {std::pair{secondAlone.left(), second.left()}, {secondAlone.top(), second.top()},
                                         {secondAlone.right(), second.right()}, {secondAlone.bottom(), second.bottom()}}) {
        EXPECT_NEAR(edge, expected, 2);
    }
    EXPECT_EQ(ShortcutBadgeEdits::withShortcutHidden(project, 0, false).hiddenShortcuts, std::vector<std::int64_t>{});
    EXPECT_EQ(refusal([&] { ShortcutBadgeEdits::withShortcutHidden(project, 3, true); }),
              "There is no shortcut 3; the recording has 3 (numbered from 0).");
}
