#include "render/layers/OverlayLayers.h"

#include "render/layers/CameraBubbleLayer.h"
#include "render/layers/ShortcutBadgeLayer.h"
#include "render/layers/TextCalloutLayer.h"

namespace vantile {

void addOverlayLayers(FrameCompositor& compositor, const RenderJob& job)
{
    compositor.addLayer(ShortcutBadgeLayer::forJob(job));
    compositor.addLayer(CameraBubbleLayer::forJob(job));
    // Above the bubble: a caption is never hidden behind the presenter.
    compositor.addLayer(TextCalloutLayer::forJob(job));
}

}  // namespace vantile
