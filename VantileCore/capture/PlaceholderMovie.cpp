#include "capture/PlaceholderMovie.h"

#include "capture/PlanarFrame.h"
#include "capture/RawMovieWriter.h"

#include <libyuv/convert.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace vantile::PlaceholderMovie {

namespace {

struct Color {
    double red, green, blue;
};

constexpr Color background{16, 24, 39};
constexpr Color panel{37, 48, 68};
constexpr Color disc{96, 165, 250};
constexpr double discOpacity = 0.25;
constexpr double panelInset = 48;
constexpr double panelRadius = 24;

bool insideRoundedRect(double x, double y, double left, double top, double right, double bottom, double radius)
{
    if (x < left || x >= right || y < top || y >= bottom) return false;
    const double cornerX = std::clamp(x, left + radius, right - radius);
    const double cornerY = std::clamp(y, top + radius, bottom - radius);
    return std::hypot(x - cornerX, y - cornerY) <= radius;
}

void put(std::uint8_t* pixel, const Color& color)
{
    // libyuv's ARGB is B, G, R, A in memory.
    pixel[0] = static_cast<std::uint8_t>(std::lround(color.blue));
    pixel[1] = static_cast<std::uint8_t>(std::lround(color.green));
    pixel[2] = static_cast<std::uint8_t>(std::lround(color.red));
    pixel[3] = 255;
}

Color blend(const Color& under, const Color& over, double opacity)
{
    return {under.red + (over.red - under.red) * opacity, under.green + (over.green - under.green) * opacity,
            under.blue + (over.blue - under.blue) * opacity};
}

std::size_t offset(int x, int y, int width)
{
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) * 4;
}

std::vector<std::uint8_t> drawBackground(int width, int height)
{
    std::vector<std::uint8_t> argb(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            put(&argb[offset(x, y, width)], insideRoundedRect(x + 0.5, y + 0.5, panelInset, panelInset,
                                                              width - panelInset, height - panelInset, panelRadius)
                                                ? panel
                                                : background);
    return argb;
}

// Only the disc changes from frame to frame, so each frame repaints just its square.
void drawDisc(std::vector<std::uint8_t>& argb, const std::vector<std::uint8_t>& base, int width, int height,
              double time)
{
    const double radius = 40 + 12 * std::sin(3 * time);
    const double centreX = width / 2.0;
    const double centreY = height / 2.0;
    const double reach = 40 + 12 + 1;  // the largest radius and a pixel of margin
    const int left = std::max(0, static_cast<int>(centreX - reach));
    const int right = std::min(width, static_cast<int>(centreX + reach));
    const int top = std::max(0, static_cast<int>(centreY - reach));
    const int bottom = std::min(height, static_cast<int>(centreY + reach));
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            const std::size_t at = offset(x, y, width);
            std::copy_n(&base[at], 4, &argb[at]);
            if (std::hypot(x + 0.5 - centreX, y + 0.5 - centreY) > radius) continue;
            const Color under{static_cast<double>(base[at + 2]), static_cast<double>(base[at + 1]),
                              static_cast<double>(base[at])};
            put(&argb[at], blend(under, disc, discOpacity));
        }
    }
}

}  // namespace

void write(const std::filesystem::path& url, int width, int height, double duration, int fps)
{
    RawMovieWriter writer(url, width, height, 0, {.fps = fps});
    const std::vector<std::uint8_t> base = drawBackground(width, height);
    std::vector<std::uint8_t> argb = base;
    PlanarFrame frame(width, height);
    const auto frameCount = std::max<std::int64_t>(1, std::llround(duration * fps));
    for (std::int64_t index = 0; index < frameCount; ++index) {
        drawDisc(argb, base, width, height, static_cast<double>(index) / fps);
        libyuv::ARGBToI420(argb.data(), width * 4, frame.luma.data(), frame.lumaStride(), frame.blueDifference.data(),
                           frame.chromaStride(), frame.redDifference.data(), frame.chromaStride(), width, height);
        writer.writeVideo(frame, index);
    }
    writer.finish();
}

}  // namespace vantile::PlaceholderMovie
