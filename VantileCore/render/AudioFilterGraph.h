#pragma once

#include "media/FfmpegHandles.h"

#include <functional>
#include <string>
#include <vector>

namespace vantile {

// A libavfilter graph over audio: named sources take frames, named sinks give them back.
// `description` is FFmpeg's filter syntax with the sources as inputs and the sinks as
// outputs, such as "[a]volume=2[out]".
class AudioFilterGraph {
public:
    struct Source {
        std::string name;
        int sampleRate = 48000;
        AVSampleFormat format = AV_SAMPLE_FMT_FLTP;
        AVChannelLayout layout{};
    };

    AudioFilterGraph(const std::vector<Source>& sources, const std::vector<std::string>& sinkNames,
                     const std::string& description);

    // Hands a frame (or the end, with null) to source `index`; the graph takes its own reference.
    void push(std::size_t index, const AVFrame* frame);
    // Every frame sink `index` has ready; true once that sink has ended.
    bool pull(std::size_t index, const std::function<void(AVFrame&)>& take);

private:
    FilterGraphHandle graph_;
    std::vector<AVFilterContext*> sources_;
    std::vector<AVFilterContext*> sinks_;
    FrameHandle frame_ = allocateFrame();
};

}  // namespace vantile
