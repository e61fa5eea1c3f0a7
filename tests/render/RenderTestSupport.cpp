#include "RenderTestSupport.h"

#include "render/ImageConversion.h"
#include "render/MovieWriter.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>

namespace vantile::test {

TemporaryDirectory::TemporaryDirectory()
{
    std::random_device device;
    path_ = std::filesystem::temp_directory_path() / ("vantile-render-test-" + std::to_string(device()));
    std::filesystem::create_directories(path_);
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> TemporaryDirectory::fileNames() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

namespace {

std::string readAll(int descriptor)
{
    std::string text;
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = read(descriptor, buffer.data(), buffer.size())) > 0) text.append(buffer.data(), count);
    return text;
}

}  // namespace

CommandResult runCommand(const std::vector<std::string>& arguments)
{
    const std::filesystem::path errorFile =
        std::filesystem::temp_directory_path() / ("vantile-test-stderr-" + std::to_string(getpid()));
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) return {};
    const pid_t child = fork();
    if (child == 0) {
        dup2(pipeEnds[1], STDOUT_FILENO);
        close(pipeEnds[0]);
        close(pipeEnds[1]);
        std::freopen(errorFile.c_str(), "w", stderr);
        std::vector<char*> argv;
        for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    close(pipeEnds[1]);
    CommandResult result;
    result.output = readAll(pipeEnds[0]);
    close(pipeEnds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream errors(errorFile);
    std::stringstream text;
    text << errors.rdbuf();
    result.errors = text.str();
    std::filesystem::remove(errorFile);
    return result;
}

Json probe(const std::filesystem::path& movie)
{
    const CommandResult result = runCommand(
        {"ffprobe", "-v", "error", "-show_format", "-show_streams", "-of", "json", movie.string()});
    if (result.status != 0) return Json();
    return Json::parse(result.output);
}

int countVideoFrames(const std::filesystem::path& movie)
{
    const CommandResult result = runCommand({"ffprobe", "-v", "error", "-select_streams", "v:0", "-count_frames",
                                             "-show_entries", "stream=nb_read_frames", "-of", "csv=p=0",
                                             movie.string()});
    return result.status == 0 ? std::stoi(result.output) : -1;
}

QImage decodeFrame(const std::filesystem::path& movie, double seconds)
{
    const std::filesystem::path png =
        std::filesystem::temp_directory_path() / ("vantile-test-frame-" + std::to_string(getpid()) + ".png");
    const CommandResult result = runCommand({"ffmpeg", "-v", "error", "-y", "-ss", std::to_string(seconds), "-i",
                                             movie.string(), "-frames:v", "1", png.string()});
    QImage image;
    if (result.status == 0) image.load(QString::fromStdString(png.string()));
    std::filesystem::remove(png);
    return image.convertToFormat(QImage::Format_RGB32);
}

void writeRawMovie(const std::filesystem::path& path, int width, int height, double duration, int audioTracks,
                   const std::function<void(QImage&, int)>& paint, const std::function<float(int, double)>& sound)
{
    MovieWriter writer(path, VideoEncoderSettings{width, height, 30, "ultrafast", 18}, audioTracks);
    QImage canvas(width, height, QImage::Format_RGB32);
    FrameHandle frame = writer.makeVideoFrame();
    const int frames = std::max(1, static_cast<int>(std::ceil(duration * 30 - 1e-9)));
    std::vector<float> samples(1600 * 2);
    for (int index = 0; index < frames; ++index) {
        paint(canvas, index);
        av_frame_make_writable(frame.get());
        convertImageToYuv420(canvas, *frame);
        writer.appendVideo(*frame, index);
        for (int track = 0; track < audioTracks; ++track) {
            for (std::size_t i = 0; i < samples.size() / 2; ++i) {
                const double t = index / 30.0 + static_cast<double>(i) / 48000;
                samples[2 * i] = samples[2 * i + 1] =
                    sound ? sound(track, t) : static_cast<float>(0.1 * std::sin(2 * M_PI * (300 + 100 * track) * t));
            }
            writer.appendAudio(track, samples);
        }
    }
    writer.finish();
}

RecordingProject makeProject(int width, int height, double duration)
{
    RecordingProject project;
    project.id = "project-test";
    project.duration = duration;
    project.capture.region = {0, 0, static_cast<double>(width), static_cast<double>(height)};
    project.video = VideoInfo{"raw.mov", width, height, 30};
    project.renderSettings = RenderSettings::defaultLandscape();
    project.renderSettings.outputWidth = 640;
    project.renderSettings.outputHeight = 360;
    project.renderSettings.resolutionPreset = ResolutionPreset::p720;
    for (int i = 0; i <= static_cast<int>(duration * 30); ++i) {
        const double t = i / 30.0;
        project.cursorFrames.push_back(
            CursorFrame{t, width * (0.3 + 0.4 * t / std::max(duration, 0.1)), height * 0.5, true, i % 10 < 3});
    }
    return project;
}

bool near(QColor actual, QColor expected, int tolerance)
{
    return std::abs(actual.red() - expected.red()) <= tolerance &&
           std::abs(actual.green() - expected.green()) <= tolerance &&
           std::abs(actual.blue() - expected.blue()) <= tolerance;
}

std::string describe(QColor color)
{
    return "(" + std::to_string(color.red()) + ", " + std::to_string(color.green()) + ", " +
           std::to_string(color.blue()) + ")";
}

}  // namespace vantile::test
