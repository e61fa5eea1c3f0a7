#pragma once

#include <atomic>
#include <functional>
#include <utility>

namespace vantile {

// Progress out of an export (0..1, reported on the export's thread) and a cancel request in.
class ExportMonitor {
public:
    using ProgressHandler = std::function<void(double fraction)>;

    explicit ExportMonitor(ProgressHandler onProgress = {}) : onProgress_(std::move(onProgress)) {}

    void cancel() { cancelled_.store(true); }
    bool isCancelled() const { return cancelled_.load(); }
    void report(double fraction) const
    {
        if (onProgress_) onProgress_(fraction < 0 ? 0 : fraction > 1 ? 1 : fraction);
    }

private:
    ProgressHandler onProgress_;
    std::atomic<bool> cancelled_{false};
};

}  // namespace vantile
