#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>

namespace vantile {

// The bounded hand-over between the thread that draws frames and the one that encodes them.
// Once finished (normally or with an error) it accepts nothing more; the first error wins.
template <typename Frame>
class RenderFrameQueue {
public:
    explicit RenderFrameQueue(std::size_t capacity) : capacity_(capacity < 1 ? 1 : capacity) {}

    // Blocks while full; drops the frame silently once the queue is finished or failed.
    void enqueue(Frame frame)
    {
        std::unique_lock lock(mutex_);
        condition_.wait(lock, [&] { return frames_.size() < capacity_ || storedError_ || isFinished_; });
        if (storedError_ || isFinished_) return;
        frames_.push_back(std::move(frame));
        condition_.notify_all();
    }

    // The oldest frame; nothing once finished and drained. Throws the stored error, even
    // while frames remain.
    std::optional<Frame> dequeue()
    {
        std::unique_lock lock(mutex_);
        condition_.wait(lock, [&] { return !frames_.empty() || storedError_ || isFinished_; });
        if (storedError_) std::rethrow_exception(storedError_);
        if (frames_.empty()) return std::nullopt;
        Frame frame = std::move(frames_.front());
        frames_.pop_front();
        condition_.notify_all();
        return frame;
    }

    void fail(std::exception_ptr error)
    {
        std::lock_guard lock(mutex_);
        if (!storedError_) storedError_ = error;
        isFinished_ = true;
        condition_.notify_all();
    }

    void finish()
    {
        std::lock_guard lock(mutex_);
        isFinished_ = true;
        condition_.notify_all();
    }

    // True once finished or failed: a producer stops drawing.
    bool isClosed() const
    {
        std::lock_guard lock(mutex_);
        return isFinished_ || storedError_ != nullptr;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable condition_;
    std::size_t capacity_;
    std::deque<Frame> frames_;
    bool isFinished_ = false;
    std::exception_ptr storedError_;
};

}  // namespace vantile
