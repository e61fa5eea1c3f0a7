// The category's full-demo export scenario beside a plain FFmpeg re-encode of the same footage:
// a minute of 1080p30 screen footage with three zooms, exported at 1080p60 with a picture
// wallpaper, padding, rounded corners, shadow, motion blur, a larger cursor and a camera
// inset, against `ffmpeg ... -r 60 -c:v libx264 -b:v 20M -preset medium` of the footage.
// Usage: demo_scenario_bench [WORKDIR] [--pairs N] [--seconds S]
#include "model/CameraRecording.h"
#include "../support/ChildRun.h"
#include "store/ProjectFileManager.h"

#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>


#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

using namespace vantile;
namespace fs = std::filesystem;

namespace {

using bench::RunResult;

RunResult run(const std::vector<std::string>& command, const fs::path& log) { return bench::runChild(command, log); }

std::string capture(const std::string& command)
{
    std::string text;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[4096];
        while (const std::size_t read = std::fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, read);
        pclose(pipe);
    }
    return text;
}

// Text pages that scroll, and every few seconds a new page: what a product demo's screen shows.
void writeFootage(const fs::path& movie, int seconds)
{
    const std::string command = "ffmpeg -v error -y -f rawvideo -pix_fmt bgra -s 1920x1080 -r 30 -i - "
                                "-f lavfi -i \"sine=frequency=330:sample_rate=48000,volume=0.3\" -t " +
                                std::to_string(seconds) +
                                " -map 0:v -map 1:a -c:v libx264 -preset veryfast -crf 18 -pix_fmt yuv420p "
                                "-c:a aac -b:a 128k -shortest '" + movie.string() + "'";
    FILE* pipe = popen(command.c_str(), "w");
    if (!pipe) std::exit(1);
    std::mt19937 random(20261126);
    std::uniform_int_distribution<int> wordLength(2, 9);
    std::uniform_int_distribution<int> letter(0, 25);
    const auto line = [&] {
        std::string text;
        while (text.size() < 90) {
            for (int index = wordLength(random); index > 0; --index) text += static_cast<char>('a' + letter(random));
            text += ' ';
        }
        return QString::fromStdString(text);
    };
    QImage frame(1920, 1080, QImage::Format_ARGB32);
    QFont body("DejaVu Sans", 20);
    QFont heading("DejaVu Sans", 34, QFont::Bold);
    std::vector<QString> page;
    for (int index = 0; index < seconds * 30; ++index) {
        const int pageNumber = index / (30 * 8);
        if (index % (30 * 8) == 0) {
            page.clear();
            for (int row = 0; row < 80; ++row) page.push_back(line());
        }
        const double scroll = (index % (30 * 8)) * 3.0;
        frame.fill(QColor(248, 250, 252));
        QPainter painter(&frame);
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.fillRect(0, 0, 1920, 64, QColor(30, 41, 59));
        painter.fillRect(0, 64, 280, 1016, QColor(226, 232, 240));
        painter.setPen(QColor(15, 23, 42));
        painter.setFont(heading);
        painter.drawText(340, 150 - static_cast<int>(scroll), QString("Page %1: release notes").arg(pageNumber + 1));
        painter.setFont(body);
        for (std::size_t row = 0; row < page.size(); ++row) {
            const int y = 220 + static_cast<int>(row) * 36 - static_cast<int>(scroll);
            if (y < 80 || y > 1100) continue;
            painter.drawText(340, y, page[row]);
        }
        painter.end();
        std::fwrite(frame.constBits(), 1, static_cast<std::size_t>(frame.sizeInBytes()), pipe);
    }
    if (pclose(pipe) != 0) std::exit(1);
}

// A photograph-like wallpaper of Vantile's own making: soft colour over a gradient, with noise.
void writeWallpaper(const fs::path& file)
{
    QImage image(2400, 1350, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient wash(0, 0, 2400, 1350);
    wash.setColorAt(0, QColor(12, 74, 110));
    wash.setColorAt(1, QColor(124, 58, 237));
    painter.fillRect(image.rect(), wash);
    QRadialGradient glow(QPointF(1800, 300), 900);
    glow.setColorAt(0, QColor(251, 191, 36, 170));
    glow.setColorAt(1, QColor(251, 191, 36, 0));
    painter.fillRect(image.rect(), glow);
    painter.end();
    std::mt19937 random(7);
    std::uniform_int_distribution<int> grain(-6, 6);
    for (int y = 0; y < image.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int shift = grain(random);
            row[x] = qRgb(std::clamp(qRed(row[x]) + shift, 0, 255), std::clamp(qGreen(row[x]) + shift, 0, 255),
                          std::clamp(qBlue(row[x]) + shift, 0, 255));
        }
    }
    image.save(QString::fromStdString(file.string()), "JPEG", 92);
}

// The project: the sample's cursor telemetry and clicks over the footage, three zooms and
// nothing else planned, and a 720p camera movie encoded as the recorder encodes it.
fs::path makeProject(const fs::path& work, int seconds, const fs::path& log)
{
    const fs::path directory = work / "demo";
    if (fs::exists(directory / "project.json")) return directory;
    fs::remove_all(directory);
    run({VANTILE_CLI, "sample", directory.string(), "--duration", std::to_string(seconds), "--width", "1920",
         "--height", "1080", "--audio", "system"},
        log);
    writeFootage(directory / "raw.mov", seconds);
    run({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=size=1280x720:rate=30", "-t",
         std::to_string(seconds), "-c:v", "libx264", "-preset", "ultrafast", "-crf", "23", "-pix_fmt", "yuv420p",
         "-movflags", "+frag_keyframe+empty_moov", (directory / "camera.mov").string()},
        log);
    const ProjectFileManager files(work);
    RecordingProject project = files.loadProject(directory);
    const double scale = static_cast<double>(seconds) / 60;
    const auto zoom = [&](double start, double end, double x, double y, double depth) {
        return FocusSegment{start * scale, end * scale, FocusSegment::SegmentType::clickFocus, x * 1920, y * 1080,
                            depth, true, {}};
    };
    const auto overview = [&](double start, double end) {
        return FocusSegment{start * scale, end * scale, FocusSegment::SegmentType::overview, 960, 540, 1, false, {}};
    };
    project.focusSegments = {overview(0, 6),   zoom(6, 12, 0.32, 0.38, 1.8),  overview(12, 22),
                             zoom(22, 29, 0.62, 0.55, 2.2), overview(29, 41), zoom(41, 48, 0.45, 0.70, 1.6),
                             overview(48, 60)};
    project.camera = CameraRecording{"camera.mov", 1280, 720, 30, 0};
    files.saveProject(project, directory);
    return directory;
}

std::vector<std::string> exportCommand(const fs::path& project, const fs::path& wallpaper, const fs::path& output,
                                       bool camera)
{
    return {VANTILE_CLI,      "export",        project.string(), "-o",           output.string(),
            "--aspect",       "16:9",          "--resolution",   "1080p",        "--fps",
            "60",             "--quality",     "standard",       "--background", wallpaper.string(),
            "--padding",      "0.05",          "--corner-radius", "40",          "--shadow",
            "1",              "--motion-blur", "0.5",            "--cursor-size", "1.5",
            "--camera",       camera ? "on" : "off", "--camera-position", "bottomRight", "--camera-size",
            "0.25",           "--camera-shape", "roundedSquare"};
}

std::vector<std::string> floorCommand(const fs::path& source, const fs::path& output)
{
    return {"ffmpeg", "-v", "error", "-y", "-i", source.string(), "-vf", "scale=1920:1080:flags=bicubic,format=yuv420p",
            "-r", "60", "-c:v", "libx264", "-b:v", "20M", "-preset", "medium", "-profile:v", "high", "-c:a", "aac",
            "-b:a", "128k", "-movflags", "+faststart", output.string()};
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

QImage frameAt(const fs::path& movie, double seconds, const fs::path& work)
{
    const fs::path picture = work / "check.png";
    run({"ffmpeg", "-v", "error", "-y", "-ss", std::to_string(seconds), "-i", movie.string(), "-frames:v", "1",
         picture.string()},
        work / "check.log");
    return QImage(QString::fromStdString(picture.string())).convertToFormat(QImage::Format_RGB32);
}

int colourDistance(QColor a, QColor b)
{
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue());
}

// Busy detail in a square: the mean absolute difference between horizontal neighbours.
double detail(const QImage& image, QRect area)
{
    double sum = 0;
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x < area.right(); ++x) {
            sum += std::abs(qGray(image.pixel(x, y)) - qGray(image.pixel(x + 1, y)));
            ++count;
        }
    }
    return count ? sum / count : 0;
}

bool check(const char* what, bool passed)
{
    std::printf("  %-52s %s\n", what, passed ? "ok" : "FAILED");
    return passed;
}

// Size, rate, length, sound, wallpaper, card, zooms, cursor.
bool verify(const fs::path& movie, const fs::path& project, const fs::path& wallpaper, int seconds, const fs::path& work)
{
    const std::string streams = capture("ffprobe -v error -select_streams v:0 -show_entries "
                                        "stream=width,height,avg_frame_rate -show_entries format=duration -of csv=p=0 '" +
                                        movie.string() + "'");
    bool passed = check("1920x1080 at 60 fps", streams.find("1920,1080,60/1") != std::string::npos);
    const double duration = std::atof(streams.substr(streams.find('\n') + 1).c_str());
    passed &= check("duration within a frame of the footage's", std::abs(duration - seconds) < 0.05);
    const std::string volume =
        capture("ffmpeg -v info -i '" + movie.string() + "' -vn -af volumedetect -f null - 2>&1 | grep mean_volume");
    const auto at = volume.find("mean_volume:");
    passed &= check("audio not silent", at != std::string::npos && std::atof(volume.c_str() + at + 12) > -40);

    const QImage overview = frameAt(movie, seconds * 3.0 / 60, work);
    const QImage picture = QImage(QString::fromStdString(wallpaper.string())).scaled(1920, 1080);
    bool corners = true;
    for (const QPoint corner : {QPoint(4, 4), QPoint(1915, 4), QPoint(4, 1075)}) {
        corners &= colourDistance(overview.pixelColor(corner), picture.pixelColor(corner)) < 60;
    }
    passed &= check("the wallpaper in the corners", corners);
    // Padding 5% of 1080 is 54 px; the card's corner, rounded by 40 px, shows wallpaper at its
    // very tip, its edge a little further in shows the card.
    const QColor tip = overview.pixelColor(56, 56);
    const QColor edge = overview.pixelColor(960, 60);
    passed &= check("the card inset and rounded",
                    colourDistance(tip, picture.pixelColor(56, 56)) < 60 && colourDistance(edge, picture.pixelColor(960, 60)) > 60);
    // Inside each zoom, text is larger: fewer, wider strokes, so less detail per pixel at the focus.
    const std::array<std::array<double, 3>, 3> zooms{{{9, 0.32, 0.38}, {25.5, 0.62, 0.55}, {44.5, 0.45, 0.70}}};
    bool magnified = true;
    for (const auto& zoom : zooms) {
        const double time = zoom[0] * seconds / 60;
        const QImage zoomed = frameAt(movie, time, work);
        const QImage source = frameAt(project / "raw.mov", time, work);
        const QRect around(960 - 150, 540 - 150, 300, 300);
        const QRect inSource(static_cast<int>(zoom[1] * 1920) - 150, static_cast<int>(zoom[2] * 1080) - 150, 300, 300);
        magnified &= detail(zoomed, around) < detail(source, inSource) * 0.85;
    }
    passed &= check("magnified inside each zoom window", magnified);
    return passed;
}

}  // namespace

int main(int argc, char** argv)
{
    fs::path work = fs::temp_directory_path() / "vantile-demo-bench";
    int pairs = 3;
    int seconds = 60;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if (argument == "--pairs" && index + 1 < argc) pairs = std::max(1, std::atoi(argv[++index]));
        else if (argument == "--seconds" && index + 1 < argc) seconds = std::max(10, std::atoi(argv[++index]));
        else work = argument;
    }
    fs::create_directories(work);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    const fs::path log = work / "run.log";
    const fs::path wallpaper = work / "wallpaper.jpg";
    if (!fs::exists(wallpaper)) writeWallpaper(wallpaper);
    const fs::path project = makeProject(work, seconds, log);
    std::printf("demo scenario: %d s 1080p30 footage with AAC, exported at 1080p60, %d alternating pairs\n", seconds,
                pairs);

    for (const bool camera : {true, false}) {
        std::vector<double> costs;
        std::vector<double> ourSeconds;
        std::vector<double> floorSeconds;
        std::vector<double> ourCpu;
        std::vector<double> floorCpu;
        double ourPeak = 0;
        double floorPeak = 0;
        for (int pair = 0; pair < pairs; ++pair) {
            const RunResult floor = run(floorCommand(project / "raw.mov", work / "floor.mp4"), log);
            const RunResult ours = run(exportCommand(project, wallpaper, work / "vantile.mp4", camera), log);
            costs.push_back(ours.seconds / floor.seconds);
            ourSeconds.push_back(ours.seconds);
            floorSeconds.push_back(floor.seconds);
            ourCpu.push_back(ours.cpuSeconds);
            floorCpu.push_back(floor.cpuSeconds);
            ourPeak = std::max(ourPeak, ours.peakMegabytes);
            floorPeak = std::max(floorPeak, floor.peakMegabytes);
            std::printf("  pair %d: floor %.1f s, vantile %.1f s, cost %.3f\n", pair + 1, floor.seconds, ours.seconds,
                        costs.back());
        }
        std::printf("%s\n", camera ? "with the camera inset" : "without the camera inset");
        std::printf("  cost (vantile / floor, median)        %.3f   target <= 1.0\n", median(costs));
        std::printf("  wall time, floor / vantile            %.1f s / %.1f s\n", median(floorSeconds), median(ourSeconds));
        std::printf("  CPU time, floor / vantile             %.1f s / %.1f s\n", median(floorCpu), median(ourCpu));
        std::printf("  peak memory, floor / vantile          %.0f MB / %.0f MB   target <= 600 MB\n", floorPeak, ourPeak);
        if (camera && !verify(work / "vantile.mp4", project, wallpaper, seconds, work)) return 1;
    }
    return 0;
}
