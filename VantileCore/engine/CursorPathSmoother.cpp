#include "engine/CursorPathSmoother.h"

#include "engine/MathUtils.h"
#include "engine/TimeOrder.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vantile {

namespace {

using EventType = InputEvent::EventType;

constexpr double jitterRadius = 2.0;
constexpr double normalSmoothing = 0.25;
// A fast, far jump is usually a tracking glitch or a warp: follow it only slowly.
constexpr double jumpSmoothing = 0.08;
constexpr double fastInterval = 0.05;
constexpr double farJump = 600.0;
constexpr double clickWindow = 0.12;
constexpr double smallestSpan = 0.001;

struct PointerSample {
    double time;
    EventType type;
    double x;
    double y;
};

bool isPointerEvent(EventType type)
{
    return type != EventType::typingActivityStart && type != EventType::typingActivityEnd &&
           type != EventType::keyboardShortcut;
}

bool isPress(EventType type)
{
    return type == EventType::leftMouseDown || type == EventType::rightMouseDown;
}

// Only pointer moves are ever dropped; clicks, drags and scrolls always pass. Filters in place.
void removeJitter(std::vector<PointerSample>& samples)
{
    std::size_t keptCount = 0;
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const PointerSample& sample = samples[index];
        if (keptCount == 0 || sample.type != EventType::mouseMove ||
            MathUtils::distance(samples[keptCount - 1].x, samples[keptCount - 1].y, sample.x, sample.y) >=
                jitterRadius) {
            samples[keptCount++] = sample;
        }
    }
    samples.resize(keptCount);
}

void lowPass(std::vector<PointerSample>& samples)
{
    for (std::size_t index = 1; index < samples.size(); ++index) {
        const PointerSample& previous = samples[index - 1];
        PointerSample& sample = samples[index];
        const double jump = MathUtils::distance(previous.x, previous.y, sample.x, sample.y);
        const double interval = sample.time - previous.time;
        const double weight = interval < fastInterval && jump > farJump ? jumpSmoothing : normalSmoothing;
        sample.x = sample.x * weight + previous.x * (1 - weight);
        sample.y = sample.y * weight + previous.y * (1 - weight);
    }
}

double quantized(double time, double fps);

// A gap from which the filter's output comes closer than this to the pointer needs no more steps.
constexpr double settledDistance = 0.01;
constexpr double restingAfter = 0.1;

// The classic filter, with the steps it lacks: while no event comes the pointer rests where the
// last one left it, so the filter keeps stepping toward it once a frame; a press sets the path
// onto the press's position at the press's frame. Returns a new path.
std::vector<PointerSample> lowPassLanding(const std::vector<PointerSample>& samples, double fps, double duration)
{
    std::vector<PointerSample> path;
    if (samples.empty()) return path;
    path.reserve(samples.size());
    const double frameInterval = 1 / fps;
    path.push_back(samples.front());
    PointerSample state = samples.front();
    const PointerSample* resting = &samples.front();
    // A moving pointer sends events more often than this; a longer silence is a rest.
    const double restDelay = std::max(restingAfter, frameInterval);
    const double end = duration + frameInterval;
    const auto restUntil = [&](double until) {
        // Rests past the end, or at times or places no frame can show, need no steps.
        if (!std::isfinite(path.back().time)) return;
        for (double time = path.back().time + restDelay; time < std::min(until, end); time += frameInterval) {
            if (!(MathUtils::distance(state.x, state.y, resting->x, resting->y) > settledDistance)) return;
            state = {time, EventType::mouseMove, resting->x * normalSmoothing + state.x * (1 - normalSmoothing),
                     resting->y * normalSmoothing + state.y * (1 - normalSmoothing)};
            path.push_back(state);
        }
    };
    for (std::size_t index = 1; index < samples.size(); ++index) {
        const PointerSample& sample = samples[index];
        const PointerSample& previous = samples[index - 1];
        restUntil(sample.time);
        if (isPress(sample.type)) {
            // The frame that shows the press shows the cursor on it; anything later in that frame
            // goes, and so does a sample too close before it to blend from.
            const double frameTime = quantized(sample.time, fps);
            while (path.size() > 1 && path.back().time > frameTime - smallestSpan) path.pop_back();
            if (frameTime > path.back().time && frameTime < sample.time)
                path.push_back({frameTime, EventType::mouseMove, sample.x, sample.y});
            state = sample;
        } else {
            const double jump = MathUtils::distance(state.x, state.y, sample.x, sample.y);
            const double interval = sample.time - previous.time;
            const double weight = interval < fastInterval && jump > farJump ? jumpSmoothing : normalSmoothing;
            state = {sample.time, sample.type, sample.x * weight + state.x * (1 - weight),
                     sample.y * weight + state.y * (1 - weight)};
        }
        path.push_back(state);
        resting = &sample;
    }
    restUntil(end);
    return path;
}

// Walks the path forward as frame times increase, so resampling is linear in frames + events.
class PathCursor {
public:
    explicit PathCursor(const std::vector<PointerSample>& path) : path_(path) {}

    // Straight-line blend between the samples around t, held at both ends.
    std::pair<double, double> positionAt(double t)
    {
        if (path_.empty()) return {0, 0};
        const PointerSample& first = path_.front();
        const PointerSample& last = path_.back();
        if (t <= first.time) return {first.x, first.y};
        if (path_.size() == 1 || t >= last.time) return {last.x, last.y};
        // The first pair (a, b) with a.time <= t <= b.time ends at the first sample not before t.
        while (next_ < path_.size() && path_[next_].time < t) ++next_;
        const PointerSample& a = path_[next_ - 1];
        const PointerSample& b = path_[next_];
        double span = b.time - a.time;
        if (span <= smallestSpan) span = smallestSpan;
        const double u = (t - a.time) / span;
        return {a.x + (b.x - a.x) * u, a.y + (b.y - a.y) * u};
    }

private:
    const std::vector<PointerSample>& path_;
    std::size_t next_ = 1;
};

double quantized(double time, double fps)
{
    return std::trunc(time * fps) / fps;
}

// Whether a frame shows a click, for frame times that only increase: the frame's quantised time
// equals a press's, or a press lies within the click window. The presses passing the literal test
// |p - t| <= window form one run around t, so the presses on either side of t decide.
class ClickDetector {
public:
    ClickDetector(std::vector<double> pressTimes, double fps) : pressTimes_(std::move(pressTimes)), fps_(fps)
    {
        pressFrames_.reserve(pressTimes_.size());
        for (double time : pressTimes_) pressFrames_.push_back(quantized(time, fps_));
        std::sort(pressFrames_.begin(), pressFrames_.end());
    }

    bool isClickingAt(double t)
    {
        // The quantised frame time never decreases with t; -0 and +0 compare equal.
        const double frame = quantized(t, fps_);
        while (nextFrame_ < pressFrames_.size() && pressFrames_[nextFrame_] < frame) ++nextFrame_;
        if (nextFrame_ < pressFrames_.size() && pressFrames_[nextFrame_] == frame) return true;

        while (nextPress_ < pressTimes_.size() && pressTimes_[nextPress_] < t) ++nextPress_;
        if (nextPress_ < pressTimes_.size() && std::abs(pressTimes_[nextPress_] - t) <= clickWindow) return true;
        return nextPress_ > 0 && std::abs(pressTimes_[nextPress_ - 1] - t) <= clickWindow;
    }

private:
    std::vector<double> pressTimes_;  // sorted
    std::vector<double> pressFrames_;  // sorted
    double fps_;
    std::size_t nextFrame_ = 0;
    std::size_t nextPress_ = 0;
};

}  // namespace

std::vector<CursorFrame> CursorPathSmoother::smooth(const std::vector<InputEvent>& events, std::int64_t fps,
                                                    double duration, CursorSmoothing smoothing) const
{
    std::vector<PointerSample> path;
    path.reserve(events.size());
    for (const InputEvent& event : events) {
        // A time that is not a number has no place on the path.
        if (isPointerEvent(event.type) && !std::isnan(event.time)) path.push_back({event.time, event.type, event.x, event.y});
    }
    // Nothing to draw without a finite frame count.
    if (path.empty() || fps < 1 || !(duration > 0) || !std::isfinite(duration)) return {};
    const double rate = static_cast<double>(fps);
    const double frameSpan = std::trunc(rate * duration);
    // Beyond 64 bits there is no frame index; no real recording gets anywhere near it.
    if (!(frameSpan < 9.2e18)) return {};
    const auto lastIndex = static_cast<std::int64_t>(frameSpan);

    stableSortByTime(path);
    std::vector<double> pressTimes;
    for (const PointerSample& sample : path) {
        if (isPress(sample.type)) pressTimes.push_back(sample.time);
    }
    ClickDetector clicks(std::move(pressTimes), rate);

    removeJitter(path);
    if (smoothing == CursorSmoothing::precise) {
        path = lowPassLanding(path, rate, duration);
    } else {
        lowPass(path);
    }

    std::vector<CursorFrame> frames;
    frames.reserve(static_cast<std::size_t>(lastIndex) + 1);
    PathCursor cursor(path);
    for (std::int64_t index = 0; index <= lastIndex; ++index) {
        const double t = static_cast<double>(index) / rate;
        const auto [x, y] = cursor.positionAt(t);
        frames.push_back({t, x, y, true, clicks.isClickingAt(t)});
    }
    return frames;
}

}  // namespace vantile
