#include "render/layers/OverlayLayers.h"

#include "render/layers/CameraBubbleLayer.h"

namespace vantile {

void addOverlayLayers(FrameCompositor& compositor, const RenderJob& job)
{
    compositor.addLayer(CameraBubbleLayer::forJob(job));
}

}  // namespace vantile
