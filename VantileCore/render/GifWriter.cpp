#include "render/GifWriter.h"

#include "engine/OutputTimeline.h"

#include "media/FfmpegHandles.h"
#include "render/ExportFormat.h"
#include "render/RenderError.h"
#include "render/SourceFrameProvider.h"
#include "render/VideoFileWriter.h"
#include "render/YuvFrameCompositor.h"
#include "render/layers/OverlayLayers.h"
#include "store/AtomicFile.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace vantile::GifWriter {

namespace {

void fail(const std::string& step, int code)
{
    throw RenderError(RenderError::Kind::media, "Cannot write the GIF (" + step + "): " + averrorText(code));
}

// A filter graph from named frame sources to one sink, described in FFmpeg's filter syntax.
class FilterGraph {
public:
    struct Source {
        std::string name;
        int width;
        int height;
        AVPixelFormat format;
        int fps;
    };

    FilterGraph(const std::vector<Source>& sources, const std::string& description) : graph_(avfilter_graph_alloc())
    {
        if (!graph_) throw RenderError::pixelBufferCreationFailed();
        // One thread per graph: the decoder and the draw already share the two cores.
        graph_->nb_threads = 1;
        FilterInOutHandle outputs;
        for (auto source = sources.rbegin(); source != sources.rend(); ++source) {
            const std::string arguments = "video_size=" + std::to_string(source->width) + "x" +
                                          std::to_string(source->height) + ":pix_fmt=" +
                                          std::to_string(source->format) + ":time_base=1/" +
                                          std::to_string(source->fps) + ":pixel_aspect=1/1";
            AVFilterContext* context = nullptr;
            if (const int code = avfilter_graph_create_filter(&context, avfilter_get_by_name("buffer"),
                                                              source->name.c_str(), arguments.c_str(), nullptr,
                                                              graph_.get());
                code < 0) {
                fail("source", code);
            }
            sources_.insert(sources_.begin(), context);
            AVFilterInOut* link = avfilter_inout_alloc();
            if (!link) throw RenderError::pixelBufferCreationFailed();
            link->name = av_strdup(source->name.c_str());
            link->filter_ctx = context;
            link->pad_idx = 0;
            link->next = outputs.release();
            outputs.reset(link);
        }
        if (const int code = avfilter_graph_create_filter(&sink_, avfilter_get_by_name("buffersink"), "out", nullptr,
                                                          nullptr, graph_.get());
            code < 0) {
            fail("sink", code);
        }
        FilterInOutHandle inputs(avfilter_inout_alloc());
        if (!inputs) throw RenderError::pixelBufferCreationFailed();
        inputs->name = av_strdup("out");
        inputs->filter_ctx = sink_;
        inputs->pad_idx = 0;
        inputs->next = nullptr;
        AVFilterInOut* in = inputs.release();
        AVFilterInOut* out = outputs.release();
        const int parsed = avfilter_graph_parse_ptr(graph_.get(), description.c_str(), &in, &out, nullptr);
        avfilter_inout_free(&in);
        avfilter_inout_free(&out);
        if (parsed < 0) fail("filters", parsed);
        if (const int code = avfilter_graph_config(graph_.get(), nullptr); code < 0) fail("filters", code);
    }

    // Hands a frame (or the end, with null) to source `index`; the graph takes its own reference.
    void push(std::size_t index, AVFrame* frame)
    {
        if (const int code = av_buffersrc_add_frame_flags(sources_.at(index), frame, AV_BUFFERSRC_FLAG_KEEP_REF);
            code < 0) {
            fail("filter input", code);
        }
    }

    // Every frame the sink has ready.
    void pull(const std::function<void(AVFrame&)>& take)
    {
        FrameHandle frame = allocateFrame();
        while (true) {
            const int code = av_buffersink_get_frame(sink_, frame.get());
            if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return;
            if (code < 0) fail("filter output", code);
            take(*frame);
            av_frame_unref(frame.get());
        }
    }

private:
    FilterGraphHandle graph_;
    std::vector<AVFilterContext*> sources_;
    AVFilterContext* sink_ = nullptr;
};

// The gif encoder and muxer for pal8 frames.
class GifFile {
public:
    GifFile(const std::filesystem::path& path, const GifFormat& format) : path_(path), packet_(allocatePacket())
    {
        AVFormatContext* allocated = nullptr;
        if (const int code = avformat_alloc_output_context2(&allocated, nullptr, "gif", path.c_str());
            code < 0 || !allocated) {
            fail("container", code);
        }
        format_.reset(allocated);
        const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_GIF);
        if (!codec) throw RenderError::cannotAddWriterInput();
        encoder_.reset(avcodec_alloc_context3(codec));
        stream_ = avformat_new_stream(format_.get(), nullptr);
        if (!encoder_ || !stream_) throw RenderError::cannotAddWriterInput();
        encoder_->width = format.width;
        encoder_->height = format.height;
        encoder_->pix_fmt = AV_PIX_FMT_PAL8;
        encoder_->time_base = AVRational{1, format.fps};
        encoder_->framerate = AVRational{format.fps, 1};
        if (const int code = avcodec_open2(encoder_.get(), codec, nullptr); code < 0) fail("encoder", code);
        if (const int code = avcodec_parameters_from_context(stream_->codecpar, encoder_.get()); code < 0) {
            fail("stream", code);
        }
        stream_->time_base = encoder_->time_base;
        if (const int code = avio_open(&format_->pb, path.c_str(), AVIO_FLAG_WRITE); code < 0) fail("open", code);
        if (const int code = avformat_write_header(format_.get(), nullptr); code < 0) fail("header", code);
    }

    void append(AVFrame* frame)
    {
        if (const int code = avcodec_send_frame(encoder_.get(), frame); code < 0) fail("encode", code);
        while (true) {
            const int received = avcodec_receive_packet(encoder_.get(), packet_.get());
            if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
            if (received < 0) fail("encode", received);
            av_packet_rescale_ts(packet_.get(), encoder_->time_base, stream_->time_base);
            packet_->stream_index = stream_->index;
            if (const int code = av_interleaved_write_frame(format_.get(), packet_.get()); code < 0) fail("write", code);
        }
    }

    void finish()
    {
        append(nullptr);
        if (const int code = av_write_trailer(format_.get()); code < 0) fail("finish", code);
        if (const int code = avio_closep(&format_->pb); code < 0) fail("close", code);
    }

private:
    std::filesystem::path path_;
    OutputFormatHandle format_;
    CodecContextHandle encoder_;
    AVStream* stream_ = nullptr;
    PacketHandle packet_;
};

// Draws every frame of the job at the output size, in order, for one pass over the movie.
void drawFrames(const RenderJob& wholeJob, std::int64_t count, int fps, ExportMonitor* monitor, double progressStart,
                double progressEnd, const std::function<void(AVFrame&)>& take)
{
    const RenderJob job = croppedJob(wholeJob);
    SourceFrameProvider source(job.rawVideoURL, MovieReader::Fidelity::exact, job.sourceCrop);
    FrameCompositor compositor(VideoFileWriter::compositorScene(job, source), {});
    addOverlayLayers(compositor, job);
    const DecodedFrameLookup decoded = [&source](double time) { return source.decodedFrame(time); };
    compositor.setDecodedSource(decoded);
    YuvFrameCompositor yuvCompositor(compositor, decoded);
    const OutputTimeline timeline(job.project);
    FrameHandle frame = allocateFrame(AV_PIX_FMT_YUV420P, static_cast<int>(job.renderSettings.outputWidth),
                                      static_cast<int>(job.renderSettings.outputHeight));
    std::optional<QRegion> content;
    for (std::int64_t index = 0; index < count; ++index) {
        if (monitor && monitor->isCancelled()) throw RenderError::cancelled();
        // The filters may still hold the last frame; then it is drawn into a fresh buffer.
        const uint8_t* before = frame->data[0];
        if (av_frame_make_writable(frame.get()) < 0) throw RenderError::pixelBufferCreationFailed();
        if (frame->data[0] != before) content.reset();
        content = yuvCompositor.drawFrame(*frame, content, timeline.recordingTime(static_cast<double>(index) / fps));
        frame->pts = index;
        take(*frame);
        if (monitor) {
            monitor->report(progressStart + (progressEnd - progressStart) * static_cast<double>(index + 1) /
                                                static_cast<double>(count));
        }
    }
}

std::string scaling(const GifFormat& format)
{
    return "scale=" + std::to_string(format.width) + ":" + std::to_string(format.height) + ":flags=bicubic";
}

void write(const RenderJob& job, const std::filesystem::path& path, ExportMonitor* monitor)
{
    const RenderSettings& settings = job.renderSettings;
    if (settings.fps < 1 || settings.outputWidth < 2 || settings.outputHeight < 2 || settings.outputWidth % 2 ||
        settings.outputHeight % 2 || settings.outputWidth > 16384 || settings.outputHeight > 16384) {
        throw RenderError::cannotAddWriterInput();
    }
    const GifFormat format = gifFormat(settings.outputWidth, settings.outputHeight, settings.fps);
    const std::int64_t count = VideoFileWriter::frameCount(OutputTimeline(job.project).duration(), format.fps);
    const FilterGraph::Source frames{"in", static_cast<int>(settings.outputWidth),
                                     static_cast<int>(settings.outputHeight), AV_PIX_FMT_YUV420P, format.fps};

    // First pass: one palette for the whole animation, weighted towards what moves.
    FilterGraph analysis({frames}, scaling(format) + ",palettegen=stats_mode=diff");
    FrameHandle palette;
    const auto keepPalette = [&palette](AVFrame& frame) {
        palette = allocateFrame();
        av_frame_ref(palette.get(), &frame);
    };
    drawFrames(job, count, format.fps, monitor, 0, 0.45, [&](AVFrame& frame) {
        analysis.push(0, &frame);
        analysis.pull(keepPalette);
    });
    analysis.push(0, nullptr);
    analysis.pull(keepPalette);
    if (!palette) throw RenderError::writerFailed();

    // Second pass: the same frames mapped onto it; only the rectangle that changed is re-coded.
    FilterGraph mapping({frames, {"palette", palette->width, palette->height,
                                  static_cast<AVPixelFormat>(palette->format), format.fps}},
                        "[in]" + scaling(format) + "[scaled];[scaled][palette]paletteuse=dither=bayer:bayer_scale=4:"
                                                   "diff_mode=rectangle");
    palette->pts = 0;
    mapping.push(1, palette.get());
    mapping.push(1, nullptr);
    GifFile file(path, format);
    const auto encode = [&file](AVFrame& frame) { file.append(&frame); };
    drawFrames(job, count, format.fps, monitor, 0.45, 0.99, [&](AVFrame& frame) {
        mapping.push(0, &frame);
        mapping.pull(encode);
    });
    mapping.push(0, nullptr);
    mapping.pull(encode);
    file.finish();
}

}  // namespace

GifFormat gifFormat(std::int64_t outputWidth, std::int64_t outputHeight, std::int64_t fps)
{
    GifFormat format;
    format.fps = static_cast<int>(std::clamp<std::int64_t>(fps, 1, maximumFps));
    format.width = static_cast<int>(std::clamp<std::int64_t>(outputWidth, 2, maximumWidth)) & ~1;
    const double height = static_cast<double>(outputHeight) * format.width / static_cast<double>(std::max<std::int64_t>(outputWidth, 1));
    format.height = std::max(2, static_cast<int>(std::lround(height)) & ~1);
    return format;
}

bool isGifPath(const std::filesystem::path& path)
{
    return exportContainer(path) == ExportContainer::gif;
}

void writeGif(const RenderJob& job, ExportMonitor* monitor)
{
    const std::filesystem::path temporary = processTemporarySiblingPath(job.outputURL, "video", ".gif");
    try {
        VideoFileWriter::removeExisting(temporary);
        write(job, temporary, monitor);
        if (monitor && monitor->isCancelled()) throw RenderError::cancelled();
        VideoFileWriter::replace(job.outputURL, temporary);
        if (monitor) monitor->report(1);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        throw;
    }
}

}  // namespace vantile::GifWriter
