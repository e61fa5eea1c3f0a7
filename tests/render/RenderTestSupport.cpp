#include "RenderTestSupport.h"

#include "render/CompositorGeometry.h"
#include "render/ImageConversion.h"
#include "render/MovieWriter.h"

#include <QGuiApplication>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace vantile::test {

QImage decodeFrame(const std::filesystem::path& movie, double seconds)
{
    const Json video = testing::streamOfType(probe(movie), "video");
    const int width = video.value("width", 0);
    const int height = video.value("height", 0);
    const std::vector<std::uint8_t> rgb = testing::frameAt(movie, seconds);
    if (rgb.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3) return {};
    return QImage(rgb.data(), width, height, width * 3, QImage::Format_RGB888).convertToFormat(QImage::Format_RGB32);
}

void writeRawMovie(const std::filesystem::path& path, int width, int height, double duration, int audioTracks,
                   const std::function<void(QImage&, int)>& paint, const SoundAt& sound)
{
    MovieWriter writer(path, VideoEncoderSettings{width, height, 30, "ultrafast", 18, ""}, audioTracks);
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

RenderJob makeJob(const std::filesystem::path& directory, const RecordingProject& project, const std::string& output)
{
    return RenderJob{project, directory / "raw.mov", {}, project.cursorFrames, project.renderSettings, directory / output};
}

CompositorScene compositorScene(TemplateName name, CursorEffect effect, bool background)
{
    RenderSettings settings;
    settings.templateName = name;
    settings.cursorEffect = effect;
    settings.backgroundEnabled = background;
    return CompositorScene{1920,
                           1080,
                           settings,
                           {{0, 960, 540, 1}, {0.4, 611.3, 301.7, 2.3}, {0.8, 1500.2, 900.9, 1.7}, {1.2, 300, 200, 1}},
                           {{0, 3, 5, true, true},
                            {0.2, 400, 300, true, false},
                            {0.4, 1910, 12, true, true},
                            {0.6, 900, 500, true, true},
                            {0.8, 1400, 1070, true, true},
                            {1.2, 10, 1075, true, false}}};
}

std::vector<double> toneOnsets(const std::vector<float>& samples, double frequency)
{
    std::vector<double> onsets;
    bool sounding = false;
    for (std::size_t first = 0; first + 240 <= samples.size(); first += 240) {
        const bool loud = testing::toneLevel(samples, frequency, first, first + 240) > 0.2;
        if (loud && !sounding) onsets.push_back(static_cast<double>(first) / 48000);
        sounding = loud;
    }
    return onsets;
}

std::vector<std::uint8_t> centrePixels(const std::filesystem::path& movie)
{
    const CommandResult result = runCommand({"ffmpeg", "-v", "error", "-i", movie.string(), "-vf",
                                             "crop=2:2:iw/2-1:ih/2-1,scale=1:1:flags=neighbor", "-f", "rawvideo",
                                             "-pix_fmt", "rgb24", "-"});
    return {result.standardOutput.begin(), result.standardOutput.end()};
}

int lineCount(const std::string& text)
{
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

double detailEnergy(const QImage& image, const QRect& area)
{
    const QRect inside = area.intersected(image.rect().adjusted(0, 0, -1, -1));
    if (inside.isEmpty()) return 0;
    double sum = 0;
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        for (int x = inside.left(); x <= inside.right(); ++x) {
            const int here = qGray(image.pixel(x, y));
            sum += std::abs(qGray(image.pixel(x + 1, y)) - here) + std::abs(qGray(image.pixel(x, y + 1)) - here);
        }
    }
    return sum / (static_cast<double>(inside.width()) * inside.height());
}

QRect outputRectOf(FrameCompositor& compositor, const QRectF& canvas, const CGRectCodable& rect, double time)
{
    const CompositorGeometry::FrameLayout& layout = compositor.layout(canvas);
    const CGRectCodable crop = CompositorGeometry::cropRect(compositor.scene().videoWidth, compositor.scene().videoHeight,
                                                            layout.video, compositor.cameraAt(time));
    const CodablePoint topLeft = CompositorGeometry::mapToCanvas(rect.x, rect.y, crop, layout.video);
    const CodablePoint bottomRight =
        CompositorGeometry::mapToCanvas(rect.x + rect.width, rect.y + rect.height, crop, layout.video);
    return QRectF(QPointF(topLeft.x, topLeft.y), QPointF(bottomRight.x, bottomRight.y)).toAlignedRect();
}

void paintTextLike(QImage& image)
{
    for (int y = 0; y < image.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) row[x] = (x / 4 + y / 3) % 2 ? qRgb(235, 235, 235) : qRgb(20, 20, 20);
    }
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

QImage quadrants(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    const int halfWidth = size.width() / 2;
    const int halfHeight = size.height() / 2;
    painter.fillRect(0, 0, halfWidth, halfHeight, red);
    painter.fillRect(halfWidth, 0, size.width() - halfWidth, halfHeight, green);
    painter.fillRect(0, halfHeight, halfWidth, size.height() - halfHeight, blue);
    painter.fillRect(halfWidth, halfHeight, size.width() - halfWidth, size.height() - halfHeight, yellow);
    return image;
}

namespace {

// Holds the application from the first test that needs it until every test has run, and ends it
// before the process exits so that Qt hands fontconfig's data back while leaks are still checked.
class GuiApplicationEnvironment : public ::testing::Environment {
public:
    void start()
    {
        if (application_ || QCoreApplication::instance()) return;
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application_ = std::make_unique<QGuiApplication>(argc_, argv_);
    }
    void TearDown() override { application_.reset(); }

private:
    int argc_ = 1;
    char name_[13] = "render_tests";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QGuiApplication> application_;
};

GuiApplicationEnvironment* const guiEnvironment = static_cast<GuiApplicationEnvironment*>(
    ::testing::AddGlobalTestEnvironment(new GuiApplicationEnvironment));

}  // namespace

void ensureGuiApplication()
{
    guiEnvironment->start();
}

}  // namespace vantile::test
