#include "CommandLine.h"
#include "Commands.h"
#include "TimelineSummary.h"

#include "store/ProjectFileManager.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>

namespace vantile::cli {

namespace {

std::string formatAmount(double value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

std::string describeSource(const CaptureInfo& capture)
{
    std::ostringstream text;
    text << rawValue(capture.sourceType);
    if (capture.windowTitle) text << " \"" << *capture.windowTitle << "\"";
    if (capture.appName && !capture.appName->empty()) text << " (" << *capture.appName << ")";
    text << " at " << capture.region.x << "," << capture.region.y << " " << capture.region.width << "x"
         << capture.region.height << ", scale " << capture.scaleFactor;
    return text.str();
}

std::string describeRawMovie(const std::filesystem::path& directory, const RecordingProject& project)
{
    const std::filesystem::path raw = std::filesystem::path(project.rawVideoPath).is_absolute()
                                          ? std::filesystem::path(project.rawVideoPath)
                                          : directory / project.rawVideoPath;
    std::error_code error;
    const auto bytes = std::filesystem::file_size(raw, error);
    std::ostringstream text;
    text << raw.string() << " (" << project.video.width << "x" << project.video.height << " at " << project.video.fps
         << " fps, ";
    if (error) {
        text << "file missing)";
    } else {
        text << bytes << " bytes)";
    }
    return text.str();
}

std::string describeCamera(const RecordingProject& project)
{
    if (!project.camera) return "camera        none\n";
    const CameraRecording& camera = *project.camera;
    const RenderSettings& settings = project.renderSettings;
    std::ostringstream text;
    char offset[32];
    std::snprintf(offset, sizeof offset, "%.3f", camera.startOffset);
    text << "camera        " << camera.path << ", " << camera.width << "x" << camera.height << " at " << camera.fps
         << " fps from " << offset << " s\n"
         << "bubble        " << (settings.cameraVisible ? "shown" : "hidden") << ", ";
    if (settings.cameraPosition == CameraPosition::custom) {
        text << "at " << settings.cameraCenterX << "," << settings.cameraCenterY;
    } else {
        text << rawValue(settings.cameraPosition);
    }
    text << ", size " << settings.cameraSize << ", " << rawValue(settings.cameraShape) << ", mirror "
         << (settings.cameraMirror ? "on" : "off") << ", shadow " << (settings.cameraShadow ? "on" : "off") << "\n";
    return text.str();
}

// Only what differs from the template, so a project that never chose shows no such line.
std::string describeFrameLook(const RenderSettings& settings)
{
    std::string parts;
    const auto add = [&](const std::string& part) { parts += (parts.empty() ? "" : ", ") + part; };
    if (settings.background.kind != BackgroundChoice::Kind::templateColors) {
        add("background " + describe(settings.background));
        if (settings.background.blur > 0) add("blur " + formatAmount(settings.background.blur) + " px");
    }
    if (settings.cardPadding) add("padding " + formatAmount(*settings.cardPadding));
    if (settings.cardCornerRadius) add("corner radius " + formatAmount(*settings.cardCornerRadius) + " px");
    if (settings.shadowStrength != 1) add("shadow " + formatAmount(settings.shadowStrength));
    if (settings.cursorSize != 1) add("cursor size " + formatAmount(settings.cursorSize));
    return parts.empty() ? std::string() : "frame         " + parts + "\n";
}

void printSummary(const std::filesystem::path& directory, const RecordingProject& project)
{
    const RenderSettings& settings = project.renderSettings;
    std::ostringstream out;
    char duration[32];
    std::snprintf(duration, sizeof duration, "%.3f", project.duration);
    out << "project       " << project.id << "\n"
        << "directory     " << directory.string() << "\n"
        << "created       " << formatISO8601(project.createdAt) << "\n"
        << "duration      " << duration << " s\n"
        << "source        " << describeSource(project.capture) << "\n"
        << "raw movie     " << describeRawMovie(directory, project) << "\n"
        << "events        " << project.events.size() << "\n"
        << describeTimelineEdit(project) << describeSegments(project, true) << describeBlurRegions(project)
        << "cursor frames " << project.cursorFrames.size() << "\n"
        << "output        " << settings.outputWidth << "x" << settings.outputHeight << " at " << settings.fps
        << " fps (" << label(settings.aspectRatio) << ", " << label(settings.resolutionPreset) << ")\n"
        << "template      " << rawValue(settings.templateName) << ", zoom " << rawValue(settings.zoomIntensity)
        << ", background " << (settings.backgroundEnabled ? "on" : "off") << ", chrome "
        << rawValue(RenderPreset::forSettings(settings).windowChrome) << (settings.windowChrome ? "" : " (template's)")
        << "\n"
        << "cursor        " << (settings.showCursor ? "shown" : "hidden") << ", " << rawValue(settings.cursorTheme)
        << ", " << rawValue(settings.cursorEffect) << ", ripple " << (settings.showClickRipple ? "on" : "off")
        << ", dynamic scale " << (settings.dynamicCursorScale ? "on" : "off") << ", smoothing "
        << rawValue(settings.cursorSmoothing) << "\n"
        << (settings.motionBlur > 0 ? "motion blur   " + formatAmount(settings.motionBlur) + "\n" : std::string())
        << describeFrameLook(settings)
        << describeCamera(project) << "audio         " << rawValue(project.audioSettings.mode);
    if (project.audioSettings.microphoneDeviceID) out << " (microphone " << *project.audioSettings.microphoneDeviceID << ")";
    out << "\n"
        << "export        " << (project.exportVideoPath ? *project.exportVideoPath : std::string("none")) << "\n";
    for (const ExportRecord& record : project.exports) {
        out << "exported      " << record.path << " (" << record.format << ", " << record.bytes << " bytes, "
            << formatISO8601(record.exportedAt) << ")\n";
    }
    std::cout << out.str();
}

}  // namespace

int runInfo(const std::vector<std::string>& arguments)
{
    const Arguments parsed(arguments, {}, {"--json"});
    parsed.expectPositionalCount(1);
    const std::filesystem::path directory = parsed.requirePositional(0, "project directory DIR");

    // The root is irrelevant for loading; give one so no user directory is looked up.
    const ProjectFileManager store(directory.parent_path());
    const RecordingProject project = store.loadProject(directory);
    if (parsed.flag("--json")) {
        std::cout << ProjectFileManager::encodeDocument(Json(project)) << "\n";
    } else {
        printSummary(directory, project);
    }
    return 0;
}

}  // namespace vantile::cli
