#include "capture/wayland/InputHelperArguments.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace vantile {

namespace {

constexpr std::string_view eventDevicePrefix = "/dev/input/event";
constexpr std::string_view replayOption = "--replay-directory";
constexpr std::string_view shortcutsOption = "--shortcuts";

struct LayoutOption {
    std::string_view name;
    std::string KeyboardLayout::*field;
};

constexpr std::array<LayoutOption, 5> layoutOptions{{
    {"--xkb-rules", &KeyboardLayout::rules},
    {"--xkb-model", &KeyboardLayout::model},
    {"--xkb-layout", &KeyboardLayout::layout},
    {"--xkb-variant", &KeyboardLayout::variant},
    {"--xkb-options", &KeyboardLayout::options},
}};

std::string quoted(const std::string& text)
{
    // Control characters would let an argument rewrite the terminal's line.
    std::string shown;
    for (const char character : text) shown += std::iscntrl(static_cast<unsigned char>(character)) ? '?' : character;
    return "“" + shown + "”";
}

}  // namespace

bool isInputEventDevicePath(const std::string& path)
{
    if (!path.starts_with(eventDevicePrefix)) return false;
    const std::string_view number = std::string_view(path).substr(eventDevicePrefix.size());
    return !number.empty() && number.size() <= 5 &&
           std::ranges::all_of(number, [](char digit) { return digit >= '0' && digit <= '9'; });
}

InputHelperOptions parseInputHelperArguments(const std::vector<std::string>& arguments, bool privileged)
{
    InputHelperOptions options;
    bool shortcuts = false;
    KeyboardLayout layout;
    std::vector<std::string_view> layoutFieldsGiven;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        const auto layoutOption = std::ranges::find(layoutOptions, argument, &LayoutOption::name);
        if (argument == shortcutsOption) {
            shortcuts = true;
        } else if (layoutOption != layoutOptions.end()) {
            if (index + 1 >= arguments.size() || std::ranges::find(layoutFieldsGiven, layoutOption->name) != layoutFieldsGiven.end())
                throw InputHelperError(argument + " takes one name.");
            const std::string& name = arguments[++index];
            // Compiled as root: only plain rule names, never a path.
            if (!isKeyboardLayoutName(name))
                throw InputHelperError("Refusing the keyboard layout name " + quoted(name) + ".");
            layout.*(layoutOption->field) = name;
            layoutFieldsGiven.push_back(layoutOption->name);
        } else if (argument == replayOption) {
            if (privileged)
                throw InputHelperError("Recorded streams are only replayed without root's rights; as root only "
                                       "/dev/input/eventN can be read.");
            if (index + 1 >= arguments.size() || options.replayDirectory)
                throw InputHelperError("--replay-directory takes one directory.");
            options.replayDirectory = arguments[++index];
        } else if (isInputEventDevicePath(argument)) {
            const std::filesystem::path device(argument);
            if (std::ranges::find(options.devices, device) == options.devices.end()) options.devices.push_back(device);
        } else {
            throw InputHelperError("Refusing " + quoted(argument) +
                                   ": only input event devices (/dev/input/eventN) can be read.");
        }
    }
    if (options.replayDirectory && !options.devices.empty())
        throw InputHelperError("A replay reads no devices of the kernel.");
    if (!layoutFieldsGiven.empty() && !shortcuts)
        throw InputHelperError("A keyboard layout is only read with --shortcuts.");
    if (shortcuts) options.shortcuts = layout;
    return options;
}

std::vector<std::string> inputHelperShortcutArguments(const KeyboardLayout& layout)
{
    std::vector<std::string> arguments{std::string(shortcutsOption)};
    for (const LayoutOption& option : layoutOptions) {
        if ((layout.*(option.field)).empty()) continue;
        arguments.emplace_back(option.name);
        arguments.push_back(layout.*(option.field));
    }
    return arguments;
}

}  // namespace vantile
