#include "CommandLine.h"
#include "Commands.h"

#include "capture/CaptureSourceProvider.h"
#include "support/ChildProcess.h"
#include "support/NullSinkSoundServer.h"
#include "support/PulseAudioPlayer.h"
#include "capture/PulseAudioSource.h"
#include "capture/RecordingRun.h"
#include "support/VirtualDisplay.h"
#include "capture/x11/X11InputDriver.h"
#include "capture/x11/X11SourceLister.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>

namespace vantile::cli {

namespace {

using std::chrono::milliseconds;

constexpr int displayWidth = 1920;
constexpr int displayHeight = 1080;
const char* const appTitle = "Acme Orders";

// Where the sample app's controls are, as it reported them once shown.
struct AppLayout {
    CodablePoint customerField, emailField, addButton, clearButton, sliderHandle, sliderEnd, listCentre;
};

CodablePoint pointAt(const Json& json, const char* name)
{
    const Json& pair = json.at(name);
    return {pair.at(0).get<double>(), pair.at(1).get<double>()};
}

AppLayout parseLayout(const std::string& line)
{
    const Json json = Json::parse(line);
    const Json& list = json.at("list");
    return {pointAt(json, "customerField"), pointAt(json, "emailField"), pointAt(json, "addButton"),
            pointAt(json, "clearButton"),   pointAt(json, "sliderHandle"), pointAt(json, "sliderEnd"),
            {list.at(0).get<double>() + list.at(2).get<double>() / 2,
             list.at(1).get<double>() + list.at(3).get<double>() / 2}};
}

std::filesystem::path demoAppPath()
{
    // The sample app is built and installed beside vantile-cli.
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
    const std::filesystem::path beside = self.parent_path() / "vantile-demo-app";
    if (!std::filesystem::exists(beside)) throw std::runtime_error("sample app not found at " + beside.string());
    return beside;
}

std::string findAppWindow()
{
    X11SourceLister lister;
    for (int attempt = 0; attempt < 50; ++attempt) {
        for (const CaptureSource& source : CaptureSourceProvider(lister).loadSources()) {
            if (source.kind == CaptureSource::SourceKind::window && source.title == appTitle) return source.id;
        }
        std::this_thread::sleep_for(milliseconds(100));
    }
    throw std::runtime_error("the sample app's window did not appear");
}

// A short click a person would hear; absent when no sound can be played.
class ClickSound {
public:
    ClickSound()
    {
        try {
            player_ = std::make_unique<PulseAudioPlayer>();
        } catch (const std::exception&) {
        }
    }
    void play()
    {
        if (!player_) return;
        try {
            player_->play(PulseAudioPlayer::tone(1400, 0.04, 0.35));
        } catch (const std::exception&) {
            player_.reset();
        }
    }

private:
    std::unique_ptr<PulseAudioPlayer> player_;
};

// The scripted session: fill the form, drag the priority slider, add the order, scroll the list.
void performScript(const AppLayout& layout)
{
    X11InputDriver driver;
    ClickSound sound;
    const auto pause = [](int ms) { std::this_thread::sleep_for(milliseconds(ms)); };
    const auto clickAt = [&](const CodablePoint& point, int glideMs) {
        driver.glide(point, milliseconds(glideMs));
        pause(150);
        sound.play();
        driver.click();
    };

    pause(1200);
    clickAt(layout.customerField, 900);
    pause(300);
    driver.type("Blue Harbor Cafe", milliseconds(110));
    pause(700);
    clickAt(layout.emailField, 500);
    pause(300);
    driver.type("orders@blueharbor.example", milliseconds(90));
    pause(900);

    driver.glide(layout.sliderHandle, milliseconds(700));
    pause(200);
    driver.press(1);
    driver.glide({(layout.sliderHandle.x + layout.sliderEnd.x) / 2 + 40, layout.sliderHandle.y}, milliseconds(900));
    driver.release(1);
    pause(600);

    clickAt(layout.addButton, 800);
    pause(1400);

    driver.glide(layout.listCentre, milliseconds(900));
    pause(300);
    driver.scroll(5, 12, milliseconds(140));
    pause(800);
    driver.scroll(4, 5, milliseconds(160));
    pause(1000);

    clickAt(layout.clearButton, 1000);
    pause(1500);
}

bool soundServerAnswers()
{
    try {
        PulseAudioSource::listMicrophones();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

int runDemo(const std::vector<std::string>& arguments)
{
    const Arguments parsed(arguments, {"--root", "--camera"}, {});
    parsed.expectPositionalCount(0);
    std::optional<std::filesystem::path> root;
    if (const auto value = parsed.value("--root")) root = std::filesystem::absolute(*value);

    // Everything started here is stopped by these owners, in reverse order, on every exit path.
    std::unique_ptr<VirtualDisplay> display;
    const char* existingDisplay = std::getenv("DISPLAY");
    if (!existingDisplay || !*existingDisplay) {
        std::cerr << "Starting a virtual display\n";
        display = std::make_unique<VirtualDisplay>(displayWidth, displayHeight);
        setenv("DISPLAY", display->name().c_str(), 1);
    }
    std::unique_ptr<NullSinkSoundServer> soundServer;
    const std::filesystem::path runtime =
        std::filesystem::temp_directory_path() / ("vantile-demo-" + std::to_string(getpid()));
    if (!soundServerAnswers()) {
        std::cerr << "Starting a sound server with a null sink\n";
        soundServer = std::make_unique<NullSinkSoundServer>(runtime / "pulse");
        setenv("PULSE_SERVER", soundServer->serverAddress().c_str(), 1);
    }

    std::cerr << "Opening the sample app\n";
    // On the X display being recorded, whatever platform the caller's Qt applications use.
    ChildProcess app({demoAppPath().string(), "320", "140", "1280", "800"},
                     ChildProcess::Options{.environment = {"QT_QPA_PLATFORM=xcb"}, .captureOutput = true});
    const auto layoutLine = app.readLine(std::chrono::seconds(20));
    if (!layoutLine) throw std::runtime_error("the sample app did not start");
    const AppLayout layout = parseLayout(*layoutLine);

    RecordingRequest request;
    request.sourceId = findAppWindow();
    request.audioSettings.mode = AudioCaptureMode::system;
    request.projectsRoot = root;
    request.backend = CaptureBackendKind::x11;  // the demo records on its own X server
    request.camera = parsed.value("--camera");

    std::atomic<bool> scriptDone = false;
    std::exception_ptr scriptError;
    std::thread script;
    RecordingRun run(request, [](const std::string& status) { std::cerr << status << "\n"; });
    RecordingOutcome outcome;
    try {
        outcome = run.run([&] { return scriptDone.load(); },
                          [&] {
                              script = std::thread([&] {
                                  try {
                                      performScript(layout);
                                  } catch (...) {
                                      scriptError = std::current_exception();
                                  }
                                  scriptDone = true;
                              });
                          });
    } catch (...) {
        if (script.joinable()) script.join();
        throw;
    }
    if (script.joinable()) script.join();
    if (scriptError) std::rethrow_exception(scriptError);
    if (outcome.captureFailure) std::cerr << "Warning: " << *outcome.captureFailure << "\n";
    for (const std::string& warning : outcome.warnings) std::cerr << "Warning: " << warning << "\n";
    std::cerr << "Recorded " << outcome.project.duration << " s (" << outcome.statistics.capturedFrames
              << " frames, " << outcome.statistics.droppedFrames << " dropped) into "
              << outcome.projectDirectory.string() << "\n";

    app.stop();
    soundServer.reset();
    display.reset();
    std::error_code ignored;
    std::filesystem::remove_all(runtime, ignored);
    return runExport({outcome.projectDirectory.string()});
}

}  // namespace vantile::cli
