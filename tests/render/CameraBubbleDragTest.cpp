#include "render/CameraBubbleDrag.h"
#include "render/CompositorGeometry.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

namespace vantile {
namespace {

CodablePoint centreOf(const CGRectCodable& rect)
{
    return {rect.x + rect.width / 2, rect.y + rect.height / 2};
}

// Frames of several shapes, some not at the origin, with bubbles of every size at every place.
struct Case {
    CGRectCodable canvas;
    RenderSettings settings;
};

Case generatedCase(std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(0, 1);
    const std::array<CGRectCodable, 5> canvases{CGRectCodable{0, 0, 1920, 1080}, CGRectCodable{0, 0, 1080, 1920},
                                                CGRectCodable{0, 0, 640, 360}, CGRectCodable{40, 25, 500, 500},
                                                CGRectCodable{0, 0, 3840, 2160}};
    Case made{canvases[random() % canvases.size()], {}};
    made.settings.cameraSize = RenderSettings::minimumCameraSize +
                               (RenderSettings::maximumCameraSize - RenderSettings::minimumCameraSize) * unit(random);
    made.settings.cameraPosition = cameraPositionTexts.allCases()[random() % 5];
    made.settings.cameraCenterX = unit(random);
    made.settings.cameraCenterY = unit(random);
    return made;
}

// That no placement leaves the margin is CompositorGeometryTest's, for every centre.
TEST(CameraBubbleDrag, GeneratedDragsStoreWhereTheBubbleIsDrawnAndFollowThePointerWhereThereIsRoom)
{
    std::mt19937 random(23);
    std::uniform_real_distribution<double> unit(0, 1);
    for (int round = 0; round < 2000; ++round) {
        const auto [canvas, settings] = generatedCase(random);
        const CGRectCodable start = CompositorGeometry::cameraBubbleRect(canvas, settings);
        // Grab anywhere on the bubble and let go anywhere, far outside the frame included.
        const CodablePoint grab{start.x + start.width * unit(random), start.y + start.height * unit(random)};
        const auto drag = CameraBubbleDrag::begin(canvas, settings, grab);
        ASSERT_TRUE(drag) << "round " << round;
        const CodablePoint to{canvas.x + canvas.width * (1.6 * unit(random) - 0.3),
                              canvas.y + canvas.height * (1.6 * unit(random) - 0.3)};
        const RenderSettings moved = drag->movedTo(to);
        ASSERT_EQ(moved.cameraPosition, CameraPosition::custom);
        ASSERT_EQ(moved.cameraSize, settings.cameraSize);

        const double margin = std::round(0.04 * std::min(canvas.width, canvas.height));
        const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect(canvas, moved);
        // The stored centre is where the bubble is drawn, so the next drag starts from there
        // (within the pixel that keeps the bubble on whole chroma samples).
        EXPECT_NEAR(canvas.x + moved.cameraCenterX * canvas.width, centreOf(bubble).x, 1.01) << "round " << round;
        EXPECT_NEAR(canvas.y + moved.cameraCenterY * canvas.height, centreOf(bubble).y, 1.01) << "round " << round;

        // Where the target lies inside the margin, the bubble moved exactly as the pointer did.
        const double wantedX = start.x + (to.x - grab.x);
        const double wantedY = start.y + (to.y - grab.y);
        if (wantedX > canvas.minX() + margin && wantedX + start.width < canvas.maxX() - margin) {
            EXPECT_NEAR(bubble.x, wantedX, 1.01) << "round " << round;
        }
        if (wantedY > canvas.minY() + margin && wantedY + start.height < canvas.maxY() - margin) {
            EXPECT_NEAR(bubble.y, wantedY, 1.01) << "round " << round;
        }
    }
}

TEST(CameraBubbleDrag, ReleaseSnapsToACornerExactlyWhenWithinThreePercentOfTheFrame)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> unit(0, 1);
    int snapped = 0;
    int kept = 0;
    for (int round = 0; round < 3000; ++round) {
        const auto [canvas, settings] = generatedCase(random);
        const CameraPosition corner = cameraPositionTexts.allCases()[random() % 4];
        RenderSettings atCorner = settings;
        atCorner.cameraPosition = corner;
        const CGRectCodable place = CompositorGeometry::cameraBubbleRect(canvas, atCorner);
        const CGRectCodable start = CompositorGeometry::cameraBubbleRect(canvas, settings);
        // Land the bubble up to 6% of the frame away from the corner's place, towards the
        // frame's inside so the margin does not hold it back.
        const double inwardX = corner == CameraPosition::bottomLeft || corner == CameraPosition::topLeft ? 1 : -1;
        const double inwardY = corner == CameraPosition::topRight || corner == CameraPosition::topLeft ? 1 : -1;
        const double offsetX = std::round(0.06 * canvas.width * unit(random));
        const double offsetY = std::round(0.06 * canvas.height * unit(random));
        const double reachX = 0.03 * canvas.width;
        const double reachY = 0.03 * canvas.height;
        // Rounding to whole pixels decides cases on the line; they say nothing.
        if (std::abs(offsetX - reachX) < 1 || std::abs(offsetY - reachY) < 1) continue;
        const CodablePoint grab = centreOf(start);
        const CodablePoint to{place.x + inwardX * offsetX + start.width / 2, place.y + inwardY * offsetY + start.height / 2};
        const auto drag = CameraBubbleDrag::begin(canvas, settings, grab);
        ASSERT_TRUE(drag);
        const RenderSettings released = drag->releasedAt(to);
        if (offsetX <= reachX && offsetY <= reachY) {
            EXPECT_EQ(released.cameraPosition, corner) << "round " << round << " off by " << offsetX << ", " << offsetY;
            // A corner carries no centre, so its keys stay out of the project file.
            EXPECT_EQ(released.cameraCenterX, RenderSettings{}.cameraCenterX);
            EXPECT_EQ(released.cameraCenterY, RenderSettings{}.cameraCenterY);
            ++snapped;
        } else {
            EXPECT_EQ(released.cameraPosition, CameraPosition::custom)
                << "round " << round << " off by " << offsetX << ", " << offsetY;
            EXPECT_EQ(released, drag->movedTo(to));
            ++kept;
        }
    }
    EXPECT_GT(snapped, 200);
    EXPECT_GT(kept, 200);
}

TEST(CameraBubbleDrag, APressOffTheBubbleOrOnAHiddenOneGrabsNothing)
{
    std::mt19937 random(9);
    std::uniform_real_distribution<double> unit(0, 1);
    for (int round = 0; round < 2000; ++round) {
        const auto [canvas, settings] = generatedCase(random);
        const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect(canvas, settings);
        const CodablePoint point{canvas.x + canvas.width * unit(random), canvas.y + canvas.height * unit(random)};
        const bool onBubble = point.x >= bubble.minX() && point.x < bubble.maxX() && point.y >= bubble.minY() &&
                              point.y < bubble.maxY();
        EXPECT_EQ(CameraBubbleDrag::begin(canvas, settings, point).has_value(), onBubble) << "round " << round;
        RenderSettings hidden = settings;
        hidden.cameraVisible = false;
        EXPECT_FALSE(CameraBubbleDrag::begin(canvas, hidden, centreOf(bubble)));
    }
    // Just past each edge of the square is off the bubble.
    const CGRectCodable canvas{0, 0, 1920, 1080};
    const RenderSettings settings;
    const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect(canvas, settings);
    EXPECT_TRUE(CameraBubbleDrag::begin(canvas, settings, {bubble.x, bubble.y}));
    EXPECT_FALSE(CameraBubbleDrag::begin(canvas, settings, {bubble.x - 0.5, bubble.y + 10}));
    EXPECT_FALSE(CameraBubbleDrag::begin(canvas, settings, {bubble.maxX(), bubble.y + 10}));
    EXPECT_FALSE(CameraBubbleDrag::begin(canvas, settings, {bubble.x + 10, bubble.maxY()}));
}

}  // namespace
}  // namespace vantile
