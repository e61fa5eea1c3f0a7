#pragma once

#include <QImage>

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

namespace libyuv {
struct YuvConstants;
}

namespace vantile {

// What RGB→YUV conversion for the encoder really produces (libyuv's fast path: BT.601
// coefficients, limited range, sRGB/BT.709 primaries and transfer), so the stream is
// tagged with exactly that and players undo it with the same matrix.
struct YuvTagging {
    AVColorSpace colorSpace = AVCOL_SPC_SMPTE170M;
    AVColorRange range = AVCOL_RANGE_MPEG;
    AVColorPrimaries primaries = AVCOL_PRI_BT709;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_BT709;
};

inline constexpr YuvTagging encoderYuvTagging{};

// Converts a 32-bit image (QImage::Format_RGB32 or ARGB32 kinds: B,G,R,A bytes) into the
// yuv420p planes of `frame`, which must have the image's even size. Alpha is ignored.
void convertImageToYuv420(const QImage& image, AVFrame& frame);
// Converts only `area` (widened to even coordinates, so each 2 × 2 chroma block is whole);
// the result there is exactly what the full conversion gives.
void convertImageToYuv420(const QImage& image, AVFrame& frame, const QRect& area);

// The libyuv matrix that turns `frame`'s YUV into RGB, honouring its colour tags (untagged
// frames are read as BT.601).
const libyuv::YuvConstants& yuvToRgbConstants(const AVFrame& frame);

// Converts a decoded frame into `image` (reallocated as Format_RGB32 of the frame's size
// when it does not fit), honouring the frame's own matrix and range tags.
void convertFrameToImage(const AVFrame& frame, QImage& image);

// The rounded mean of `count` 8-bit samples, indexed by their sum (up to 255 × count).
std::vector<std::uint8_t> averageTable(std::size_t count);

}  // namespace vantile
