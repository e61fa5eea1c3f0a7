#pragma once

#include "capture/SourceLister.h"

#include <optional>
#include <string>
#include <vector>

namespace vantile {

// The compositor's outputs, asked over a Wayland connection of its own: one display each, at its
// logical position and size. Throws std::runtime_error when no compositor answers, and
// RecordingError when no Wayland display is set.
std::vector<ListedDisplay> listWaylandOutputs(const std::optional<std::string>& displayName = std::nullopt);

}  // namespace vantile
