#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>

namespace vantile::ProductMark {

// The monochrome mark ("vantile-mark.svg") drawn in one colour; a lightning bolt is drawn
// instead when the resource cannot be loaded.
QPixmap pixmap(int size, const QColor& color, double devicePixelRatio = 1.0);
QIcon icon(const QColor& color);

}  // namespace vantile::ProductMark
