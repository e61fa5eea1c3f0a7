#pragma once

#include "capture/InputSource.h"
#include "capture/wayland/EvdevDecoder.h"
#include "capture/wayland/InputActivitySource.h"
#include "capture/wayland/InputDevice.h"

#include <filesystem>
#include <map>
#include <memory>
#include <vector>

namespace vantile {

// Every pointer and keyboard under an input directory (event* entries), including those that
// appear while it is open, each decoded on its own.
class InputDeviceSet : public InputActivitySource {
public:
    InputDeviceSet(std::filesystem::path directory, InputDeviceOpener opener);
    ~InputDeviceSet() override;

    InputDeviceSet(const InputDeviceSet&) = delete;
    InputDeviceSet& operator=(const InputDeviceSet&) = delete;

    // Opens what can be read now and watches for more; what cannot be read is skipped.
    void open() override;
    void close() override;

    // Readable while a device has records or the directory changed. Stays the same while open
    // and closed in turn.
    int fileDescriptor() const override { return pollFd_; }

    // The activity of every device since the last call, in time order.
    std::vector<RawInput> readPending() override;
    // A layout xkbcommon cannot compile is replaced by its default "us" one.
    void recordShortcuts(const std::optional<KeyboardLayout>& layout) override;

    std::size_t openDeviceCount() const { return devices_.size(); }

private:
    struct OpenDevice {
        std::unique_ptr<InputDevice> device;
        EvdevDecoder decoder;
    };

    void openDevice(const std::string& name);
    void closeDevice(const std::string& name);
    void applyDirectoryChanges();

    std::filesystem::path directory_;
    InputDeviceOpener opener_;
    int pollFd_ = -1;
    int watchFd_ = -1;
    std::map<std::string, OpenDevice> devices_;  // by entry name
    std::shared_ptr<const EvdevKeymap> keymap_;  // while shortcuts are recorded
};

}  // namespace vantile
