#include "render/VideoFileWriter.h"

#include "engine/CameraPathBuilder.h"
#include "render/AudioMerger.h"
#include "render/SoundCleanup.h"
#include "render/ExportFormat.h"
#include "render/FrameCompositor.h"
#include "render/MovieWriter.h"
#include "engine/OutputTimeline.h"
#include "render/RenderFrameQueue.h"
#include "render/SourceFrameProvider.h"
#include "render/RenderError.h"
#include "store/AtomicFile.h"
#include "render/YuvFrameCompositor.h"
#include "render/layers/OverlayLayers.h"

#include <sys/prctl.h>

#include <cmath>
#include <limits>
#include <thread>

namespace vantile::VideoFileWriter {

namespace {

// An encoder frame that circulates between the threads. Outside `content` its pixels are the
// movie's unchanging parts, so the next use converts only what differs there or now.
struct PooledFrame {
    FrameHandle frame;
    std::optional<QRegion> content;  // unknown before its first use
};

struct RenderedFrame {
    std::int64_t index = 0;
    PooledFrame pooled;
};

// The encoder first touches its many frame buffers a little at a time; with transparent huge
// pages each first touch clears 2 MB, which took a tenth of an export's CPU time on a 1080p
// movie. The process keeps small pages while the encoder allocates and works.
class SmallPagesWhileEncoding {
public:
    SmallPagesWhileEncoding() : previous_(prctl(PR_GET_THP_DISABLE, 0, 0, 0, 0))
    {
        if (previous_ == 0) prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);
    }
    ~SmallPagesWhileEncoding()
    {
        if (previous_ == 0) prctl(PR_SET_THP_DISABLE, 0, 0, 0, 0);
    }
    SmallPagesWhileEncoding(const SmallPagesWhileEncoding&) = delete;
    SmallPagesWhileEncoding& operator=(const SmallPagesWhileEncoding&) = delete;

private:
    int previous_;
};

std::size_t queueCapacity()
{
    return std::thread::hardware_concurrency() > 7 ? 6 : 4;
}

void produceFrames(std::int64_t count, int fps, const DrawYuvFrame& draw, RenderFrameQueue<RenderedFrame>& rendered,
                   RenderFrameQueue<PooledFrame>& spare)
{
    for (std::int64_t index = 0; index < count; ++index) {
        std::optional<PooledFrame> pooled = spare.dequeue();
        if (!pooled || rendered.isClosed()) return;
        // The encoder normally copies a frame on submission; should it still hold this
        // buffer, writing would corrupt a frame in flight, so take a fresh one then.
        AVFrame& frame = *pooled->frame;
        const uint8_t* before = frame.data[0];
        if (av_frame_make_writable(&frame) < 0) throw RenderError::pixelBufferCreationFailed();
        if (frame.data[0] != before) pooled->content.reset();
        pooled->content = draw(frame, pooled->content, static_cast<double>(index) / fps);
        rendered.enqueue(RenderedFrame{index, std::move(*pooled)});
    }
    rendered.finish();
}

}  // namespace

std::int64_t frameCount(double duration, std::int64_t fps)
{
    const double product = duration * static_cast<double>(fps);
    if (!std::isfinite(product) || product > static_cast<double>(std::numeric_limits<std::int64_t>::max())) {
        throw RenderError::writerFailed();
    }
    return std::max<std::int64_t>(1, static_cast<std::int64_t>(std::ceil(product)));
}

void writeMovie(const std::filesystem::path& url, int width, int height, double duration, int fps,
                const DrawYuvFrame& draw, const VideoPassOptions& options)
{
    const std::int64_t count = std::max<std::int64_t>(1, std::min(frameCount(duration, fps), options.frameLimit));
    ExportMonitor* monitor = options.monitor;
    const SmallPagesWhileEncoding smallPages;
    MovieWriter writer(url, VideoEncoderSettings{width, height, fps, options.encoderPreset, options.crf, "", options.encoderOptions});

    const std::size_t capacity = queueCapacity();
    RenderFrameQueue<RenderedFrame> rendered(capacity);
    // Frames circulate between the two threads instead of being allocated per frame.
    RenderFrameQueue<PooledFrame> spare(capacity + 2);
    for (std::size_t i = 0; i < capacity + 2; ++i) spare.enqueue(PooledFrame{writer.makeVideoFrame(), std::nullopt});

    std::thread producer([&] {
        try {
            produceFrames(count, fps, draw, rendered, spare);
        } catch (...) {
            rendered.fail(std::current_exception());
        }
    });
    try {
        for (std::int64_t expected = 0; expected < count; ++expected) {
            if (monitor && monitor->isCancelled()) throw RenderError::cancelled();
            std::optional<RenderedFrame> frame = rendered.dequeue();
            if (!frame || frame->index != expected) throw RenderError::writerFailed();
            writer.appendVideo(*frame->pooled.frame, frame->index);
            spare.enqueue(std::move(frame->pooled));
            if (monitor) {
                monitor->report(options.progressStart + (options.progressEnd - options.progressStart) *
                                                            static_cast<double>(expected + 1) /
                                                            static_cast<double>(count));
            }
        }
        writer.finish();
    } catch (...) {
        rendered.fail(std::current_exception());
        spare.fail(std::current_exception());
        producer.join();
        throw;
    }
    spare.finish();
    producer.join();
}

CompositorScene compositorScene(const RenderJob& job, const SourceFrameProvider& source)
{
    const RecordingProject& project = job.project;
    if (source.hasMovie() && (source.width() != project.video.width || source.height() != project.video.height)) {
        throw RenderError(RenderError::Kind::sizeMismatch,
                          "The raw movie is " + std::to_string(source.width()) + " x " +
                              std::to_string(source.height()) + " but the project records " +
                              std::to_string(project.video.width) + " x " + std::to_string(project.video.height) +
                              ".");
    }
    CompositorScene scene;
    scene.videoWidth = static_cast<double>(project.video.width);
    scene.videoHeight = static_cast<double>(project.video.height);
    scene.settings = job.renderSettings;
    scene.keyframes = CameraPathBuilder::buildKeyframes(job.focusSegments, project.duration, scene.videoWidth,
                                                        scene.videoHeight);
    scene.cursorFrames = job.cursorFrames;
    scene.backgroundPicture = BackgroundPicture::forSettings(job.renderSettings, job.rawVideoURL.parent_path());
    scene.blurRegions = project.blurRegions;
    return scene;
}

void writeRenderedVideoOnly(const RenderJob& wholeJob, const VideoPassOptions& options)
{
    removeExisting(wholeJob.outputURL);
    const RenderJob job = croppedJob(wholeJob);
    const RecordingProject& project = job.project;
    SourceFrameProvider source(job.rawVideoURL, MovieReader::Fidelity::exact, job.sourceCrop);
    CompositorScene scene = compositorScene(job, source);
    FrameCompositor compositor(std::move(scene), {});
    addOverlayLayers(compositor, job);
    const DecodedFrameLookup decoded = [&source](double time) { return source.decodedFrame(time); };
    // The RGB drawing takes the frames the YUV path cannot.
    compositor.setDecodedSource(decoded);
    YuvFrameCompositor yuvCompositor(compositor, decoded);
    const auto fps = job.renderSettings.fps;
    if (fps < 1 || fps > std::numeric_limits<int>::max()) throw RenderError::writerFailed();
    // Each output frame shows its recording time: camera, cursor, ripples and picture alike.
    const OutputTimeline timeline(project);
    // A project that claims more than its movie holds renders only what there is to show.
    const double duration =
        source.duration() > 0 ? std::min(timeline.duration(), timeline.outputTimeAtOrAfter(source.duration()))
                              : timeline.duration();
    VideoPassOptions tuned = options;
    // The standard quality leaves the encoder at its defaults, so its movies stay as they were.
    const EncoderTuning tuning = encoderTuning(job.renderSettings.exportQuality, fps);
    if (job.renderSettings.exportQuality != ExportQuality::standard) {
        tuned.encoderPreset = tuning.preset;
        tuned.crf = tuning.crf;
    }
    tuned.encoderOptions = tuning.options;
    writeMovie(
        job.outputURL, static_cast<int>(job.renderSettings.outputWidth), static_cast<int>(job.renderSettings.outputHeight),
        duration, static_cast<int>(fps),
        [&yuvCompositor, &timeline](AVFrame& frame, const std::optional<QRegion>& previous, double time) {
            return yuvCompositor.drawFrame(frame, previous, timeline.recordingTime(time));
        },
        tuned);
}

namespace {

// The tracks are cleaned into a hidden file beside the output, which the edited merge then
// reads in place of the raw movie (the same timeline applies: it keeps the raw movie's clock).
void mergeCleanedAudio(const RenderJob& job, const std::filesystem::path& renderedVideoURL,
                       const OutputTimeline& timeline, const ExportMonitor* monitor)
{
    const std::filesystem::path cleaned = processTemporarySiblingPath(job.outputURL, "sound", ".mov");
    try {
        SoundCleanup::writeCleanedTracks(job.rawVideoURL, audioTrackRoles(job.project.audioSettings.mode),
                                         job.renderSettings, cleaned, monitor);
        if (monitor && monitor->isCancelled()) throw RenderError::cancelled();
        AudioMerger::mergeEditedAudioTracksIfPresent(renderedVideoURL, cleaned, job.outputURL, timeline);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(cleaned, ignored);
        throw;
    }
    std::error_code ignored;
    std::filesystem::remove(cleaned, ignored);
}

}  // namespace

void writeRenderedDemo(const RenderJob& job, ExportMonitor* monitor)
{
    const std::filesystem::path temporary = temporaryRenderedVideoURL(job.outputURL);
    try {
        RenderJob videoJob = job;
        videoJob.outputURL = temporary;
        VideoPassOptions options;
        options.monitor = monitor;
        options.progressEnd = 0.97;
        // With audio to merge, the result is cut to the raw movie's length; frames past it
        // are not drawn, so no encoded frame (and no frame another one refers to) is dropped.
        const OutputTimeline timeline(job.project);
        if (const auto rawDuration = AudioMerger::audioMergeDuration(job.rawVideoURL)) {
            const double product = std::ceil(timeline.outputTimeAtOrAfter(*rawDuration) *
                                                 static_cast<double>(job.renderSettings.fps) -
                                             1e-9);
            if (product >= 1 && product < 9e18) options.frameLimit = static_cast<std::int64_t>(product);
        }
        writeRenderedVideoOnly(videoJob, options);
        if (monitor && monitor->isCancelled()) throw RenderError::cancelled();
        if (job.renderSettings.changesSound() && AudioMerger::audioMergeDuration(job.rawVideoURL)) {
            mergeCleanedAudio(job, temporary, timeline, monitor);
        } else if (timeline.isIdentity()) {
            AudioMerger::mergeAudioTracksIfPresent(temporary, job.rawVideoURL, job.outputURL);
        } else {
            AudioMerger::mergeEditedAudioTracksIfPresent(temporary, job.rawVideoURL, job.outputURL, timeline);
        }
        if (monitor) monitor->report(1);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        throw;
    }
}

std::filesystem::path temporaryRenderedVideoURL(const std::filesystem::path& outputURL)
{
    // Matroska and WebM outputs are rendered in their own container: it picks the codec (VP9
    // for WebM), and without audio this file becomes the output as it is.
    const char* extension = ".mov";
    if (const ExportContainer container = exportContainer(outputURL); container == ExportContainer::matroska) {
        extension = ".mkv";
    } else if (container == ExportContainer::webM) {
        extension = ".webm";
    }
    return processTemporarySiblingPath(outputURL, "video", extension);
}

void removeExisting(const std::filesystem::path& url)
{
    std::error_code error;
    std::filesystem::remove(url, error);
    if (error) {
        throw RenderError(RenderError::Kind::fileSystem, "Cannot remove " + url.string() + ": " + error.message());
    }
}

void replace(const std::filesystem::path& destination, const std::filesystem::path& source)
{
    std::error_code error;
    // rename() replaces an existing destination atomically, so a previous export stays whole
    // until the new one takes its place.
    std::filesystem::rename(source, destination, error);
    if (error) {
        throw RenderError(RenderError::Kind::fileSystem,
                          "Cannot move the movie to " + destination.string() + ": " + error.message());
    }
}

}  // namespace vantile::VideoFileWriter
