#pragma once

#include <QVariantMap>

namespace vantile::SettingsOptions {

// The choices of the preview's settings panel, each a list of {value, label} with the raw
// value the controller takes and the Chinese label shown.
QVariantMap all();

// The frame rates offered for export, in this order.
inline constexpr int exportFrameRates[] = {12, 24, 30, 60};

}  // namespace vantile::SettingsOptions
