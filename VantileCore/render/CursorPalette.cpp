#include "render/CursorPalette.h"

namespace vantile {

namespace {

RGBAColor rgb(int red, int green, int blue, double alpha = 1)
{
    return {red / 255.0, green / 255.0, blue / 255.0, alpha};
}

}  // namespace

CursorPalette CursorPalette::forTheme(CursorTheme theme)
{
    switch (theme) {
    case CursorTheme::systemWhite:
        return {rgb(255, 255, 255), rgb(0, 0, 0, 0.52), rgb(96, 165, 250)};
    case CursorTheme::graphite:
        return {rgb(17, 24, 39), rgb(255, 255, 255, 0.72), rgb(148, 163, 184)};
    case CursorTheme::electricBlue:
        return {rgb(37, 99, 235), rgb(255, 255, 255, 0.82), rgb(56, 189, 248)};
    case CursorTheme::rose:
        return {rgb(244, 63, 94), rgb(255, 255, 255, 0.82), rgb(251, 113, 133)};
    case CursorTheme::lime:
        return {rgb(101, 163, 13), rgb(255, 255, 255, 0.82), rgb(163, 230, 53)};
    }
    return forTheme(CursorTheme::systemWhite);
}

}  // namespace vantile
