#pragma once

#include <QColor>
#include <QPainter>
#include <QPainterPath>
#include <QPointF>

namespace vantile {

// Drop shadows the way the drawing model of the design defines them: the shape's own alpha,
// blurred by a Gaussian of sigma = blur / 2 (in device pixels, whatever the transform), tinted
// with the shadow colour and drawn at a device-space offset under the shape.
namespace ShadowPainter {

// Approximates a Gaussian with three box passes over an alpha plane (row-major, width × height).
void blurAlphaPlane(float* plane, int width, int height, double sigma);

// Draws the shadow that filling (and, with a pen, stroking) `path` with the painter's current
// transform would cast. `drawShape` paints the shape whose alpha casts the shadow.
template <typename DrawShape>
void drawShadow(QPainter& painter, const QRectF& deviceBounds, const QColor& color, QPointF offset, double blur,
                DrawShape&& drawShape);

QImage shadowImage(const QImage& shapeAlpha, const QColor& color, double blur);

}  // namespace ShadowPainter

template <typename DrawShape>
void ShadowPainter::drawShadow(QPainter& painter, const QRectF& deviceBounds, const QColor& color, QPointF offset,
                               double blur, DrawShape&& drawShape)
{
    const int margin = static_cast<int>(std::ceil(blur * 1.5)) + 2;
    const QRect area = deviceBounds.toAlignedRect().adjusted(-margin, -margin, margin, margin);
    if (area.isEmpty()) return;
    QImage shape(area.size(), QImage::Format_ARGB32_Premultiplied);
    shape.fill(Qt::transparent);
    {
        QPainter shapePainter(&shape);
        shapePainter.setRenderHint(QPainter::Antialiasing);
        shapePainter.translate(-area.topLeft());
        shapePainter.setTransform(painter.transform(), true);
        drawShape(shapePainter);
    }
    const QImage shadow = shadowImage(shape, color, blur);
    painter.save();
    painter.resetTransform();
    painter.drawImage(QPointF(area.topLeft()) + offset, shadow);
    painter.restore();
}

}  // namespace vantile
