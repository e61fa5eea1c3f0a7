#include "capture/wayland/DesktopKeyboardLayout.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>

namespace vantile {

namespace {

// One GVariant key of GNOME's input sources, through the gsettings tool (GNOME's settings live
// in dconf's binary database); empty when the tool or the schema is missing.
std::string gnomeSetting(const char* key)
{
    const std::string command = std::string("gsettings get org.gnome.desktop.input-sources ") + key + " 2>/dev/null";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    if (!pipe) return {};
    std::string text;
    std::array<char, 512> buffer{};
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe.get())) text += buffer.data();
    return text;
}

bool desktopIs(const char* name)
{
    const char* desktops = std::getenv("XDG_CURRENT_DESKTOP");
    return desktops && std::string(desktops).find(name) != std::string::npos;
}

std::optional<std::string> firstXkbSource(const std::string& list)
{
    static const std::regex source(R"(\(\s*'xkb'\s*,\s*'([^']*)'\s*\))");
    std::smatch match;
    if (!std::regex_search(list, match, source)) return std::nullopt;
    return match[1].str();
}

// Every field a rule name, or left to xkbcommon's default.
KeyboardLayout checked(KeyboardLayout layout)
{
    for (std::string* field : {&layout.rules, &layout.model, &layout.layout, &layout.variant, &layout.options})
        if (!isKeyboardLayoutName(*field)) field->clear();
    return layout;
}

}  // namespace

std::optional<KeyboardLayout> gnomeKeyboardLayout(const std::string& sources, const std::string& recentSources,
                                                  const std::string& options)
{
    std::optional<std::string> active = firstXkbSource(recentSources);
    if (!active) active = firstXkbSource(sources);
    if (!active) return std::nullopt;
    KeyboardLayout layout;
    // A source id is the layout, then "+" and its variant: "de+nodeadkeys".
    const auto plus = active->find('+');
    layout.layout = active->substr(0, plus);
    if (plus != std::string::npos) layout.variant = active->substr(plus + 1);
    static const std::regex quoted(R"('([^']*)')");
    for (auto each = std::sregex_iterator(options.begin(), options.end(), quoted); each != std::sregex_iterator(); ++each) {
        layout.options += (layout.options.empty() ? "" : ",") + (*each)[1].str();
    }
    return checked(layout);
}

std::optional<KeyboardLayout> kdeKeyboardLayout(const std::string& kxkbrc)
{
    std::istringstream lines(kxkbrc);
    bool inLayout = false;
    bool managed = false;
    std::string layouts;
    std::string variants;
    std::string options;
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.starts_with('[')) {
            inLayout = line == "[Layout]";
            continue;
        }
        const auto equals = line.find('=');
        if (!inLayout || equals == std::string::npos) continue;
        const std::string key = line.substr(0, equals);
        const std::string value = line.substr(equals + 1);
        if (key == "Use") managed = value == "true";
        if (key == "LayoutList") layouts = value;
        if (key == "VariantList") variants = value;
        if (key == "Options") options = value;
    }
    if (!managed || layouts.empty()) return std::nullopt;
    KeyboardLayout layout;
    layout.layout = layouts.substr(0, layouts.find(','));
    layout.variant = variants.substr(0, variants.find(','));
    layout.options = options;
    return checked(layout);
}

KeyboardLayout desktopKeyboardLayout()
{
    const KeyboardLayout environment = KeyboardLayout::fromEnvironment();
    if (!environment.layout.empty()) return environment;
    if (desktopIs("GNOME")) {
        if (auto layout = gnomeKeyboardLayout(gnomeSetting("sources"), gnomeSetting("mru-sources"), gnomeSetting("xkb-options")))
            return *layout;
    }
    if (desktopIs("KDE")) {
        const char* configuration = std::getenv("XDG_CONFIG_HOME");
        const char* home = std::getenv("HOME");
        const std::filesystem::path directory =
            configuration && *configuration ? configuration : std::filesystem::path(home ? home : "") / ".config";
        std::ostringstream kxkbrc;
        kxkbrc << std::ifstream(directory / "kxkbrc").rdbuf();
        if (auto layout = kdeKeyboardLayout(kxkbrc.str())) return *layout;
    }
    return environment;
}

}  // namespace vantile
