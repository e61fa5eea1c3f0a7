#include "ProductMark.h"

#include <QPainter>
#include <QPainterPath>
#include <QSvgRenderer>

namespace vantile::ProductMark {

namespace {

void drawFallbackBolt(QPainter& painter, double size)
{
    QPainterPath bolt;
    bolt.moveTo(0.58 * size, 0.06 * size);
    bolt.lineTo(0.22 * size, 0.56 * size);
    bolt.lineTo(0.48 * size, 0.56 * size);
    bolt.lineTo(0.40 * size, 0.94 * size);
    bolt.lineTo(0.78 * size, 0.42 * size);
    bolt.lineTo(0.52 * size, 0.42 * size);
    bolt.closeSubpath();
    painter.fillPath(bolt, Qt::black);
}

}  // namespace

QPixmap pixmap(int size, const QColor& color, double devicePixelRatio)
{
    const int pixels = static_cast<int>(size * devicePixelRatio);
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        QSvgRenderer renderer(QStringLiteral(":/resources/vantile-mark.svg"));
        if (renderer.isValid()) {
            renderer.render(&painter, QRectF(0, 0, pixels, pixels));
        } else {
            drawFallbackBolt(painter, pixels);
        }
        // Like a template image: keep the shape's coverage, take the colour given.
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), color);
    }
    QPixmap result = QPixmap::fromImage(image);
    result.setDevicePixelRatio(devicePixelRatio);
    return result;
}

QIcon icon(const QColor& color)
{
    QIcon result;
    for (const int size : {16, 18, 22, 24, 32, 48, 64}) result.addPixmap(pixmap(size, color));
    return result;
}

}  // namespace vantile::ProductMark
