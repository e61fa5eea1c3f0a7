#pragma once

#include "support/ChildProcess.h"

#include <filesystem>
#include <memory>
#include <string>

namespace vantile {

// A private PulseAudio daemon whose only output is a null sink, so sound can be played and
// recorded on a machine without audio hardware.
class NullSinkSoundServer {
public:
    // Throws std::runtime_error when the daemon does not come up.
    explicit NullSinkSoundServer(const std::filesystem::path& runtimeDirectory);

    // The PULSE_SERVER value that reaches this daemon.
    const std::string& serverAddress() const { return serverAddress_; }

private:
    std::unique_ptr<ChildProcess> daemon_;
    std::string serverAddress_;
};

}  // namespace vantile
