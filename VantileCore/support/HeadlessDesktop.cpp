#include "support/HeadlessDesktop.h"

#include "capture/wayland/SessionBus.h"

#include <pwd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace vantile {

namespace {

using namespace std::chrono_literals;

// Lets the session's own user and root connect; the default session policy admits the bus's
// owner only.
constexpr const char* busConfiguration = R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=/tmp</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

bool waitFor(const std::function<bool()>& ready, std::chrono::milliseconds timeout, ChildProcess& part)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        if (ready()) return true;
        if (!part.isRunning()) return false;
        std::this_thread::sleep_for(50ms);
    }
    return ready();
}

bool nameOwned(const std::string& address, const std::string& name)
{
    try {
        SessionBus bus(address);
        BusMessage call = bus.newMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                            "NameHasOwner");
        checkBus(sd_bus_message_append(call.get(), "s", name.c_str()), "cannot build a call");
        const BusMessage reply = bus.call(call, std::chrono::seconds(2));
        int owned = 0;
        checkBus(sd_bus_message_read(reply.get(), "b", &owned), "unexpected answer");
        return owned != 0;
    } catch (const SessionBusError&) {
        return false;
    }
}

void giveTo(const std::filesystem::path& path, unsigned user, unsigned group, mode_t mode)
{
    if (chown(path.c_str(), user, group) != 0 || chmod(path.c_str(), mode) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot prepare " + path.string());
}

}  // namespace

HeadlessDesktop::HeadlessDesktop(const Options& options)
{
    const passwd* account = getpwnam(options.user.c_str());
    if (!account) throw std::runtime_error("the headless desktop's user " + options.user + " does not exist");
    userId_ = account->pw_uid;
    groupId_ = account->pw_gid;

    std::string pattern = (std::filesystem::temp_directory_path() / "vantile-desktop-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot create the headless desktop's directory");
    baseDirectory_ = pattern;
    runtimeDirectory_ = baseDirectory_ / "run";
    homeDirectory_ = baseDirectory_ / "home";
    try {
        chmod(baseDirectory_.c_str(), 0755);
        std::filesystem::create_directories(runtimeDirectory_);
        std::filesystem::create_directories(homeDirectory_);
        giveTo(runtimeDirectory_, userId_, groupId_, 0700);
        giveTo(homeDirectory_, userId_, groupId_, 0755);
        std::ofstream(baseDirectory_ / "bus.conf") << busConfiguration;
        busAddress_ = "unix:path=" + (runtimeDirectory_ / "bus").string();

        auto& bus = parts_.emplace_back(start({"dbus-daemon", "--config-file=" + (baseDirectory_ / "bus.conf").string(),
                                               "--address=" + busAddress_, "--nofork", "--nopidfile"}));
        if (!waitFor([&] { return std::filesystem::exists(runtimeDirectory_ / "bus") &&
                                  nameOwned(busAddress_, "org.freedesktop.DBus"); },
                     10s, *bus))
            throw std::runtime_error("the headless desktop's session bus did not start");

        if (!options.pipewireConfiguration.empty()) {
            // PipeWire reads the drop-ins under the user's configuration directory after its own file.
            const std::filesystem::path dropIns = homeDirectory_ / ".config" / "pipewire" / "pipewire.conf.d";
            std::filesystem::create_directories(dropIns);
            std::ofstream(dropIns / "vantile-test.conf") << options.pipewireConfiguration;
        }
        auto& pipewire = parts_.emplace_back(start({"pipewire"}));
        if (!waitFor([&] { return std::filesystem::exists(runtimeDirectory_ / "pipewire-0"); }, 10s, *pipewire))
            throw std::runtime_error("PipeWire did not start");
        parts_.push_back(start({"wireplumber"}));
        auto& pulse = parts_.emplace_back(start({"pipewire-pulse"}));
        if (!waitFor([&] { return std::filesystem::exists(runtimeDirectory_ / "pulse" / "native"); }, 10s, *pulse))
            throw std::runtime_error("PipeWire's PulseAudio server did not start");

        const std::string monitor = std::to_string(options.width) + "x" + std::to_string(options.height);
        auto& mutter = parts_.emplace_back(start({"mutter", "--headless", "--wayland", "--no-x11",
                                                  std::string("--wayland-display=") + waylandName,
                                                  "--virtual-monitor", monitor}));
        if (!waitFor([&] { return nameOwned(busAddress_, "org.gnome.Mutter.ScreenCast") &&
                                  nameOwned(busAddress_, "org.gnome.Mutter.RemoteDesktop"); },
                     30s, *mutter))
            throw std::runtime_error("mutter did not start");

        auto& store = parts_.emplace_back(start({"/usr/libexec/xdg-permission-store"}));
        if (!waitFor([&] { return nameOwned(busAddress_, "org.freedesktop.impl.portal.PermissionStore"); }, 10s, *store))
            throw std::runtime_error("the portal permission store did not start");
        // GNOME's access dialogs (the camera's among them) come from the GTK back end.
        auto& gtk = parts_.emplace_back(start({"/usr/libexec/xdg-desktop-portal-gtk"}));
        if (!waitFor([&] { return nameOwned(busAddress_, "org.freedesktop.impl.portal.desktop.gtk"); }, 15s, *gtk))
            throw std::runtime_error("the GTK desktop portal did not start");
        portalBackendPart_ = parts_.size();
        parts_.push_back(nullptr);
        startPortalBackend();
        auto& portal = parts_.emplace_back(start({"/usr/libexec/xdg-desktop-portal", "-r"}));
        if (!waitFor([&] { return nameOwned(busAddress_, "org.freedesktop.portal.Desktop"); }, 15s, *portal))
            throw std::runtime_error("the desktop portal did not start");
    } catch (...) {
        stopAll();
        throw;
    }
}

HeadlessDesktop::~HeadlessDesktop() { stopAll(); }

void HeadlessDesktop::startPortalBackend()
{
    auto& gnome = parts_[portalBackendPart_];
    gnome = start({"/usr/libexec/xdg-desktop-portal-gnome"});
    if (!waitFor([&] { return nameOwned(busAddress_, "org.freedesktop.impl.portal.desktop.gnome"); }, 15s, *gnome))
        throw std::runtime_error("the GNOME desktop portal did not start");
}

void HeadlessDesktop::revokeScreenCasts()
{
    parts_[portalBackendPart_]->stop(2000ms);
    startPortalBackend();
}

void HeadlessDesktop::stopAll()
{
    // Clients first, the bus last, so nothing sees its bus vanish while it still works.
    while (!parts_.empty()) {
        if (parts_.back()) parts_.back()->stop(2000ms);
        parts_.pop_back();
    }
    std::error_code ignored;
    if (!baseDirectory_.empty()) std::filesystem::remove_all(baseDirectory_, ignored);
}

std::unique_ptr<ChildProcess> HeadlessDesktop::start(const std::vector<std::string>& arguments) const
{
    return launch(arguments, {});
}

int HeadlessDesktop::openPipeWire() const
{
    const std::filesystem::path socketPath = runtimeDirectory_ / "pipewire-0";
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    if (descriptor < 0 || connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        if (descriptor >= 0) close(descriptor);
        throw std::runtime_error("cannot connect to PipeWire at " + socketPath.string());
    }
    return descriptor;
}

void HeadlessDesktop::share(const std::filesystem::path& path) const
{
    if (chown(path.c_str(), userId_, groupId_) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot hand " + path.string() + " to the session");
}

std::unique_ptr<ChildProcess> HeadlessDesktop::launch(const std::vector<std::string>& arguments,
                                                      const std::vector<std::string>& environment,
                                                      bool captureOutput) const
{
    // env drops the X display and starts in the session's home (our own working directory may be
    // out of the user's reach), setpriv becomes the session's user; both exec, so the id we keep
    // is the program's own.
    std::vector<std::string> command{"env", "-u", "DISPLAY", "-C", homeDirectory_.string(), "setpriv", "--reuid=" + std::to_string(userId_),
                                     "--regid=" + std::to_string(groupId_), "--clear-groups"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables{
        "XDG_RUNTIME_DIR=" + runtimeDirectory_.string(),
        "HOME=" + homeDirectory_.string(),
        // The session's user has no login shell, and a terminal falls back to it without SHELL.
        "SHELL=/bin/sh",
        "XDG_CONFIG_HOME=" + (homeDirectory_ / ".config").string(),
        "XDG_DATA_HOME=" + (homeDirectory_ / ".local/share").string(),
        "XDG_STATE_HOME=" + (homeDirectory_ / ".local/state").string(),
        "XDG_CACHE_HOME=" + (homeDirectory_ / ".cache").string(),
        "XDG_CURRENT_DESKTOP=GNOME",
        "XDG_SESSION_TYPE=wayland",
        "GSETTINGS_BACKEND=memory",
        "LIBGL_ALWAYS_SOFTWARE=1",
        "LP_NUM_THREADS=1",
        "GDK_BACKEND=wayland",
        "DBUS_SESSION_BUS_ADDRESS=" + busAddress_,
        "WAYLAND_DISPLAY=" + std::string(waylandName),
        "PULSE_SERVER=" + pulseServer(),
        "PIPEWIRE_RUNTIME_DIR=" + runtimeDirectory_.string(),
    };
    variables.insert(variables.end(), environment.begin(), environment.end());
    return std::make_unique<ChildProcess>(command,
                                          ChildProcess::Options{.environment = variables, .captureOutput = captureOutput});
}

std::vector<pid_t> HeadlessDesktop::processIds() const
{
    std::vector<pid_t> ids;
    for (const auto& part : parts_)
        if (part) ids.push_back(part->pid());
    return ids;
}

}  // namespace vantile
