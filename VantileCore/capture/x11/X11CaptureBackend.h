#pragma once

#include "capture/CaptureBackend.h"
#include "capture/x11/X11CapturePlatform.h"

namespace vantile {

// An X server: sources from its screens and windows, input through XInput2.
class X11CaptureBackend : public CaptureBackend {
public:
    explicit X11CaptureBackend(std::optional<std::string> displayName = std::nullopt);

    CaptureBackendKind kind() const override { return CaptureBackendKind::x11; }
    void requireDisplayServer() override;
    std::vector<CaptureSource> loadSources() override;
    std::optional<std::string> fallbackReason() const override { return fallbackReason_; }
    PermissionStatus permissions() override;
    bool canRecord(const PermissionStatus& status) const override { return status.allGranted(); }
    std::vector<std::string> notices(const PermissionStatus&) const override { return {}; }
    std::unique_ptr<InputSource> makeInputSource() override;
    CapturePlatform& platform() override { return platform_; }

private:
    std::optional<std::string> displayName_;
    std::optional<std::string> fallbackReason_;
    X11CapturePlatform platform_;
};

}  // namespace vantile
