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
// Two tiles: the shadow, which stays while the bubble does not move, and the picture.
class CameraBubbleLayer : public OverlayLayer {
public:
    // Nothing when the project has no camera, the settings hide the bubble, or the camera movie
    // is missing or unreadable: an export never fails for the camera, it goes on without it.
    // A relative camera path is beside the raw movie, in the project directory.
    static std::unique_ptr<CameraBubbleLayer> forJob(const RenderJob& job);

    CameraBubbleLayer(const CameraRecording& camera, const RenderSettings& settings,
                      std::unique_ptr<SourceFrameProvider> frames);

    std::vector<OverlayTile> tilesAt(double time, const QRectF& canvas, TileForm form) override;

private:
    // The shape, the shadow and the tiles' sizes depend only on the bubble's side.
    void prepareForSide(int side);
    // The crop of the camera frame scaled to the bubble's side into `scaledCrop_`, in YUV;
    // false for frames of other formats.
    bool scaleCropInYuv(const AVFrame& frame);
    void paintImage(const AVFrame& frame);
    // False when the frame's colours are not the encoder's, so only the image can show them.
    bool fillPlanes(const AVFrame& frame);
    const PlanarTile& shadowPlanes();

    double startOffset_ = 0;
    RenderSettings settings_;
    std::unique_ptr<SourceFrameProvider> frames_;
    int side_ = 0;
    int shadowReach_ = 0;  // how far the shadow reaches past the bubble on each side; even
    QPainterPath shape_;   // in the bubble's own square, origin at its top left
    QImage shapeMask_;     // the shape's antialiased coverage
    QImage shadow_;        // the shadow's tile, built once per side
    PlanarTile shadowPlanes_;
    FrameHandle halvedCrop_;  // the crop at half its size, when the bubble is smaller still
    FrameHandle scaledCrop_;  // the crop at the bubble's side, in YUV
    QImage cameraImage_;      // a camera frame in another format, in RGB
    QImage unmirrored_;       // the scaled crop in RGB before mirroring
    QImage picture_;          // the picture's tile: the crop masked to the shape
    PlanarTile picturePlanes_;  // ... in planes, with the shape's coverage as alpha
    std::int64_t imageContent_ = -1;   // the camera frame the image was made from
    std::int64_t planesContent_ = -1;  // ... the planes
};

}  // namespace vantile
