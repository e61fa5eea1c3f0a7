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
// the kernel's time, so no key identity can travel in it. Only when the helper was asked to
// record shortcuts does it greet with the second version, whose chord records carry a chord's
// name, and nothing else of a key, after their 16 bytes.
//
//   byte 0      kind: 1 left down, 2 left up, 3 right down, 4 right up, 5 key down, 6 key up, 7 wheel,
//               8 chord (second version only)
//   byte 1, 2   wheel notch across and up (-1, 0 or 1, as two's complement); for a chord, byte 1
//               is its name's length (1 to longestChordName) and byte 2 zero; 0 for other kinds
//   byte 3..7   zero
//   byte 8..15  time in nanoseconds on the monotonic clock, little-endian
//   then        a chord's name, UTF-8, exactly as shortcutChord() spells it ("Ctrl+Shift+P")
namespace InputHelperProtocol {

// Sent first, once the helper runs with its privileges; names the record layout's version.
inline constexpr std::string_view greeting{"VANTILE-INPUT-1\n"};
inline constexpr std::string_view shortcutsGreeting{"VANTILE-INPUT-2\n"};
inline constexpr std::size_t recordSize = 16;
// "Ctrl+Alt+Super+Shift+ScrollLock" is 31 bytes.
inline constexpr std::size_t longestChordName = 32;

using Record = std::array<std::byte, recordSize>;

// A record's bytes, a chord's with its name. Only buttons, wheels, key activity and chords that
// shortcutChord() can name have one; anything else gives nullopt.
std::optional<std::vector<std::byte>> encode(const RawInput& input);
// Nullopt for anything encode() cannot have written. `name` is what follows a chord's record.
std::optional<RawInput> decode(const Record& record, std::string_view name = {});
// For a chord's record, how many bytes of name it says follow; nullopt for other records.
std::optional<std::size_t> chordNameLength(const Record& record);

}  // namespace InputHelperProtocol

// Reassembles the helper's output as it arrives in pieces of any size.
class InputHelperRecordReader {
public:
    // A reader that asked for shortcuts expects the second version's greeting and chords; one
    // that did not refuses both.
    explicit InputHelperRecordReader(bool shortcutsAsked = false) : shortcutsAsked_(shortcutsAsked) {}

    // Appends the activity of whole records; false once the stream breaks the format (a wrong
    // greeting or an impossible record), after which nothing more is read.
    bool append(const std::byte* bytes, std::size_t size, std::vector<RawInput>& activity);

    bool greeted() const { return greeted_; }
    bool broken() const { return broken_; }

private:
    bool shortcutsAsked_ = false;
    std::vector<std::byte> partial_;
    bool greeted_ = false;
    bool broken_ = false;
};

}  // namespace vantile
