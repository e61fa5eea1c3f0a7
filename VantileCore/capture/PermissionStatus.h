#pragma once

#include <string>
#include <vector>

namespace vantile {

// Which of the three permissions a recording needs are granted.
struct PermissionStatus {
    bool screenRecordingGranted = false;
    bool accessibilityGranted = false;
    bool inputMonitoringGranted = false;
    // How to grant input monitoring where no system dialog asks for it (joining a group, say);
    // added to the message while it is missing.
    std::string inputMonitoringHowTo;
    // Input monitoring can be granted by starting a helper with the user's consent.
    bool inputHelperOffered = false;

    bool allGranted() const { return screenRecordingGranted && accessibilityGranted && inputMonitoringGranted; }
    std::vector<std::string> missingRequiredPermissionNames() const;
    std::string missingPermissionMessage() const;

    bool operator==(const PermissionStatus&) const = default;
};

}  // namespace vantile
