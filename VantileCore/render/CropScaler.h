#pragma once

#include <QImage>
#include <QPainter>
#include <QRectF>

namespace vantile {

// Draws the `crop` part of `source` scaled into `target`, bilinear, the way
// QPainter::drawImage(target, source, crop) does with smooth transforms. When the painter
// paints untransformed and unclipped onto a 32-bit image, the scaling runs through libyuv,
// about twice as fast as Qt's; the crop's sub-pixel position is kept to within half an
// output pixel. Otherwise Qt draws it.
void drawScaledCrop(QPainter& painter, const QImage& source, const QRectF& crop, const QRectF& target);

}  // namespace vantile
