#pragma once

#include "render/ImageConversion.h"
#include "render/MovieWriter.h"

#include <QColor>
#include <QImage>

#include <algorithm>
#include <cmath>
#include <filesystem>

// Movies whose every frame tells its own index by colour, so a test reads which recording
// moment a drawn picture came from.
namespace vantile::testing {

// Red steps 16 per frame within a 15-frame cycle, green 28 per cycle, wide enough for the
// encoder's quantising of flat areas. Screens use a low blue, cameras a high one, so the two
// are never confused.
inline QColor clockColour(int frame, int blue)
{
    return QColor(8 + (frame % 15) * 16, 8 + (frame / 15) * 28, blue);
}

inline int frameFromColour(QColor colour)
{
    return static_cast<int>(std::lround((colour.green() - 8) / 28.0)) * 15 +
           static_cast<int>(std::lround((colour.red() - 8) / 16.0));
}

inline const QColor cameraClockBlue(0, 0, 200);
inline const QColor screenClockBlue(0, 0, 60);
inline const QColor cameraLeft(220, 30, 30);
inline const QColor cameraRight(30, 200, 30);

// A 30 fps movie without sound, each frame painted by `paint(canvas, index)`.
template <typename Paint>
void writeClockMovie(const std::filesystem::path& path, int width, int height, double duration, Paint paint)
{
    MovieWriter writer(path, VideoEncoderSettings{width, height, 30, "ultrafast", 18}, 0);
    QImage canvas(width, height, QImage::Format_RGB32);
    FrameHandle frame = writer.makeVideoFrame();
    const int frames = std::max(1, static_cast<int>(std::ceil(duration * 30 - 1e-9)));
    for (int index = 0; index < frames; ++index) {
        paint(canvas, index);
        av_frame_make_writable(frame.get());
        convertImageToYuv420(canvas, *frame);
        writer.appendVideo(*frame, index);
    }
    writer.finish();
}

// A 160 x 120 camera: its clock in the top half, red on the left and green on the right below
// (so a mirrored bubble shows green on its left).
inline void writeCameraClockMovie(const std::filesystem::path& path, double duration)
{
    writeClockMovie(path, 160, 120, duration, [](QImage& canvas, int frame) {
        canvas.fill(clockColour(frame, cameraClockBlue.blue()));
        for (int y = 60; y < 120; ++y) {
            for (int x = 0; x < 160; ++x) canvas.setPixel(x, y, (x < 80 ? cameraLeft : cameraRight).rgb());
        }
    });
}

// A screen of `width` x `height` that shows only its clock.
inline void writeScreenClockMovie(const std::filesystem::path& path, int width, int height, double duration)
{
    writeClockMovie(path, width, height, duration,
                    [](QImage& canvas, int frame) { canvas.fill(clockColour(frame, screenClockBlue.blue())); });
}

}  // namespace vantile::testing
