#pragma once

#include "engine/OutputTimeline.h"
#include "model/TextCallout.h"
#include "render/RenderJob.h"
#include "render/layers/OverlayLayer.h"

#include <memory>
#include <vector>

namespace vantile {

// The project's text callouts over the output frame: each one is drawn once per canvas into a
// tile (a translucent dark plate with white text in the system's fonts, CJK through Qt's font
// fallback) and faded in and out over `fadeDuration` of output time by showing that tile at a
// stepped opacity, so the frames between steps reuse the same pixels.
class TextCalloutLayer : public OverlayLayer {
public:
    static constexpr double fadeDuration = 0.2;
    // Opacity steps of a fade: one a frame at 60 fps over 0.2 s.
    static constexpr int fadeSteps = 12;

    // Nothing when the project has no callouts, so such exports are as before.
    // Drawing text needs a QGuiApplication; without one this throws RenderError.
    static std::unique_ptr<TextCalloutLayer> forJob(const RenderJob& job);

    TextCalloutLayer(std::vector<TextCallout> callouts, const OutputTimeline& timeline);

    std::vector<OverlayTile> tilesAt(double time, const QRectF& canvas, TileForm form) override;

    // The opacity step (0 to fadeSteps) of callout `index` at recording `time`; 0 outside its span.
    int fadeStepAt(std::size_t index, double time) const;
    // Where callout `index` is drawn on `canvas`, in canvas pixels (the plate and a pixel of edge).
    QRect placedRect(std::size_t index, const QRectF& canvas);

private:
    struct Shown {
        TextCallout callout;
        double outputStart = 0;  // the span in output time, for the fade
        double outputEnd = 0;
        QRectF canvas;  // what `full` and `rect` were made for
        QRect rect;
        QImage full;        // premultiplied ARGB at full opacity
        QImage faded;       // `full` at `fadedStep`
        int fadedStep = -1;
        std::int64_t canvasGeneration = 0;
    };

    void prepare(Shown& shown, const QRectF& canvas);

    OutputTimeline timeline_;
    std::vector<Shown> shown_;
    std::int64_t canvasGeneration_ = 0;
};

}  // namespace vantile
