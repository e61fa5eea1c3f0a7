#include "render/layers/OverlayLayers.h"

#include "render/layers/CameraBubbleLayer.h"
#include "render/layers/ShortcutBadgeLayer.h"

namespace vantile {

void addOverlayLayers(FrameCompositor& compositor, const RenderJob& job)
{
    compositor.addLayer(ShortcutBadgeLayer::forJob(job));
    compositor.addLayer(CameraBubbleLayer::forJob(job));
}

}  // namespace vantile
