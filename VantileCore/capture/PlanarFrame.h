#pragma once

#include <cstdint>
#include <vector>

namespace vantile {

// A YUV 4:2:0 picture in three planes, the encoder's input format.
struct PlanarFrame {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> luma;
    std::vector<std::uint8_t> blueDifference;
    std::vector<std::uint8_t> redDifference;

    PlanarFrame() = default;
    PlanarFrame(int frameWidth, int frameHeight)
        : width(frameWidth),
          height(frameHeight),
          luma(static_cast<std::size_t>(frameWidth) * static_cast<std::size_t>(frameHeight)),
          blueDifference(static_cast<std::size_t>(chromaWidth()) * static_cast<std::size_t>(chromaHeight()), 128),
          redDifference(blueDifference.size(), 128)
    {
    }

    int lumaStride() const { return width; }
    int chromaWidth() const { return (width + 1) / 2; }
    int chromaHeight() const { return (height + 1) / 2; }
    int chromaStride() const { return chromaWidth(); }
};

}  // namespace vantile
