#pragma once

#include "AppState.h"

namespace vantile {

// The real collaborators on this desktop: X11 capture and input, PulseAudio microphones,
// the project store's default root and the movie exporter.
AppCollaborators makePlatformCollaborators();

}  // namespace vantile
