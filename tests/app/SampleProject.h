#pragma once

#include "engine/CursorPathSmoother.h"
#include "engine/FocusPlanner.h"
#include "store/ProjectFileManager.h"
#include "support/RunCommand.h"

#include <filesystem>
#include <string>

namespace vantile::testing {

// A saved project whose raw movie is FFmpeg's moving test pattern, with a few clicks and a
// typing burst planned and smoothed as a real recording would be.
inline RecordingProject makeSampleProject(const std::filesystem::path& directory, int width = 1280, int height = 720,
                                          double duration = 4)
{
    std::filesystem::create_directories(directory);
    const auto raw = directory / "raw.mov";
    const std::string command = "ffmpeg -v error -y -f lavfi -i testsrc2=size=" + std::to_string(width) + "x" +
                                std::to_string(height) + ":rate=30 -t " + std::to_string(duration) +
                                " -c:v libx264 -preset veryfast -pix_fmt yuv420p " + quoteForShell(raw.string());
    const CommandResult result = runShell(command);
    if (result.exitCode != 0) throw std::runtime_error("ffmpeg failed: " + result.standardError);

    RecordingProject project;
    project.id = directory.filename().string();
    project.createdAt = std::chrono::system_clock::from_time_t(1'800'000'000);
    project.duration = duration;
    project.video = {"raw.mov", width, height, 30};
    project.capture.region = {0, 0, static_cast<double>(width), static_cast<double>(height)};
    using Type = InputEvent::EventType;
    for (int i = 0; i <= 40; ++i) {
        const double t = duration * i / 40;
        project.events.push_back({t, Type::mouseMove, width * (0.2 + 0.5 * i / 40), height * (0.3 + 0.3 * i / 40), {},
                                  {}, {}});
    }
    const auto click = [&](double t, double x, double y) {
        project.events.push_back({t, Type::leftMouseDown, x, y, {}, {}, "left"});
        project.events.push_back({t + 0.12, Type::leftMouseUp, x, y, {}, {}, "left"});
    };
    click(duration * 0.25, width * 0.32, height * 0.38);
    click(duration * 0.6, width * 0.52, height * 0.48);
    std::stable_sort(project.events.begin(), project.events.end(),
                     [](const InputEvent& a, const InputEvent& b) { return a.time < b.time; });
    project.renderSettings = RenderSettings::defaultLandscape();
    project.focusSegments = FocusPlanner()
                                .plan({duration, static_cast<double>(width), static_cast<double>(height),
                                       project.events, project.renderSettings.zoomIntensity})
                                .segments;
    project.cursorFrames = CursorPathSmoother().smooth(project.events, 30, duration);
    ProjectFileManager(directory.parent_path()).saveProject(project, directory);
    return project;
}

}  // namespace vantile::testing
