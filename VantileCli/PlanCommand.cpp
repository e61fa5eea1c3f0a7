#include "CommandLine.h"
#include "Commands.h"

#include "engine/CameraPathBuilder.h"
#include "engine/CursorPathSmoother.h"
#include "engine/FocusPlanner.h"
#include "store/ProjectFileManager.h"

#include <filesystem>
#include <iostream>

namespace vantile::cli {

namespace {

double requirePositiveNumber(const Arguments& parsed, const std::string& name)
{
    if (!parsed.value(name)) throw UsageError("missing option " + name);
    const double value = *parsed.number(name);
    if (!(value > 0)) throw UsageError(name + ": must be greater than zero");
    return value;
}

ZoomIntensity parseIntensity(const std::optional<std::string>& text)
{
    if (!text) return ZoomIntensity::standard;
    for (ZoomIntensity intensity : zoomIntensityTexts.allCases()) {
        if (rawValue(intensity) == *text) return intensity;
    }
    throw UsageError("--intensity: unknown intensity \"" + *text + "\" (light, standard or strong)");
}

}  // namespace

int runPlan(const std::vector<std::string>& arguments)
{
    const Arguments parsed(arguments, {"--events", "--duration", "--width", "--height", "--intensity", "--fps"}, {});
    parsed.expectPositionalCount(0);
    const std::filesystem::path eventsFile = parsed.requireValue("--events");
    if (!parsed.value("--duration")) throw UsageError("missing option --duration");

    FocusPlannerInput input;
    input.duration = *parsed.number("--duration");
    if (!(input.duration > 0)) throw UsageError("--duration must be greater than 0");
    input.videoWidth = requirePositiveNumber(parsed, "--width");
    input.videoHeight = requirePositiveNumber(parsed, "--height");
    input.zoomIntensity = parseIntensity(parsed.value("--intensity"));
    const std::int64_t fps = parsed.integerBetween("--fps", 1, 240).value_or(30);

    // The store's reader names the file and the offending key when the events do not decode.
    const ProjectFileManager store(eventsFile.parent_path());
    input.events = store.load<std::vector<InputEvent>>(eventsFile);

    const FocusPlannerOutput output = FocusPlanner().plan(input);
    const std::vector<CursorFrame> cursorFrames = CursorPathSmoother().smooth(input.events, fps, input.duration);

    Json document = Json::object();
    document["segments"] = output.segments;
    document["cameraKeyframes"] = output.cameraKeyframes;
    document["cursorFrames"] = cursorFrames;
    // nlohmann prints the shortest text that reads back as the same double.
    std::cout << ProjectFileManager::encodeDocument(document) << "\n";
    return 0;
}

}  // namespace vantile::cli
