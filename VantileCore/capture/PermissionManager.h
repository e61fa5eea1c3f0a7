#pragma once

#include "capture/PermissionStatus.h"

#include <optional>
#include <string>

namespace vantile {

// The privacy permissions of a recording, read off what the X server allows: screen recording
// is reading root pixels, accessibility is XInput2 being there, input monitoring is being able
// to select raw events on the root window. X11 grants or refuses them without asking, so the
// requests only report; the settings links open the desktop's settings or help page.
class PermissionManager {
public:
    explicit PermissionManager(std::optional<std::string> displayName = std::nullopt)
        : displayName_(std::move(displayName))
    {
    }

    PermissionStatus currentStatus() const;
    bool requestScreenRecordingIfNeeded() const { return currentStatus().screenRecordingGranted; }
    void requestAccessibilityPrompt() const {}
    bool requestInputMonitoringIfNeeded() const { return currentStatus().inputMonitoringGranted; }

    void openPrivacySettings() const { openSettings("Privacy_ScreenCapture"); }
    void openAccessibilitySettings() const { openSettings("Privacy_Accessibility"); }
    void openInputMonitoringSettings() const { openSettings("Privacy_ListenEvent"); }
    void openMicrophoneSettings() const { openSettings("Privacy_Microphone"); }

    // Whether a microphone can be recorded: a sound server answers and offers a real input.
    static bool microphoneAuthorized();

    // The link handed to xdg-open for a settings anchor.
    static std::string settingsLink(const std::string& anchor);

private:
    void openSettings(const std::string& anchor) const;

    std::optional<std::string> displayName_;
};

}  // namespace vantile
