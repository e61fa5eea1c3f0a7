#pragma once

#include "support/ChildProcess.h"
#include "support/DesktopDriver.h"
#include "support/HeadlessDesktop.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

// The application itself, started in a headless desktop and used as a person would: what it
// shows is read from the monitor, and it is clicked through the desktop's remote input.
class AppInSession {
public:
    // Runs a copy of program (a build tree may be out of the session user's reach) with Qt left to
    // choose its own platform, its error output kept in log().
    AppInSession(const HeadlessDesktop& desktop, DesktopDriver& driver, const std::filesystem::path& program,
                 const std::vector<std::string>& environment);
    ~AppInSession();

    AppInSession(const AppInSession&) = delete;
    AppInSession& operator=(const AppInSession&) = delete;

    ChildProcess& process() { return *process_; }
    std::string log() const;

    // The main window, found by its background; nothing when it does not show within timeout.
    std::optional<ShownArea> waitForMainWindow(std::chrono::milliseconds timeout);
    // Clicks the blue button lowest in the main window once it stays put: 开始录制 at home, 导出 MP4
    // in the preview.
    // Throws when the window shows none.
    void clickLowestPrimaryButton();
    // The recording control's 停止 button once the control shows; nothing when it does not within timeout.
    std::optional<ShownArea> waitForStopButton(std::chrono::milliseconds timeout);

    static constexpr ShownPixel windowBackground{11, 16, 32};
    static constexpr ShownPixel primaryButton{59, 130, 246};
    static constexpr ShownPixel stopButton{255, 59, 48};

private:
    DesktopDriver& driver_;
    std::filesystem::path directory_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace vantile
