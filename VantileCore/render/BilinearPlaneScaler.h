#pragma once

#include <cstdint>
#include <vector>

namespace vantile {

// One 8-bit plane scaled with a two-tap bilinear filter, pixel centres aligned, edges
// clamped. It serves the camera's factors (half size to several times enlarged) at a fraction
// of libyuv's cost there: libyuv steps through a row two pixels at a time, while this gathers
// eight neighbours with one byte shuffle from a table built once per size.
class BilinearPlaneScaler {
public:
    // Horizontal and vertical factors (destination / source) of at least one half; smaller
    // ones need a wider filter than two taps. Sizes are at least 1.
    static bool suits(int sourceWidth, int sourceHeight, int destinationWidth, int destinationHeight);

    void scale(const std::uint8_t* source, int sourceStride, int sourceWidth, int sourceHeight,
               std::uint8_t* destination, int destinationStride, int destinationWidth, int destinationHeight);

    // Row by row, for callers that need only some rows: `start` names the plane and the sizes
    // (and forgets rows filtered from an earlier plane), then `scaleRow` writes output row `y`
    // (destinationWidth bytes). Rows in increasing order reuse what the last one filtered.
    // The result equals `scale`'s, row for row.
    void start(const std::uint8_t* source, int sourceStride, int sourceWidth, int sourceHeight, int destinationWidth,
               int destinationHeight);
    void scaleRow(int y, std::uint8_t* destination);

    // Off: every pixel is computed one at a time (the reference for the vector code).
    void setUsesVectorCode(bool uses) { usesVectorCode_ = uses; }

    // Where output column or row `index` samples the source, in 1/128ths of a pixel: the
    // first of the two source pixels and the second one's weight (0-128).
    struct Tap {
        int first = 0;
        int weight = 0;
    };
    static Tap tap(int index, int sourceSize, int destinationSize);

private:
    // Eight output columns gathered from the sixteen source bytes starting at `base`.
    struct ColumnGroup {
        alignas(16) std::uint8_t firstBytes[16];
        alignas(16) std::uint8_t secondBytes[16];
        alignas(16) std::int16_t weights[8];
        int base = 0;
        bool gathered = false;  // all eight within reach of one 16-byte load
    };

    void prepareColumns(int sourceWidth, int destinationWidth);
    const std::uint8_t* sourceRow(int y) const { return source_ + static_cast<std::ptrdiff_t>(y) * sourceStride_; }
    void blend(const std::uint8_t* top, const std::uint8_t* bottom, int weight, std::uint8_t* to, int width) const;
    // Source row `y` filtered across, from the slot that holds it or into the one not holding `keep`.
    const std::uint8_t* filtered(int y, int keep);
    // `padded`: the row is followed by padding bytes that may be read.
    void filterRow(const std::uint8_t* source, bool padded, std::uint8_t* destination) const;

    bool usesVectorCode_ = true;
    int columnsSource_ = 0;
    int columnsDestination_ = 0;
    std::vector<Tap> columns_;
    std::vector<ColumnGroup> groups_;
    std::size_t vectorGroups_ = 0;        // leading groups the vector code takes on a source row
    std::size_t paddedVectorGroups_ = 0;  // ... on a padded intermediate row
    std::vector<std::uint8_t> rows_;  // intermediate rows, reused from frame to frame
    const std::uint8_t* source_ = nullptr;
    int sourceStride_ = 0;
    int sourceHeight_ = 0;
    int destinationHeight_ = 0;
    int held_[2] = {-1, -1};  // source rows the two filtered slots of rows_ hold when enlarging
};

}  // namespace vantile
