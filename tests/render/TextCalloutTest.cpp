#include "RenderTestSupport.h"

#include "engine/OutputTimeline.h"
#include "render/ExportManager.h"
#include "render/VideoFileWriter.h"
#include "render/layers/TextCalloutLayer.h"

#include <QGlyphRun>
#include <QGuiApplication>
#include <QRawFont>
#include <QTextLayout>

#include <gtest/gtest.h>

using namespace vantile;
using namespace vantile::test;
namespace fs = std::filesystem;

namespace {

const QRectF canvas(0, 0, 640, 360);

TextCallout callout(double start, double end, std::string text, TextCalloutStyle style,
                    std::optional<CodablePoint> position = std::nullopt)
{
    return TextCallout{start, end, std::move(text), style, position, {}};
}

// The one tile `layer` shows at `time`, or none.
std::optional<OverlayTile> onlyTile(TextCalloutLayer& layer, double time)
{
    const std::vector<OverlayTile> tiles = layer.tilesAt(time, canvas, TileForm::planesWhereOffered);
    if (tiles.empty()) return std::nullopt;
    EXPECT_EQ(tiles.size(), 1u);
    return tiles.front();
}

int alphaAtCentre(const OverlayTile& tile)
{
    return qAlpha(tile.image->pixel(tile.rect.width() / 2, 2 + tile.rect.height() / 8));
}

// A callout's tile alone, for comparing what its text looks like.
QImage drawnText(const std::string& text)
{
    TextCalloutLayer layer({callout(0, 1, text, TextCalloutStyle::title)}, OutputTimeline(1, std::nullopt, {}));
    const auto tile = onlyTile(layer, 0.5);
    return tile ? tile->image->copy() : QImage();
}

}  // namespace

TEST(TextCalloutLayer, ChineseTextIsDrawnWithRealGlyphsNotBoxes)
{
    ensureGuiApplication();
    // Qt's fallback finds a font that has each character, as Chinese captions need.
    QTextLayout layout(QString::fromUtf8("中文字幕"), QGuiApplication::font());
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    int glyphs = 0;
    for (const QGlyphRun& run : layout.glyphRuns()) {
        for (const char32_t character : {U'中', U'文', U'字', U'幕'}) {
            if (run.rawFont().supportsCharacter(character)) ++glyphs;
        }
    }
    EXPECT_EQ(glyphs, 4) << "the fonts offered have no glyphs for the Chinese characters";

    // Different characters look different: missing glyphs would all be the same box.
    const QImage zhong = drawnText("中");
    const QImage wen = drawnText("文");
    ASSERT_FALSE(zhong.isNull());
    ASSERT_EQ(zhong.size(), wen.size());
    EXPECT_NE(zhong, wen);
    // Ink: the glyph covers a fair share of its cell in white, as a stroke-rich character does.
    int white = 0;
    for (int y = 0; y < zhong.height(); ++y) {
        for (int x = 0; x < zhong.width(); ++x) white += qRed(zhong.pixel(x, y)) > 200;
    }
    EXPECT_GT(white, 40);
}

TEST(TextCalloutLayer, EachStyleInItsPlaceFadingInAndOutInSteps)
{
    ensureGuiApplication();
    struct Case {
        TextCalloutStyle style;
        std::optional<CodablePoint> position;
        QRectF region;  // where the whole plate must lie
    };
    const std::vector<Case> cases{
        {TextCalloutStyle::title, std::nullopt, QRectF(100, 120, 440, 120)},
        {TextCalloutStyle::lowerThird, std::nullopt, QRectF(0, 230, 400, 130)},
        {TextCalloutStyle::label, std::nullopt, QRectF(200, 0, 240, 90)},
        {TextCalloutStyle::label, CodablePoint{0.25, 0.75}, QRectF(60, 240, 200, 60)},
        // Off towards a corner, it stays whole inside the frame.
        {TextCalloutStyle::lowerThird, CodablePoint{1, 1}, QRectF(320, 280, 322, 82)},
    };
    for (const Case& item : cases) {
        SCOPED_TRACE(rawValue(item.style) + (item.position ? " placed" : ""));
        TextCalloutLayer layer({callout(1, 3, "Export in one click", item.style, item.position)},
                               OutputTimeline(5, std::nullopt, {}));
        EXPECT_FALSE(onlyTile(layer, 0.99));
        const auto full = onlyTile(layer, 2);
        ASSERT_TRUE(full);
        EXPECT_TRUE(item.region.contains(QRectF(full->rect))) << full->rect.x() << "," << full->rect.y() << " "
                                                              << full->rect.width() << "x" << full->rect.height();
        EXPECT_GT(alphaAtCentre(*full), 150) << "the plate is a dark, mostly opaque one";
        const int fullAlpha = alphaAtCentre(*full);
        const std::int64_t fullContent = full->content;
        // Half way into the fade: half the opacity, other pixels; the same step again reuses them.
        const auto fading = onlyTile(layer, 1.1);
        ASSERT_TRUE(fading);
        EXPECT_NEAR(alphaAtCentre(*fading), fullAlpha / 2, 4);
        EXPECT_NE(fading->content, fullContent);
        const std::int64_t fadingContent = fading->content;
        EXPECT_EQ(onlyTile(layer, 1.1)->content, fadingContent);
        EXPECT_EQ(onlyTile(layer, 2.5)->content, fullContent);
        // Fading out towards its end, and gone at it.
        const auto leaving = onlyTile(layer, 2.95);
        ASSERT_TRUE(leaving);
        EXPECT_NEAR(alphaAtCentre(*leaving), fullAlpha / 4, 4);
        EXPECT_FALSE(onlyTile(layer, 3));
    }
}

TEST(TextCalloutLayer, FadesOverOutputTimeSoACutNearTheEndDoesNotLeaveItAtFullOpacity)
{
    ensureGuiApplication();
    // 2.9 to 3.5 is cut: the callout's end plays at 2.9 of output time.
    const OutputTimeline timeline(5, std::nullopt, {TimeRange{2.9, 3.5}});
    TextCalloutLayer layer({callout(1, 3, "Cut close", TextCalloutStyle::label)}, timeline);
    EXPECT_EQ(layer.fadeStepAt(0, 2.5), TextCalloutLayer::fadeSteps);
    // 0.05 s of output before the end: a quarter of the way in, not at full opacity.
    EXPECT_EQ(layer.fadeStepAt(0, 2.85), 3);
    // Two callouts at once: both tiles, the later one above.
    TextCalloutLayer both({callout(1, 3, "First", TextCalloutStyle::title), callout(2, 4, "Second", TextCalloutStyle::title)},
                          OutputTimeline(5, std::nullopt, {}));
    const auto tiles = both.tilesAt(2.5, canvas, TileForm::image);
    ASSERT_EQ(tiles.size(), 2u);
    EXPECT_NE(tiles[0].content, tiles[1].content);
    EXPECT_NE(tiles[0].image, tiles[1].image);
}

namespace {

// A flat mid-grey screen, so a dark plate over it shows plainly.
void writeGreyMovie(const fs::path& path, double duration)
{
    writeRawMovie(path, 320, 180, duration, 0, [](QImage& image, int) { image.fill(QColor(150, 150, 150)); });
}

RecordingProject flatProject(double duration)
{
    RecordingProject project = makeProject(320, 180, duration);
    project.renderSettings.backgroundEnabled = false;
    project.renderSettings.showCursor = false;
    project.renderSettings.showClickRipple = false;
    project.focusSegments = {{0, duration, FocusSegment::SegmentType::overview, 160, 90, 1}};
    return project;
}

int brightness(QColor colour)
{
    return (colour.red() + colour.green() + colour.blue()) / 3;
}

}  // namespace

TEST(TextCalloutExport, PlatesShowInTheirRegionsDuringTheirSpansAndFadeAtTheEndsInMovieAndGif)
{
    ensureGuiApplication();
    TemporaryDirectory directory;
    writeGreyMovie(directory / "raw.mov", 3);
    RecordingProject project = flatProject(3);
    project.textCallouts = {callout(0.5, 2.5, "标题 Title", TextCalloutStyle::title),
                            callout(1.0, 2.0, "Lower third", TextCalloutStyle::lowerThird),
                            callout(0.5, 2.5, "Label", TextCalloutStyle::label)};
    const fs::path movie = directory / "callouts.mp4";
    VideoFileWriter::writeRenderedDemo(makeJob(directory.path(), project, "callouts.mp4"));
    // Points inside each plate, clear of its text: a title plate's side, the bar's right part, the pill's end.
    const QPoint title(180, 180);
    const QPoint lowerThird(48, 300);
    const QPoint label(320, 38);
    const auto brightnessAt = [&](double seconds, QPoint point) { return brightness(decodeFrame(movie, seconds).pixelColor(point)); };
    const int grey = brightnessAt(0.2, title);
    EXPECT_NEAR(grey, 150, 8) << "nothing before the span";
    EXPECT_NEAR(brightnessAt(0.2, label), grey, 8);
    EXPECT_NEAR(brightnessAt(0.2, lowerThird), grey, 8);
    EXPECT_LT(brightnessAt(1.5, title), 70) << "the title plate";
    EXPECT_LT(brightnessAt(1.5, lowerThird), 70) << "the lower third's bar";
    EXPECT_LT(brightnessAt(1.5, label), 70) << "the label's pill";
    // Frame 18 (0.6 s) is half way into the fade: between the two.
    const int fading = brightnessAt(0.6, title);
    EXPECT_GT(fading, brightnessAt(1.5, title) + 20);
    EXPECT_LT(fading, grey - 20);
    // The lower third is gone after its end while the others stay; all are gone after theirs.
    EXPECT_NEAR(brightnessAt(2.2, lowerThird), grey, 8);
    EXPECT_LT(brightnessAt(2.2, title), 70);
    EXPECT_NEAR(brightnessAt(2.7, title), grey, 8);
    EXPECT_NEAR(brightnessAt(2.7, label), grey, 8);

    // The GIF draws through the same layers.
    ExportMonitor monitor;
    const fs::path gif = ExportManager().exportMovie(makeJob(directory.path(), project, "callouts.gif"), &monitor);
    const QImage gifFrame = decodeFrame(gif, 1.5);
    ASSERT_FALSE(gifFrame.isNull());
    const double scale = gifFrame.width() / 640.0;
    EXPECT_LT(brightness(gifFrame.pixelColor(QPoint(title.x() * scale, title.y() * scale))), 70);
    EXPECT_NEAR(brightness(decodeFrame(gif, 0.2).pixelColor(QPoint(title.x() * scale, title.y() * scale))), grey, 10);
}
