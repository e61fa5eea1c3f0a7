#pragma once

#include "capture/camera/PipeWireCameraLister.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

namespace vantile::testing {

// A private PipeWire daemon publishing one test camera (a moving ball from SPA's videotestsrc,
// offered as RGB or UYVY) the way WirePlumber publishes real ones. While it lives,
// PIPEWIRE_RUNTIME_DIR points this process and the programs it starts at it.
class TestCameraDaemon {
public:
    static constexpr const char* nodeName = "test-camera";
    static constexpr const char* title = "Test Camera";

    TestCameraDaemon()
    {
        if (const char* previous = std::getenv("PIPEWIRE_RUNTIME_DIR")) previous_ = previous;
        writeText(directory_ / "camera.conf", configuration());
        start();
    }
    ~TestCameraDaemon()
    {
        daemon_.reset();
        if (previous_) {
            ::setenv("PIPEWIRE_RUNTIME_DIR", previous_->c_str(), 1);
        } else {
            ::unsetenv("PIPEWIRE_RUNTIME_DIR");
        }
    }
    TestCameraDaemon(const TestCameraDaemon&) = delete;
    TestCameraDaemon& operator=(const TestCameraDaemon&) = delete;

    // Ends the daemon by its process id, as a camera that goes away mid-take.
    void stop() { daemon_.reset(); }
    pid_t pid() const { return daemon_ ? daemon_->pid() : -1; }
    const std::filesystem::path& runtimeDirectory() const { return directory_.path(); }

    // The camera alone, as a PipeWire configuration fragment: what a session's daemon adds to
    // its own configuration to publish it too.
    static std::string cameraConfiguration()
    {
        return std::string(R"(context.spa-libs = {
    support.* = support/libspa-support
    videotestsrc = videotestsrc/libspa-videotestsrc
}
context.objects = [
    { factory = spa-node-factory
        args = {
            factory.name = videotestsrc
            node.name = )") + nodeName + R"(
            node.description = ")" + title + R"("
            media.class = Video/Source
            media.role = Camera
            pattern = ball
            live = true
            node.driver = true
            priority.driver = 1
        }
    }
]
)";
    }

private:
    static std::string configuration()
    {
        return R"(context.properties = {
    core.daemon = true
    core.name = pipewire-0
    support.dbus = false
    mem.allow-mlock = false
}
context.modules = [
    { name = libpipewire-module-protocol-native }
    { name = libpipewire-module-client-node }
    { name = libpipewire-module-adapter }
    { name = libpipewire-module-spa-node-factory }
    { name = libpipewire-module-access }
    { name = libpipewire-module-link-factory }
]
)" + cameraConfiguration();
    }

    void start()
    {
        const std::string runtime = directory_.path().string();
        daemon_ = std::make_unique<ChildProcess>(
            std::vector<std::string>{"pipewire", "-c", (directory_ / "camera.conf").string()},
            ChildProcess::Options{.environment = {"XDG_RUNTIME_DIR=" + runtime, "PIPEWIRE_RUNTIME_DIR=" + runtime,
                                                  "PIPEWIRE_DEBUG=0"}});
        ::setenv("PIPEWIRE_RUNTIME_DIR", runtime.c_str(), 1);
        for (int attempt = 0; attempt < 100; ++attempt) {
            if (std::filesystem::exists(directory_ / "pipewire-0") &&
                !PipeWireCameraLister(std::chrono::milliseconds(500)).cameras().empty())
                return;
            if (!daemon_->isRunning()) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        throw std::runtime_error("the test camera's PipeWire daemon did not start");
    }

    TemporaryDirectory directory_;
    std::unique_ptr<ChildProcess> daemon_;
    std::optional<std::string> previous_;
};

}  // namespace vantile::testing
