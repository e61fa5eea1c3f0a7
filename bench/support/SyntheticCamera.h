#pragma once
// A webcam for benchmarks: noisy, moving 1280x720 pictures 30 times a second, without a device.

#include "capture/camera/CameraStream.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace vantile::bench {

// A webcam's picture: a gradient that drifts, with sensor noise, from a pool made beforehand so
// making pictures costs nothing while measuring.
class SyntheticCamera : public CameraStream {
public:
    explicit SyntheticCamera(int width, int height)
    {
        std::mt19937 random(7);
        std::normal_distribution<double> noise(0, 4);
        for (int index = 0; index < 30; ++index) {
            PlanarFrame frame(width, height);
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    const double value = 60 + 100.0 * ((x + index * 8) % width) / width + 30.0 * y / height + noise(random);
                    frame.luma[std::size_t(y) * std::size_t(width) + std::size_t(x)] =
                        static_cast<std::uint8_t>(std::clamp(value, 16.0, 235.0));
                }
            }
            pool_.push_back(std::move(frame));
        }
        thread_ = std::thread([this] {
            auto due = std::chrono::steady_clock::now();
            std::uint64_t sequence = 0;
            while (!stop_) {
                {
                    const std::lock_guard lock(mutex_);
                    newest_.frame = pool_[sequence % pool_.size()];
                    newest_.sequence = ++sequence;
                    newest_.time = std::chrono::steady_clock::now();
                }
                due += std::chrono::microseconds(33333);
                std::this_thread::sleep_until(due);
            }
        });
    }
    ~SyntheticCamera() override
    {
        stop_ = true;
        thread_.join();
    }

    bool waitForFirstPicture(std::chrono::milliseconds) override { return true; }
    bool takeNewest(CameraPicture& into) override
    {
        const std::lock_guard lock(mutex_);
        if (newest_.sequence <= into.sequence) return false;
        into = newest_;
        return true;
    }
    bool ended() const override { return false; }

private:
    std::vector<PlanarFrame> pool_;
    std::mutex mutex_;
    CameraPicture newest_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace vantile::bench
