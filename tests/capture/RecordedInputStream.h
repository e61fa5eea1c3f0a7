#pragma once

#include "capture/InputSource.h"

#include <linux/input.h>

#include <chrono>
#include <ostream>
#include <vector>

namespace vantile {

// Readable failures: kind, deltas, keys, time in seconds and location.
inline void PrintTo(const RawInput& input, std::ostream* out)
{
    *out << "{kind " << static_cast<int>(input.kind) << ", delta " << input.scrollingDeltaX << "/" << input.scrollingDeltaY;
    if (!input.keys.empty()) *out << ", keys " << input.keys;
    if (input.time) *out << ", at " << std::chrono::duration<double>(input.time->time_since_epoch()).count();
    if (input.location) *out << ", (" << input.location->x << "," << input.location->y << ")";
    *out << "}";
}

}  // namespace vantile

namespace vantile::testing {

// A device's event stream as the kernel would deliver it, written frame by frame at chosen
// times on the monotonic clock.
class RecordedInputStream {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit RecordedInputStream(TimePoint epoch) : epoch_(epoch) {}

    RecordedInputStream& at(double seconds)
    {
        now_ = epoch_ + std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds));
        return *this;
    }
    RecordedInputStream& key(unsigned short code, int value) { return add(EV_KEY, code, value); }
    RecordedInputStream& relative(unsigned short code, int value) { return add(EV_REL, code, value); }
    RecordedInputStream& report() { return add(EV_SYN, SYN_REPORT, 0); }
    RecordedInputStream& dropped() { return add(EV_SYN, SYN_DROPPED, 0); }
    // A whole frame: one event and its report.
    RecordedInputStream& press(unsigned short code, int value) { return key(code, value).report(); }

    RecordedInputStream& add(unsigned short type, unsigned short code, int value)
    {
        const auto sinceEpoch = std::chrono::duration_cast<std::chrono::microseconds>(now_.time_since_epoch()).count();
        input_event event{};
        event.input_event_sec = static_cast<decltype(event.input_event_sec)>(sinceEpoch / 1'000'000);
        event.input_event_usec = static_cast<decltype(event.input_event_usec)>(sinceEpoch % 1'000'000);
        event.type = type;
        event.code = code;
        event.value = value;
        events_.push_back(event);
        return *this;
    }

    const std::vector<input_event>& events() const { return events_; }
    TimePoint timeAt(double seconds) const
    {
        // The microsecond resolution of the records.
        return TimePoint(std::chrono::duration_cast<std::chrono::microseconds>(
            (epoch_ + std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds)))
                .time_since_epoch()));
    }

private:
    TimePoint epoch_;
    TimePoint now_ = epoch_;
    std::vector<input_event> events_;
};

}  // namespace vantile::testing
