#pragma once

#include "model/JsonCoding.h"
#include "model/RecordingProject.h"
#include "render/ExportMonitor.h"
#include "render/FrameCompositor.h"
#include "render/RenderJob.h"
#include "support/MediaProbe.h"
#include "support/TemporaryDirectory.h"

#include <QColor>
#include <QImage>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace vantile::test {

using testing::CommandResult;
using testing::countVideoFrames;
using testing::probe;
using testing::readText;
using testing::runCommand;
using testing::TemporaryDirectory;

// One decoded frame at `seconds`, as players convert it (honouring the stream's colour tags).
QImage decodeFrame(const std::filesystem::path& movie, double seconds);

// A small raw movie: every frame filled by `paint` (frame index → image), 30 fps, with
// `audioTracks` AAC tracks of `sound` (track, seconds → sample), by default a quiet tone.
using SoundAt = std::function<float(int track, double seconds)>;
void writeRawMovie(const std::filesystem::path& path, int width, int height, double duration, int audioTracks,
                   const std::function<void(QImage&, int)>& paint, const SoundAt& sound = {});

// A project record for a raw movie of that size, with a short click path.
RecordingProject makeProject(int width, int height, double duration);

// The project's export from `directory`/raw.mov into `directory`/`output`.
RenderJob makeJob(const std::filesystem::path& directory, const RecordingProject& project, const std::string& output);

// Zooms to fractional crops and a cursor that clicks near the edges and the corners, over 1.2 s.
CompositorScene compositorScene(TemplateName name, CursorEffect effect, bool background = true);

// When each burst of `frequency` begins in 48 kHz samples, to the nearest 5 ms.
std::vector<double> toneOnsets(const std::vector<float>& samples, double frequency);

// The centre pixel of every frame of a movie, as rgb24 triples.
std::vector<std::uint8_t> centrePixels(const std::filesystem::path& movie);

int lineCount(const std::string& text);

// Starts Qt's font system (offscreen) once for this process: text layers draw with it.
void ensureGuiApplication();
// The mean absolute luma difference between horizontal and vertical neighbours inside `area`:
// text and fine lines score high, a pixelated or blurred area low.
double detailEnergy(const QImage& image, const QRect& area);
// Where a rectangle of recording pixels lands in `compositor`'s output on `canvas` at `time`,
// through its layout and camera.
QRect outputRectOf(FrameCompositor& compositor, const QRectF& canvas, const CGRectCodable& rect, double time);
// Fine black and white cells of 4 × 3 pixels, like lines of small text.
void paintTextLike(QImage& image);

// A monitor that cancels its own export once `shouldCancel` holds for a progress report.
struct CancellingMonitor : ExportMonitor {
    explicit CancellingMonitor(std::function<bool(double)> shouldCancel)
        : ExportMonitor([this, shouldCancel = std::move(shouldCancel)](double fraction) {
              if (shouldCancel(fraction)) cancel();
          })
    {
    }
};

// A picture of four flat quadrants, red, green, blue and yellow from the top left, so where a
// drawn pixel came from shows in its colour.
inline const QColor red(220, 30, 30);
inline const QColor green(30, 200, 60);
inline const QColor blue(30, 60, 220);
inline const QColor yellow(240, 220, 40);
QImage quadrants(QSize size);

bool near(QColor actual, QColor expected, int tolerance);
std::string describe(QColor color);

}  // namespace vantile::test
