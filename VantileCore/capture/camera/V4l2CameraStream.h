#pragma once

#include "capture/camera/CameraStream.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vantile {

// libavdevice's input devices are registered once per process.
void registerMediaDevices();

// Reads one V4L2 device through libavdevice on a thread of its own, asking for 720p at 30
// pictures a second and taking what the device offers; every format it delivers (raw or MJPEG)
// is decoded by libavcodec and scaled into the recorded size.
class V4l2CameraStream : public CameraStream {
public:
    // Throws CameraError::noPicture when the device cannot be opened (busy, refused, gone).
    explicit V4l2CameraStream(const std::string& devicePath);
    ~V4l2CameraStream() override;
    V4l2CameraStream(const V4l2CameraStream&) = delete;
    V4l2CameraStream& operator=(const V4l2CameraStream&) = delete;

    bool waitForFirstPicture(std::chrono::milliseconds timeout) override;
    bool takeNewest(CameraPicture& into) override;
    bool ended() const override;

private:
    struct Device;
    void run();

    std::unique_ptr<Device> device_;
    std::atomic<bool> stop_ = false;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    CameraPicture newest_;
    bool ended_ = false;
    std::thread thread_;
};

}  // namespace vantile
