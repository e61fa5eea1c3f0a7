#include "RenderTestSupport.h"

#include "render/FrameCompositor.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using test::describe;
using test::near;

using test::blue;
using test::green;
using test::red;
using test::yellow;

QImage quadrantSource()
{
    return test::quadrants({1920, 1080});
}

struct Render {
    RenderSettings settings = RenderSettings::defaultLandscape();
    std::vector<CameraKeyframe> keyframes;
    std::vector<CursorFrame> cursor;
    bool withSource = true;
    QSize size{960, 540};

    QImage draw() const
    {
        static const QImage source = quadrantSource();
        FrameCompositor compositor(CompositorScene{1920, 1080, settings, keyframes, cursor},
                                   [this](double) { return withSource ? &source : nullptr; });
        QImage canvas(size, QImage::Format_RGB32);
        canvas.fill(Qt::magenta);
        QPainter painter(&canvas);
        compositor.drawFrame(painter, QRectF(QPointF(0, 0), QSizeF(size)), 0);
        return canvas;
    }

    CompositorGeometry::FrameLayout layout() const
    {
        return CompositorGeometry::frameLayout({0, 0, static_cast<double>(size.width()), static_cast<double>(size.height())},
                                               1920, 1080, settings.backgroundEnabled,
                                               RenderPreset::forSettings(settings));
    }
};

QColor pixel(const QImage& image, double x, double y)
{
    return image.pixelColor(static_cast<int>(x), static_cast<int>(y));
}

TEST(FrameCompositorTest, TemplatesDrawBackgroundCardChromeAndShadow)
{
    for (const TemplateName name : templateNameTexts.allCases()) {
        SCOPED_TRACE(std::string(templateNameTexts.text(name)));
        Render render;
        render.settings.templateName = name;
        const QImage frame = render.draw();
        const auto layout = render.layout();
        const RenderPreset preset = RenderPreset::preset(name);
        const auto& background = preset.background;
        const QColor top(qRound(background.start.red * 255), qRound(background.start.green * 255),
                         qRound(background.start.blue * 255));
        const QColor bottom(qRound(background.end.red * 255), qRound(background.end.green * 255),
                            qRound(background.end.blue * 255));
        EXPECT_TRUE(near(pixel(frame, 2, 0), top, 2)) << describe(pixel(frame, 2, 0));
        EXPECT_TRUE(near(pixel(frame, 2, 539), bottom, 3)) << describe(pixel(frame, 2, 539));

        const auto& card = layout.card;
        const auto& video = layout.video;
        // Card body in the margin beside the video, chrome bar above it, the three dots.
        EXPECT_TRUE(near(pixel(frame, card.x + 6, video.y + video.height / 2), QColor(17, 24, 39), 1));
        EXPECT_TRUE(near(pixel(frame, card.x + card.width / 2, card.y + 8), QColor(31, 41, 55), 1));
        EXPECT_TRUE(near(pixel(frame, card.x + 27.5, card.y + 20.5), QColor(239, 68, 68), 2));
        EXPECT_TRUE(near(pixel(frame, card.x + 49.5, card.y + 20.5), QColor(245, 158, 11), 2));
        EXPECT_TRUE(near(pixel(frame, card.x + 71.5, card.y + 20.5), QColor(34, 197, 94), 2));
        // Chrome height: bar colour just above the video, video just below the bar.
        EXPECT_TRUE(near(pixel(frame, card.x + card.width / 2, video.y - 2), QColor(31, 41, 55), 1));
        EXPECT_TRUE(near(pixel(frame, video.x + 4, video.y + 1), red, 12));
        // The shadow darkens the background below the card and not far away from it.
        const QColor belowCard = pixel(frame, card.x + card.width / 2, card.y + card.height + 8);
        const QColor farAway = pixel(frame, card.x + card.width / 2, 539);
        EXPECT_LT(belowCard.lightness(), pixel(frame, 2, card.y + card.height + 8).lightness());
        EXPECT_TRUE(near(farAway, bottom, 4)) << describe(farAway);
    }
}

TEST(FrameCompositorTest, AChosenChromeReplacesTheTemplatesBarAndMovesTheVideo)
{
    for (const TemplateName name : templateNameTexts.allCases()) {
        SCOPED_TRACE(std::string(templateNameTexts.text(name)));
        Render linux;
        linux.settings.templateName = name;
        linux.settings.windowChrome = WindowChrome::linuxTitleBar;
        const QImage titled = linux.draw();
        const auto card = linux.layout().card;
        const auto video = linux.layout().video;
        EXPECT_DOUBLE_EQ(video.y - card.y, 38);
        EXPECT_TRUE(near(pixel(titled, card.x + card.width / 2, card.y + 8), QColor(48, 48, 52), 1));
        // No traffic lights on the left; close, maximize and minimize on the right.
        EXPECT_TRUE(near(pixel(titled, card.x + 27.5, card.y + 20.5), QColor(48, 48, 52), 1));
        const QPointF close(card.x + card.width - 24, card.y + 19);
        EXPECT_TRUE(near(pixel(titled, close.x(), close.y() - 6.5), QColor(72, 72, 78), 2));
        EXPECT_GT(pixel(titled, close.x(), close.y()).lightness(), 150);
        EXPECT_TRUE(near(pixel(titled, close.x() - 28, close.y() - 6.5), QColor(72, 72, 78), 2));
        EXPECT_TRUE(near(pixel(titled, close.x() - 56, close.y() + 6.5), QColor(72, 72, 78), 2));
        EXPECT_TRUE(near(pixel(titled, video.x + 4, video.y + 1), red, 12));

        Render bare = linux;
        bare.settings.windowChrome = WindowChrome::none;
        const QImage frame = bare.draw();
        const auto bareCard = bare.layout().card;
        const auto bareVideo = bare.layout().video;
        // The video sits as far from the card's top as from its sides, with no bar above it.
        EXPECT_DOUBLE_EQ(bareVideo.y - bareCard.y, bareVideo.x - bareCard.x);
        EXPECT_TRUE(near(pixel(frame, bareCard.x + bareCard.width / 2, bareCard.y + 6), QColor(17, 24, 39), 1));
        EXPECT_TRUE(near(pixel(frame, bareCard.x + 27.5, bareCard.y + 20.5), red, 12));
        EXPECT_GT(bareVideo.height, video.height);
    }
}

TEST(FrameCompositorTest, CameraZoomLandsInTheVideoRectangle)
{
    // Zoom 2.5 on the bottom-right quadrant: the whole video is yellow.
    Render zoomed;
    zoomed.keyframes = {{0, 1440, 810, 2.5}};
    const QImage closeUp = zoomed.draw();
    const auto video = zoomed.layout().video;
    for (const double u : {0.05, 0.5, 0.95}) {
        for (const double v : {0.05, 0.5, 0.95}) {
            EXPECT_TRUE(near(pixel(closeUp, video.x + video.width * u, video.y + video.height * v), yellow, 12))
                << u << "," << v << " " << describe(pixel(closeUp, video.x + video.width * u, video.y + video.height * v));
        }
    }
}

TEST(FrameCompositorTest, CursorAndRippleAreDrawnWhereTheCursorFramesSay)
{
    Render render;
    render.settings.cursorTheme = CursorTheme::electricBlue;
    render.settings.cursorEffect = CursorEffect::halo;
    render.settings.dynamicCursorScale = false;  // scale 0.84
    render.cursor = {{0, 480, 270, true, true}, {1, 480, 270, true, true}};
    const auto video = render.layout().video;
    const double px = video.x + video.width * 0.25;
    const double py = video.y + video.height * 0.25;
    const QImage frame = render.draw();
    // Inside the pointer just below its tip: the theme's fill.
    EXPECT_TRUE(near(pixel(frame, px + 6 * 0.84, py + 12 * 0.84), QColor(37, 99, 235), 20))
        << describe(pixel(frame, px + 6 * 0.84, py + 12 * 0.84));
    // Up and left of the tip there is no pointer, only the source (tinted by the halo).
    EXPECT_TRUE(near(pixel(frame, px - 30, py - 30), red, 12));

    // The ripple ring (radius 12 at t = 0) lies to the left of the tip; nothing of it at 24.
    Render quiet = render;
    quiet.settings.showClickRipple = false;
    const QImage without = quiet.draw();
    EXPECT_NE(pixel(frame, px - 12, py), pixel(without, px - 12, py));
    EXPECT_EQ(pixel(frame, px - 24, py - 24), pixel(without, px - 24, py - 24));

    // No cursor frames, or cursor off: nothing of cursor or ripple is drawn.
    Render none = render;
    none.cursor.clear();
    Render hidden = render;
    hidden.settings.showCursor = false;
    EXPECT_EQ(none.draw(), hidden.draw());
    EXPECT_TRUE(near(pixel(none.draw(), px + 6 * 0.84, py + 12 * 0.84), red, 12));
}

TEST(FrameCompositorTest, MissingSourceFrameDrawsPlaceholderInsideTheCard)
{
    Render render;
    render.withSource = false;
    render.settings.templateName = TemplateName::cleanLight;
    const QImage frame = render.draw();
    const auto layout = render.layout();
    // Near the top-left corner of the video, away from the focus disc: the light fill or a grid line.
    const QColor corner = pixel(frame, layout.video.x + 5, layout.video.y + 5);
    EXPECT_TRUE(near(corner, QColor(248, 250, 252), 2) || near(corner, QColor(203, 213, 225), 30)) << describe(corner);
    // The camera centre (0, 0) with no keyframes puts the disc at the video's top-left corner.
    EXPECT_TRUE(near(pixel(frame, layout.video.x + 30, layout.video.y + 40), QColor(222, 231, 249), 6))
        << describe(pixel(frame, layout.video.x + 30, layout.video.y + 40));
    EXPECT_TRUE(near(pixel(frame, layout.card.x + layout.card.width / 2, layout.card.y + 8), QColor(31, 41, 55), 1));
}

TEST(FrameCompositorTest, CachedStaticLayerMatchesDrawingEveryFrame)
{
    static const QImage source = quadrantSource();
    for (const TemplateName name : templateNameTexts.allCases()) {
        for (const CursorEffect effect : cursorEffectTexts.allCases()) {
            for (const bool withSource : {true, false}) {
                SCOPED_TRACE(std::string(templateNameTexts.text(name)) + " " +
                             std::string(cursorEffectTexts.text(effect)) + (withSource ? " source" : " placeholder"));
                const CompositorScene scene = test::compositorScene(name, effect);
                const SourceImageLookup lookup = [withSource](double) { return withSource ? &source : nullptr; };
                FrameCompositor cached(scene, lookup);
                FrameCompositor drawn(scene, lookup);
                drawn.setCachesStaticLayer(false);
                // The export's canvas keeps the previous frame; only what changed is restored.
                QImage persistent(960, 540, QImage::Format_RGB32);
                for (int i = 0; i < 5; ++i) {
                    const double t = i * 0.25;
                    const QRegion changed = cached.drawFrame(persistent, t);
                    QImage fresh(960, 540, QImage::Format_RGB32);
                    fresh.fill(Qt::magenta);
                    {
                        QPainter painter(&fresh);
                        drawn.drawFrame(painter, QRectF(0, 0, 960, 540), t);
                    }
                    ASSERT_EQ(persistent, fresh) << "frame " << i;
                    EXPECT_FALSE(changed.contains(QPoint(1, 1)));  // the background never changes
                }
            }
        }
    }
}

}  // namespace
}  // namespace vantile
