#include "RenderTestSupport.h"

#include "media/FfmpegHandles.h"
#include "render/CropScaler.h"
#include "render/FrameCompositor.h"
#include "render/ImageConversion.h"
#include "render/YuvFrameCompositor.h"
#include "render/layers/CameraBubbleLayer.h"
#include "render/layers/TextCalloutLayer.h"

#include <libyuv/convert_argb.h>

#include <QPainter>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace vantile {
namespace {

// A smooth colour field with fine lines of moderate contrast: a misplaced or misfiltered
// crop shows in its luma, while conversions back and forth never clip its colours.
FrameHandle generatedSource()
{
    QImage image(1920, 1080, QImage::Format_RGB32);
    for (int y = 0; y < 1080; ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < 1920; ++x) row[x] = qRgb(40 + x * 160 / 1920, 50 + y * 150 / 1080, 180 - x * 100 / 1920);
    }
    QPainter painter(&image);
    painter.setPen(QColor(255, 255, 255, 60));
    for (int x = 37; x < 1920; x += 61) painter.drawLine(x, 0, x, 1079);
    painter.setPen(QColor(0, 0, 0, 60));
    for (int y = 23; y < 1080; y += 47) painter.drawLine(0, y, 1919, y);
    painter.end();
    FrameHandle frame = allocateFrame(AV_PIX_FMT_YUV420P, 1920, 1080);
    convertImageToYuv420(image, *frame);
    frame->colorspace = encoderYuvTagging.colorSpace;
    frame->color_range = encoderYuvTagging.range;
    return frame;
}

// A one-second 320 x 240 camera movie, written once: a gradient with a bar that moves each frame.
const std::filesystem::path& cameraMovie()
{
    static const test::TemporaryDirectory directory;
    static const std::filesystem::path path = [] {
        const std::filesystem::path movie = directory.path() / "camera.mov";
        test::writeRawMovie(movie, 320, 240, 1, 0, [](QImage& canvas, int frame) {
            for (int y = 0; y < 240; ++y) {
                auto* row = reinterpret_cast<QRgb*>(canvas.scanLine(y));
                for (int x = 0; x < 320; ++x) row[x] = qRgb(200 - x / 2, 60 + y / 2, 90 + x / 4);
            }
            QPainter painter(&canvas);
            painter.fillRect(QRect(10 + frame * 9, 40, 24, 160), QColor(240, 230, 60));
        });
        return movie;
    }();
    return path;
}

// The bubble in the `variant`th of a spread of places, sizes, shapes, mirrorings and shadows,
// starting `start` seconds into the recording.
std::unique_ptr<OverlayLayer> generatedBubble(int variant, double start)
{
    RenderSettings settings;
    const auto positions = cameraPositionTexts.allCases();
    settings.cameraPosition = positions[static_cast<std::size_t>(variant) % positions.size()];
    settings.cameraCenterX = 0.2 + 0.15 * (variant % 5);
    settings.cameraCenterY = 0.9 - 0.2 * (variant % 4);
    settings.cameraSize = 0.12 + 0.38 * ((variant * 7) % 10) / 9.0;
    const auto shapes = cameraShapeTexts.allCases();
    settings.cameraShape = shapes[static_cast<std::size_t>(variant) % shapes.size()];
    settings.cameraMirror = variant % 2 == 0;
    settings.cameraShadow = variant % 3 != 1;
    return std::make_unique<CameraBubbleLayer>(CameraRecording{"camera.mov", 320, 240, 30, start}, settings,
                                               std::make_unique<SourceFrameProvider>(cameraMovie()));
}

// Text callouts of each style that fade in and out between the frames compared (every 0.2 s),
// placed by the `variant`th of a spread of positions.
std::unique_ptr<OverlayLayer> generatedCallouts(int variant)
{
    test::ensureGuiApplication();
    std::vector<TextCallout> callouts{
        {0.3, 0.9, "Title 标题", TextCalloutStyle::title, std::nullopt, {}},
        {0.1, 1.3, "Lower third 下方字幕", TextCalloutStyle::lowerThird, std::nullopt, {}},
        {0.5, 1.1, "Label", TextCalloutStyle::label, CodablePoint{0.1 + 0.2 * (variant % 5), 0.15 + 0.3 * (variant % 3)}, {}},
    };
    return std::make_unique<TextCalloutLayer>(std::move(callouts), OutputTimeline(2, std::nullopt, {}));
}

// An overlay that rests, jumps every 0.4 s, changes colour in place at 1 s and is gone after 1.7 s.
class RestingLayer : public OverlayLayer {
public:
    std::vector<OverlayTile> tilesAt(double time, const QRectF&, TileForm) override
    {
        if (time >= 1.7) return {};
        const int content = time >= 1.0 ? 2 : 1;
        if (content != painted_) {
            image_ = QImage(121, 91, QImage::Format_ARGB32_Premultiplied);
            image_.fill(Qt::transparent);
            QPainter painter(&image_);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setBrush(content == 1 ? QColor(250, 120, 20, 160) : QColor(20, 200, 250, 200));
            painter.setPen(Qt::NoPen);
            painter.drawEllipse(QRectF(0.5, 0.5, 120, 90));
            painted_ = content;
        }
        const int step = static_cast<int>(time / 0.4);
        return {OverlayTile{QRect(101 + 150 * step, 79 + 40 * step, 121, 91), content, &image_, nullptr}};
    }

private:
    QImage image_;
    int painted_ = 0;
};

// Two tiles that overlap each other, the video's edge and where the cursor rests: a frame
// that stays, and above it a badge whose picture changes every 0.1 s and which moves at 1.2 s.
class StackedLayer : public OverlayLayer {
public:
    StackedLayer()
    {
        frame_ = QImage(260, 150, QImage::Format_ARGB32_Premultiplied);
        frame_.fill(QColor(30, 30, 30, 90));
        badge_ = QImage(64, 44, QImage::Format_ARGB32_Premultiplied);
    }

    std::vector<OverlayTile> tilesAt(double time, const QRectF&, TileForm) override
    {
        const int content = static_cast<int>(time * 10);
        if (content != painted_) {
            badge_.fill(Qt::transparent);
            QPainter painter(&badge_);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setBrush(QColor::fromHsv(content * 37 % 360, 200, 230, 220));
            painter.setPen(Qt::NoPen);
            painter.drawRoundedRect(QRectF(1, 1, 62 - content % 5, 42), 10, 10);
            painted_ = content;
        }
        const QPoint badgeAt = time < 1.2 ? QPoint(281, 221) : QPoint(350, 190);
        return {OverlayTile{QRect(60, 150, 260, 150), 1, &frame_, nullptr},
                OverlayTile{QRect(badgeAt, badge_.size()), content, &badge_, nullptr}};
    }

private:
    QImage frame_;
    QImage badge_;
    int painted_ = -1;
};

struct Difference {
    int largest = 0;
    double visibleShare = 0;  // samples more than 6 apart
};

Difference compare(const AVFrame& a, const AVFrame& b, int plane)
{
    const int rows = plane == 0 ? a.height : a.height / 2;
    const int columns = plane == 0 ? a.width : a.width / 2;
    Difference difference;
    long visible = 0;
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < columns; ++x) {
            const int step = std::abs(a.data[plane][y * a.linesize[plane] + x] - b.data[plane][y * b.linesize[plane] + x]);
            difference.largest = std::max(difference.largest, step);
            visible += step > 6;
        }
    }
    difference.visibleShare = static_cast<double>(visible) / (static_cast<double>(rows) * columns);
    return difference;
}

// The largest difference between the samples of two frames, over all planes.
int largestDifference(const AVFrame& a, const AVFrame& b)
{
    int largest = 0;
    for (int plane = 0; plane < 3; ++plane) largest = std::max(largest, compare(a, b, plane).largest);
    return largest;
}

// The export's pool: buffers come back holding an older frame, and say where it differs
// from the static layer.
class ReusedPool {
public:
    explicit ReusedPool(QSize size)
    {
        for (auto& frame : frames_) frame = allocateFrame(AV_PIX_FMT_YUV420P, size.width(), size.height());
    }

    AVFrame& draw(YuvFrameCompositor& compositor, int index, double time)
    {
        const auto slot = static_cast<std::size_t>(index) % frames_.size();
        contents_[slot] = compositor.drawFrame(*frames_[slot], contents_[slot], time);
        return *frames_[slot];
    }
    const QRegion& content(int index) const { return *contents_[static_cast<std::size_t>(index) % frames_.size()]; }

private:
    std::array<FrameHandle, 3> frames_;
    std::array<std::optional<QRegion>, 3> contents_;
};

TEST(YuvFrameCompositorTest, LooksLikeDrawingInRgbOnGeneratedLayouts)
{
    static const FrameHandle source = generatedSource();
    const DecodedFrameLookup lookup = [](double) { return source.get(); };
    const std::array<QSize, 4> sizes{QSize(960, 540), QSize(1002, 566), QSize(540, 960), QSize(722, 722)};
    int layoutIndex = 0;
    for (const TemplateName name : templateNameTexts.allCases()) {
        for (const CursorEffect effect : cursorEffectTexts.allCases()) {
            const QSize size = sizes[static_cast<std::size_t>(layoutIndex++) % sizes.size()];
            for (const bool background : {true, false}) {
                SCOPED_TRACE(std::string(templateNameTexts.text(name)) + " " + std::string(cursorEffectTexts.text(effect)) +
                             (background ? "" : " plain"));
                CompositorScene scene = test::compositorScene(name, effect, background);
                // Half the layouts smear the moving camera and cursor.
                scene.settings.motionBlur = layoutIndex % 2 == 0 ? 0.5 + 0.1 * (layoutIndex % 5) : 0;
                FrameCompositor fastCompositor(scene, {});
                FrameCompositor slowCompositor(scene, {});
                FrameCompositor freshCompositor(scene, {});
                // The camera bubble comes in part way, so frames with and without it are compared.
                const int variant = layoutIndex * 2 + (background ? 0 : 1);
                const double cameraStart = 0.1 * (variant % 4);
                for (FrameCompositor* compositor : {&fastCompositor, &slowCompositor, &freshCompositor}) {
                    compositor->addLayer(generatedBubble(variant, cameraStart));
                    compositor->addLayer(generatedCallouts(variant));
                }
                slowCompositor.setDecodedSource(lookup);
                YuvFrameCompositor fast(fastCompositor, lookup);
                YuvFrameCompositor slow(slowCompositor, lookup);
                YuvFrameCompositor fresh(freshCompositor, lookup);
                ReusedPool pool(size);
                FrameHandle reference = allocateFrame(AV_PIX_FMT_YUV420P, size.width(), size.height());
                FrameHandle clean = allocateFrame(AV_PIX_FMT_YUV420P, size.width(), size.height());
                for (int i = 0; i < 7; ++i) {
                    const double time = i * 0.2;
                    const AVFrame& frame = pool.draw(fast, i, time);
                    slow.drawFrameInRgb(*reference, time);
                    fresh.drawFrame(*clean, std::nullopt, time);
                    ASSERT_EQ(largestDifference(frame, *clean), 0) << "a reused buffer differs from a fresh one, frame " << i;
                    // Converting back and forth moves samples by a step or two; a sample at a
                    // line's edge where the two paths pair chroma differently may move more.
                    for (int plane = 0; plane < 3; ++plane) {
                        const Difference difference = compare(frame, *reference, plane);
                        EXPECT_LE(difference.largest, 24) << "frame " << i << " plane " << plane;
                        EXPECT_LT(difference.visibleShare, 0.001) << "frame " << i << " plane " << plane;
                    }
                    // A large bubble's shadow may reach the top corners; one at the bottom leaves them.
                    const bool bubbleAtBottom = variant % 5 < 2;
                    EXPECT_FALSE(pool.content(i).contains(QPoint(0, 0)) && background && bubbleAtBottom)
                        << "the background never changes";
                }
            }
        }
    }
}

TEST(YuvFrameCompositorTest, ReusedFramesKeepOnlyTheRowsWhoseSourceStayedTheSame)
{
    // A screen-like source: most frames change a few rows, some change nothing, some come
    // again in the same buffer (an output rate above the movie's). The camera rests, zooms
    // and rests again, and the cursor moves and rests across the video's edges.
    // A 960 x 540 movie, so the camera's factors stay within the row-wise scaler's reach.
    const FrameHandle large = generatedSource();
    FrameHandle base = allocateFrame(AV_PIX_FMT_YUV420P, 960, 540);
    av_frame_copy_props(base.get(), large.get());
    for (int plane = 0; plane < 3; ++plane) {
        for (int row = 0; row < (plane ? 270 : 540); ++row) {
            std::memcpy(base->data[plane] + row * base->linesize[plane], large->data[plane] + row * large->linesize[plane],
                        plane ? 480 : 960);
        }
    }
    std::vector<FrameHandle> sources;
    std::uint32_t seed = 7;
    const auto next = [&seed](int limit) {
        seed = seed * 1664525u + 1013904223u;
        return static_cast<int>((seed >> 8) % static_cast<std::uint32_t>(limit));
    };
    for (int index = 0; index < 40; ++index) {
        FrameHandle frame = allocateFrame(AV_PIX_FMT_YUV420P, 960, 540);
        av_frame_copy_props(frame.get(), base.get());
        av_frame_copy(frame.get(), sources.empty() ? base.get() : sources.back().get());
        frame->pts = index;
        if (index % 5 != 2) {
            const int x = next(900) & ~1, y = next(500) & ~1, width = 2 + (next(60) & ~1), height = 2 + (next(30) & ~1);
            const auto value = static_cast<std::uint8_t>(16 + next(220));
            for (int row = y; row < y + height; ++row) {
                std::memset(frame->data[0] + row * frame->linesize[0] + x, value, static_cast<std::size_t>(width));
            }
            const int plane = 1 + index % 2;
            for (int row = y / 2; row < (y + height) / 2; ++row) {
                std::memset(frame->data[plane] + row * frame->linesize[plane] + x / 2, 255 - value,
                            static_cast<std::size_t>(width / 2));
            }
        }
        sources.push_back(std::move(frame));
    }
    CompositorScene scene = test::compositorScene(TemplateName::gradientBlue, CursorEffect::macOS);
    scene.videoWidth = 960;
    scene.videoHeight = 540;
    scene.keyframes = {{0, 480, 270, 1}, {0.5, 480, 270, 1}, {0.9, 305.6, 150.8, 2.3}, {1.5, 305.6, 150.8, 2.3},
                       {1.9, 750.1, 450.4, 1.7}, {2.2, 750.1, 450.4, 1.7}};
    // At rest over the video's corner and inside it, with and without a ripple.
    scene.cursorFrames = {{0, 2, 3, true, true},        {0.1, 2, 3, true, false},     {0.25, 2, 3, true, false},
                          {0.35, 200, 150, true, false}, {0.6, 200, 150, true, false}, {1.0, 350, 165, true, true},
                          {1.3, 955, 537, true, false},  {2.2, 600, 400, true, true}};
    // Privacy blur that starts and ends while one source frame is shown (output frames 12 | 13
    // and 51 | 52), so the same source rows are drawn plain and obscured in turn.
    scene.blurRegions = {{0.42, 0.95, 250, 100, 180, 120, BlurRegion::Style::pixelate},
                         {1.1, 1.72, 600, 300, 200, 150, BlurRegion::Style::blur}};
    const auto checksum = [&] {
        std::uint64_t sum = 0;
        for (const FrameHandle& frame : sources) {
            for (int row = 0; row < 540; ++row) {
                for (int x = 0; x < 960; ++x) sum = sum * 31 + frame->data[0][row * frame->linesize[0] + x];
            }
        }
        return sum;
    };
    const std::uint64_t sourcesBefore = checksum();
    for (const QSize size : {QSize(1280, 720), QSize(1002, 566)}) {
        SCOPED_TRACE(std::to_string(size.width()) + " x " + std::to_string(size.height()));
        // The source advances at 20 frames a second while the output draws 30.
        const DecodedFrameLookup lookup = [&](double time) {
            return sources[std::min<std::size_t>(sources.size() - 1, static_cast<std::size_t>(time * 20))].get();
        };
        FrameCompositor reusingCompositor(scene, {});
        FrameCompositor freshCompositor(scene, {});
        // Overlays that rest, move, change and end: a reused buffer keeps none of them stale.
        for (FrameCompositor* compositor : {&reusingCompositor, &freshCompositor}) {
            compositor->addLayer(std::make_unique<RestingLayer>());
            compositor->addLayer(std::make_unique<StackedLayer>());
            compositor->addLayer(generatedBubble(0, 0.5));
            compositor->addLayer(generatedCallouts(1));
        }
        YuvFrameCompositor reusing(reusingCompositor, lookup);
        YuvFrameCompositor fresh(freshCompositor, lookup);
        ReusedPool pool(size);
        FrameHandle clean = allocateFrame(AV_PIX_FMT_YUV420P, size.width(), size.height());
        for (int i = 0; i < 60; ++i) {
            const double time = i / 30.0;
            const AVFrame& frame = pool.draw(reusing, i, time);
            fresh.drawFrame(*clean, std::nullopt, time);
            ASSERT_EQ(largestDifference(frame, *clean), 0) << "frame " << i;
        }
    }
    EXPECT_EQ(checksum(), sourcesBefore) << "the decoded frames were written to";
}

TEST(YuvFrameCompositorTest, TheVideoNeverReachesTheCardsRoundedCorners)
{
    // The YUV path writes the video as a plain rectangle and blends nothing at the card's
    // corners; that holds while every video corner lies inside the card's rounded outline.
    for (const TemplateName name : templateNameTexts.allCases()) {
        const RenderPreset preset = RenderPreset::preset(name);
        for (const AspectRatio ratio : aspectRatioTexts.allCases()) {
            const OutputSize size = outputSize(ratio, ResolutionPreset::p720);
            const auto layout = CompositorGeometry::frameLayout(
                {0, 0, static_cast<double>(size.width), static_cast<double>(size.height)}, 1920, 1080, true, preset);
            const double radius = preset.cornerRadius;
            const auto insideCard = [&](double x, double y) {
                // Distance from the nearest corner circle's centre, where the outline is round.
                const double centreX = std::clamp(x, layout.card.x + radius, layout.card.x + layout.card.width - radius);
                const double centreY = std::clamp(y, layout.card.y + radius, layout.card.y + layout.card.height - radius);
                return std::hypot(x - centreX, y - centreY) <= radius;
            };
            const auto& video = layout.video;
            for (const auto& [x, y] : {std::pair{video.x, video.y}, std::pair{video.x + video.width, video.y},
                                       std::pair{video.x, video.y + video.height},
                                       std::pair{video.x + video.width, video.y + video.height}}) {
                EXPECT_TRUE(insideCard(x, y)) << templateNameTexts.text(name) << " " << aspectRatioTexts.text(ratio)
                                              << " corner " << x << "," << y;
            }
        }
    }
}

TEST(YuvFrameCompositorTest, CropEdgesShareChromaWithWhatLiesBeside)
{
    // A uniform source drawn over a uniform canvas: inside the target every sample is the
    // source's, outside the canvas's, and a chroma sample the target's odd edge halves is
    // the average of both.
    FrameHandle source = allocateFrame(AV_PIX_FMT_YUV420P, 64, 64);
    FrameHandle canvas = allocateFrame(AV_PIX_FMT_YUV420P, 40, 40);
    for (int plane = 0; plane < 3; ++plane) {
        std::memset(source->data[plane], plane == 0 ? 200 : 100 + 60 * plane,
                    static_cast<std::size_t>(source->linesize[plane]) * (plane == 0 ? 64 : 32));
        std::memset(canvas->data[plane], plane == 0 ? 20 : 100,
                    static_cast<std::size_t>(canvas->linesize[plane]) * (plane == 0 ? 40 : 20));
    }
    CropScaler scaler;
    // Pixel centres in [7.3, 30.6) are 7..30 across; [4.6, 20.5) are 5..19 down.
    const auto written = scaler.drawInto(*canvas, *source, QRectF(3.5, 2.25, 40, 30), QRectF(7.3, 4.6, 23.3, 15.9));
    ASSERT_TRUE(written.has_value());
    EXPECT_EQ(*written, QRect(QPoint(7, 5), QPoint(30, 19)));
    const auto luma = [&](int x, int y) { return canvas->data[0][y * canvas->linesize[0] + x]; };
    const auto blue = [&](int x, int y) { return canvas->data[1][y * canvas->linesize[1] + x]; };
    EXPECT_EQ(luma(7, 5), 200);
    EXPECT_EQ(luma(30, 19), 200);
    EXPECT_EQ(luma(6, 5), 20);
    EXPECT_EQ(luma(31, 19), 20);
    EXPECT_EQ(luma(7, 4), 20);
    EXPECT_EQ(luma(7, 20), 20);
    EXPECT_EQ(blue(5, 5), 160);  // pixels 10, 11 by 10, 11: all inside
    EXPECT_EQ(blue(2, 5), 100);  // pixels 4, 5: outside
    EXPECT_EQ(blue(3, 5), 130);  // pixels 6 (outside), 7 (inside) by 10, 11: half each
    EXPECT_EQ(blue(15, 9), 130); // pixels 30 (inside), 31 (outside)
    EXPECT_EQ(blue(3, 2), 115);  // only pixel 7 of row 5 inside: a quarter
    EXPECT_EQ(blue(15, 10), 100);
}

TEST(YuvFrameCompositorTest, PartialConversionEqualsFullConversion)
{
    QImage image(322, 182, QImage::Format_RGB32);
    image.fill(QColor(220, 30, 30));
    FrameHandle full = allocateFrame(AV_PIX_FMT_YUV420P, 322, 182);
    FrameHandle partial = allocateFrame(AV_PIX_FMT_YUV420P, 322, 182);
    convertImageToYuv420(image, *partial);
    QPainter(&image).fillRect(QRectF(33.5, 17.2, 101.3, 60.7), QColor(10, 200, 90));
    convertImageToYuv420(image, *full);
    convertImageToYuv420(image, *partial, QRect(33, 17, 102, 62));
    EXPECT_EQ(largestDifference(*full, *partial), 0);
}

// The camera of the shared scene, sampled anywhere: the state a frame at `time` shows.
CameraKeyframe sceneCameraAt(const CompositorScene& scene, double time)
{
    CameraFrameProvider camera(scene.keyframes);
    return camera.state(time);
}

TEST(MotionBlurTest, AStillCameraIsSharpAndAMovingOneIsTheAverageOfItsMomentsDrawnOneByOne)
{
    static const FrameHandle source = generatedSource();
    const DecodedFrameLookup lookup = [](double) { return source.get(); };
    CompositorScene scene = test::compositorScene(TemplateName::gradientBlue, CursorEffect::macOS);
    scene.settings.showCursor = false;
    // Still until 0.3 s, then a zoom and a pan, still again from 1.2 s.
    scene.keyframes = {{0, 960, 540, 1}, {0.3, 960, 540, 1}, {0.7, 611.3, 301.7, 2.3}, {1.2, 1400, 800, 1.4}};
    const QSize size(1280, 720);
    const auto frameOf = [&](double amount, double time) {
        CompositorScene blurred = scene;
        blurred.settings.motionBlur = amount;
        FrameCompositor compositor(blurred, {});
        YuvFrameCompositor yuv(compositor, lookup);
        FrameHandle frame = allocateFrame(AV_PIX_FMT_YUV420P, size.width(), size.height());
        yuv.drawFrame(*frame, std::nullopt, time);
        return frame;
    };
    for (const double time : {0.1, 0.29, 1.25, 1.5}) {
        SCOPED_TRACE(time);
        EXPECT_EQ(largestDifference(*frameOf(0, time), *frameOf(0.5, time)), 0) << "a still camera stays sharp";
    }
    int blurredFrames = 0;
    for (const double amount : {0.5, 1.0}) {
        for (const double time : {0.4, 0.55, 0.8, 1.0}) {
            SCOPED_TRACE(std::to_string(amount) + " at " + std::to_string(time));
            const FrameHandle blurred = frameOf(amount, time);
            // The moments: equal parts of a shutter open `amount` of a 30 fps frame, each drawn
            // sharp at its middle, from the same source frame.
            const double shutter = amount / 30;
            const auto cropAt = [&](double moment) {
                FrameCompositor layoutOnly(scene, {});
                const auto& layout = layoutOnly.layout(QRectF(0, 0, size.width(), size.height()));
                return CompositorGeometry::cropRect(1920, 1080, layout.video, sceneCameraAt(scene, moment));
            };
            FrameCompositor layoutOnly(scene, {});
            const CGRectCodable target = layoutOnly.layout(QRectF(0, 0, size.width(), size.height())).video;
            const CGRectCodable opens = cropAt(time - shutter / 2);
            const CGRectCodable closes = cropAt(time + shutter / 2);
            const double scale = target.width / std::min(opens.width, closes.width);
            const double motion = scale * std::max({std::abs(closes.x - opens.x), std::abs(closes.y - opens.y),
                                                    std::abs(closes.x + closes.width - opens.x - opens.width),
                                                    std::abs(closes.y + closes.height - opens.y - opens.height)});
            const int count = motion < 0.5 ? 1 : std::min(8, static_cast<int>(std::ceil(motion / 1.5)) + 1);
            ASSERT_GT(count, 1) << "the camera moves here";
            std::vector<FrameHandle> moments;
            for (int index = 0; index < count; ++index) {
                moments.push_back(frameOf(0, time - shutter / 2 + shutter * (index + 0.5) / count));
            }
            int largest = 0;
            for (int plane = 0; plane < 3; ++plane) {
                const int rows = plane == 0 ? size.height() : size.height() / 2;
                const int columns = plane == 0 ? size.width() : size.width() / 2;
                for (int y = 0; y < rows; ++y) {
                    for (int x = 0; x < columns; ++x) {
                        int sum = 0;
                        for (const FrameHandle& moment : moments) sum += moment->data[plane][y * moment->linesize[plane] + x];
                        const int average = (sum + count / 2) / count;
                        largest = std::max(largest, std::abs(average - blurred->data[plane][y * blurred->linesize[plane] + x]));
                    }
                }
            }
            EXPECT_LE(largest, 1) << count << " moments";
            blurredFrames += largestDifference(*blurred, *frameOf(0, time)) > 8;
        }
    }
    EXPECT_EQ(blurredFrames, 8) << "every moving frame differs visibly from its sharp self";
}

TEST(MotionBlurTest, TheCursorIsSmearedAlongItsPathAndSharpAtRest)
{
    const QSize size(1920, 1080);
    CompositorScene scene = test::compositorScene(TemplateName::minimalDark, CursorEffect::macOS);
    scene.keyframes = {{0, 960, 540, 1}};
    scene.settings.showClickRipple = false;
    scene.settings.dynamicCursorScale = false;
    // Left to right across the video in 0.5 s, then at rest.
    scene.cursorFrames.clear();
    for (int index = 0; index <= 30; ++index) {
        const double time = index / 30.0;
        scene.cursorFrames.push_back({time, 200 + 1400 * std::min(time, 0.5) / 0.5, 500, true, false});
    }
    const auto draw = [&](double amount, bool cursor, double time) {
        CompositorScene shown = scene;
        shown.settings.motionBlur = amount;
        shown.settings.showCursor = cursor;
        FrameCompositor compositor(shown, {});
        QImage canvas(size, QImage::Format_RGB32);
        compositor.drawFrame(canvas, time);
        return canvas;
    };
    // The columns and rows where the pointer shows: those holding at least a tenth of the
    // most any one holds of its difference from the frame without it.
    const auto extent = [](const QImage& with, const QImage& without) {
        std::vector<long> columns(static_cast<std::size_t>(with.width()));
        std::vector<long> rows(static_cast<std::size_t>(with.height()));
        for (int y = 0; y < with.height(); ++y) {
            for (int x = 0; x < with.width(); ++x) {
                const int step = std::abs(qGray(with.pixel(x, y)) - qGray(without.pixel(x, y)));
                columns[static_cast<std::size_t>(x)] += step;
                rows[static_cast<std::size_t>(y)] += step;
            }
        }
        const auto span = [](const std::vector<long>& profile) {
            const long most = *std::max_element(profile.begin(), profile.end());
            int first = -1;
            int last = -1;
            for (std::size_t index = 0; index < profile.size(); ++index) {
                if (profile[index] * 10 < most) continue;
                if (first < 0) first = static_cast<int>(index);
                last = static_cast<int>(index);
            }
            return std::pair{first, last};
        };
        const auto [left, right] = span(columns);
        const auto [top, bottom] = span(rows);
        return std::array<int, 4>{left, right, top, bottom};
    };
    const QImage background = draw(1, false, 0.25);
    const auto sharp = extent(draw(0, true, 0.25), background);
    const auto smeared = extent(draw(1, true, 0.25), background);
    // The pointer moves 1400 source px in 0.5 s: about 50 output px over a whole frame's shutter.
    const int sharpWidth = sharp[1] - sharp[0];
    const int smearWidth = smeared[1] - smeared[0];
    EXPECT_GT(smearWidth, sharpWidth + 35) << "smeared along its way";
    EXPECT_LT(smearWidth, sharpWidth + 75);
    EXPECT_NEAR(smeared[2], sharp[2], 3) << "and not across it";
    EXPECT_NEAR(smeared[3], sharp[3], 3);
    EXPECT_NEAR((smeared[0] + smeared[1]) / 2.0, (sharp[0] + sharp[1]) / 2.0, 6) << "centred on where it is";
    // At rest the cursor is as sharp as without blur.
    EXPECT_EQ(draw(1, true, 0.8), draw(0, true, 0.8));
}

}  // namespace
}  // namespace vantile
