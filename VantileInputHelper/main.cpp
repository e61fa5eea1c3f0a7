// vantile-input-helper: reads the kernel's input devices as root, for a user who may not, and
// writes nothing but button, wheel and key activity (never which key) to its standard output;
// with --shortcuts, also the names of chords held with Ctrl, Alt or Super, never plain typing.
// Started by Vantile through pkexec; ends with Vantile, with the pipe, or after one recording's
// longest time.

#include "capture/wayland/EvdevDevice.h"
#include "capture/wayland/InputDeviceSet.h"
#include "capture/wayland/InputEventStream.h"
#include "capture/wayland/InputHelperArguments.h"
#include "capture/wayland/InputHelperRun.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

using namespace vantile;

namespace {

InputDeviceSet devicesToRead(const InputHelperOptions& options)
{
    if (options.replayDirectory) return InputDeviceSet(*options.replayDirectory, &InputEventStream::open);
    if (options.devices.empty()) return InputDeviceSet("/dev/input", &EvdevDevice::open);
    return InputDeviceSet("/dev/input", [chosen = options.devices](const std::filesystem::path& path) {
        return std::ranges::find(chosen, path) == chosen.end() ? nullptr : EvdevDevice::open(path);
    });
}

}  // namespace

int main(int argc, char** argv)
{
    // Set first, so the parent cannot die unnoticed in between; checked again below.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const pid_t parent = getppid();
    signal(SIGPIPE, SIG_IGN);
    // Nothing here is looked up through the environment or the working directory.
    clearenv();
    if (chdir("/") != 0) return 1;
    alarm(static_cast<unsigned>(inputHelperTimeLimit.count()) + 5);  // the last word, should a write block

    InputHelperOptions options;
    try {
        options = parseInputHelperArguments(std::vector<std::string>(argv + std::min(argc, 1), argv + argc),
                                            getuid() == 0 || geteuid() == 0);
    } catch (const InputHelperError& error) {
        std::cerr << "vantile-input-helper: " << error.what() << '\n';
        return 2;
    }
    if (parent == 1) return 1;  // orphaned before it began

    InputDeviceSet devices = devicesToRead(options);
    devices.recordShortcuts(options.shortcuts);
    devices.open();
    if (!writeInputHelperGreeting(STDOUT_FILENO, options.shortcuts.has_value())) return 0;
    runInputHelper(devices, STDOUT_FILENO,
                   {.parent = parent, .deadline = std::chrono::steady_clock::now() + inputHelperTimeLimit});
    return 0;
}
