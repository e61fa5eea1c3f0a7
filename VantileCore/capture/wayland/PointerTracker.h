#pragma once

#include "model/Geometry.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace vantile {

// The pointer position the compositor shares, handed from the thread that receives it to the
// thread that records input. Positions are global screen coordinates (origin top left, y down,
// pixels) at steady_clock times. Thread-safe.
class PointerTracker {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    struct Move {
        CodablePoint position;
        TimePoint time;

        bool operator==(const Move&) const = default;
    };

    // How long positions stay answerable by positionAt(), and how many moves wait at most when
    // nobody takes them.
    static constexpr std::chrono::seconds historySpan{5};
    static constexpr std::size_t maximumPendingMoves = 4096;

    PointerTracker();
    ~PointerTracker();

    PointerTracker(const PointerTracker&) = delete;
    PointerTracker& operator=(const PointerTracker&) = delete;

    // A position equal to the latest one is not a move and is ignored.
    void update(CodablePoint global, TimePoint when);

    // Nothing until the first update.
    std::optional<CodablePoint> latest() const;
    // The last position updated at or before `when`; the earliest one kept when all are later.
    std::optional<CodablePoint> positionAt(TimePoint when) const;
    // The time of the newest update, repeated positions included: positions up to it are final.
    std::optional<TimePoint> latestTime() const;

    // Moves not yet taken, oldest first; taking them empties the queue.
    std::vector<Move> takeMoves();
    void discardMoves();

    // Readable while moves wait to be taken.
    int fileDescriptor() const { return eventFd_; }

private:
    void clearSignal();

    mutable std::mutex mutex_;
    std::deque<Move> history_;
    std::vector<Move> pending_;
    std::optional<TimePoint> latestTime_;
    int eventFd_ = -1;
};

}  // namespace vantile
