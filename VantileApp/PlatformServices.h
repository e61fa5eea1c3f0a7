#pragma once

#include "AppState.h"
#include "capture/KeyShortcut.h"

#include <optional>

namespace vantile {

// The real collaborators on this desktop: the session's capture back end (X11 or Wayland) for
// pictures, input and permissions, PulseAudio microphones,
// the project store's default root and the movie exporter. `stopShortcut`'s presses are left out
// of the input log.
AppCollaborators makePlatformCollaborators(std::optional<KeyShortcut> stopShortcut = std::nullopt);

}  // namespace vantile
