#pragma once

#include "capture/wayland/KeyboardLayout.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantile {

// Why vantile-input-helper refuses to run, in the sentence it prints.
class InputHelperError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What the helper reads. It runs as root, so nothing here may name anything but the kernel's
// event devices.
struct InputHelperOptions {
    // Only these nodes; empty reads every event device under /dev/input, hot-plugged ones too.
    std::vector<std::filesystem::path> devices;
    // Recorded device streams instead of the kernel's (every event* entry of this directory).
    // Tests only, and never with root's rights, where it would read files for the caller.
    std::optional<std::filesystem::path> replayDirectory;
    // Chords with Ctrl, Alt or Super named in this layout (--shortcuts with --xkb-rules, -model,
    // -layout, -variant, -options); nullopt writes no key's identity, as the first version did.
    std::optional<KeyboardLayout> shortcuts;

    bool operator==(const InputHelperOptions&) const = default;
};

// Exactly /dev/input/event followed by a number: no other directory, no "..", no trailing
// slash, no other kind of node.
bool isInputEventDevicePath(const std::string& path);

// Throws InputHelperError for anything else: unknown options, other paths, a replay with root's
// rights (`privileged`), layout names that are not plain rule names.
InputHelperOptions parseInputHelperArguments(const std::vector<std::string>& arguments, bool privileged);

// The arguments that ask the helper for chords named in `layout`.
std::vector<std::string> inputHelperShortcutArguments(const KeyboardLayout& layout);

}  // namespace vantile
