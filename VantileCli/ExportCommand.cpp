#include "CommandLine.h"
#include "Commands.h"
#include "ProgressBar.h"

#include "render/ExportManager.h"
#include "media/FfmpegHandles.h"
#include "render/ProjectSettingsEditor.h"
#include "render/RenderError.h"

#include <atomic>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <map>

namespace vantile::cli {

namespace {

std::atomic<ExportMonitor*> activeMonitor{nullptr};

extern "C" void cancelExport(int)
{
    if (ExportMonitor* monitor = activeMonitor.load()) monitor->cancel();
}

template <typename Enum, std::size_t Count>
Enum parseChoice(const std::string& option, const std::string& text, const EnumTexts<Enum, Count>& texts,
                 const std::map<std::string, Enum>& aliases = {})
{
    if (const auto alias = aliases.find(text); alias != aliases.end()) return alias->second;
    for (const Enum value : texts.allCases()) {
        if (texts.text(value) == text) return value;
    }
    std::string known;
    for (const Enum value : texts.allCases()) known += (known.empty() ? "" : ", ") + std::string(texts.text(value));
    throw UsageError("unknown " + option + " value \"" + text + "\" (" + known + ")");
}

const std::map<std::string, AspectRatio> aspectAliases = {
    {"16:9", AspectRatio::landscape16x9}, {"21:9", AspectRatio::ultrawide21x9}, {"9:16", AspectRatio::portrait9x16},
    {"1:1", AspectRatio::square1x1},      {"4:3", AspectRatio::classic4x3},
};
const std::map<std::string, ResolutionPreset> resolutionAliases = {
    {"720p", ResolutionPreset::p720},   {"1080p", ResolutionPreset::p1080}, {"1440p", ResolutionPreset::p1440},
    {"720", ResolutionPreset::p720},    {"1080", ResolutionPreset::p1080},  {"1440", ResolutionPreset::p1440},
};

// Applies the command line's settings the way the preview panel applies the user's choices.
void applyOptions(const Arguments& parsed, ProjectSettingsEditor& editor)
{
    if (const auto aspect = parsed.value("--aspect")) {
        editor.updateAspectRatio(parseChoice("--aspect", *aspect, aspectRatioTexts, aspectAliases));
    }
    if (const auto resolution = parsed.value("--resolution")) {
        editor.updateResolutionPreset(
            parseChoice("--resolution", *resolution, resolutionPresetTexts, resolutionAliases));
    }
    RenderSettings settings = editor.renderSettings();
    if (const auto name = parsed.value("--template")) {
        settings.templateName = parseChoice("--template", *name, templateNameTexts);
    }
    if (const auto theme = parsed.value("--cursor-theme")) {
        settings.cursorTheme = parseChoice("--cursor-theme", *theme, cursorThemeTexts);
    }
    if (const auto effect = parsed.value("--cursor-effect")) {
        settings.cursorEffect = parseChoice("--cursor-effect", *effect, cursorEffectTexts);
    }
    if (parsed.flag("--no-background")) settings.backgroundEnabled = false;
    if (parsed.flag("--no-cursor")) settings.showCursor = false;
    if (parsed.flag("--no-ripple")) settings.showClickRipple = false;
    if (parsed.flag("--no-dynamic-cursor")) settings.dynamicCursorScale = false;
    if (settings != editor.renderSettings()) editor.applyRenderSettings(settings);

    if (const auto zoom = parsed.value("--zoom")) {
        const ZoomIntensity intensity = parseChoice("--zoom", *zoom, zoomIntensityTexts);
        if (intensity != editor.renderSettings().zoomIntensity) editor.changeZoomIntensity(intensity);
    }
    if (const auto fps = parsed.positiveInteger("--fps")) {
        if (*fps > 240) throw UsageError("--fps must be between 1 and 240");
        if (*fps != editor.renderSettings().fps) editor.changeFps(*fps);
    }
}

}  // namespace

int runExport(const std::vector<std::string>& arguments)
{
    const Arguments parsed(arguments,
                           {"-o", "--output", "--aspect", "--resolution", "--template", "--zoom", "--fps",
                            "--cursor-theme", "--cursor-effect"},
                           {"--no-background", "--no-cursor", "--no-ripple", "--no-dynamic-cursor"});
    parsed.expectPositionalCount(1);
    std::filesystem::path directory = std::filesystem::absolute(parsed.requirePositional(0, "project directory"));
    directory = directory.lexically_normal();
    if (!directory.has_filename()) directory = directory.parent_path();
    const ProjectFileManager files(directory.parent_path());
    ProjectSettingsEditor editor(files.loadProject(directory), directory, files);

    std::error_code error;
    if (!std::filesystem::exists(editor.rawVideoURL(), error)) {
        throw RenderError(RenderError::Kind::unreadableMovie, "Raw movie not found: " + editor.rawVideoURL().string());
    }
    std::optional<std::string> output = parsed.value("-o");
    if (!output) output = parsed.value("--output");
    const std::filesystem::path outputURL =
        output ? std::filesystem::absolute(*output).lexically_normal() : editor.defaultExportURL();
    if (!std::filesystem::is_directory(outputURL.parent_path(), error)) {
        throw RenderError(RenderError::Kind::fileSystem, "No such directory: " + outputURL.parent_path().string());
    }
    applyOptions(parsed, editor);

    quietMediaLibraryLogs();
    ProgressBar bar("Exporting");
    ExportMonitor monitor([&bar](double fraction) { bar.update(fraction); });
    activeMonitor.store(&monitor);
    auto previousInterrupt = std::signal(SIGINT, cancelExport);
    auto previousTerminate = std::signal(SIGTERM, cancelExport);
    try {
        ExportManager().exportMovie(editor.makeExportJob(outputURL), &monitor);
    } catch (...) {
        std::signal(SIGINT, previousInterrupt);
        std::signal(SIGTERM, previousTerminate);
        activeMonitor.store(nullptr);
        bar.finish();
        throw;
    }
    std::signal(SIGINT, previousInterrupt);
    std::signal(SIGTERM, previousTerminate);
    activeMonitor.store(nullptr);
    bar.finish();
    editor.recordExport(outputURL);
    std::cout << outputURL.string() << "\n";
    return 0;
}

}  // namespace vantile::cli
