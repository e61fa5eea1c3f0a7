#pragma once

#include <QPainter>
#include <QPainterPath>
#include <QRect>

namespace vantile {

// The dark heads-up material of Vantile's small windows over the desktop (the recording hint,
// the countdown): translucent enough to hint at what lies below, with a faint light edge.
// Returns the outline, for clipping what is drawn on it.
inline QPainterPath paintHeadsUpPanel(QPainter& painter, const QRect& area, double radius, int alpha)
{
    QPainterPath outline;
    outline.addRoundedRect(QRectF(area).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(outline, QColor(24, 24, 27, alpha));
    painter.setPen(QPen(QColor(255, 255, 255, 40), 1));
    painter.drawPath(outline);
    return outline;
}

}  // namespace vantile
