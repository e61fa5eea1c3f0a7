#pragma once

#include <filesystem>
#include <string>

namespace vantile {

// Whether clicks, scrolling and typing can be observed on Wayland: that means reading the
// kernel's input devices, which most distributions allow to the `input` group only.
class InputDeviceAccess {
public:
    explicit InputDeviceAccess(std::filesystem::path inputDirectory = "/dev/input")
        : inputDirectory_(std::move(inputDirectory))
    {
    }

    // At least one event device can be read by this process.
    bool granted() const;
    // What is missing and how to grant it; for the command line.
    std::string missingPermissionMessage() const;
    // Only how to grant it, for a screen that already says what is missing.
    static std::string howToGrant();
    // The same where the privileged helper is installed: it reads the devices instead.
    static std::string howToGrantThroughHelper();

private:
    bool anyEventDevice() const;

    std::filesystem::path inputDirectory_;
};

}  // namespace vantile
