#include "capture/wayland/PointerTracker.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <system_error>

namespace vantile {

PointerTracker::PointerTracker() : eventFd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (eventFd_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

PointerTracker::~PointerTracker() { close(eventFd_); }

void PointerTracker::update(CodablePoint global, TimePoint when)
{
    const std::lock_guard lock(mutex_);
    latestTime_ = std::max(latestTime_.value_or(when), when);
    if (!history_.empty() && history_.back().position == global) return;
    const Move move{global, when};
    // Updates normally come in time order; keep the history sorted when one does not.
    const auto later = std::upper_bound(history_.begin(), history_.end(), when,
                                        [](TimePoint time, const Move& kept) { return time < kept.time; });
    history_.insert(later, move);
    while (history_.size() > 1 && history_.back().time - history_.front().time > historySpan) history_.pop_front();

    if (pending_.size() >= maximumPendingMoves) pending_.erase(pending_.begin());
    pending_.push_back(move);
    if (pending_.size() == 1) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(eventFd_, &one, sizeof one);
    }
}

std::optional<CodablePoint> PointerTracker::latest() const
{
    const std::lock_guard lock(mutex_);
    if (history_.empty()) return std::nullopt;
    return history_.back().position;
}

std::optional<CodablePoint> PointerTracker::positionAt(TimePoint when) const
{
    const std::lock_guard lock(mutex_);
    if (history_.empty()) return std::nullopt;
    const auto later = std::upper_bound(history_.begin(), history_.end(), when,
                                        [](TimePoint time, const Move& kept) { return time < kept.time; });
    return later == history_.begin() ? history_.front().position : std::prev(later)->position;
}

std::optional<PointerTracker::TimePoint> PointerTracker::latestTime() const
{
    const std::lock_guard lock(mutex_);
    return latestTime_;
}

std::vector<PointerTracker::Move> PointerTracker::takeMoves()
{
    const std::lock_guard lock(mutex_);
    clearSignal();
    return std::exchange(pending_, {});
}

void PointerTracker::discardMoves()
{
    const std::lock_guard lock(mutex_);
    clearSignal();
    pending_.clear();
}

void PointerTracker::clearSignal()
{
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t drained = read(eventFd_, &count, sizeof count);
}

}  // namespace vantile
