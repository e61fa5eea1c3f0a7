#include "sample/SampleProjectWriter.h"

#include "engine/CursorPathSmoother.h"
#include "engine/FocusPlanner.h"
#include "render/ImageConversion.h"
#include "render/MovieWriter.h"
#include "render/RenderError.h"
#include "sample/SampleScreenPainter.h"
#include "store/ProjectFileManager.h"

#include <QGuiApplication>

#include <cmath>

namespace vantile {

namespace {

constexpr int sampleFps = 30;

// A quiet two-note pad with a short tick at every click, as system audio might sound.
void systemAudio(const SampleScript& script, double start, std::vector<float>& samples)
{
    const std::size_t count = samples.size() / 2;
    for (std::size_t i = 0; i < count; ++i) {
        const double t = start + static_cast<double>(i) / MovieWriter::audioSampleRate;
        double value = 0.05 * std::sin(2 * M_PI * 220 * t) + 0.035 * std::sin(2 * M_PI * 329.63 * t);
        for (const InputEvent& event : script.events) {
            if (event.type != InputEvent::EventType::leftMouseDown) continue;
            const double since = t - event.time;
            if (since >= 0 && since < 0.05) value += 0.3 * std::exp(-since * 90) * std::sin(2 * M_PI * 2000 * since);
        }
        samples[2 * i] = static_cast<float>(value);
        samples[2 * i + 1] = static_cast<float>(value);
    }
}

// A voice-like buzz that comes and goes in phrases.
void microphoneAudio(double start, std::vector<float>& samples)
{
    const std::size_t count = samples.size() / 2;
    for (std::size_t i = 0; i < count; ++i) {
        const double t = start + static_cast<double>(i) / MovieWriter::audioSampleRate;
        const double phrase = std::fmod(t, 6.0) < 4.2 ? 1.0 : 0.0;
        const double syllables = 0.5 + 0.5 * std::sin(2 * M_PI * 3.7 * t);
        const double buzz = std::sin(2 * M_PI * 140 * t) + 0.5 * std::sin(2 * M_PI * 280 * t) +
                            0.25 * std::sin(2 * M_PI * 420 * t);
        const auto value = static_cast<float>(0.12 * phrase * syllables * buzz);
        samples[2 * i] = value;
        samples[2 * i + 1] = value;
    }
}

void writeRawMovie(const std::filesystem::path& url, const SampleScript& script, int width, int height,
                   AudioCaptureMode audio)
{
    const bool system = capturesSystemAudio(audio);
    const bool microphone = capturesMicrophone(audio);
    // Like a live capture: a fast preset with high quality, since the export re-encodes it.
    MovieWriter writer(url, VideoEncoderSettings{width, height, sampleFps, "veryfast", 18, "", ""},
                       (system ? 1 : 0) + (microphone ? 1 : 0));
    SampleScreenPainter screen(script);
    QImage canvas(width, height, QImage::Format_RGB32);
    FrameHandle frame = writer.makeVideoFrame();
    const auto frames = std::max<std::int64_t>(1, static_cast<std::int64_t>(std::ceil(script.duration * sampleFps)));
    const int samplesPerFrame = MovieWriter::audioSampleRate / sampleFps;
    std::vector<float> samples(static_cast<std::size_t>(samplesPerFrame) * 2);
    for (std::int64_t index = 0; index < frames; ++index) {
        const double time = static_cast<double>(index) / sampleFps;
        {
            QPainter painter(&canvas);
            screen.paint(painter, time);
        }
        if (av_frame_make_writable(frame.get()) < 0) throw RenderError::pixelBufferCreationFailed();
        convertImageToYuv420(canvas, *frame);
        writer.appendVideo(*frame, index);
        int track = 0;
        if (system) {
            systemAudio(script, time, samples);
            writer.appendAudio(track++, samples);
        }
        if (microphone) {
            microphoneAudio(time, samples);
            writer.appendAudio(track, samples);
        }
    }
    writer.finish();
}

}  // namespace

RecordingProject SampleProjectWriter::write(const std::filesystem::path& directory, const SampleProjectOptions& options)
{
    if (!QGuiApplication::instance()) {
        throw RenderError(RenderError::Kind::media, "Drawing a sample needs the application's font system.");
    }
    const int width = std::max(2, options.width - options.width % 2);
    const int height = std::max(2, options.height - options.height % 2);
    const double duration = std::isfinite(options.duration) ? std::max(options.duration, 1.0 / sampleFps) : 1;

    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) {
        throw RenderError(RenderError::Kind::fileSystem,
                          "Cannot create the directory " + directory.string() + ": " + error.message());
    }
    const SampleScript script = SampleScript::make(width, height, duration);
    const std::filesystem::path raw = directory / "raw.mov";
    try {
        writeRawMovie(raw, script, width, height, options.audio);
    } catch (...) {
        std::filesystem::remove(raw, error);
        throw;
    }

    RecordingProject project;
    const std::filesystem::path absolute = std::filesystem::absolute(directory).lexically_normal();
    // The id is only a name; a directory named in another encoding still gets a storable one.
    project.id = validUtf8((absolute.has_filename() ? absolute : absolute.parent_path()).filename().string());
    project.createdAt = std::chrono::time_point_cast<std::chrono::seconds>(std::chrono::system_clock::now());
    project.duration = duration;
    project.capture.sourceType = CaptureInfo::SourceType::display;
    project.capture.displayId = "display-sample";
    project.capture.region = {0, 0, static_cast<double>(width), static_cast<double>(height)};
    project.video = VideoInfo{"raw.mov", width, height, sampleFps};
    project.events = script.events;
    project.renderSettings = RenderSettings::defaultLandscape().sizedFor(project.video);
    project.audioSettings.mode = options.audio;
    project.rawVideoPath = "raw.mov";
    FocusPlannerInput input;
    input.duration = duration;
    input.videoWidth = width;
    input.videoHeight = height;
    input.events = project.events;
    input.zoomIntensity = project.renderSettings.zoomIntensity;
    project.focusSegments = FocusPlanner().plan(input).segments;
    project.cursorFrames = CursorPathSmoother().smooth(project.events, project.renderSettings.fps, duration,
                                                      project.renderSettings.cursorSmoothing);
    ProjectFileManager(absolute.parent_path()).saveProject(project, directory);
    return project;
}

}  // namespace vantile
