#pragma once

#include "capture/X11TestSession.h"
#include "support/ChildProcess.h"
#include "support/RunCommand.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QRect>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantile::testing {

// The real application on a private X display and a private session bus, driven from a second
// `vantile` process as a desktop keybinding would.
class RunningApplication : public X11TestSession {
protected:
    void SetUp() override
    {
        namespace fs = std::filesystem;
        using namespace std::chrono_literals;
        X11TestSession::SetUp();
        const std::string address = "unix:path=" + (directory / "bus").string();
        bus_ = std::make_unique<ChildProcess>(std::vector<std::string>{"dbus-daemon", "--session", "--nofork",
                                                                        "--nopidfile", "--print-address=1",
                                                                        "--address=" + address},
                                              ChildProcess::Options{.captureOutput = true});
        ASSERT_TRUE(bus_->readLine(10s).has_value());
        busConnection_ = QDBusConnection::connectToBus(QString::fromStdString(address), busConnectionName);
        ASSERT_TRUE(busConnection_.isConnected());
        const fs::path runtime = directory / "runtime";
        fs::create_directory(runtime);
        fs::permissions(runtime, fs::perms::owner_all);
        environment = {"DBUS_SESSION_BUS_ADDRESS=" + address, "XDG_RUNTIME_DIR=" + runtime.string(), "DISPLAY=" + display->name(),
                       "XDG_VIDEOS_DIR=" + (directory / "videos").string(),
                       "XDG_CONFIG_HOME=" + configHome().string(),
                       "XDG_CACHE_HOME=" + (directory / "cache").string(), "QT_QPA_PLATFORM=xcb",
                       "VANTILE_BACKEND=x11"};
    }

    void TearDown() override
    {
        application.reset();
        QDBusConnection::disconnectFromBus(busConnectionName);
        bus_.reset();
        X11TestSession::TearDown();
    }

    void launchApplication(const std::vector<std::string>& options = {})
    {
        // Its error output is kept for the failure messages.
        std::vector<std::string> arguments{"sh", "-c", "exec \"$@\" 2>>" + quoteForShell(logPath().string()), "sh",
                                           VANTILE_APP};
        arguments.insert(arguments.end(), options.begin(), options.end());
        application = std::make_unique<ChildProcess>(arguments, ChildProcess::Options{.environment = environment});
    }

    // Runs a second `vantile` with these options against the same display and bus.
    CommandResult vantile(const std::vector<std::string>& options)
    {
        std::vector<std::string> arguments{"env"};
        arguments.insert(arguments.end(), environment.begin(), environment.end());
        arguments.push_back(VANTILE_APP);
        arguments.insert(arguments.end(), options.begin(), options.end());
        return runCommand(arguments);
    }

    // Mutter as the window manager: it composites, so an unmapped window stays in the picture
    // until it has redrawn, as on a desktop.
    std::unique_ptr<ChildProcess> startCompositingWindowManager()
    {
        auto windowManager = std::make_unique<ChildProcess>(
            std::vector<std::string>{"mutter", "--x11", "--replace", "--sm-disable"},
            ChildProcess::Options{.environment = environment});
        const bool running = waitUntil([&] {
            return runShell("DISPLAY=" + display->name() + " xprop -root _NET_SUPPORTING_WM_CHECK | grep -q window")
                       .exitCode == 0;
        }, std::chrono::seconds(30));
        EXPECT_TRUE(running) << "mutter did not start";
        return windowManager;
    }

    // The process id of the name's owner, or 0 while nobody owns it.
    unsigned instanceOwner()
    {
        const auto owner = busConnection_.interface()->servicePid("app.vantile.Vantile");
        return owner.isValid() ? owner.value() : 0;
    }

    std::filesystem::path logPath() const { return directory / "vantile.log"; }
    std::string log() const
    {
        std::ifstream file(logPath());
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    std::filesystem::path configHome() const { return directory / "config"; }
    std::filesystem::path projectsRoot() const { return directory / "videos" / "VantileProjects"; }

    // The one project directory whose raw movie has started to grow.
    std::optional<std::filesystem::path> recordingDirectory() const
    {
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(projectsRoot(), ignored)) {
            if (std::filesystem::file_size(entry.path() / "raw.mov", ignored) > 0 && !ignored) return entry.path();
        }
        return std::nullopt;
    }

    // A window's geometry on the screen, as xdotool reports it.
    QRect windowGeometry(const std::string& window) const
    {
        const std::string shell = commandOutput("DISPLAY=" + display->name() + " xdotool getwindowgeometry --shell " + window);
        const auto value = [&](const std::string& name) {
            const auto at = shell.find(name + "=");
            return at == std::string::npos ? -1 : std::stoi(shell.substr(at + name.size() + 1));
        };
        return QRect(value("X"), value("Y"), value("WIDTH"), value("HEIGHT"));
    }

    // The id of the mapped window with exactly this title, empty when there is none.
    std::string visibleWindow(const std::string& title) const
    {
        const std::string found =
            commandOutput("DISPLAY=" + display->name() + " xdotool search --onlyvisible --name '^" + title + "$' 2>/dev/null");
        return found.substr(0, found.find('\n'));
    }

    std::vector<std::string> environment;
    std::unique_ptr<ChildProcess> application;

private:
    static constexpr const char* busConnectionName = "running-application-test";
    std::unique_ptr<ChildProcess> bus_;
    QDBusConnection busConnection_{QString()};
};

}  // namespace vantile::testing
