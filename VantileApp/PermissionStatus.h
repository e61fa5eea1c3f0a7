#pragma once

#include <string>
#include <vector>

namespace vantile {

// Which of the three privacy permissions a recording needs are granted.
struct PermissionStatus {
    bool screenRecordingGranted = false;
    bool accessibilityGranted = false;
    bool inputMonitoringGranted = false;

    bool allGranted() const { return screenRecordingGranted && accessibilityGranted && inputMonitoringGranted; }
    std::vector<std::string> missingRequiredPermissionNames() const;
    std::string missingPermissionMessage() const;

    bool operator==(const PermissionStatus&) const = default;
};

}  // namespace vantile
