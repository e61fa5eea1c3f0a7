#include "render/BilinearPlaneScaler.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vantile {
namespace {

TEST(BilinearPlaneScalerTest, VectorCodeMatchesPixelByPixelForEveryCameraFactor)
{
    std::mt19937 random(3);
    std::uniform_int_distribution<int> size(1, 300);
    std::uniform_real_distribution<double> factor(0.5, 4);
    BilinearPlaneScaler fast;  // reused across sizes, as the export reuses it
    for (int trial = 0; trial < 200; ++trial) {
        const int width = size(random);
        const int height = size(random) / 2 + 1;
        const double scale = factor(random);
        const int outputWidth = std::max(1, static_cast<int>(width * scale));
        const int outputHeight = std::max(1, static_cast<int>(height * (trial % 3 ? scale : 1 / scale)));
        if (!BilinearPlaneScaler::suits(width, height, outputWidth, outputHeight)) continue;
        const int stride = width + trial % 5;
        std::vector<std::uint8_t> source(static_cast<std::size_t>(stride * height));
        for (auto& sample : source) sample = static_cast<std::uint8_t>(random());
        std::vector<std::uint8_t> vector(static_cast<std::size_t>(outputWidth * outputHeight), 1);
        std::vector<std::uint8_t> scalar(vector.size(), 2);
        fast.scale(source.data(), stride, width, height, vector.data(), outputWidth, outputWidth, outputHeight);
        BilinearPlaneScaler slow;
        slow.setUsesVectorCode(false);
        slow.scale(source.data(), stride, width, height, scalar.data(), outputWidth, outputWidth, outputHeight);
        ASSERT_EQ(vector, scalar) << "trial " << trial << ": " << width << "x" << height << " to " << outputWidth
                                  << "x" << outputHeight;
    }
}

}  // namespace
}  // namespace vantile
