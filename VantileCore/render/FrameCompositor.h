#pragma once

#include "model/CursorFrame.h"
#include "model/RecordingProject.h"
#include "model/RenderSettings.h"
#include "render/BackgroundPicture.h"
#include "render/CompositorGeometry.h"
#include "render/CropScaler.h"
#include "render/CursorPalette.h"
#include "render/FrameProviders.h"
#include "render/SourceObscurer.h"
#include "render/layers/OverlayLayer.h"

#include <QImage>
#include <QPainter>
#include <QRegion>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vantile {

// Everything one export draws from, fixed while its frames are drawn.
struct CompositorScene {
    double videoWidth = 0;   // the project's raw-video size
    double videoHeight = 0;
    RenderSettings settings;
    std::vector<CameraKeyframe> keyframes;
    std::vector<CursorFrame> cursorFrames;
    // The picture of an image background, read once; null for every other background.
    std::shared_ptr<const BackgroundPicture> backgroundPicture;
    // Made unreadable in the source picture before it is placed (privacy blur).
    std::vector<BlurRegion> blurRegions{};

    // What a project's frames are drawn from with `settings`: its video, its camera path and cursor.
    // An image background is read from `projectDirectory`; without one it is left out.
    static CompositorScene of(const RecordingProject& project, const RenderSettings& settings,
                              const std::filesystem::path& projectDirectory = {});
};

// The raw-movie image shown at a time, or null when there is none (a placeholder is drawn).
using SourceImageLookup = std::function<const QImage*(double time)>;
// The same as decoded frames, for the export: a yuv420p frame is scaled before it is
// converted, so only the pixels that are shown are converted.
using DecodedFrameLookup = std::function<const AVFrame*(double time)>;

// Draws output frames: background, shadowed card with chrome, the camera crop of the source
// frame, click ripple and cursor, then the overlay layers in the order they were added. Frames must be drawn in increasing time (the camera and
// cursor read cursors only move forward). What never changes (background, shadow, card,
// chrome) is drawn once per canvas size and blitted.
class FrameCompositor {
public:
    FrameCompositor(CompositorScene scene, SourceImageLookup source);

    void drawFrame(QPainter& painter, const QRectF& canvas, double time);
    // The export's path: `canvas` keeps its pixels from the previous call, so only what the
    // last frame changed is restored from the static layer. Returns the area where this frame
    // differs from the static layer (the whole canvas when it is not cached).
    QRegion drawFrame(QImage& canvas, double time);

    const CompositorScene& scene() const { return scene_; }

    // Draws from decoded frames instead of the image lookup.
    void setDecodedSource(DecodedFrameLookup source) { decodedSource_ = std::move(source); }

    // Drawn above everything added before it.
    void addLayer(std::unique_ptr<OverlayLayer> layer);
    // The layers' tiles at one time, bottom first. Times must not decrease.
    std::vector<OverlayTile> overlayTiles(double time, const QRectF& canvas, TileForm form);

    // Off: the static parts are drawn again for every frame (slow; the reference for the cache).
    void setCachesStaticLayer(bool caches) { cachesStaticLayer_ = caches; }

    const CompositorGeometry::FrameLayout& layout(const QRectF& canvas);
    // Background, shadow, card and chrome for `canvas` at the origin, drawn once per layout.
    const QImage& staticLayer(const QRectF& canvas);

    CameraKeyframe cameraAt(double time) { return camera_.state(time); }
    // The camera states a frame at `time` blends, in time order: only `camera`, the state at
    // `time`, when motion blur is off or the crop stays still over the shutter.
    std::vector<CameraKeyframe> shutterCameras(double time, const CameraKeyframe& camera) const;

    // The pointer and its click ripple at one time, in canvas pixels.
    struct CursorOverlay {
        QPointF position;
        double scale = 1;
        std::optional<CompositorGeometry::Ripple> ripple;
        QRect bounds;  // everything drawing it may touch, shadow and ripple included
        // With motion blur, where the pointer is at the moments it is smeared over; empty when sharp.
        std::vector<QPointF> trail;

        bool operator==(const CursorOverlay&) const = default;
    };
    // Nothing when the cursor is hidden or not recorded. Times must not decrease.
    std::optional<CursorOverlay> cursorOverlay(double time, const CameraKeyframe& camera);
    void drawCursorOverlay(QPainter& painter, const CursorOverlay& overlay) const;

    static void drawWindowChrome(QPainter& painter, WindowChrome chrome, const QRectF& card);
    static void drawSourcePlaceholder(QPainter& painter, const QRectF& videoRect, const CameraKeyframe& camera,
                                      double videoWidth, double videoHeight);
    // The drifting grid of the placeholder movie.
    static void drawGrid(QPainter& painter, const QRectF& rect, double time);
    static void drawCursor(QPainter& painter, QPointF position, double scale, const CursorPalette& palette,
                           CursorEffect effect);

private:
    void drawStatic(QPainter& painter, const QRectF& canvas);
    void drawStaticLayer(QPainter& painter, const QRectF& canvas) const;
    void drawBackground(QPainter& painter, const QRectF& canvas) const;
    // Video and cursor; returns the area they may have touched.
    QRegion drawDynamic(QPainter& painter, const QRectF& canvas, double time);
    void restoreStaticLayer(QImage& canvas, const QRegion& region) const;
    // The average of the crops of `source` that `cameras` show, over the video's area.
    void drawBlurredVideo(QPainter& painter, const QRectF& canvas, const std::vector<CameraKeyframe>& cameras,
                          const AVFrame* decoded, const QImage* image);
    // Seconds the shutter is open for each frame.
    double shutter() const;

    CompositorScene scene_;
    RenderPreset preset_;
    CursorPalette palette_;
    SourceImageLookup source_;
    DecodedFrameLookup decodedSource_;
    SourceObscurer obscurer_;
    CropScaler cropScaler_;
    QImage convertedSource_;  // a decoded frame the crop scaler could not take, as an image
    QImage blurredMoment_;    // one moment of a blurred frame's video
    std::vector<std::uint16_t> blurSums_;
    CameraFrameProvider camera_;
    CursorFrameProvider cursor_;
    std::vector<std::unique_ptr<OverlayLayer>> layers_;
    bool cachesStaticLayer_ = true;
    QRectF layoutCanvas_;
    CompositorGeometry::FrameLayout layout_;
    QImage staticLayer_;
    const uchar* lastCanvasBits_ = nullptr;
    QRegion lastChanged_;
};

}  // namespace vantile
