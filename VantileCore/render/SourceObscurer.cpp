#include "render/SourceObscurer.h"

#include "render/ImageConversion.h"
#include "render/RenderError.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace vantile {

namespace {

// One plane of a picture: `step` interleaved 8-bit samples per pixel, each averaged on its own.
struct PlaneView {
    std::uint8_t* data = nullptr;
    std::ptrdiff_t linesize = 0;
    int width = 0;
    int height = 0;
    int step = 1;
    double scaleX = 1;  // plane pixels per recording pixel
    double scaleY = 1;

    std::uint8_t* at(int x, int y) const { return data + y * linesize + static_cast<std::ptrdiff_t>(x) * step; }
};

// A region's area in recording pixels, snapped outward to even pixels and kept inside the picture.
struct SnappedArea {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

SnappedArea snapped(const BlurRegion& region, double videoWidth, double videoHeight)
{
    const auto evenDown = [](double value) { return static_cast<int>(std::floor(value / 2)) * 2; };
    const auto evenUp = [](double value) { return static_cast<int>(std::ceil(value / 2)) * 2; };
    const int width = static_cast<int>(videoWidth);
    const int height = static_cast<int>(videoHeight);
    return {std::clamp(evenDown(region.x), 0, width), std::clamp(evenDown(region.y), 0, height),
            std::clamp(evenUp(region.x + region.width), 0, width),
            std::clamp(evenUp(region.y + region.height), 0, height)};
}

int toPlane(int recordingPixel, double scale, int limit)
{
    return std::clamp(static_cast<int>(std::lround(recordingPixel * scale)), 0, limit);
}

// Block edges along one axis, in plane pixels: every `block` recording pixels from `first`.
std::vector<int> blockEdges(int first, int last, int block, double scale, int limit)
{
    std::vector<int> edges;
    for (int edge = first; edge < last; edge += block) edges.push_back(toPlane(edge, scale, limit));
    edges.push_back(toPlane(last, scale, limit));
    return edges;
}

// Packed formats have at most four samples a pixel at 8 bits.
constexpr int largestStep = 4;

void pixelate(const PlaneView& plane, const SnappedArea& area, int block)
{
    const std::vector<int> columns = blockEdges(area.left, area.right, block, plane.scaleX, plane.width);
    const std::vector<int> rows = blockEdges(area.top, area.bottom, block, plane.scaleY, plane.height);
    const int step = plane.step;
    for (std::size_t row = 0; row + 1 < rows.size(); ++row) {
        for (std::size_t column = 0; column + 1 < columns.size(); ++column) {
            const int left = columns[column], right = columns[column + 1];
            const int top = rows[row], bottom = rows[row + 1];
            if (left >= right || top >= bottom) continue;
            const int samples = (right - left) * step;
            std::array<std::uint32_t, largestStep> sums{};
            for (int y = top; y < bottom; ++y) {
                const std::uint8_t* pixel = plane.at(left, y);
                if (step == 1) {
                    // The planes of planar formats, nearly every frame: no lanes to tell apart.
                    sums[0] = std::accumulate(pixel, pixel + samples, sums[0]);
                    continue;
                }
                for (int index = 0; index < samples; ++index) sums[static_cast<std::size_t>(index % step)] += pixel[index];
            }
            const auto count = static_cast<std::uint32_t>((right - left) * (bottom - top));
            std::array<std::uint8_t, largestStep> mean{};
            for (int lane = 0; lane < step; ++lane) {
                mean[static_cast<std::size_t>(lane)] =
                    static_cast<std::uint8_t>((sums[static_cast<std::size_t>(lane)] + count / 2) / count);
            }
            for (int y = top; y < bottom; ++y) {
                std::uint8_t* pixel = plane.at(left, y);
                if (step == 1) {
                    std::fill_n(pixel, samples, mean[0]);
                    continue;
                }
                for (int index = 0; index < samples; ++index) pixel[index] = mean[static_cast<std::size_t>(index % step)];
            }
        }
    }
}

// Three box passes each way come close to a Gaussian of sigma ≈ the radius. Each window is
// clamped to the area, so nothing outside the region leaks in and nothing of it leaks out;
// columns are summed row by row, so every pass reads memory in order.
void blur(const PlaneView& plane, const SnappedArea& area, int radius)
{
    const int left = toPlane(area.left, plane.scaleX, plane.width);
    const int right = toPlane(area.right, plane.scaleX, plane.width);
    const int top = toPlane(area.top, plane.scaleY, plane.height);
    const int bottom = toPlane(area.bottom, plane.scaleY, plane.height);
    if (left >= right || top >= bottom) return;
    const int radiusX = std::max(1, static_cast<int>(std::lround(radius * plane.scaleX)));
    const int radiusY = std::max(1, static_cast<int>(std::lround(radius * plane.scaleY)));
    const int width = right - left;
    const int height = bottom - top;
    const int step = plane.step;
    const int rowLength = width * step;
    const auto at = [rowLength](std::vector<std::uint16_t>& samples, int x, int y) -> std::uint16_t& {
        return samples[static_cast<std::size_t>(y * rowLength + x)];
    };
    std::vector<std::uint16_t> current(static_cast<std::size_t>(rowLength * height));
    std::vector<std::uint16_t> across(current.size());
    for (int y = 0; y < height; ++y) std::copy_n(plane.at(left, top + y), rowLength, &at(current, 0, y));
    std::vector<int> columnSums(static_cast<std::size_t>(rowLength));
    const int windowX = 2 * radiusX + 1;
    const int windowY = 2 * radiusY + 1;
    for (int pass = 0; pass < 3; ++pass) {
        for (int y = 0; y < height; ++y) {
            for (int lane = 0; lane < step; ++lane) {
                const auto sample = [&](int x) { return static_cast<int>(at(current, std::clamp(x, 0, width - 1) * step + lane, y)); };
                int sum = 0;
                for (int x = -radiusX; x <= radiusX; ++x) sum += sample(x);
                for (int x = 0; x < width; ++x) {
                    at(across, x * step + lane, y) = static_cast<std::uint16_t>((sum + windowX / 2) / windowX);
                    sum += sample(x + radiusX + 1) - sample(x - radiusX);
                }
            }
        }
        const bool last = pass == 2;
        std::fill(columnSums.begin(), columnSums.end(), 0);
        for (int y = -radiusY; y <= radiusY; ++y) {
            const int row = std::clamp(y, 0, height - 1);
            for (int x = 0; x < rowLength; ++x) columnSums[static_cast<std::size_t>(x)] += at(across, x, row);
        }
        for (int y = 0; y < height; ++y) {
            std::uint8_t* target = plane.at(left, top + y);
            const int entering = std::min(y + radiusY + 1, height - 1);
            const int leaving = std::max(y - radiusY, 0);
            for (int x = 0; x < rowLength; ++x) {
                int& sum = columnSums[static_cast<std::size_t>(x)];
                const auto value = static_cast<std::uint16_t>((sum + windowY / 2) / windowY);
                if (last) {
                    target[x] = static_cast<std::uint8_t>(value);
                } else {
                    at(current, x, y) = value;
                }
                sum += at(across, x, entering) - at(across, x, leaving);
            }
        }
    }
}

void obscure(const PlaneView& plane, const BlurRegion& region, double videoWidth, double videoHeight, int block)
{
    const SnappedArea area = snapped(region, videoWidth, videoHeight);
    if (region.style == BlurRegion::Style::blur) {
        blur(plane, area, block);
    } else {
        pixelate(plane, area, block);
    }
}

// The planes of an 8-bit planar, semi-planar or packed frame; empty for other formats.
std::vector<PlaneView> planesOf(AVFrame& frame, double videoWidth, double videoHeight)
{
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (!descriptor || (descriptor->flags & (AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL))) {
        return {};
    }
    std::vector<PlaneView> planes;
    for (int component = 0; component < descriptor->nb_components; ++component) {
        const AVComponentDescriptor& described = descriptor->comp[component];
        if (described.depth != 8 || described.shift != 0 || described.step > largestStep) return {};
        const bool subsampled = (component == 1 || component == 2) && !(descriptor->flags & AV_PIX_FMT_FLAG_RGB);
        const int shiftX = subsampled ? descriptor->log2_chroma_w : 0;
        const int shiftY = subsampled ? descriptor->log2_chroma_h : 0;
        if (std::any_of(planes.begin(), planes.end(),
                        [&](const PlaneView& plane) { return plane.data == frame.data[described.plane]; })) {
            continue;
        }
        PlaneView plane;
        plane.data = frame.data[described.plane];
        plane.linesize = frame.linesize[described.plane];
        plane.width = AV_CEIL_RSHIFT(frame.width, shiftX);
        plane.height = AV_CEIL_RSHIFT(frame.height, shiftY);
        plane.step = described.step;
        plane.scaleX = static_cast<double>(plane.width) / videoWidth;
        plane.scaleY = static_cast<double>(plane.height) / videoHeight;
        planes.push_back(plane);
    }
    return planes;
}

}  // namespace

SourceObscurer::SourceObscurer(std::vector<BlurRegion> regions, double videoWidth, double videoHeight)
    : regions_(std::move(regions)),
      videoWidth_(videoWidth),
      videoHeight_(videoHeight),
      blockSize_(blockSize(videoWidth, videoHeight))
{
}

int SourceObscurer::blockSize(double videoWidth, double videoHeight)
{
    const double shortSide = std::min(videoWidth, videoHeight);
    const int block = std::max(12, static_cast<int>(std::lround(shortSide / 40)));
    return (block + 1) / 2 * 2;
}

std::vector<std::size_t> SourceObscurer::activeAt(double time) const
{
    std::vector<std::size_t> active;
    for (std::size_t index = 0; index < regions_.size(); ++index) {
        if (regions_[index].isActiveAt(time)) active.push_back(index);
    }
    return active;
}

AVFrame& SourceObscurer::writableFrame(const AVFrame& source)
{
    for (FrameHandle& frame : frames_) {
        if (frame->format == source.format && frame->width == source.width && frame->height == source.height &&
            av_frame_is_writable(frame.get())) {
            return *frame;
        }
    }
    // Whoever still holds a reference to an earlier copy compares against its pixels.
    std::erase_if(frames_, [](const FrameHandle& frame) { return av_frame_is_writable(frame.get()); });
    frames_.push_back(allocateFrame(static_cast<AVPixelFormat>(source.format), source.width, source.height));
    return *frames_.back();
}

const AVFrame* SourceObscurer::obscured(const AVFrame* decoded, double time)
{
    if (!decoded || regions_.empty() || !(videoWidth_ > 0 && videoHeight_ > 0)) return decoded;
    std::vector<std::size_t> active = activeAt(time);
    if (active.empty()) return decoded;
    if (lastResult_ && lastSourcePixels_ == decoded->data[0] && lastSourcePts_ == decoded->pts &&
        lastActive_ == active) {
        return lastResult_;
    }
    lastResult_ = nullptr;
    AVFrame* result = nullptr;
    if (planesOf(const_cast<AVFrame&>(*decoded), videoWidth_, videoHeight_).empty()) {
        // A format without 8-bit samples: through RGB into yuv420p, which every path draws.
        convertFrameToImage(*decoded, converted_);
        if (decoded->width % 2 != 0 || decoded->height % 2 != 0) throw RenderError::pixelBufferCreationFailed();
        AVFrame probe{};
        probe.format = AV_PIX_FMT_YUV420P;
        probe.width = decoded->width;
        probe.height = decoded->height;
        result = &writableFrame(probe);
        convertImageToYuv420(converted_, *result);
        av_frame_copy_props(result, decoded);
        result->color_range = encoderYuvTagging.range;
        result->colorspace = encoderYuvTagging.colorSpace;
        result->color_primaries = encoderYuvTagging.primaries;
        result->color_trc = encoderYuvTagging.transfer;
    } else {
        result = &writableFrame(*decoded);
        if (av_frame_copy(result, decoded) < 0 || av_frame_copy_props(result, decoded) < 0) {
            throw RenderError::pixelBufferCreationFailed();
        }
    }
    for (const PlaneView& plane : planesOf(*result, videoWidth_, videoHeight_)) {
        for (std::size_t index : active) obscure(plane, regions_[index], videoWidth_, videoHeight_, blockSize_);
    }
    lastResult_ = result;
    lastSourcePixels_ = decoded->data[0];
    lastSourcePts_ = decoded->pts;
    lastActive_ = std::move(active);
    return result;
}

const QImage* SourceObscurer::obscured(const QImage* image, double time)
{
    if (!image || image->isNull() || regions_.empty() || !(videoWidth_ > 0 && videoHeight_ > 0)) return image;
    const std::vector<std::size_t> active = activeAt(time);
    if (active.empty()) return image;
    const bool fourBytes = image->depth() == 32;
    image_ = fourBytes ? image->copy() : image->convertToFormat(QImage::Format_RGB32);
    if (image_.isNull()) throw RenderError::pixelBufferCreationFailed();
    PlaneView plane{image_.bits(), image_.bytesPerLine(), image_.width(), image_.height(), 4,
                    static_cast<double>(image_.width()) / videoWidth_, static_cast<double>(image_.height()) / videoHeight_};
    for (std::size_t index : active) obscure(plane, regions_[index], videoWidth_, videoHeight_, blockSize_);
    return &image_;
}

}  // namespace vantile
