#include "engine/OutputTimeline.h"
#include "engine/TimelineEdits.h"
#include "render/RenderTestSupport.h"
#include "render/VideoFileWriter.h"
#include "support/ClockMovies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>

using namespace vantile;
using namespace vantile::test;
using vantile::testing::cameraLeft;
using vantile::testing::cameraRight;
using vantile::testing::clockColour;
using vantile::testing::frameFromColour;
namespace fs = std::filesystem;

namespace {

constexpr double frameSeconds = 1.0 / 30;
constexpr int outputWidth = 640;
constexpr int outputHeight = 360;

void writeCameraMovie(const fs::path& path, double duration)
{
    vantile::testing::writeCameraClockMovie(path, duration);
}

// A project over a screen that shows its own clock, exported without card, zoom or cursor.
RecordingProject cameraProject(double duration, double cameraStart)
{
    RecordingProject project = makeProject(320, 180, duration);
    project.renderSettings.backgroundEnabled = false;
    project.renderSettings.showCursor = false;
    project.renderSettings.showClickRipple = false;
    project.focusSegments = {{0, duration, FocusSegment::SegmentType::overview, 160, 90, 1}};
    project.camera = CameraRecording{"camera.mov", 160, 120, 30, cameraStart};
    return project;
}

void writeScreenMovie(const fs::path& path, double duration)
{
    vantile::testing::writeScreenClockMovie(path, 320, 180, duration);
}

fs::path exportOf(const fs::path& directory, const RecordingProject& project, const std::string& name)
{
    const fs::path output = directory / name;
    VideoFileWriter::writeRenderedDemo(makeJob(directory, project, name));
    return output;
}

std::string bytesOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// The bubble's square at the default size (a quarter of 360) and margin (4% of 360, rounded).
QRect expectedBubble(CameraPosition position)
{
    switch (position) {
    case CameraPosition::bottomRight: return {536, 256, 90, 90};
    case CameraPosition::bottomLeft: return {14, 256, 90, 90};
    case CameraPosition::topRight: return {536, 14, 90, 90};
    case CameraPosition::topLeft: return {14, 14, 90, 90};
    case CameraPosition::custom: break;
    }
    return {};
}

}  // namespace

TEST(CameraBubbleExport, SitsAtEachPlaceInItsShapeWithShadowAndMirrorAndHiddenLeavesTheMovieAsWithoutCamera)
{
    TemporaryDirectory directory;
    writeScreenMovie(directory / "raw.mov", 0.5);
    writeCameraMovie(directory / "camera.mov", 0.5);
    const RecordingProject base = cameraProject(0.5, 0);
    const double time = 0.2;  // frame 6 of both movies
    const QColor screen = clockColour(6, 60);
    const QColor camera = clockColour(6, 200);

    for (const CameraPosition position : cameraPositionTexts.allCases()) {
        if (position == CameraPosition::custom) continue;
        SCOPED_TRACE(std::string(cameraPositionTexts.text(position)));
        RecordingProject project = base;
        project.renderSettings.cameraPosition = position;
        const QImage frame = decodeFrame(exportOf(directory.path(), project, "placed.mp4"), time);
        ASSERT_FALSE(frame.isNull());
        const QRect bubble = expectedBubble(position);
        // The camera's clock in the bubble's upper half, the screen just outside it.
        EXPECT_TRUE(near(frame.pixelColor(bubble.center().x(), bubble.top() + 22), camera, 12))
            << describe(frame.pixelColor(bubble.center().x(), bubble.top() + 22));
        const int outsideX = bubble.left() > 320 ? bubble.left() - 20 : bubble.right() + 20;
        EXPECT_TRUE(near(frame.pixelColor(outsideX, bubble.top() + 22), screen, 12));
        // A circle leaves its bounding box's corners to what lies beneath.
        EXPECT_TRUE(near(frame.pixelColor(bubble.left() + 3, bubble.top() + 3), screen, 12))
            << describe(frame.pixelColor(bubble.left() + 3, bubble.top() + 3));
        // Mirrored: the camera's right half on the bubble's left.
        EXPECT_TRUE(near(frame.pixelColor(bubble.left() + 30, bubble.top() + 64), cameraRight, 16))
            << describe(frame.pixelColor(bubble.left() + 30, bubble.top() + 64));
        EXPECT_TRUE(near(frame.pixelColor(bubble.left() + 60, bubble.top() + 64), cameraLeft, 16));
        // The shadow darkens what lies just below the bubble.
        const QColor below = frame.pixelColor(bubble.center().x(), bubble.bottom() + 4);
        EXPECT_LT(below.red() + below.green() + below.blue(), screen.red() + screen.green() + screen.blue() - 12)
            << describe(below);
    }

    // A square, unmirrored and without shadow, centred where the user dragged it, at the largest size.
    RecordingProject custom = base;
    custom.renderSettings.cameraPosition = CameraPosition::custom;
    custom.renderSettings.cameraCenterX = 0.25;
    custom.renderSettings.cameraCenterY = 0.5;
    custom.renderSettings.cameraSize = 0.5;
    custom.renderSettings.cameraShape = CameraShape::square;
    custom.renderSettings.cameraMirror = false;
    custom.renderSettings.cameraShadow = false;
    const QImage square = decodeFrame(exportOf(directory.path(), custom, "custom.mp4"), time);
    ASSERT_FALSE(square.isNull());
    const QRect bubble(70, 90, 180, 180);
    EXPECT_TRUE(near(square.pixelColor(bubble.left() + 3, bubble.top() + 3), camera, 16))
        << describe(square.pixelColor(bubble.left() + 3, bubble.top() + 3));
    EXPECT_TRUE(near(square.pixelColor(bubble.left() + 40, bubble.bottom() - 30), cameraLeft, 16));
    EXPECT_TRUE(near(square.pixelColor(bubble.right() - 40, bubble.bottom() - 30), cameraRight, 16));
    EXPECT_TRUE(near(square.pixelColor(bubble.center().x(), bubble.bottom() + 5), screen, 8))
        << describe(square.pixelColor(bubble.center().x(), bubble.bottom() + 5));
    EXPECT_TRUE(near(square.pixelColor(bubble.left() - 6, bubble.top() + 20), screen, 8))
        << describe(square.pixelColor(bubble.left() - 6, bubble.top() + 20));

    // Hidden, or without a camera, the export is byte for byte what it was before cameras.
    RecordingProject hidden = base;
    hidden.renderSettings.cameraVisible = false;
    RecordingProject without = base;
    without.camera.reset();
    const std::string hiddenBytes = bytesOf(exportOf(directory.path(), hidden, "hidden.mp4"));
    EXPECT_FALSE(hiddenBytes.empty());
    EXPECT_TRUE(hiddenBytes == bytesOf(exportOf(directory.path(), without, "without.mp4")));
    // A camera movie that is gone leaves no bubble either, and the export goes on.
    fs::remove(directory / "camera.mov");
    EXPECT_TRUE(hiddenBytes == bytesOf(exportOf(directory.path(), base, "gone.mp4")));
}

TEST(CameraBubbleExport, WithATrimAndTwoCutsTheBubbleShowsTheCameraFrameOfTheScreensRecordingTime)
{
    TemporaryDirectory directory;
    writeScreenMovie(directory / "raw.mov", 4);
    // The camera starts 0.21 s into the recording (between the screen's frames 6 and 7) and
    // stops 3.5 s later, before the screen does.
    writeCameraMovie(directory / "camera.mov", 3.5);
    RecordingProject project = cameraProject(4, 0.21);
    project.renderSettings.cameraMirror = false;
    project = TimelineEdits::withTrim(project, {0.1, 4});
    project = TimelineEdits::withCut(project, {1, 1.5});
    project = TimelineEdits::withCut(project, {2.2, 2.6});
    const OutputTimeline timeline(project);
    const fs::path output = exportOf(directory.path(), project, "edited.mp4");

    const CommandResult decoded =
        runCommand({"ffmpeg", "-v", "error", "-i", output.string(), "-f", "rawvideo", "-pix_fmt", "rgb24", "-"});
    const std::size_t frameBytes = static_cast<std::size_t>(outputWidth) * outputHeight * 3;
    const std::size_t frames = decoded.standardOutput.size() / frameBytes;
    ASSERT_NEAR(static_cast<double>(frames), timeline.duration() * 30, 1);
    const QRect bubble = expectedBubble(CameraPosition::bottomRight);
    int withBubble = 0;
    int withoutBubble = 0;
    for (std::size_t index = 0; index < frames; ++index) {
        const auto* pixels = reinterpret_cast<const std::uint8_t*>(decoded.standardOutput.data()) + index * frameBytes;
        const auto colourAt = [&](int x, int y) {
            const std::uint8_t* rgb = pixels + (static_cast<std::size_t>(y) * outputWidth + x) * 3;
            return QColor(rgb[0], rgb[1], rgb[2]);
        };
        const double recordingTime = timeline.recordingTime(static_cast<double>(index) * frameSeconds);
        const int screenFrame = frameFromColour(colourAt(40, 40));
        EXPECT_NEAR(screenFrame, recordingTime * 30, 0.51) << "output frame " << index;
        const QColor inBubble = colourAt(bubble.center().x(), bubble.top() + 22);
        if (recordingTime < 0.21 || recordingTime >= 3.71) {
            // Before the camera's first frame and after its last, the screen shows where the bubble is.
            EXPECT_LT(inBubble.blue(), 120) << "output frame " << index << " " << describe(inBubble);
            ++withoutBubble;
            continue;
        }
        ASSERT_GT(inBubble.blue(), 150) << "output frame " << index << " " << describe(inBubble);
        // Lips in sync: the camera frame taken nearest the moment of the screen frame shown.
        // Its last frame stays until the camera movie's end.
        EXPECT_EQ(frameFromColour(inBubble), std::min(screenFrame - 6, 104)) << "output frame " << index;
        ++withBubble;
    }
    EXPECT_GT(withBubble, 60);
    EXPECT_GE(withoutBubble, 8 + 4);
}
