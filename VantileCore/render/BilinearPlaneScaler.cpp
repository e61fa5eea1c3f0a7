#include "render/BilinearPlaneScaler.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vantile {

namespace {

// Bytes after an intermediate row, so every group may load 16 bytes from it.
constexpr int rowPadding = 16;

std::uint8_t mix(int first, int second, int weight)
{
    return static_cast<std::uint8_t>(first + (((second - first) * weight + 64) >> 7));
}

void blendRowsScalar(const std::uint8_t* top, const std::uint8_t* bottom, int weight, std::uint8_t* destination,
                     int from, int width)
{
    for (int x = from; x < width; ++x) destination[x] = mix(top[x], bottom[x], weight);
}

#if defined(__x86_64__)

bool hasSsse3()
{
    static const bool has = __builtin_cpu_supports("ssse3") != 0;
    return has;
}

// Weights 1-127: each pair of rows is interleaved and weighed by one multiply-add.
__attribute__((target("ssse3"))) void blendRowsSsse3(const std::uint8_t* top, const std::uint8_t* bottom, int weight,
                                                      std::uint8_t* destination, int width)
{
    const __m128i weights = _mm_set1_epi16(static_cast<short>(((weight << 8) | (128 - weight)) & 0xFFFF));
    const __m128i half = _mm_set1_epi16(64);
    int x = 0;
    for (; x + 16 <= width; x += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(top + x));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bottom + x));
        const __m128i low = _mm_srli_epi16(_mm_add_epi16(_mm_maddubs_epi16(_mm_unpacklo_epi8(a, b), weights), half), 7);
        const __m128i high = _mm_srli_epi16(_mm_add_epi16(_mm_maddubs_epi16(_mm_unpackhi_epi8(a, b), weights), half), 7);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + x), _mm_packus_epi16(low, high));
    }
    blendRowsScalar(top, bottom, weight, destination, x, width);
}

bool hasAvx2()
{
    static const bool has = __builtin_cpu_supports("avx2") != 0;
    return has;
}

// The same 32 bytes at a time; lane-wise unpacking and packing keep the bytes in order.
__attribute__((target("avx2"))) void blendRowsAvx2(const std::uint8_t* top, const std::uint8_t* bottom, int weight,
                                                    std::uint8_t* destination, int width)
{
    const __m256i weights = _mm256_set1_epi16(static_cast<short>(((weight << 8) | (128 - weight)) & 0xFFFF));
    const __m256i half = _mm256_set1_epi16(64);
    int x = 0;
    for (; x + 32 <= width; x += 32) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(top + x));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bottom + x));
        const __m256i low =
            _mm256_srli_epi16(_mm256_add_epi16(_mm256_maddubs_epi16(_mm256_unpacklo_epi8(a, b), weights), half), 7);
        const __m256i high =
            _mm256_srli_epi16(_mm256_add_epi16(_mm256_maddubs_epi16(_mm256_unpackhi_epi8(a, b), weights), half), 7);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + x), _mm256_packus_epi16(low, high));
    }
    blendRowsSsse3(top + x, bottom + x, weight, destination + x, width - x);
}

#endif

}  // namespace

bool BilinearPlaneScaler::suits(int sourceWidth, int sourceHeight, int destinationWidth, int destinationHeight)
{
    return sourceWidth >= 1 && sourceHeight >= 1 && destinationWidth >= 1 && destinationHeight >= 1 &&
           2 * destinationWidth >= sourceWidth && 2 * destinationHeight >= sourceHeight;
}

BilinearPlaneScaler::Tap BilinearPlaneScaler::tap(int index, int sourceSize, int destinationSize)
{
    // The output pixel's centre mapped onto the source, in 1/128ths, less half a pixel.
    const auto numerator = static_cast<std::int64_t>(2 * index + 1) * sourceSize * 64 + destinationSize / 2;
    const auto position = std::max<std::int64_t>(0, numerator / destinationSize - 64);
    Tap tap{static_cast<int>(position >> 7), static_cast<int>(position & 127)};
    if (tap.first >= sourceSize - 1) {
        // Past the last centre: the last pixel, as the second of a pair so both taps stay inside.
        tap.first = std::max(sourceSize - 2, 0);
        tap.weight = sourceSize >= 2 ? 128 : 0;
    }
    return tap;
}

void BilinearPlaneScaler::prepareColumns(int sourceWidth, int destinationWidth)
{
    if (columnsSource_ == sourceWidth && columnsDestination_ == destinationWidth) return;
    columnsSource_ = sourceWidth;
    columnsDestination_ = destinationWidth;
    columns_.resize(static_cast<std::size_t>(destinationWidth));
    for (int x = 0; x < destinationWidth; ++x) columns_[static_cast<std::size_t>(x)] = tap(x, sourceWidth, destinationWidth);
    groups_.assign(static_cast<std::size_t>((destinationWidth + 7) / 8), ColumnGroup{});
    for (std::size_t group = 0; group < groups_.size(); ++group) {
        ColumnGroup& columns = groups_[group];
        const std::size_t first = group * 8;
        columns.base = columns_[first].first;
        const std::size_t count = std::min<std::size_t>(8, columns_.size() - first);
        columns.gathered = count == 8 && columns_[first + 7].first + 1 - columns.base <= 15;
        if (!columns.gathered) continue;
        for (std::size_t i = 0; i < 8; ++i) {
            const int offset = columns_[first + i].first - columns.base;
            // The high byte of each 16-bit lane is zero (a shuffle index with its top bit set).
            columns.firstBytes[2 * i] = static_cast<std::uint8_t>(offset);
            columns.firstBytes[2 * i + 1] = 0x80;
            columns.secondBytes[2 * i] = static_cast<std::uint8_t>(offset + 1);
            columns.secondBytes[2 * i + 1] = 0x80;
            columns.weights[i] = static_cast<std::int16_t>(columns_[first + i].weight);
        }
    }
    // Groups are in source order: the leading ones the vector code may take, reading rows
    // of the source's width, or padded ones.
    const auto leading = [&](int readable) {
        std::size_t count = 0;
        while (count < groups_.size() && groups_[count].gathered && groups_[count].base + 16 <= readable) ++count;
        return count;
    };
    vectorGroups_ = leading(sourceWidth);
    paddedVectorGroups_ = leading(sourceWidth + rowPadding);
}

namespace {

// Columns computed one at a time; the second tap is read only when it weighs.
void filterColumns(const std::uint8_t* source, std::uint8_t* destination,
                   const std::vector<BilinearPlaneScaler::Tap>& columns, std::size_t from, std::size_t to)
{
    for (std::size_t x = from; x < to; ++x) {
        const BilinearPlaneScaler::Tap& column = columns[x];
        const int first = source[column.first];
        destination[x] = column.weight ? mix(first, source[column.first + 1], column.weight) : static_cast<std::uint8_t>(first);
    }
}

#if defined(__x86_64__)

// The first `count` groups are gathered and within reach of the row's readable bytes.
template <typename Group>
__attribute__((target("ssse3"))) void filterGroupsSsse3(const std::uint8_t* source, std::uint8_t* destination,
                                                         const Group* groups, std::size_t count)
{
    const __m128i half = _mm_set1_epi16(64);
    for (std::size_t group = 0; group < count; ++group) {
        const Group& columns = groups[group];
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + columns.base));
        const __m128i first =
            _mm_shuffle_epi8(bytes, _mm_load_si128(reinterpret_cast<const __m128i*>(columns.firstBytes)));
        const __m128i second =
            _mm_shuffle_epi8(bytes, _mm_load_si128(reinterpret_cast<const __m128i*>(columns.secondBytes)));
        const __m128i weights = _mm_load_si128(reinterpret_cast<const __m128i*>(columns.weights));
        const __m128i step = _mm_mullo_epi16(_mm_sub_epi16(second, first), weights);
        const __m128i mixed = _mm_add_epi16(first, _mm_srai_epi16(_mm_add_epi16(step, half), 7));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(destination + group * 8), _mm_packus_epi16(mixed, mixed));
    }
}

// Two groups at a time, one in each 128-bit lane.
template <typename Group>
__attribute__((target("avx2"))) void filterGroupsAvx2(const std::uint8_t* source, std::uint8_t* destination,
                                                       const Group* groups, std::size_t count)
{
    const __m256i half = _mm256_set1_epi16(64);
    std::size_t group = 0;
    for (; group + 2 <= count; group += 2) {
        const Group& left = groups[group];
        const Group& right = groups[group + 1];
        const auto bytes = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(source + right.base),
                                               reinterpret_cast<const __m128i*>(source + left.base));
        const auto firstBytes = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(right.firstBytes),
                                                    reinterpret_cast<const __m128i*>(left.firstBytes));
        const auto secondBytes = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(right.secondBytes),
                                                     reinterpret_cast<const __m128i*>(left.secondBytes));
        const auto weights = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(right.weights),
                                                 reinterpret_cast<const __m128i*>(left.weights));
        const __m256i first = _mm256_shuffle_epi8(bytes, firstBytes);
        const __m256i second = _mm256_shuffle_epi8(bytes, secondBytes);
        const __m256i step = _mm256_mullo_epi16(_mm256_sub_epi16(second, first), weights);
        const __m256i mixed = _mm256_add_epi16(first, _mm256_srai_epi16(_mm256_add_epi16(step, half), 7));
        // Each lane packs its eight results into its low half; gather both halves.
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(mixed, mixed), 0b1000);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + group * 8), _mm256_castsi256_si128(packed));
    }
    filterGroupsSsse3(source, destination + group * 8, groups + group, count - group);
}

#endif

}  // namespace

void BilinearPlaneScaler::filterRow(const std::uint8_t* source, bool padded, std::uint8_t* destination) const
{
    if (columnsSource_ == columnsDestination_) {
        std::memcpy(destination, source, static_cast<std::size_t>(columnsDestination_));
        return;
    }
    std::size_t vectorGroups = 0;
#if defined(__x86_64__)
    if (usesVectorCode_ && hasSsse3()) {
        vectorGroups = padded ? paddedVectorGroups_ : vectorGroups_;
        if (hasAvx2()) {
            filterGroupsAvx2(source, destination, groups_.data(), vectorGroups);
        } else {
            filterGroupsSsse3(source, destination, groups_.data(), vectorGroups);
        }
    }
#endif
    (void)padded;
    filterColumns(source, destination, columns_, vectorGroups * 8, columns_.size());
}

void BilinearPlaneScaler::blend(const std::uint8_t* top, const std::uint8_t* bottom, int weight, std::uint8_t* to,
                                int width) const
{
    if (weight == 128) {
        std::memcpy(to, bottom, static_cast<std::size_t>(width));
        return;
    }
#if defined(__x86_64__)
    if (usesVectorCode_ && hasSsse3()) {
        if (hasAvx2()) {
            blendRowsAvx2(top, bottom, weight, to, width);
        } else {
            blendRowsSsse3(top, bottom, weight, to, width);
        }
        return;
    }
#endif
    blendRowsScalar(top, bottom, weight, to, 0, width);
}

void BilinearPlaneScaler::start(const std::uint8_t* source, int sourceStride, int sourceWidth, int sourceHeight,
                                int destinationWidth, int destinationHeight)
{
    prepareColumns(sourceWidth, destinationWidth);
    source_ = source;
    sourceStride_ = sourceStride;
    sourceHeight_ = sourceHeight;
    destinationHeight_ = destinationHeight;
    held_[0] = held_[1] = -1;
    // Reducing (or keeping) the height blends two source rows on the source's width, with
    // padding so every group may load 16 bytes; enlarging keeps two filtered rows.
    rows_.resize(destinationHeight <= sourceHeight ? static_cast<std::size_t>(sourceWidth + rowPadding)
                                                   : 2 * static_cast<std::size_t>(destinationWidth));
}

const std::uint8_t* BilinearPlaneScaler::filtered(int y, int keep)
{
    const auto width = static_cast<std::size_t>(columnsDestination_);
    for (int slot = 0; slot < 2; ++slot) {
        if (held_[slot] == y) return rows_.data() + slot * width;
    }
    const int slot = held_[0] == keep ? 1 : 0;
    filterRow(sourceRow(y), false, rows_.data() + slot * width);
    held_[slot] = y;
    return rows_.data() + slot * width;
}

void BilinearPlaneScaler::scaleRow(int y, std::uint8_t* destination)
{
    const Tap row = tap(y, sourceHeight_, destinationHeight_);
    if (destinationHeight_ <= sourceHeight_) {
        // Blend the two source rows first, on the source's width, then filter the one row across.
        if (row.weight == 0) {
            filterRow(sourceRow(row.first), false, destination);
            return;
        }
        blend(sourceRow(row.first), sourceRow(row.first + 1), row.weight, rows_.data(), columnsSource_);
        filterRow(rows_.data(), true, destination);
        return;
    }
    // Enlarging: each source row is filtered across once and kept while output rows need it.
    const std::uint8_t* top = filtered(row.first, row.first + 1);
    if (row.weight == 0) {
        std::memcpy(destination, top, static_cast<std::size_t>(columnsDestination_));
        return;
    }
    blend(top, filtered(row.first + 1, row.first), row.weight, destination, columnsDestination_);
}

void BilinearPlaneScaler::scale(const std::uint8_t* source, int sourceStride, int sourceWidth, int sourceHeight,
                                std::uint8_t* destination, int destinationStride, int destinationWidth,
                                int destinationHeight)
{
    start(source, sourceStride, sourceWidth, sourceHeight, destinationWidth, destinationHeight);
    for (int y = 0; y < destinationHeight; ++y) {
        scaleRow(y, destination + static_cast<std::ptrdiff_t>(y) * destinationStride);
    }
}

}  // namespace vantile
