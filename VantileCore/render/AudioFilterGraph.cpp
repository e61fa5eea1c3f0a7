#include "render/AudioFilterGraph.h"

#include "render/RenderError.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/opt.h>
}

namespace vantile {

namespace {

[[noreturn]] void fail(const std::string& step, int code)
{
    throw RenderError(RenderError::Kind::media, "Cannot process the audio (" + step + "): " + averrorText(code));
}

// A list of graph ends by label, for avfilter_graph_parse_ptr.
FilterInOutHandle linkList(const std::vector<std::pair<std::string, AVFilterContext*>>& ends)
{
    FilterInOutHandle list;
    for (auto end = ends.rbegin(); end != ends.rend(); ++end) {
        AVFilterInOut* link = avfilter_inout_alloc();
        if (!link) throw RenderError::pixelBufferCreationFailed();
        link->name = av_strdup(end->first.c_str());
        link->filter_ctx = end->second;
        link->pad_idx = 0;
        link->next = list.release();
        list.reset(link);
    }
    return list;
}

}  // namespace

AudioFilterGraph::AudioFilterGraph(const std::vector<Source>& sources, const std::vector<std::string>& sinkNames,
                                   const std::string& description)
    : graph_(avfilter_graph_alloc())
{
    if (!graph_) throw RenderError::pixelBufferCreationFailed();
    // One thread per graph: the video encoder has the cores.
    graph_->nb_threads = 1;
    std::vector<std::pair<std::string, AVFilterContext*>> outputs;
    for (const Source& source : sources) {
        char layout[128] = {};
        if (av_channel_layout_describe(&source.layout, layout, sizeof layout) < 0) fail("source", AVERROR(EINVAL));
        const std::string arguments = "sample_rate=" + std::to_string(source.sampleRate) + ":sample_fmt=" +
                                      av_get_sample_fmt_name(source.format) + ":time_base=1/" +
                                      std::to_string(source.sampleRate) + ":channel_layout=" + layout;
        AVFilterContext* context = nullptr;
        if (const int code = avfilter_graph_create_filter(&context, avfilter_get_by_name("abuffer"), source.name.c_str(),
                                                          arguments.c_str(), nullptr, graph_.get());
            code < 0) {
            fail("source", code);
        }
        sources_.push_back(context);
        outputs.emplace_back(source.name, context);
    }
    std::vector<std::pair<std::string, AVFilterContext*>> inputs;
    for (const std::string& name : sinkNames) {
        AVFilterContext* context = nullptr;
        if (const int code = avfilter_graph_create_filter(&context, avfilter_get_by_name("abuffersink"), name.c_str(),
                                                          nullptr, nullptr, graph_.get());
            code < 0) {
            fail("sink", code);
        }
        sinks_.push_back(context);
        inputs.emplace_back(name, context);
    }
    AVFilterInOut* in = linkList(inputs).release();
    AVFilterInOut* out = linkList(outputs).release();
    const int parsed = avfilter_graph_parse_ptr(graph_.get(), description.c_str(), &in, &out, nullptr);
    FilterInOutHandle unusedInputs(in);
    FilterInOutHandle unusedOutputs(out);
    if (parsed < 0) fail("filters", parsed);
    if (const int code = avfilter_graph_config(graph_.get(), nullptr); code < 0) fail("filters", code);
}

void AudioFilterGraph::push(std::size_t index, const AVFrame* frame)
{
    if (const int code =
            av_buffersrc_add_frame_flags(sources_.at(index), const_cast<AVFrame*>(frame), AV_BUFFERSRC_FLAG_KEEP_REF);
        code < 0) {
        fail("filter input", code);
    }
}

bool AudioFilterGraph::pull(std::size_t index, const std::function<void(AVFrame&)>& take)
{
    while (true) {
        const int code = av_buffersink_get_frame(sinks_.at(index), frame_.get());
        if (code == AVERROR(EAGAIN)) return false;
        if (code == AVERROR_EOF) return true;
        if (code < 0) fail("filter output", code);
        take(*frame_);
        av_frame_unref(frame_.get());
    }
}

}  // namespace vantile
