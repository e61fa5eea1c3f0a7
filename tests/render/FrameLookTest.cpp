#include "RenderTestSupport.h"

#include "render/CompositorGeometry.h"
#include "render/GeneratedWallpaper.h"
#include "render/RenderError.h"
#include "store/ProjectFileManager.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vantile {
namespace {

using test::describe;
using test::near;

using test::blue;
using test::green;
using test::quadrants;
using test::red;
using test::yellow;

// A frame of a 1920 x 1080 recording (a plain grey screen) drawn with `settings` on `size`.
QImage drawFrame(const RenderSettings& settings, const std::filesystem::path& projectDirectory = {},
                 QSize size = {960, 540}, std::vector<CursorFrame> cursor = {})
{
    static const QImage screen = [] {
        QImage image(1920, 1080, QImage::Format_RGB32);
        image.fill(QColor(128, 128, 128));
        return image;
    }();
    CompositorScene scene{1920, 1080, settings, {}, std::move(cursor), nullptr};
    if (!projectDirectory.empty()) scene.backgroundPicture = BackgroundPicture::forSettings(settings, projectDirectory);
    FrameCompositor compositor(std::move(scene), [](double) { return &screen; });
    QImage canvas(size, QImage::Format_RGB32);
    canvas.fill(Qt::magenta);
    QPainter painter(&canvas);
    compositor.drawFrame(painter, QRectF(QPointF(0, 0), QSizeF(size)), 0);
    return canvas;
}

std::vector<QColor> corners(const QImage& frame)
{
    const int right = frame.width() - 3;
    const int bottom = frame.height() - 3;
    return {frame.pixelColor(2, 2), frame.pixelColor(right, 2), frame.pixelColor(2, bottom),
            frame.pixelColor(right, bottom)};
}

TEST(FrameLookTest, EachKindOfBackgroundFillsTheCornersAndABlurNeverDarkensTheEdges)
{
    test::TemporaryDirectory project;

    RenderSettings solid;
    solid.background = BackgroundChoice::solid(RGBAColor::fromHex(0x3366CC));
    for (const QColor& corner : corners(drawFrame(solid))) {
        EXPECT_TRUE(near(corner, QColor(0x33, 0x66, 0xCC), 1)) << describe(corner);
    }

    // Vantile's own wallpapers: each is what the wallpaper painter draws, several colours,
    // and no two alike.
    std::vector<std::vector<QColor>> seen;
    for (int index = 1; index <= BackgroundChoice::generatedCount; ++index) {
        SCOPED_TRACE(index);
        RenderSettings generated;
        generated.background = BackgroundChoice::generated(index);
        const QImage frame = drawFrame(generated);
        QImage alone(frame.size(), QImage::Format_RGB32);
        QPainter painter(&alone);
        GeneratedWallpaper::paint(painter, QRectF(0, 0, alone.width(), alone.height()), index);
        painter.end();
        const std::vector<QColor> found = corners(frame);
        const std::vector<QColor> expected = corners(alone);
        for (std::size_t corner = 0; corner < found.size(); ++corner) {
            EXPECT_TRUE(near(found[corner], expected[corner], 1)) << describe(found[corner]);
        }
        int spread = 0;
        for (const QColor& corner : found) {
            spread = std::max(spread, std::abs(corner.red() - found[0].red()) + std::abs(corner.green() - found[0].green()) +
                                          std::abs(corner.blue() - found[0].blue()));
        }
        EXPECT_GT(spread, 12) << "a wallpaper of one flat colour";
        for (const auto& other : seen) EXPECT_NE(other, found);
        seen.push_back(found);
    }

    // A picture covers the frame, centred: its four quadrants land in the four corners.
    ASSERT_TRUE(quadrants({1600, 900}).save(QString::fromStdString((project.path() / "four.png").string())));
    RenderSettings picture;
    picture.background = BackgroundChoice::image("four.png");
    const std::vector<QColor> pictureCorners = corners(drawFrame(picture, project.path()));
    const std::vector<QColor> colours{red, green, blue, yellow};
    for (std::size_t corner = 0; corner < 4; ++corner) {
        EXPECT_TRUE(near(pictureCorners[corner], colours[corner], 2)) << describe(pictureCorners[corner]);
    }
    // A tall picture in a wide frame is cropped, never stretched or letterboxed.
    ASSERT_TRUE(quadrants({600, 1200}).save(QString::fromStdString((project.path() / "tall.png").string())));
    picture.background = BackgroundChoice::image("tall.png");
    const QImage tall = drawFrame(picture, project.path());
    EXPECT_TRUE(near(tall.pixelColor(2, 2), red, 2)) << describe(tall.pixelColor(2, 2));
    EXPECT_TRUE(near(tall.pixelColor(957, 537), yellow, 2)) << describe(tall.pixelColor(957, 537));

    // Blurred, the quadrants' meeting blends, and the edges keep the picture's colours.
    picture.background = BackgroundChoice::image("four.png", 50);
    const QImage blurred = drawFrame(picture, project.path());
    const QColor seam = blurred.pixelColor(480, 4);
    EXPECT_FALSE(near(seam, red, 40) || near(seam, green, 40)) << describe(seam);
    EXPECT_TRUE(near(blurred.pixelColor(1, 1), red, 6)) << describe(blurred.pixelColor(1, 1));
    EXPECT_TRUE(near(blurred.pixelColor(958, 538), yellow, 6)) << describe(blurred.pixelColor(958, 538));

    // A picture that is not there, or not a picture, is an error naming it.
    picture.background = BackgroundChoice::image("gone.png");
    try {
        drawFrame(picture, project.path());
        ADD_FAILURE() << "no error for a missing picture";
    } catch (const RenderError& error) {
        EXPECT_NE(std::string(error.what()).find("gone.png"), std::string::npos) << error.what();
    }
    std::ofstream(project.path() / "broken.png") << "not a picture";
    picture.background = BackgroundChoice::image("broken.png");
    EXPECT_THROW(drawFrame(picture, project.path()), RenderError);
}

TEST(FrameLookTest, PaddingRadiusShadowAndCursorSizeFollowTheChoicesAndDefaultsKeepTheTemplate)
{
    RenderSettings settings;
    // Nothing chosen: the template's own card at every size.
    for (const CGRectCodable& canvas : {CGRectCodable{0, 0, 1920, 1080}, CGRectCodable{0, 0, 1080, 1920},
                                       CGRectCodable{0, 0, 3840, 2160}}) {
        EXPECT_EQ(CompositorGeometry::framePreset(settings, canvas), RenderPreset::forSettings(settings));
    }
    settings.cardPadding = 0.1;
    settings.cardCornerRadius = 40;
    EXPECT_EQ(CompositorGeometry::framePreset(settings, {0, 0, 1920, 1080}).padding, 108);
    EXPECT_EQ(CompositorGeometry::framePreset(settings, {0, 0, 1080, 1920}).padding, 108);
    EXPECT_EQ(CompositorGeometry::framePreset(settings, {0, 0, 3840, 2160}).padding, 216);
    EXPECT_DOUBLE_EQ(CompositorGeometry::framePreset(settings, {0, 0, 3840, 2160}).cornerRadius, 80);
    EXPECT_DOUBLE_EQ(CompositorGeometry::framePreset(settings, {0, 0, 1280, 720}).cornerRadius, 40.0 * 720 / 1080);

    // On a 960 x 540 frame: padding 0.2 leaves 108 px of background above and below the card.
    RenderSettings padded;
    padded.background = BackgroundChoice::solid(RGBAColor::fromHex(0x204060));
    padded.shadowStrength = 0;
    padded.cardPadding = 0.2;
    const auto layout = CompositorGeometry::frameLayout({0, 0, 960, 540}, 1920, 1080, padded);
    EXPECT_GE(layout.card.y, 108 - 1e-9);
    EXPECT_GE(540 - layout.card.y - layout.card.height, 108 - 1e-9);
    const QImage paddedFrame = drawFrame(padded);
    EXPECT_TRUE(near(paddedFrame.pixelColor(480, 106), QColor(0x20, 0x40, 0x60), 1));
    EXPECT_FALSE(near(paddedFrame.pixelColor(480, static_cast<int>(layout.card.y) + 2), QColor(0x20, 0x40, 0x60), 8));

    // The radius rounds the card's corner off; none leaves it square. Without a shadow nothing
    // dark shows beside the rounded corner.
    const auto cornerOf = [&](const RenderSettings& look) {
        const auto placed = CompositorGeometry::frameLayout({0, 0, 960, 540}, 1920, 1080, look);
        return drawFrame(look).pixelColor(static_cast<int>(placed.card.x) + 2, static_cast<int>(placed.card.y) + 2);
    };
    padded.cardCornerRadius = 64;
    EXPECT_TRUE(near(cornerOf(padded), QColor(0x20, 0x40, 0x60), 2)) << describe(cornerOf(padded));
    padded.cardCornerRadius = 0;
    EXPECT_FALSE(near(cornerOf(padded), QColor(0x20, 0x40, 0x60), 8)) << describe(cornerOf(padded));

    // The shadow under the card: none at 0, darker as the strength grows.
    const auto belowCard = [&](double strength) {
        RenderSettings look = padded;
        look.background = BackgroundChoice::solid(RGBAColor::fromHex(0xE0E0E0));
        look.cardPadding = 0.1;
        look.shadowStrength = strength;
        const auto placed = CompositorGeometry::frameLayout({0, 0, 960, 540}, 1920, 1080, look);
        return drawFrame(look).pixelColor(480, static_cast<int>(placed.card.y + placed.card.height) + 10).lightness();
    };
    EXPECT_NEAR(belowCard(0), 0xE0, 1);
    EXPECT_LT(belowCard(1), 0xE0 - 10);
    EXPECT_LT(belowCard(2), belowCard(1) - 10);

    // The cursor at twice its size covers about twice the width and height.
    const auto cursorExtent = [](double size) {
        RenderSettings look;
        look.cursorSize = size;
        look.dynamicCursorScale = false;
        look.cursorEffect = CursorEffect::halo;
        const std::vector<CursorFrame> cursor{{0, 960, 540, true, false}};
        const QImage with = drawFrame(look, {}, {960, 540}, cursor);
        look.showCursor = false;
        const QImage without = drawFrame(look, {}, {960, 540});
        QRect changed;
        for (int y = 0; y < with.height(); ++y) {
            for (int x = 0; x < with.width(); ++x) {
                if (with.pixel(x, y) != without.pixel(x, y)) changed |= QRect(x, y, 1, 1);
            }
        }
        return changed;
    };
    const QRect normal = cursorExtent(1);
    const QRect doubled = cursorExtent(2);
    ASSERT_FALSE(normal.isEmpty());
    EXPECT_NEAR(static_cast<double>(doubled.width()) / normal.width(), 2, 0.15);
    EXPECT_NEAR(static_cast<double>(doubled.height()) / normal.height(), 2, 0.15);
}

TEST(FrameLookTest, FillLayoutCoversAPortraitFrameAndItsCropFollowsTheZoomThenThePointer)
{
    // The recording: each pixel's column written into its red (in steps of 8), so a drawn pixel
    // tells where in the recording it came from.
    static const QImage screen = [] {
        QImage image(1920, 1080, QImage::Format_RGB32);
        for (int y = 0; y < image.height(); ++y) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = 0; x < image.width(); ++x) line[x] = qRgb(x / 8, 100, 200);
        }
        return image;
    }();
    const auto columnOf = [](QColor colour) { return colour.red() * 8 + 4; };
    RenderSettings settings;
    settings.layout = VideoLayout::fill;
    settings.background = BackgroundChoice::solid(RGBAColor::fromHex(0xFF00FF));
    settings.showCursor = false;
    // A 2x zoom on (1500, 300) from 2 s to 4 s; the pointer rests at the far left before and after.
    const std::vector<CameraKeyframe> keyframes{{0, 960, 540, 1},   {1.5, 960, 540, 1}, {2, 1500, 300, 2},
                                                {4, 1500, 300, 2}, {4.5, 960, 540, 1}, {8, 960, 540, 1}};
    std::vector<CursorFrame> cursor;
    for (int frame = 0; frame <= 240; ++frame) cursor.push_back({frame / 30.0, 150, 500, true, false});
    FrameCompositor compositor(CompositorScene{1920, 1080, settings, keyframes, cursor, nullptr},
                               [](double) { return &screen; });
    const QSize size(270, 480);
    const QRectF canvas(QPointF(0, 0), QSizeF(size));
    for (const double time : {0.0, 1.0, 3.0, 7.5}) {
        SCOPED_TRACE(time);
        QImage frame(size, QImage::Format_RGB32);
        frame.fill(Qt::black);
        QPainter painter(&frame);
        compositor.drawFrame(painter, canvas, time);
        painter.end();
        // Nothing of the background: every pixel is the recording.
        for (int y = 0; y < size.height(); y += 7) {
            for (int x = 0; x < size.width(); x += 5) ASSERT_NEAR(frame.pixelColor(x, y).blue(), 200, 6) << x << "," << y;
        }
        const CameraKeyframe camera = compositor.cameraAt(time);
        const CGRectCodable crop = CompositorGeometry::cropRect(1920, 1080, {0, 0, 270, 480}, camera);
        EXPECT_GE(crop.x, -1e-9);
        EXPECT_LE(crop.x + crop.width, 1920 + 1e-9);
        EXPECT_NEAR(crop.width / crop.height, 270.0 / 480, 1e-9);
        // The frame's middle column shows about the crop's middle (a wrong centre is hundreds off).
        EXPECT_NEAR(columnOf(frame.pixelColor(135, 240)), crop.x + crop.width / 2, 24);
        if (time == 3.0) {
            // Held by the zoom: its centre, at twice the closeness of the fill view.
            EXPECT_DOUBLE_EQ(camera.centerX, 1500);
            EXPECT_DOUBLE_EQ(crop.height, 540);
        } else {
            // The overview keeps the resting pointer (x 150) in sight: the crop is at the left edge.
            EXPECT_DOUBLE_EQ(crop.height, 1080);
            EXPECT_NEAR(crop.x, 0, 1e-6);
        }
    }
}

TEST(FrameLookTest, ExportKeepsItsOwnCopyOfTheBackgroundPictureAndRefusesBadOnesWritingNothing)
{
    using test::runCommand;
    test::TemporaryDirectory root;
    const auto project = root.path() / "demo";
    const auto sample =
        runCommand({VANTILE_CLI, "sample", project.string(), "--duration", "1", "--width", "320", "--height", "180"});
    ASSERT_EQ(sample.exitCode, 0) << sample.standardError;
    const auto original = root.path() / "holiday.png";
    ASSERT_TRUE(quadrants({800, 450}).save(QString::fromStdString(original.string())));

    const auto movie = project / "look.mp4";
    const auto exported = runCommand({VANTILE_CLI, "export", project.string(), "-o", movie.string(), "--resolution",
                                      "720p", "--background", original.string(), "--padding", "0.15", "--corner-radius",
                                      "30", "--shadow", "0.5", "--cursor-size", "2"});
    ASSERT_EQ(exported.exitCode, 0) << exported.standardError;
    const ProjectFileManager files(root.path());
    const RecordingProject saved = files.loadProject(project);
    ASSERT_EQ(saved.renderSettings.background.kind, BackgroundChoice::Kind::image);
    EXPECT_TRUE(saved.renderSettings.background.imagePath.starts_with(".vantile/"));
    EXPECT_EQ(saved.renderSettings.cardPadding, 0.15);
    EXPECT_EQ(saved.renderSettings.cardCornerRadius, 30);
    EXPECT_EQ(saved.renderSettings.shadowStrength, 0.5);
    EXPECT_EQ(saved.renderSettings.cursorSize, 2);
    const auto checkCorners = [&](const std::filesystem::path& path) {
        const QImage frame = test::decodeFrame(path, 0.5);
        ASSERT_EQ(frame.size(), QSize(1280, 720));
        const std::vector<QColor> found = corners(frame);
        const std::vector<QColor> colours{red, green, blue, yellow};
        for (std::size_t corner = 0; corner < 4; ++corner) {
            EXPECT_TRUE(near(found[corner], colours[corner], 12)) << describe(found[corner]);
        }
    };
    checkCorners(movie);

    // The original goes; the project's copy still draws.
    std::filesystem::remove(original);
    std::filesystem::remove(movie);
    const auto again = runCommand({VANTILE_CLI, "export", project.string(), "-o", movie.string()});
    ASSERT_EQ(again.exitCode, 0) << again.standardError;
    checkCorners(movie);

    // Missing or broken: one message naming the file; no movie, no copy, no change.
    const auto copies = [&] {
        return std::distance(std::filesystem::directory_iterator(project / ".vantile" / "backgrounds"),
                             std::filesystem::directory_iterator());
    };
    const auto copiesBefore = copies();
    const RecordingProject before = files.loadProject(project);
    std::ofstream(root.path() / "broken.png") << "not a picture at all";
    for (const std::string name : {"missing.png", "broken.png"}) {
        SCOPED_TRACE(name);
        const auto refused = runCommand({VANTILE_CLI, "export", project.string(), "-o",
                                         (project / "refused.mp4").string(), "--background",
                                         (root.path() / name).string()});
        EXPECT_NE(refused.exitCode, 0);
        EXPECT_NE(refused.standardError.find(name), std::string::npos) << refused.standardError;
        EXPECT_FALSE(std::filesystem::exists(project / "refused.mp4"));
        EXPECT_EQ(copies(), copiesBefore);
        EXPECT_EQ(files.loadProject(project), before);
    }
    const auto badName = runCommand({VANTILE_CLI, "export", project.string(), "--background", "generated-12"});
    EXPECT_EQ(badName.exitCode, 2) << badName.standardError;
    EXPECT_EQ(files.loadProject(project), before);

    // A colour and the fill layout are saved as chosen; how each background and the fill layout
    // are drawn is the compositor tests' above.
    std::filesystem::remove(movie);
    const auto chosen = runCommand({VANTILE_CLI, "export", project.string(), "-o", movie.string(), "--background",
                                    "#20A060", "--layout", "fill"});
    ASSERT_EQ(chosen.exitCode, 0) << chosen.standardError;
    const RenderSettings look = files.loadProject(project).renderSettings;
    EXPECT_EQ(look.background, BackgroundChoice::solid(RGBAColor::fromHex(0x20A060)));
    EXPECT_EQ(look.layout, VideoLayout::fill);
}

}  // namespace
}  // namespace vantile
