#include "CommandLine.h"
#include "Commands.h"
#include "HeadlessQt.h"
#include "ProgressBar.h"
#include "SoundOptions.h"

#include "render/BackgroundImport.h"
#include "render/ExportManager.h"
#include "render/ProjectSettingsEditor.h"
#include "render/RenderError.h"

#include <algorithm>
#include <array>
#include <optional>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>

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
    {"2160p", ResolutionPreset::p2160}, {"2160", ResolutionPreset::p2160},  {"4k", ResolutionPreset::p2160},
};

bool parseSwitch(const std::string& option, const std::string& text)
{
    if (text == "on") return true;
    if (text == "off") return false;
    throw UsageError("unknown " + option + " value \"" + text + "\" (on, off)");
}

// A corner by name, or "X,Y": the bubble's centre as fractions of the output frame.
void applyCameraPosition(const std::string& text, RenderSettings& settings)
{
    const auto comma = text.find(',');
    if (comma == std::string::npos) {
        const CameraPosition corner = parseChoice("--camera-position", text, cameraPositionTexts);
        if (corner == CameraPosition::custom) {
            throw UsageError("--camera-position: give the centre as X,Y fractions, such as 0.5,0.5");
        }
        settings.cameraPosition = corner;
        return;
    }
    const auto fraction = [&](const std::string& part) {
        char* end = nullptr;
        const double value = std::strtod(part.c_str(), &end);
        if (part.empty() || *end != '\0' || !(value >= 0 && value <= 1)) {
            throw UsageError("--camera-position: expected X,Y fractions between 0 and 1, got \"" + text + "\"");
        }
        return value;
    };
    settings.cameraCenterX = fraction(text.substr(0, comma));
    settings.cameraCenterY = fraction(text.substr(comma + 1));
    settings.cameraPosition = CameraPosition::custom;
}

void applyCameraOptions(const Arguments& parsed, bool hasCamera, RenderSettings& settings)
{
    if (const auto shown = parsed.value("--camera")) {
        settings.cameraVisible = parseSwitch("--camera", *shown);
        if (settings.cameraVisible && !hasCamera) throw UsageError("--camera on: this project has no camera recording");
    }
    if (const auto position = parsed.value("--camera-position")) applyCameraPosition(*position, settings);
    if (const auto size = parsed.number("--camera-size")) {
        if (!(*size >= RenderSettings::minimumCameraSize && *size <= RenderSettings::maximumCameraSize)) {
            throw UsageError("--camera-size must be between 0.12 and 0.5 (of the output's short side)");
        }
        settings.cameraSize = *size;
    }
    if (const auto shape = parsed.value("--camera-shape")) {
        settings.cameraShape = parseChoice("--camera-shape", *shape, cameraShapeTexts);
    }
    if (const auto mirror = parsed.value("--camera-mirror")) settings.cameraMirror = parseSwitch("--camera-mirror", *mirror);
}

double numberWithin(const Arguments& parsed, const std::string& option, double minimum, double maximum,
                    const std::string& meaning)
{
    const auto value = parsed.number(option);
    if (value && !(*value >= minimum && *value <= maximum)) throw UsageError(option + " must be " + meaning);
    return value.value_or(0);
}

// Background, card and cursor size; a picture is copied into the project first, so the
// project keeps it when the original moves.
void applyFrameLookOptions(const Arguments& parsed, const std::filesystem::path& projectDirectory,
                           RenderSettings& settings)
{
    if (const auto background = parsed.value("--background")) {
        if (*background == "template") {
            settings.background = {};
        } else if (const auto color = RGBAColor::fromHexText(*background)) {
            settings.background = BackgroundChoice::solid(*color);
        } else if (const auto index = generatedIndexOf(*background)) {
            settings.background = BackgroundChoice::generated(*index);
        } else if (background->starts_with("#") || background->starts_with("generated-")) {
            throw UsageError("--background: expected template, #RRGGBB, generated-1 to generated-" +
                             std::to_string(BackgroundChoice::generatedCount) + " or an image file, got \"" +
                             *background + "\"");
        } else {
            settings.background =
                BackgroundChoice::image(adoptBackgroundImage(*background, projectDirectory));
        }
    }
    if (parsed.value("--background-blur")) {
        const double blur = numberWithin(parsed, "--background-blur", 0, BackgroundChoice::maximumBlur,
                                         "between 0 and 50 (pixels at 1080p)");
        if (blur > 0 && settings.background.kind != BackgroundChoice::Kind::image) {
            throw UsageError("--background-blur applies to an image background");
        }
        if (settings.background.kind == BackgroundChoice::Kind::image) settings.background.blur = blur;
    }
    if (parsed.value("--padding")) {
        settings.cardPadding = numberWithin(parsed, "--padding", 0, RenderSettings::maximumCardPadding,
                                            "between 0 and 0.2 (of the output's short side)");
    }
    if (parsed.value("--corner-radius")) {
        settings.cardCornerRadius = numberWithin(parsed, "--corner-radius", 0, RenderSettings::maximumCornerRadius,
                                                 "between 0 and 64 (pixels at 1080p)");
    }
    if (parsed.value("--shadow")) {
        settings.shadowStrength = numberWithin(parsed, "--shadow", 0, RenderSettings::maximumShadowStrength,
                                               "between 0 (none) and 2 (1 is the template's)");
    }
    if (parsed.value("--cursor-size")) {
        settings.cursorSize = numberWithin(parsed, "--cursor-size", RenderSettings::minimumCursorSize,
                                           RenderSettings::maximumCursorSize, "between 0.5 and 3");
    }
}

// Applies the command line's settings the way the preview panel applies the user's choices.
void applyOptions(const Arguments& parsed, const SoundOptions& sound, ProjectSettingsEditor& editor)
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
    if (const auto quality = parsed.value("--quality")) {
        settings.exportQuality = parseChoice("--quality", *quality, exportQualityTexts);
    }
    if (const auto chrome = parsed.value("--window-chrome")) {
        if (*chrome == "template") settings.windowChrome.reset();
        else settings.windowChrome = parseChoice("--window-chrome", *chrome, windowChromeTexts);
    }
    if (parsed.flag("--no-background")) settings.backgroundEnabled = false;
    if (parsed.flag("--no-cursor")) settings.showCursor = false;
    if (parsed.flag("--no-ripple")) settings.showClickRipple = false;
    if (parsed.flag("--no-dynamic-cursor")) settings.dynamicCursorScale = false;
    if (parsed.flag("--no-shortcuts")) settings.showShortcuts = false;
    if (parsed.flag("--shortcuts")) settings.showShortcuts = true;
    applyCameraOptions(parsed, editor.project().camera.has_value(), settings);
    if (const auto amount = parsed.number("--motion-blur")) {
        if (!(*amount >= 0 && *amount <= 1)) throw UsageError("--motion-blur must be between 0 (off) and 1");
        settings.motionBlur = *amount;
    }
    applyFrameLookOptions(parsed, editor.directory(), settings);
    if (const auto layout = parsed.value("--layout")) settings.layout = parseChoice("--layout", *layout, videoLayoutTexts);
    sound.apply(parsed, editor.project().audioSettings.mode, settings);
    if (settings != editor.renderSettings()) editor.applyRenderSettings(settings);

    if (const auto zoom = parsed.value("--zoom")) {
        const ZoomIntensity intensity = parseChoice("--zoom", *zoom, zoomIntensityTexts);
        if (intensity != editor.renderSettings().zoomIntensity) editor.changeZoomIntensity(intensity);
    }
    if (const auto fps = parsed.integerBetween("--fps", 1, 240)) {
        if (*fps != editor.renderSettings().fps) editor.changeFps(*fps);
    }
    if (const auto smoothing = parsed.value("--cursor-smoothing")) {
        const CursorSmoothing chosen = parseChoice("--cursor-smoothing", *smoothing, cursorSmoothingTexts);
        if (chosen != editor.renderSettings().cursorSmoothing) editor.changeCursorSmoothing(chosen);
    }
}

// The movie may go anywhere except over what the project is made of: its raw movie, its
// metadata, anything in its hidden folder. Links are followed, so a link or a ".." cannot
// smuggle such a path past the check. Returns the resolved destination.
std::filesystem::path checkedOutput(const std::filesystem::path& requested, const ProjectSettingsEditor& editor)
{
    namespace fs = std::filesystem;
    const fs::path absolute = fs::absolute(requested).lexically_normal();
    const auto refuse = [&](const std::string& problem) {
        return RenderError(RenderError::Kind::fileSystem, "Cannot export to " + requested.string() + ": " + problem);
    };
    std::error_code error;
    if (!absolute.has_filename() || fs::is_directory(absolute, error)) throw refuse("it is a directory");
    const fs::path parent = fs::canonical(absolute.parent_path(), error);
    if (error || !fs::is_directory(parent, error)) {
        throw RenderError(RenderError::Kind::fileSystem, "No such directory: " + absolute.parent_path().string());
    }
    fs::path resolved = parent / absolute.filename();
    if (fs::is_symlink(resolved, error)) {
        resolved = fs::weakly_canonical(resolved, error);
        if (error) throw refuse(error.message());
    }
    const fs::file_status status = fs::status(resolved, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) throw refuse("it is not a regular file");

    const fs::path project = fs::canonical(editor.directory(), error);
    const fs::path inside = resolved.lexically_relative(project);
    const bool isInProject = !error && !inside.empty() && *inside.begin() != "..";
    if (isInProject && *inside.begin() == ProjectFileManager::metadataFolderName) {
        throw refuse("it is inside the project's " + std::string(ProjectFileManager::metadataFolderName) + " folder");
    }
    const fs::path raw = editor.rawVideoURL();
    if (fs::exists(status) && fs::equivalent(resolved, raw, error)) throw refuse("it is the project's raw movie");
    static const std::set<std::string> metadataNames = {"project.json", "events.json", "focus_segments.json",
                                                        "cursor_path.json"};
    if (isInProject && inside == inside.filename() && metadataNames.count(inside.string())) {
        throw refuse("it is one of the project's files");
    }
    return resolved;
}

// Every signal that would end the process cancels the export instead, so its temporary
// files go and the project stays as it was.
class CancelOnSignals {
public:
    explicit CancelOnSignals(ExportMonitor& monitor)
    {
        activeMonitor.store(&monitor);
        struct sigaction action {};
        action.sa_handler = cancelExport;
        sigemptyset(&action.sa_mask);
        for (std::size_t index = 0; index < signals.size(); ++index) sigaction(signals[index], &action, &previous_[index]);
    }
    ~CancelOnSignals()
    {
        for (std::size_t index = 0; index < signals.size(); ++index) sigaction(signals[index], &previous_[index], nullptr);
        activeMonitor.store(nullptr);
    }
    CancelOnSignals(const CancelOnSignals&) = delete;
    CancelOnSignals& operator=(const CancelOnSignals&) = delete;

private:
    static constexpr std::array<int, 4> signals{SIGINT, SIGTERM, SIGHUP, SIGPIPE};
    std::array<struct sigaction, 4> previous_{};
};

}  // namespace

int runExport(const std::vector<std::string>& arguments)
{
    std::vector<std::string> remaining = arguments;
    const SoundOptions sound(remaining);
    std::set<std::string> valueOptions{"-o", "--output", "--aspect", "--resolution", "--template", "--zoom", "--fps",
                                       "--cursor-theme", "--cursor-effect", "--quality", "--window-chrome",
                                       "--cursor-smoothing", "--camera", "--camera-position", "--camera-size",
                                       "--camera-shape", "--camera-mirror", "--motion-blur", "--background",
                                       "--background-blur", "--padding", "--corner-radius", "--shadow", "--cursor-size",
                                       "--layout"};
    std::set<std::string> flagOptions{"--no-background", "--no-cursor", "--no-ripple", "--no-dynamic-cursor",
                                      "--no-shortcuts", "--shortcuts"};
    valueOptions.insert(SoundOptions::valueOptions.begin(), SoundOptions::valueOptions.end());
    flagOptions.insert(SoundOptions::flagOptions.begin(), SoundOptions::flagOptions.end());
    const Arguments parsed(remaining, valueOptions, flagOptions);
    parsed.expectPositionalCount(1);
    std::optional<std::string> output = parsed.value("-o");
    if (!output) output = parsed.value("--output");
    if (output && output->empty()) throw UsageError("-o: the output file name is empty");
    std::filesystem::path directory = std::filesystem::absolute(parsed.requirePositional(0, "project directory"));
    directory = directory.lexically_normal();
    if (!directory.has_filename()) directory = directory.parent_path();
    const ProjectFileManager files(directory.parent_path());
    ProjectSettingsEditor editor(files.loadProject(directory), directory, files);
    // Nothing is saved unless the movie is made.
    editor.holdSavesUntilExportRecorded();

    std::error_code error;
    if (!std::filesystem::exists(editor.rawVideoURL(), error)) {
        throw RenderError(RenderError::Kind::unreadableMovie, "Raw movie not found: " + editor.rawVideoURL().string());
    }
    const std::filesystem::path outputURL = checkedOutput(output ? std::filesystem::path(*output) : editor.defaultExportURL(), editor);
    applyOptions(parsed, sound, editor);

    // Callouts and shortcut badges are drawn with Qt's fonts; without them the export needs no Qt application.
    std::optional<HeadlessQt> fonts;
    if (!editor.project().textCallouts.empty() || std::ranges::any_of(editor.project().events, [](const InputEvent& event) {
            return event.type == InputEvent::EventType::keyboardShortcut;
        })) {
        fonts.emplace();
    }

    ProgressBar bar("Exporting");
    ExportMonitor monitor([&bar](double fraction) { bar.update(fraction); });
    try {
        const CancelOnSignals cancelOnSignals(monitor);
        ExportManager().exportMovie(editor.makeExportJob(outputURL), &monitor,
                                    [&](const std::filesystem::path& completeMovie) {
                                        editor.recordExport(outputURL,
                                                            std::int64_t(std::filesystem::file_size(completeMovie)),
                                                            std::chrono::system_clock::now());
                                    });
    } catch (...) {
        bar.finish();
        throw;
    }
    bar.finish();
    std::cout << outputURL.string() << "\n";
    return 0;
}

}  // namespace vantile::cli
