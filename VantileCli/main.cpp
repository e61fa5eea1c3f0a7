#include "CommandHelp.h"
#include "CommandLine.h"
#include "Commands.h"

#include "media/FfmpegHandles.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace {

using Command = std::function<int(const std::vector<std::string>&)>;

struct CommandEntry {
    Command run;
    const char* usage;
};

const std::map<std::string, CommandEntry>& commands()
{
    using namespace vantile::cli;
    static const std::map<std::string, CommandEntry> table = {
        {"info", {runInfo, "info DIR [--json]"}},
        {"sources", {runSources, "sources [--json]"}},
        {"record", {runRecord, "record [--source ID] [--audio MODE] [--microphone ID] [--camera ID|default]"
                               " [--duration S] [--fps 30|60] [--record-shortcuts] [--root DIR]"}},
        {"recover", {runRecover, "recover DIR"}},
        {"demo", {runDemo, "demo [--root DIR] [--camera ID|default]"}},
        {"sample", {runSample, "sample DIR [--duration S] [--width W] [--height H] [--audio MODE]"}},
        {"export", {runExport, "export DIR [-o FILE] [--aspect A] [--resolution R] [--template T] [--zoom Z] [--fps N]"
                               " [--cursor-theme C] [--cursor-effect E] [--quality Q] [--window-chrome W]"
                               " [--cursor-smoothing S] [--camera on|off] [--camera-position P] [--camera-size F]"
                               " [--camera-shape S] [--camera-mirror on|off] [--motion-blur A] [--background B]"
                               " [--background-blur PX] [--padding F] [--corner-radius PX] [--shadow S]"
                               " [--cursor-size F] [--layout card|fill] [--no-background] [--no-cursor] [--no-ripple]"
                               " [--no-dynamic-cursor] [--no-shortcuts] [--normalize-loudness] [--reduce-noise]"
                               " [--volume system|microphone DB]... [--mute system|microphone]..."
                               " [--duck microphone|system|none]"}},
        {"edit", {runEdit, "edit DIR [--trim START END] [--cut START END]... [--zoom START END X Y SCALE]..."
                           " [--remove-zoom INDEX]... [--speed START END FACTOR]... [--remove-speed INDEX]..."
                           " [--skip-idle [SECONDS] [--as speed|cut]] [--clear-edits] [--text START END TEXT"
                           " [--text-style S] [--text-position X Y]]... [--remove-text INDEX]..."
                           " [--blur START END X Y W H [--blur-style S]]... [--remove-blur INDEX]..."
                           " [--crop X Y W H] [--clear-crop] [--hide-shortcut N]... [--show-shortcut N]... [--json]"}},
        {"plan", {runPlan, "plan --events FILE --duration S --width W --height H [--intensity light|standard|strong]"
                           " [--fps N]"}},
    };
    return table;
}

void printUsage(std::FILE* stream)
{
    std::fprintf(stream, "usage: vantile-cli COMMAND [OPTIONS]\n       vantile-cli --version\n\ncommands:\n");
    for (const auto& [name, entry] : commands()) std::fprintf(stream, "  vantile-cli %s\n", entry.usage);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        printUsage(stderr);
        return 2;
    }
    const std::string name = argv[1];
    if (name == "--version") {
        std::printf("vantile-cli %s\n", VANTILE_VERSION);
        return 0;
    }
    if (name == "--help" || name == "-h" || name == "help") {
        printUsage(stdout);
        return 0;
    }
    const auto found = commands().find(name);
    if (found == commands().end()) {
        std::fprintf(stderr, "vantile-cli: unknown command \"%s\" (try vantile-cli --help)\n", name.c_str());
        return 2;
    }
    const std::vector<std::string> rest(argv + 2, argv + argc);
    if (std::find(rest.begin(), rest.end(), "--help") != rest.end() || std::find(rest.begin(), rest.end(), "-h") != rest.end()) {
        std::fputs(vantile::cli::commandHelp(name).c_str(), stdout);
        return 0;
    }
    vantile::quietMediaLibraryLogs();
    try {
        return found->second.run(std::vector<std::string>(argv + 2, argv + argc));
    } catch (const vantile::cli::UsageError& error) {
        std::fprintf(stderr, "vantile-cli %s: %s (usage: vantile-cli %s)\n", name.c_str(), error.what(),
                     found->second.usage);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vantile-cli %s: %s\n", name.c_str(), error.what());
        return 1;
    }
}
