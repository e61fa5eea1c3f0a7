#pragma once

#include "render/FrameCompositor.h"
#include "render/RenderJob.h"
#include "model/RecordingProject.h"

#include <QImage>

#include <filesystem>
#include <memory>
#include <optional>

namespace vantile {

// Draws preview frames with the export's own compositor, laid out at the output size and
// scaled down to the preview canvas, so crop, card, cursor and ripples land where the
// exported movie has them.
class PreviewFrameRenderer {
public:
    // The scene an export of `project` with `settings` draws from. A background picture that
    // cannot be read leaves the template's colours in the preview; the export says why.
    static CompositorScene sceneFor(const RecordingProject& project, const RenderSettings& settings,
                                    const std::optional<std::filesystem::path>& projectDirectory = std::nullopt);

    // What the export's overlay layers (the camera bubble) are built from for the same
    // project, whose raw movie is `rawMovie`.
    static RenderJob overlaysFor(const RecordingProject& project, const RenderSettings& settings,
                                 const std::filesystem::path& rawMovie);

    void setScene(CompositorScene scene, std::optional<RenderJob> overlays = std::nullopt);
    bool hasScene() const { return scene_.has_value(); }

    // Draws the output frame at `time` over the whole of `target`; `source` is the raw
    // movie's whole picture at that time (the project's crop is applied here), or null for the
    // placeholder.
    void render(QImage& target, const QImage* source, double time);

private:
    std::optional<CompositorScene> scene_;
    std::optional<RenderJob> overlays_;
    std::unique_ptr<FrameCompositor> compositor_;
    const QImage* source_ = nullptr;
    // The crop's part of the raw picture, sharing its pixels.
    QImage croppedSource_;
    double lastTime_ = 0;
};

}  // namespace vantile
