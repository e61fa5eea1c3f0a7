#pragma once

#include "model/RenderSettings.h"

#include <QImage>

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

namespace vantile {

// A picture behind the card: read once, then scaled to cover the frame and blurred, kept
// for the last frame size asked so a preview's seeks and an export's frames reuse it.
class BackgroundPicture {
public:
    // Pictures larger than this on their long side are read smaller: no frame needs more.
    static constexpr int largestSide = 4096;

    // Throws RenderError naming the file when it is missing or not a picture Qt can read.
    explicit BackgroundPicture(const std::filesystem::path& file);

    // The picture of the settings' image background, read from the project folder; null for
    // every other background.
    static std::shared_ptr<const BackgroundPicture> forSettings(const RenderSettings& settings,
                                                                const std::filesystem::path& projectDirectory);

    // Scaled to cover `size` (centred) and blurred by `blur` pixels at 1080p, scaled with the
    // size's short side.
    QImage coverFor(QSize size, double blur) const;

private:
    QImage picture_;
    mutable std::mutex mutex_;
    mutable QImage cover_;
    mutable QSize coverSize_;
    mutable double coverBlur_ = -1;
};

}  // namespace vantile
