#include "capture/wayland/InputHelperProtocol.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace vantile {

namespace InputHelperProtocol {

namespace {

using Kind = RawInput::Kind;

constexpr std::array<std::pair<Kind, std::uint8_t>, 7> kindCodes{{
    {Kind::leftMouseDown, 1},
    {Kind::leftMouseUp, 2},
    {Kind::rightMouseDown, 3},
    {Kind::rightMouseUp, 4},
    {Kind::keyDown, 5},
    {Kind::keyUp, 6},
    {Kind::scrollWheel, 7},
}};

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

std::optional<Record> encode(const RawInput& input)
{
    const auto code = std::ranges::find(kindCodes, input.kind, &std::pair<Kind, std::uint8_t>::first);
    if (code == kindCodes.end() || !input.time) return std::nullopt;
    Record record{};
    record[0] = static_cast<std::byte>(code->second);
    if (input.kind == Kind::scrollWheel) {
        record[1] = notch(input.scrollingDeltaX);
        record[2] = notch(input.scrollingDeltaY);
    }
    auto nanoseconds = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(input.time->time_since_epoch()).count());
    for (std::size_t index = 8; index < recordSize; ++index, nanoseconds >>= 8)
        record[index] = static_cast<std::byte>(nanoseconds & 0xff);
    return record;
}

std::optional<RawInput> decode(const Record& record)
{
    const auto code = std::ranges::find(kindCodes, std::to_integer<std::uint8_t>(record[0]),
                                        &std::pair<Kind, std::uint8_t>::second);
    if (code == kindCodes.end()) return std::nullopt;
    if (std::any_of(record.begin() + 3, record.begin() + 8, [](std::byte value) { return value != std::byte{0}; }))
        return std::nullopt;
    RawInput input{.kind = code->first};
    const auto across = notchDelta(record[1]);
    const auto up = notchDelta(record[2]);
    if (!across || !up) return std::nullopt;
    if (input.kind == Kind::scrollWheel) {
        if (*across == 0 && *up == 0) return std::nullopt;
        input.scrollingDeltaX = *across;
        input.scrollingDeltaY = *up;
    } else if (*across != 0 || *up != 0) {
        return std::nullopt;
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
    std::size_t used = 0;
    if (!greeted_) {
        const std::size_t compared = std::min(partial_.size(), InputHelperProtocol::greeting.size());
        if (std::memcmp(partial_.data(), InputHelperProtocol::greeting.data(), compared) != 0) {
            broken_ = true;
            partial_.clear();
            return false;
        }
        if (compared < InputHelperProtocol::greeting.size()) return true;
        greeted_ = true;
        used = compared;
    }
    for (; partial_.size() - used >= InputHelperProtocol::recordSize; used += InputHelperProtocol::recordSize) {
        InputHelperProtocol::Record record;
        std::memcpy(record.data(), partial_.data() + used, record.size());
        const auto input = InputHelperProtocol::decode(record);
        if (!input) {
            broken_ = true;
            partial_.clear();
            return false;
        }
        activity.push_back(*input);
    }
    partial_.erase(partial_.begin(), partial_.begin() + static_cast<std::ptrdiff_t>(used));
    return true;
}

}  // namespace vantile
