#pragma once

#include "capture/wayland/InputDevice.h"

#include <cstddef>

namespace vantile {

// input_event records read as they are from a descriptor that is not an event device, such as
// a pipe replaying a recorded device. Takes ownership of the descriptor.
class InputEventStream : public InputDevice {
public:
    // Opens a pipe or file read-only and non-blocking; null when it cannot be opened.
    static std::unique_ptr<InputDevice> open(const std::filesystem::path& path);

    explicit InputEventStream(int fd) : fd_(fd) {}
    ~InputEventStream() override;
    InputEventStream(const InputEventStream&) = delete;
    InputEventStream& operator=(const InputEventStream&) = delete;

    int fileDescriptor() const override { return fd_; }
    bool read(std::vector<input_event>& records) override;

private:
    int fd_;
    std::vector<std::byte> partial_;  // the start of a record whose rest has not arrived
};

}  // namespace vantile
