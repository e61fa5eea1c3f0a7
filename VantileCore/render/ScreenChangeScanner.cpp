#include "render/ScreenChangeScanner.h"

#include "render/MovieReader.h"
#include "render/RenderError.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace vantile {

std::vector<double> ScreenChangeScanner::changeTimes(const std::filesystem::path& movie,
                                                     const std::optional<RecordingCrop>& crop,
                                                     const ExportMonitor* monitor)
{
    MovieReader reader(movie);
    const int width = std::max((crop ? static_cast<int>(crop->width) : reader.width()) / 4, 16);
    const int height = std::max((crop ? static_cast<int>(crop->height) : reader.height()) / 4, 16);
    const double duration = reader.duration();
    SwsContextHandle scaler;
    std::vector<std::uint8_t> previous;
    std::vector<std::uint8_t> current(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    const auto threshold = static_cast<std::size_t>(changedShare * static_cast<double>(current.size()));
    std::vector<double> changes;
    while (FrameHandle frame = reader.readFrame()) {
        if (monitor && monitor->isCancelled()) throw RenderError::cancelled();
        if (crop && crop->x + crop->width <= frame->width && crop->y + crop->height <= frame->height) {
            frame->crop_left = static_cast<std::size_t>(crop->x);
            frame->crop_top = static_cast<std::size_t>(crop->y);
            frame->crop_right = static_cast<std::size_t>(frame->width - crop->x - crop->width);
            frame->crop_bottom = static_cast<std::size_t>(frame->height - crop->y - crop->height);
            if (av_frame_apply_cropping(frame.get(), AV_FRAME_CROP_UNALIGNED) < 0) {
                throw RenderError(RenderError::Kind::unreadableMovie, "Cannot read the recording's frames.");
            }
        }
        scaler.reset(sws_getCachedContext(scaler.release(), frame->width, frame->height,
                                          static_cast<AVPixelFormat>(frame->format), width, height, AV_PIX_FMT_GRAY8,
                                          SWS_AREA, nullptr, nullptr, nullptr));
        if (!scaler) throw RenderError(RenderError::Kind::unreadableMovie, "Cannot read the recording's frames.");
        std::uint8_t* planes[] = {current.data()};
        const int strides[] = {width};
        sws_scale(scaler.get(), frame->data, frame->linesize, 0, frame->height, planes, strides);
        const double time = reader.frameTime(*frame);
        if (!previous.empty()) {
            std::size_t changed = 0;
            for (std::size_t index = 0; index < current.size() && changed <= threshold; ++index) {
                if (std::abs(static_cast<int>(current[index]) - static_cast<int>(previous[index])) > changedLevel) ++changed;
            }
            if (changed > threshold) changes.push_back(time);
        }
        previous.swap(current);
        current.resize(previous.size());
        if (monitor && duration > 0) monitor->report(time / duration);
    }
    return changes;
}

}  // namespace vantile
