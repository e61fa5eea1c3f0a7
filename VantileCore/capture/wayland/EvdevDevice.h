#pragma once

#include "capture/wayland/InputDevice.h"

struct libevdev;

namespace vantile {

// A kernel event device read through libevdev, reporting on the monotonic clock.
class EvdevDevice : public InputDevice {
public:
    // Null when the node cannot be opened or is neither a pointer nor a keyboard.
    static std::unique_ptr<InputDevice> open(const std::filesystem::path& path);

    ~EvdevDevice() override;
    EvdevDevice(const EvdevDevice&) = delete;
    EvdevDevice& operator=(const EvdevDevice&) = delete;

    int fileDescriptor() const override { return fd_; }
    bool read(std::vector<input_event>& records) override;

private:
    EvdevDevice(int fd, libevdev* device) : fd_(fd), device_(device) {}

    int fd_;
    libevdev* device_;
};

}  // namespace vantile
