#include "engine/CameraPathBuilder.h"
#include "render/CompositorGeometry.h"
#include "render/FrameProviders.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>

namespace vantile {
namespace {

using namespace CompositorGeometry;

TEST(CompositorGeometryTest, CropFollowsCameraAndStaysInsideSource)
{
    const CGRectCodable target{0, 0, 1600, 900};
    // Base crop of a 16:9 source in a 16:9 target is the whole source.
    EXPECT_EQ(cropRect(1920, 1080, target, {0, 960, 540, 1}), (CGRectCodable{0, 0, 1920, 1080}));
    // Zoom 2 around the centre halves both sides.
    EXPECT_EQ(cropRect(1920, 1080, target, {0, 960, 540, 2}), (CGRectCodable{480, 270, 960, 540}));
    // A centre near the right/bottom edge pins the crop to that edge.
    EXPECT_EQ(cropRect(1920, 1080, target, {0, 1900, 1070, 2}), (CGRectCodable{960, 540, 960, 540}));
    // Scale below 1 never zooms out past the base crop.
    EXPECT_EQ(cropRect(1920, 1080, target, {0, 960, 540, 0.5}), cropRect(1920, 1080, target, {0, 960, 540, 1}));
    // No keyframes: centre (0, 0) at scale 1 pins the base crop top-left; a portrait target
    // takes a full-height slice of a landscape source.
    const CGRectCodable portrait = cropRect(1920, 1080, {0, 0, 900, 1600}, {0, 0, 0, 1});
    EXPECT_DOUBLE_EQ(portrait.x, 0);
    EXPECT_DOUBLE_EQ(portrait.height, 1080);
    EXPECT_NEAR(portrait.width, 1080 * 900.0 / 1600.0, 1e-9);
}

TEST(CompositorGeometryTest, CardLayoutCentresCardAndClampsTinyAreas)
{
    RenderPreset preset = RenderPreset::preset(TemplateName::minimalDark);  // padding 96, browser bar 44
    const FrameLayout layout = frameLayout({0, 0, 1920, 1080}, 1920, 1080, true, preset);
    ASSERT_TRUE(layout.hasCard);
    // availW = 1704, availH = 1080 - 192 - 56 = 832 < 1704 / (16/9): height-limited.
    EXPECT_DOUBLE_EQ(layout.video.height, 832);
    EXPECT_NEAR(layout.video.width, 832 * 1920.0 / 1080.0, 1e-9);
    EXPECT_NEAR(layout.card.x + layout.card.width / 2, 960, 1e-9);
    EXPECT_NEAR(layout.card.y + layout.card.height / 2, 540, 1e-9);
    EXPECT_DOUBLE_EQ(layout.video.x, layout.card.x + 12);
    EXPECT_DOUBLE_EQ(layout.video.y, layout.card.y + 44);
    EXPECT_DOUBLE_EQ(layout.card.height, 44 + 832 + 12);

    preset.padding = 5000;
    const FrameLayout tiny = frameLayout({0, 0, 1920, 1080}, 1920, 1080, true, preset);
    // Both available sides clamp to 2; the wide source is width-limited, so the card is 26 wide.
    EXPECT_DOUBLE_EQ(tiny.card.width, 26);
    EXPECT_DOUBLE_EQ(tiny.card.height, 44 + 2 / (1920.0 / 1080.0) + 12);

    // Without background the video is fitted into the canvas with bars.
    const FrameLayout bare = frameLayout({0, 0, 1080, 1920}, 1920, 1080, false, preset);
    EXPECT_FALSE(bare.hasCard);
    EXPECT_EQ(bare.video, (CGRectCodable{0, 960 - 303.75, 1080, 607.5}));
}

TEST(CompositorGeometryTest, CursorScaleAndRippleFollowTheirCurves)
{
    EXPECT_DOUBLE_EQ(cursorScale(false, 5000, true, 1920, 1080), 0.84);
    EXPECT_DOUBLE_EQ(cursorScale(true, 0, false, 1920, 1080), 0.84);
    EXPECT_NEAR(cursorScale(true, 0, true, 1920, 1080), 1.04, 1e-12);
    const double diagonal = std::hypot(1920.0, 1080.0);
    EXPECT_NEAR(cursorScale(true, diagonal * 0.85, false, 1920, 1080), 1.18, 1e-12);
    EXPECT_NEAR(cursorScale(true, diagonal * 5, true, 1920, 1080), 1.38, 1e-12);
    EXPECT_NEAR(cursorScale(true, diagonal * 0.425, false, 1920, 1080), 0.84 + 0.34 * 0.5, 1e-12);

    for (int k = 0; k < 5; ++k) {
        const Ripple ripple = rippleAt(0.35 * k + 1e-12);
        EXPECT_NEAR(ripple.radius, 12, 1e-6);
        EXPECT_NEAR(ripple.alpha, 0.35, 1e-6);
    }
    EXPECT_NEAR(rippleAt(0.175).radius, 27, 1e-9);
    EXPECT_NEAR(rippleAt(0.175).alpha, 0.175, 1e-9);
}

TEST(FrameProvidersTest, ForwardCameraCursorMatchesScanningFromTheStart)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> position(0, 1920);
    std::uniform_real_distribution<double> gap(0.01, 1.5);
    for (int round = 0; round < 20; ++round) {
        std::vector<CameraKeyframe> keyframes;
        double time = gap(random);
        for (int i = 0; i < 2 + round; ++i) {
            keyframes.push_back({time, position(random), position(random) / 2, 1 + gap(random)});
            time += gap(random);
        }
        CameraFrameProvider provider(keyframes);
        for (double t = 0; t < time + 1; t += 1 / 30.0) {
            const CameraKeyframe forward = provider.state(t);
            const CameraKeyframe scanned = CameraPathBuilder::cameraStateAt(t, keyframes);
            ASSERT_NEAR(forward.centerX, scanned.centerX, 1e-9) << "round " << round << " t " << t;
            ASSERT_NEAR(forward.centerY, scanned.centerY, 1e-9);
            ASSERT_NEAR(forward.scale, scanned.scale, 1e-9);
        }
    }
    CameraFrameProvider empty({});
    EXPECT_EQ(empty.state(3), (CameraKeyframe{3, 0, 0, 1}));
}

TEST(FrameProvidersTest, CursorNearestFrameAndSpeed)
{
    CursorFrameProvider cursor({{0.0, 0, 0, true, false}, {0.1, 30, 40, true, false}, {0.2, 30, 40, true, true}});
    cursor.advance(0.05);
    EXPECT_EQ(cursor.nearestIndex(0.05), 0);  // a tie keeps the earlier frame
    EXPECT_EQ(cursor.nearestIndex(0.06), 1);
    EXPECT_DOUBLE_EQ(cursor.speed(0), 500);  // 50 px in 0.1 s
    cursor.advance(0.2);
    EXPECT_EQ(cursor.nearestIndex(0.2), 2);
    EXPECT_DOUBLE_EQ(cursor.speed(2), 0);  // last frame uses its predecessor
    CursorFrameProvider single({{0, 5, 5, true, false}});
    EXPECT_DOUBLE_EQ(single.speed(0), 0);
}

TEST(CompositorGeometryTest, TheCameraBubbleKeepsItsMarginWhereverItIsPutAndScalesWithTheShortSide)
{
    const CGRectCodable portrait{0, 0, 1080, 1920};
    RenderSettings settings;
    // A quarter of the short side, at least 4% of it from the edges, on whole chroma samples.
    EXPECT_EQ(cameraBubbleRect(portrait, settings), (CGRectCodable{766, 1606, 270, 270}));
    settings.cameraSize = 0.5;
    settings.cameraPosition = CameraPosition::topLeft;
    EXPECT_EQ(cameraBubbleRect(portrait, settings), (CGRectCodable{44, 44, 540, 540}));
    // A custom centre is followed, and held off the edges when it would cross the margin.
    settings.cameraPosition = CameraPosition::custom;
    settings.cameraCenterX = 0.5;
    settings.cameraCenterY = 0.5;
    EXPECT_EQ(cameraBubbleRect(portrait, settings), (CGRectCodable{270, 690, 540, 540}));
    settings.cameraCenterX = 1;
    settings.cameraCenterY = 0;
    EXPECT_EQ(cameraBubbleRect(portrait, settings), (CGRectCodable{496, 44, 540, 540}));
    // The canvas's origin moves the bubble with it.
    settings.cameraPosition = CameraPosition::bottomLeft;
    settings.cameraSize = 0.12;
    EXPECT_EQ(cameraBubbleRect({100, 50, 640, 360}, settings), (CGRectCodable{114, 352, 44, 44}));

    // Any canvas and setting: whole chroma samples from the canvas's corner, the asked size
    // within a pixel, never nearer the edges than the margin.
    std::uint32_t seed = 11;
    const auto next = [&seed](int limit) {
        seed = seed * 1664525u + 1013904223u;
        return static_cast<int>((seed >> 8) % static_cast<std::uint32_t>(limit));
    };
    const auto positions = cameraPositionTexts.allCases();
    for (int round = 0; round < 500; ++round) {
        const CGRectCodable canvas{2.0 * next(200), 2.0 * next(200), 160.0 + next(3000), 160.0 + next(3000)};
        settings.cameraPosition = positions[static_cast<std::size_t>(next(static_cast<int>(positions.size())))];
        settings.cameraSize = 0.12 + 0.38 * next(1001) / 1000.0;
        settings.cameraCenterX = next(1001) / 1000.0;
        settings.cameraCenterY = next(1001) / 1000.0;
        const CGRectCodable bubble = cameraBubbleRect(canvas, settings);
        const double shortSide = std::min(canvas.width, canvas.height);
        const double margin = std::round(0.04 * shortSide);
        SCOPED_TRACE(round);
        EXPECT_EQ(std::fmod(bubble.x - canvas.x, 2), 0);
        EXPECT_EQ(std::fmod(bubble.y - canvas.y, 2), 0);
        EXPECT_EQ(std::fmod(bubble.width, 2), 0);
        EXPECT_EQ(bubble.width, bubble.height);
        EXPECT_LE(std::abs(bubble.width - settings.cameraSize * shortSide), 1.0);
        EXPECT_GE(bubble.x - canvas.x, margin);
        EXPECT_GE(bubble.y - canvas.y, margin);
        EXPECT_LE(bubble.x + bubble.width, canvas.x + canvas.width - margin);
        EXPECT_LE(bubble.y + bubble.height, canvas.y + canvas.height - margin);
    }
}

}  // namespace
}  // namespace vantile
