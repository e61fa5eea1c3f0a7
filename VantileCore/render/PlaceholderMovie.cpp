#include "render/PlaceholderMovie.h"

#include "render/FrameCompositor.h"
#include "render/VideoFileWriter.h"

#include <QPainterPath>

#include <cmath>

namespace vantile::PlaceholderMovie {

void write(const std::filesystem::path& url, int width, int height, double duration, int fps, const std::string&)
{
    VideoFileWriter::removeExisting(url);
    const auto draw = [](QImage& image, double time) {
        const QRectF canvas(0, 0, image.width(), image.height());
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillRect(canvas, QColor(16, 24, 39));
        FrameCompositor::drawGrid(painter, canvas, time);
        QPainterPath panel;
        panel.addRoundedRect(canvas.adjusted(48, 48, -48, -48), 24, 24);
        painter.fillPath(panel, QColor(37, 48, 68));
        const double radius = 40 + 12 * std::sin(3 * time);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor::fromRgbF(96 / 255.0F, 165 / 255.0F, 250 / 255.0F, 0.25F));
        painter.drawEllipse(canvas.center(), radius, radius);
        return QRegion(image.rect());
    };
    try {
        VideoFileWriter::writeMovie(url, width, height, duration, fps, draw);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(url, ignored);
        throw;
    }
}

}  // namespace vantile::PlaceholderMovie
