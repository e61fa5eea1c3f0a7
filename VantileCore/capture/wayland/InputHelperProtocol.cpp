#include "capture/wayland/InputHelperProtocol.h"

#include "capture/ShortcutChord.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace vantile {

namespace InputHelperProtocol {

namespace {

using Kind = RawInput::Kind;

constexpr std::array<std::pair<Kind, std::uint8_t>, 8> kindCodes{{
    {Kind::leftMouseDown, 1},
    {Kind::leftMouseUp, 2},
    {Kind::rightMouseDown, 3},
    {Kind::rightMouseUp, 4},
    {Kind::keyDown, 5},
    {Kind::keyUp, 6},
    {Kind::scrollWheel, 7},
    {Kind::shortcut, 8},
}};

constexpr std::uint8_t chordCode = 8;

std::byte notch(double delta) { return static_cast<std::byte>(delta > 0 ? 1 : delta < 0 ? 0xff : 0); }

std::optional<double> notchDelta(std::byte value)
{
    switch (std::to_integer<std::uint8_t>(value)) {
    case 0: return 0.0;
    case 1: return 1.0;
    case 0xff: return -1.0;
    default: return std::nullopt;
    }
}

}  // namespace

std::optional<std::vector<std::byte>> encode(const RawInput& input)
{
    const auto code = std::ranges::find(kindCodes, input.kind, &std::pair<Kind, std::uint8_t>::first);
    if (code == kindCodes.end() || !input.time) return std::nullopt;
    const bool chord = input.kind == Kind::shortcut;
    // Never a name the reader would refuse, nor anything but a chord's name.
    if (chord && (input.keys.size() > longestChordName || !isShortcutChordName(input.keys))) return std::nullopt;
    std::vector<std::byte> record(recordSize);
    record[0] = static_cast<std::byte>(code->second);
    if (input.kind == Kind::scrollWheel) {
        record[1] = notch(input.scrollingDeltaX);
        record[2] = notch(input.scrollingDeltaY);
    } else if (chord) {
        record[1] = static_cast<std::byte>(input.keys.size());
    }
    auto nanoseconds = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(input.time->time_since_epoch()).count());
    for (std::size_t index = 8; index < recordSize; ++index, nanoseconds >>= 8)
        record[index] = static_cast<std::byte>(nanoseconds & 0xff);
    if (chord) {
        const auto* name = reinterpret_cast<const std::byte*>(input.keys.data());
        record.insert(record.end(), name, name + input.keys.size());
    }
    return record;
}

std::optional<std::size_t> chordNameLength(const Record& record)
{
    if (std::to_integer<std::uint8_t>(record[0]) != chordCode) return std::nullopt;
    return std::to_integer<std::size_t>(record[1]);
}

std::optional<RawInput> decode(const Record& record, std::string_view name)
{
    const auto code = std::ranges::find(kindCodes, std::to_integer<std::uint8_t>(record[0]),
                                        &std::pair<Kind, std::uint8_t>::second);
    if (code == kindCodes.end()) return std::nullopt;
    if (std::any_of(record.begin() + 3, record.begin() + 8, [](std::byte value) { return value != std::byte{0}; }))
        return std::nullopt;
    RawInput input{.kind = code->first};
    if (input.kind == Kind::shortcut) {
        if (record[2] != std::byte{0} || name.size() != chordNameLength(record) || name.size() > longestChordName ||
            !isShortcutChordName(name))
            return std::nullopt;
        input.keys = name;
    } else {
        const auto across = notchDelta(record[1]);
        const auto up = notchDelta(record[2]);
        if (!across || !up || !name.empty()) return std::nullopt;
        if (input.kind == Kind::scrollWheel) {
            if (*across == 0 && *up == 0) return std::nullopt;
            input.scrollingDeltaX = *across;
            input.scrollingDeltaY = *up;
        } else if (*across != 0 || *up != 0) {
            return std::nullopt;
        }
    }
    std::uint64_t nanoseconds = 0;
    for (std::size_t index = recordSize; index-- > 8;)
        nanoseconds = (nanoseconds << 8) | std::to_integer<std::uint64_t>(record[index]);
    if (nanoseconds > static_cast<std::uint64_t>(INT64_MAX)) return std::nullopt;
    input.time = std::chrono::steady_clock::time_point(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::nanoseconds(static_cast<std::int64_t>(nanoseconds))));
    return input;
}

}  // namespace InputHelperProtocol

bool InputHelperRecordReader::append(const std::byte* bytes, std::size_t size, std::vector<RawInput>& activity)
{
    if (broken_) return false;
    partial_.insert(partial_.end(), bytes, bytes + size);
    const auto breakOff = [this] {
        broken_ = true;
        partial_.clear();
        return false;
    };
    std::size_t used = 0;
    if (!greeted_) {
        const std::string_view expected =
            shortcutsAsked_ ? InputHelperProtocol::shortcutsGreeting : InputHelperProtocol::greeting;
        const std::size_t compared = std::min(partial_.size(), expected.size());
        if (std::memcmp(partial_.data(), expected.data(), compared) != 0) return breakOff();
        if (compared < expected.size()) return true;
        greeted_ = true;
        used = compared;
    }
    while (partial_.size() - used >= InputHelperProtocol::recordSize) {
        InputHelperProtocol::Record record;
        std::memcpy(record.data(), partial_.data() + used, record.size());
        const std::size_t nameLength = InputHelperProtocol::chordNameLength(record).value_or(0);
        // A chord only when asked for, and no waiting for a name longer than any chord's.
        if (InputHelperProtocol::chordNameLength(record) &&
            (!shortcutsAsked_ || nameLength == 0 || nameLength > InputHelperProtocol::longestChordName))
            return breakOff();
        if (partial_.size() - used < InputHelperProtocol::recordSize + nameLength) break;
        const std::string_view name(reinterpret_cast<const char*>(partial_.data() + used + record.size()), nameLength);
        const auto input = InputHelperProtocol::decode(record, name);
        if (!input) return breakOff();
        activity.push_back(*input);
        used += InputHelperProtocol::recordSize + nameLength;
    }
    partial_.erase(partial_.begin(), partial_.begin() + static_cast<std::ptrdiff_t>(used));
    return true;
}

}  // namespace vantile
