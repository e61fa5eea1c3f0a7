#pragma once

#include "capture/InputSource.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantile {

// What vantile-input-helper writes to its standard output: a greeting, then one 16-byte record
// per activity. A record has room for nothing but the activity's kind, a wheel's direction and
// the kernel's time, so no key identity can travel in it.
//
//   byte 0      kind: 1 left down, 2 left up, 3 right down, 4 right up, 5 key down, 6 key up, 7 wheel
//   byte 1, 2   wheel notch across and up (-1, 0 or 1, as two's complement); 0 for other kinds
//   byte 3..7   zero
//   byte 8..15  time in nanoseconds on the monotonic clock, little-endian
namespace InputHelperProtocol {

// Sent first, once the helper runs with its privileges; names the record layout's version.
inline constexpr std::string_view greeting{"VANTILE-INPUT-1\n"};
inline constexpr std::size_t recordSize = 16;

using Record = std::array<std::byte, recordSize>;

// Only buttons, wheels and key activity have a record; moves have none and give nullopt.
std::optional<Record> encode(const RawInput& input);
// Nullopt for anything encode() cannot have written.
std::optional<RawInput> decode(const Record& record);

}  // namespace InputHelperProtocol

// Reassembles the helper's output as it arrives in pieces of any size.
class InputHelperRecordReader {
public:
    // Appends the activity of whole records; false once the stream breaks the format (a wrong
    // greeting or an impossible record), after which nothing more is read.
    bool append(const std::byte* bytes, std::size_t size, std::vector<RawInput>& activity);

    bool greeted() const { return greeted_; }
    bool broken() const { return broken_; }

private:
    std::vector<std::byte> partial_;
    bool greeted_ = false;
    bool broken_ = false;
};

}  // namespace vantile
