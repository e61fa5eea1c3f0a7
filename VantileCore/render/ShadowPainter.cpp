#include "render/ShadowPainter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace vantile::ShadowPainter {

namespace {

// Box widths whose three passes match a Gaussian of `sigma` (Kovesi's construction).
std::array<int, 3> boxSizes(double sigma)
{
    constexpr int passes = 3;
    const double ideal = std::sqrt(12 * sigma * sigma / passes + 1);
    int lower = static_cast<int>(std::floor(ideal));
    if (lower % 2 == 0) --lower;
    const int upper = lower + 2;
    const double idealCount =
        (12 * sigma * sigma - passes * lower * lower - 4 * passes * lower - 3 * passes) / (-4.0 * lower - 4);
    const auto count = static_cast<int>(std::lround(idealCount));
    std::array<int, 3> sizes{};
    for (int i = 0; i < passes; ++i) sizes[static_cast<std::size_t>(i)] = std::max(i < count ? lower : upper, 1);
    return sizes;
}

// One box pass along a line with zero beyond the ends.
void boxLine(const float* source, float* target, int length, std::ptrdiff_t stride, int radius)
{
    const float scale = 1.0F / static_cast<float>(2 * radius + 1);
    double sum = 0;
    for (int i = 0; i <= std::min(radius, length - 1); ++i) sum += source[i * stride];
    for (int i = 0; i < length; ++i) {
        target[i * stride] = static_cast<float>(sum) * scale;
        const int entering = i + radius + 1;
        const int leaving = i - radius;
        if (entering < length) sum += source[entering * stride];
        if (leaving >= 0) sum -= source[leaving * stride];
    }
}

// A level in [0, 1] as 0-255, rounded to nearest without std::lround's library call: the
// cursor's shadow is made again for every frame.
int roundLevel(double level)
{
    return static_cast<int>(level * 255 + 0.5);
}

}  // namespace

void blurAlphaPlane(float* plane, int width, int height, double sigma)
{
    if (sigma <= 0 || width <= 0 || height <= 0) return;
    std::vector<float> scratch(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (const int size : boxSizes(sigma)) {
        const int radius = (size - 1) / 2;
        for (int y = 0; y < height; ++y) {
            boxLine(plane + static_cast<std::ptrdiff_t>(y) * width, scratch.data() + static_cast<std::ptrdiff_t>(y) * width,
                    width, 1, radius);
        }
        for (int x = 0; x < width; ++x) boxLine(scratch.data() + x, plane + x, height, width, radius);
    }
}

QImage shadowImage(const QImage& shapeAlpha, const QColor& color, double blur)
{
    const int width = shapeAlpha.width();
    const int height = shapeAlpha.height();
    std::vector<float> plane(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(shapeAlpha.constScanLine(y));
        for (int x = 0; x < width; ++x) plane[static_cast<std::size_t>(y) * width + x] = qAlpha(line[x]) / 255.0F;
    }
    blurAlphaPlane(plane.data(), width, height, blur / 2);
    QImage shadow(width, height, QImage::Format_ARGB32_Premultiplied);
    const double red = color.redF();
    const double green = color.greenF();
    const double blue = color.blueF();
    const double alpha = color.alphaF();
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(shadow.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const double a = std::clamp(static_cast<double>(plane[static_cast<std::size_t>(y) * width + x]), 0.0, 1.0) *
                             alpha;
            line[x] = qRgba(roundLevel(red * a), roundLevel(green * a), roundLevel(blue * a), roundLevel(a));
        }
    }
    return shadow;
}

}  // namespace vantile::ShadowPainter
