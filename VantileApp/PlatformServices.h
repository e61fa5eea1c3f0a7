#pragma once

#include "AppState.h"

namespace vantile {

// The real collaborators on this desktop: the session's capture back end (X11 or Wayland) for
// pictures, input and permissions, PulseAudio microphones,
// the project store's default root and the movie exporter.
AppCollaborators makePlatformCollaborators();

}  // namespace vantile
