#pragma once

#include "model/CameraRecording.h"
#include "model/RenderSettings.h"
#include "render/RenderJob.h"
#include "render/SourceFrameProvider.h"
#include "render/layers/OverlayLayer.h"

#include <QPainterPath>

#include <filesystem>
#include <memory>

namespace vantile {

// The presenter's webcam in a bubble over the output frame: the camera frame of the same
// recording moment, centre-cropped to the shape, scaled smoothly, mirrored when asked, with
// an antialiased edge and a soft shadow. Placed by CompositorGeometry::cameraBubbleRect.
class CameraBubbleLayer : public OverlayLayer {
public:
    // Nothing when the project has no camera, the settings hide the bubble, or the camera movie
    // is missing or unreadable: an export never fails for the camera, it goes on without it.
    // A relative camera path is beside the raw movie, in the project directory.
    static std::unique_ptr<CameraBubbleLayer> forJob(const RenderJob& job);

    CameraBubbleLayer(const CameraRecording& camera, const RenderSettings& settings,
                      std::unique_ptr<SourceFrameProvider> frames);

    std::optional<OverlayTile> tileAt(double time, const QRectF& canvas) override;

private:
    // The shape, the shadow and the tile's size depend only on the bubble's side.
    void prepareForSide(int side);
    void paintTile(const AVFrame& frame);
    // Scales the centred square of a yuv420p frame into `square_`; false for other formats.
    bool scaleCropInYuv(const AVFrame& frame);

    double startOffset_ = 0;
    RenderSettings settings_;
    std::unique_ptr<SourceFrameProvider> frames_;
    int side_ = 0;
    int shadowReach_ = 0;  // how far the shadow reaches past the bubble on each side
    QPainterPath shape_;   // in the bubble's own square, origin at its top left
    QImage shadow_;        // tile-sized, built once per side
    FrameHandle scaledCrop_;  // the crop at the bubble's side, still in YUV
    QImage cameraImage_;      // a camera frame in another format, in RGB
    QImage square_;        // the crop scaled to the bubble's side
    QImage tile_;
    std::optional<OverlayTile> lastTile_;
};

}  // namespace vantile
