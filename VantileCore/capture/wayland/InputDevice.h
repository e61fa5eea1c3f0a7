#pragma once

#include <linux/input.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace vantile {

// One open source of input_event records: a kernel event device, or a recorded stream.
class InputDevice {
public:
    virtual ~InputDevice() = default;

    // Readable while records wait.
    virtual int fileDescriptor() const = 0;
    // Appends the records that wait; false once the device is gone (unplugged, stream ended).
    virtual bool read(std::vector<input_event>& records) = 0;
};

// Opens the device at a path, or returns null when it cannot be read or reports nothing of
// interest (neither a pointer's buttons and wheels nor a keyboard).
using InputDeviceOpener = std::function<std::unique_ptr<InputDevice>(const std::filesystem::path&)>;

}  // namespace vantile
