#pragma once

#include <chrono>
#include <functional>

namespace vantile {

// The monotonic recording clock: event times are its elapsed seconds.
class Timebase {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    explicit Timebase(Clock clock = [] { return std::chrono::steady_clock::now(); })
        : start_(clock()), clock_(std::move(clock))
    {
    }

    std::chrono::steady_clock::time_point start() const { return start_; }

    double elapsedSeconds() const { return std::chrono::duration<double>(clock_() - start_).count(); }

private:
    std::chrono::steady_clock::time_point start_;
    Clock clock_;
};

}  // namespace vantile
