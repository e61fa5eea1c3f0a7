#pragma once

#include "support/ChildProcess.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace vantile {

// A private headless GNOME session for tests and benchmarks on machines without a GPU or a
// desktop: a session bus, PipeWire with WirePlumber and its PulseAudio server, mutter with one
// virtual monitor, and the desktop portals. Compositors refuse to run as root, so the session
// runs as an unprivileged account; its bus also admits the root user, so programs under test may
// run as they are. Everything it starts it stops again, by process id.
class HeadlessDesktop {
public:
    struct Options {
        int width = 1920;
        int height = 1080;
        std::string user = "nobody";
        // Added to the session's PipeWire configuration, e.g. to publish a test camera.
        std::string pipewireConfiguration;
    };

    // Throws std::runtime_error naming the part that did not come up.
    explicit HeadlessDesktop(const Options& options);
    ~HeadlessDesktop();

    HeadlessDesktop(const HeadlessDesktop&) = delete;
    HeadlessDesktop& operator=(const HeadlessDesktop&) = delete;

    const std::string& busAddress() const { return busAddress_; }
    // Absolute socket path, which Wayland clients accept as WAYLAND_DISPLAY.
    std::string waylandDisplay() const { return (runtimeDirectory_ / waylandName).string(); }
    std::string pulseServer() const { return "unix:" + (runtimeDirectory_ / "pulse" / "native").string(); }
    const std::filesystem::path& runtimeDirectory() const { return runtimeDirectory_; }

    // Starts a program inside the session, as the session's user.
    std::unique_ptr<ChildProcess> launch(const std::vector<std::string>& arguments,
                                         const std::vector<std::string>& environment = {},
                                         bool captureOutput = false) const;
    // Hands a path this process created to the session's user, so programs in the session can write there.
    void share(const std::filesystem::path& path) const;
    // A new connection to the session's PipeWire, as a descriptor the caller owns.
    int openPipeWire() const;
    // Ends every screen cast the way a user revoking them from the desktop does: the compositor
    // stops the sessions of the portal back end, which starts again for later casts.
    void revokeScreenCasts();
    // The process ids of every part started, in start order (all still running while the session lives).
    std::vector<pid_t> processIds() const;

    static constexpr const char* waylandName = "wayland-vantile";

private:
    std::unique_ptr<ChildProcess> start(const std::vector<std::string>& arguments) const;
    void stopAll();
    void startPortalBackend();

    std::filesystem::path baseDirectory_;
    std::filesystem::path runtimeDirectory_;
    std::filesystem::path homeDirectory_;
    std::string busAddress_;
    unsigned userId_ = 0;
    unsigned groupId_ = 0;
    std::vector<std::unique_ptr<ChildProcess>> parts_;
    std::size_t portalBackendPart_ = 0;
};

}  // namespace vantile
