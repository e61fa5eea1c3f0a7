#include "CommandLine.h"
#include "Commands.h"

#include "capture/RecordingRun.h"

#include <csignal>
#include <iostream>

namespace vantile::cli {

namespace {

volatile std::sig_atomic_t stopSignal = 0;

void requestStop(int signal) { stopSignal = signal; }

AudioCaptureMode parseAudioMode(const std::string& text)
{
    try {
        return audioCaptureModeTexts.parse(text);
    } catch (const DecodingError&) {
        throw UsageError("unknown --audio value \"" + text + "\" (none, system, microphone, systemAndMicrophone)");
    }
}

}  // namespace

int runRecord(const std::vector<std::string>& arguments)
{
    const Arguments parsed(arguments, {"--source", "--audio", "--microphone", "--camera", "--duration", "--root", "--fps"},
                           {"--record-shortcuts"});
    parsed.expectPositionalCount(0);
    RecordingRequest request;
    request.sourceId = parsed.value("--source");
    if (const auto audio = parsed.value("--audio")) request.audioSettings.mode = parseAudioMode(*audio);
    request.audioSettings.microphoneDeviceID = parsed.value("--microphone");
    if (request.audioSettings.microphoneDeviceID && !capturesMicrophone(request.audioSettings.mode))
        throw UsageError("--microphone needs --audio microphone or systemAndMicrophone");
    request.camera = parsed.value("--camera");
    if (request.camera && request.camera->empty()) throw UsageError("--camera names no camera");
    request.recordShortcuts = parsed.flag("--record-shortcuts");
    request.duration = parsed.number("--duration");
    if (request.duration && !(*request.duration > 0 && *request.duration <= RecordingRequest::maxDuration)) {
        throw UsageError("--duration must be greater than 0 and at most 600 seconds");
    }
    if (const auto fps = parsed.value("--fps")) {
        if (*fps != "30" && *fps != "60") throw UsageError("--fps must be 30 or 60, not \"" + *fps + "\"");
        request.fps = std::stoll(*fps);
    }
    if (const auto root = parsed.value("--root")) {
        if (root->empty()) throw UsageError("--root names no directory");
        request.projectsRoot = *root;
    }

    // Ctrl-C and SIGTERM end the recording the normal way: the project is still built and saved.
    struct sigaction action {};
    action.sa_handler = requestStop;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    RecordingRun run(request, [](const std::string& status) { std::cerr << status << "\n"; });
    const RecordingOutcome outcome = run.run([] { return stopSignal != 0; });
    std::cerr << "Captured " << outcome.statistics.capturedFrames << " frames, dropped "
              << outcome.statistics.droppedFrames << "\n";
    for (const std::string& warning : outcome.warnings) std::cerr << "vantile-cli record: " << warning << "\n";
    std::cout << outcome.projectDirectory.string() << "\n";
    if (outcome.captureFailure) {
        std::cerr << "vantile-cli record: " << *outcome.captureFailure << " (recorded up to then)\n";
        return 1;
    }
    return 0;
}

}  // namespace vantile::cli
