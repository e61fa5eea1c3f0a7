#pragma once

#include "model/RenderSettings.h"

namespace vantile {

// The drawn cursor's colours; `accentBase` is opaque and each use brings its own alpha.
struct CursorPalette {
    RGBAColor fill;
    RGBAColor stroke;
    RGBAColor accentBase;

    static CursorPalette forTheme(CursorTheme theme);

    bool operator==(const CursorPalette&) const = default;
};

}  // namespace vantile
