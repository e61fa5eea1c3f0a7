#pragma once

#include "engine/OutputTimeline.h"
#include "render/RenderJob.h"
#include "render/layers/OverlayLayer.h"

#include <QImage>

#include <memory>
#include <string>
#include <vector>

namespace vantile {

// The keyboard shortcuts the user pressed, each a row of keycaps ("Ctrl" + "Shift" + "P") on a
// dark plate at the bottom centre of the output for badgeSeconds of output time, fading in and
// out. A newer shortcut replaces the one showing.
class ShortcutBadgeLayer : public OverlayLayer {
public:
    static constexpr double badgeSeconds = 1.2;
    static constexpr double fadeSeconds = 0.15;

    struct Badge {
        double outputStart = 0;
        std::string keys;
    };

    // Nothing when the project logged no shortcuts or the settings hide them.
    static std::unique_ptr<ShortcutBadgeLayer> forJob(const RenderJob& job);

    ShortcutBadgeLayer(std::vector<Badge> badges, OutputTimeline timeline);

    std::vector<OverlayTile> tilesAt(double time, const QRectF& canvas, TileForm form) override;

    // One badge drawn for an output whose short side is `shortSide` pixels (premultiplied ARGB).
    static QImage paintBadge(const std::string& keys, int shortSide);

private:
    std::vector<Badge> badges_;  // by output start
    OutputTimeline timeline_;
    // The badge last drawn, at full strength and at the strength last shown.
    std::size_t drawnIndex_ = static_cast<std::size_t>(-1);
    int drawnShortSide_ = 0;
    QImage drawn_;
    int fadedStep_ = -1;
    QImage faded_;
};

}  // namespace vantile
