// Plays a 1080p30 raw movie in the live preview with every overlay on and reports the CPU it
// takes and the frames it drops: once the player alone, once the whole preview screen drawn
// by Qt Quick's software renderer (the slowest way a frame reaches the screen).
// Usage: bench_preview [SECONDS]
#include "SampleProject.h"
#include "ScreenHarness.h"
#include "LivePreviewItem.h"
#include "PreviewPlayer.h"

#include <QApplication>
#include <QElapsedTimer>

#include <sys/resource.h>

#include <cstdio>

using namespace vantile;

namespace {

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct Measurement {
    double wall = 0;
    double cpu = 0;
    long shown = 0;
    long dropped = 0;
};

void report(const char* what, const Measurement& m, double duration)
{
    const double expected = duration * 30;
    std::printf("%-34s %6.1f s  %5.0f%% of a core  %5ld/%4.0f frames shown  %4ld dropped   target: <100%%, 0 dropped\n",
                what, m.wall, 100 * m.cpu / m.wall, m.shown, expected, m.dropped);
}

}  // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND")) qputenv("QT_QUICK_BACKEND", "software");
    QApplication application(argc, argv);
    const double duration = argc > 1 ? std::atof(argv[1]) : 20;

    testing::TemporaryDirectory root;
    const auto directory = root / "project-bench";
    std::printf("making a %.0f s 1080p30 raw movie...\n", duration);
    const RecordingProject project = testing::makeSampleProject(directory, 1920, 1080, duration);

    {
        PreviewPlayer player;
        Measurement m;
        QObject::connect(&player, &PreviewPlayer::frameReady, [&] { ++m.shown; });
        player.open(directory / "raw.mov", project.duration);
        player.setScene(PreviewFrameRenderer::sceneFor(project, project.renderSettings));
        player.setCanvasSize(QSize(1280, 720));
        testing::waitFor([&] { return m.shown > 0; });
        m.shown = 0;
        const double cpuStart = cpuSeconds();
        QElapsedTimer wall;
        wall.start();
        player.play();
        testing::waitFor([&] { return !player.isPlaying(); }, static_cast<int>(duration * 1000 + 10000));
        m.wall = wall.elapsed() / 1000.0;
        m.cpu = cpuSeconds() - cpuStart;
        m.dropped = player.droppedFrames();
        report("player, 1280x720 canvas", m, duration);
    }
    {
        testing::ScreenHarness screens;
        screens.window()->resize(1440, 900);
        screens.openProject(directory);
        auto* preview = static_cast<LivePreviewItem*>(screens.item("livePreview"));
        testing::waitFor([&] { return preview->isReady(); });
        Measurement m;
        QObject::connect(screens.window(), &QQuickWindow::frameSwapped, [&] { ++m.shown; });
        const double cpuStart = cpuSeconds();
        QElapsedTimer wall;
        wall.start();
        preview->play();
        testing::waitFor([&] { return !preview->isPlaying(); }, static_cast<int>(duration * 1000 + 10000));
        m.wall = wall.elapsed() / 1000.0;
        m.cpu = cpuSeconds() - cpuStart;
        m.dropped = preview->player().droppedFrames();
        const QRectF canvas = preview->canvasRect();
        char what[64];
        std::snprintf(what, sizeof what, "preview screen, %.0fx%.0f canvas", canvas.width(), canvas.height());
        report(what, m, duration);
    }
    return 0;
}
