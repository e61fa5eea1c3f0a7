#pragma once

#include "render/FrameCompositor.h"
#include "render/RenderJob.h"

namespace vantile {

// Adds the layers drawn over every frame of `job`, bottom first. The export, the GIF and the
// preview all build their compositors through this, so each shows the same overlays.
void addOverlayLayers(FrameCompositor& compositor, const RenderJob& job);

}  // namespace vantile
