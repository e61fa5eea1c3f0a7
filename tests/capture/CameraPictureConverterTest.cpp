#include "capture/camera/CameraPictureConverter.h"

#include "support/RunCommand.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace vantile {
namespace {

using Format = CameraPictureConverter::Format;

// Pure red in BT.601 limited range, what the recorded movie is tagged with.
constexpr int redLuma = 81, redBlue = 90, redRed = 240;

void expectEverywhere(const PlanarFrame& frame, int luma, int blue, int red, int tolerance)
{
    for (const std::size_t index : {std::size_t(0), frame.luma.size() / 2, frame.luma.size() - 1})
        EXPECT_NEAR(frame.luma[index], luma, tolerance) << index;
    for (const std::size_t index : {std::size_t(0), frame.blueDifference.size() - 1}) {
        EXPECT_NEAR(frame.blueDifference[index], blue, tolerance) << index;
        EXPECT_NEAR(frame.redDifference[index], red, tolerance) << index;
    }
}

TEST(CameraPictureConverter, RecordedSizeFitsInto720pEvenAndKeepsTheShape)
{
    EXPECT_EQ(CameraPictureConverter::recordedSize({640, 480}), (CameraSize{640, 480}));
    EXPECT_EQ(CameraPictureConverter::recordedSize({1920, 1080}), (CameraSize{1280, 720}));
    EXPECT_EQ(CameraPictureConverter::recordedSize({1440, 1080}), (CameraSize{960, 720}));
    EXPECT_EQ(CameraPictureConverter::recordedSize({321, 241}), (CameraSize{320, 240}));
}

TEST(CameraPictureConverter, EachCameraFormatLandsInTheRightPlanesAtTheRecordedSize)
{
    const int width = 64, height = 32;
    // Packed 4:2:2: YUY2 is Y0 U Y1 V, UYVY is U Y0 V Y1.
    std::vector<std::uint8_t> yuy2, uyvy;
    for (int pair = 0; pair < width / 2 * height; ++pair) {
        yuy2.insert(yuy2.end(), {redLuma, redBlue, redLuma, redRed});
        uyvy.insert(uyvy.end(), {redBlue, redLuma, redRed, redLuma});
    }
    // NV12: a luma plane, then blue and red interleaved; I420: three planes.
    std::vector<std::uint8_t> nv12(width * height, redLuma), i420(width * height, redLuma);
    for (int sample = 0; sample < width / 2 * height / 2; ++sample) nv12.insert(nv12.end(), {redBlue, redRed});
    i420.insert(i420.end(), width / 2 * height / 2, redBlue);
    i420.insert(i420.end(), width / 2 * height / 2, redRed);

    const struct {
        Format format;
        const std::vector<std::uint8_t>& data;
        int stride;
    } cases[] = {{Format::yuy2, yuy2, width * 2}, {Format::uyvy, uyvy, width * 2}, {Format::nv12, nv12, width},
                 {Format::i420, i420, width}};
    for (const auto& example : cases) {
        CameraPictureConverter converter(example.format, {width, height});
        const std::uint8_t* planes[3] = {example.data.data(), nullptr, nullptr};
        const int strides[3] = {example.stride, 0, 0};
        PlanarFrame frame;
        ASSERT_TRUE(converter.convert(planes, strides, example.data.size(), frame)) << int(example.format);
        EXPECT_EQ(frame.width, width);
        EXPECT_EQ(frame.height, height);
        expectEverywhere(frame, redLuma, redBlue, redRed, 0);
        // A buffer shorter than the picture is refused, never read past.
        EXPECT_FALSE(converter.convert(planes, strides, example.data.size() / 2, frame)) << int(example.format);
    }
}

TEST(CameraPictureConverter, MjpegIsDecodedIntoLimitedRangeAndLargePicturesAreScaledTo720p)
{
    const std::string jpeg = vantile::testing::commandOutput(
        "ffmpeg -v error -f lavfi -i color=c=red:s=1920x1080 -frames:v 1 -q:v 2 -f mjpeg - 2>/dev/null");
    ASSERT_GT(jpeg.size(), 100u);
    CameraPictureConverter converter(Format::mjpeg, {1920, 1080});
    EXPECT_EQ(converter.recordedSize(), (CameraSize{1280, 720}));
    const std::uint8_t* planes[3] = {reinterpret_cast<const std::uint8_t*>(jpeg.data()), nullptr, nullptr};
    const int strides[3] = {0, 0, 0};
    PlanarFrame frame;
    ASSERT_TRUE(converter.convert(planes, strides, jpeg.size(), frame));
    EXPECT_EQ(frame.width, 1280);
    EXPECT_EQ(frame.height, 720);
    // Full-range JPEG red would read 76/85/255: the picture must be converted, not copied.
    expectEverywhere(frame, redLuma, redBlue, redRed, 3);
    const std::string garbage = "not a jpeg at all";
    const std::uint8_t* broken[3] = {reinterpret_cast<const std::uint8_t*>(garbage.data()), nullptr, nullptr};
    EXPECT_FALSE(converter.convert(broken, strides, garbage.size(), frame));
}

}  // namespace
}  // namespace vantile
