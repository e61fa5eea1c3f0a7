#pragma once

#include <QPainter>
#include <QRectF>

namespace vantile::GeneratedWallpaper {

// Vantile's own wallpapers, 1 to BackgroundChoice::generatedCount: a soft two-colour wash with
// large blurred blobs of colour over it, laid out in shares of the frame so they look the same
// at every size.
void paint(QPainter& painter, const QRectF& canvas, int index);

}  // namespace vantile::GeneratedWallpaper
