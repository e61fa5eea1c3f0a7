#include "capture/camera/PipeWireCameraStream.h"

#include "capture/camera/CameraError.h"

#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <cerrno>
#include <string>
#include <unistd.h>
#include <utility>

namespace vantile {

namespace {

using SteadyClock = std::chrono::steady_clock;

std::optional<CameraPictureConverter::Format> converterFormat(std::uint32_t format)
{
    switch (format) {
    case SPA_VIDEO_FORMAT_YUY2: return CameraPictureConverter::Format::yuy2;
    case SPA_VIDEO_FORMAT_UYVY: return CameraPictureConverter::Format::uyvy;
    case SPA_VIDEO_FORMAT_NV12: return CameraPictureConverter::Format::nv12;
    case SPA_VIDEO_FORMAT_I420: return CameraPictureConverter::Format::i420;
    default: return std::nullopt;
    }
}

}  // namespace

struct PipeWireCameraStream::Listeners {
    spa_hook core{};
    spa_hook stream{};
    spa_hook registry{};
    pw_core_events coreEvents{};
    pw_registry_events registryEvents{};
    pw_stream_events streamEvents{};
};

PipeWireCameraStream::PipeWireCameraStream(const CameraDevice& camera, int remoteDescriptor)
    : cameraNode_(camera.node), listeners_(std::make_unique<Listeners>())
{
    struct DescriptorGuard {
        int descriptor;
        ~DescriptorGuard()
        {
            if (descriptor >= 0) close(descriptor);
        }
    } unused{remoteDescriptor};
    static std::once_flag initialised;
    std::call_once(initialised, [] { pw_init(nullptr, nullptr); });

    loop_ = pw_thread_loop_new("vantile-camera", nullptr);
    if (!loop_) throw CameraError::noCameras();
    linkTimer_ = pw_loop_add_timer(
        pw_thread_loop_get_loop(loop_), [](void* data, std::uint64_t) { static_cast<PipeWireCameraStream*>(data)->linkUnlessLinked(); },
        this);
    context_ = pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0);
    if (!context_ || pw_thread_loop_start(loop_) < 0) {
        if (context_) pw_context_destroy(context_);
        context_ = nullptr;
        pw_thread_loop_destroy(loop_);
        loop_ = nullptr;
        throw CameraError::noCameras();
    }

    pw_thread_loop_lock(loop_);
    core_ = remoteDescriptor >= 0 ? pw_context_connect_fd(context_, std::exchange(unused.descriptor, -1), nullptr, 0)
                                  : pw_context_connect(context_, nullptr, 0);
    if (!core_) {
        pw_thread_loop_unlock(loop_);
        teardown();
        throw CameraError::noCameras();
    }
    listeners_->coreEvents.version = PW_VERSION_CORE_EVENTS;
    listeners_->coreEvents.error = onCoreError;
    pw_core_add_listener(core_, &listeners_->core, &listeners_->coreEvents, this);
    // An unplugged camera's node leaves the registry; the stream itself may only pause.
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    listeners_->registryEvents.version = PW_VERSION_REGISTRY_EVENTS;
    listeners_->registryEvents.global_remove = onGlobalRemoved;
    pw_registry_add_listener(registry_, &listeners_->registry, &listeners_->registryEvents, this);

    stream_ = pw_stream_new(core_, "Vantile camera",
                            pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture",
                                              PW_KEY_MEDIA_ROLE, "Camera", PW_KEY_TARGET_OBJECT,
                                              std::to_string(camera.node).c_str(), nullptr));
    listeners_->streamEvents.version = PW_VERSION_STREAM_EVENTS;
    listeners_->streamEvents.process = onProcess;
    listeners_->streamEvents.param_changed = onParamChanged;
    listeners_->streamEvents.state_changed = [](void* data, pw_stream_state old, pw_stream_state state,
                                                const char* error) { onStateChanged(data, old, state, error); };
    pw_stream_add_listener(stream_, &listeners_->stream, &listeners_->streamEvents, this);

    std::uint8_t buffer[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
    // The camera's nearest to 720p at 30 pictures a second; larger sizes are scaled down.
    spa_rectangle defaultSize{1280, 720};
    spa_rectangle minimumSize{1, 1};
    spa_rectangle maximumSize{4096, 4096};
    spa_fraction defaultRate{30, 1};
    spa_fraction minimumRate{0, 1};
    spa_fraction maximumRate{60, 1};
    const spa_pod* params[2];
    params[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
        SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
        SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_YUY2, SPA_VIDEO_FORMAT_YUY2, SPA_VIDEO_FORMAT_UYVY,
                               SPA_VIDEO_FORMAT_NV12, SPA_VIDEO_FORMAT_I420),
        SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&defaultSize, &minimumSize, &maximumSize),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&defaultRate, &minimumRate, &maximumRate)));
    params[1] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
        SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_mjpg), SPA_FORMAT_VIDEO_size,
        SPA_POD_CHOICE_RANGE_Rectangle(&defaultSize, &minimumSize, &maximumSize), SPA_FORMAT_VIDEO_framerate,
        SPA_POD_CHOICE_RANGE_Fraction(&defaultRate, &minimumRate, &maximumRate)));
    const int connected = pw_stream_connect(
        stream_, PW_DIRECTION_INPUT, camera.node,
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS), params, 2);
    pw_thread_loop_unlock(loop_);
    if (connected < 0) {
        teardown();
        throw CameraError::noCameras();
    }
}

PipeWireCameraStream::~PipeWireCameraStream() { teardown(); }

void PipeWireCameraStream::teardown()
{
    if (!loop_) return;
    pw_thread_loop_lock(loop_);
    if (stream_) pw_stream_destroy(stream_);
    stream_ = nullptr;
    if (link_) pw_proxy_destroy(link_);
    link_ = nullptr;
    if (linkTimer_) pw_loop_destroy_source(pw_thread_loop_get_loop(loop_), linkTimer_);
    linkTimer_ = nullptr;
    if (registry_) pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
    registry_ = nullptr;
    if (core_) pw_core_disconnect(core_);
    core_ = nullptr;
    pw_thread_loop_unlock(loop_);
    pw_thread_loop_stop(loop_);
    if (context_) pw_context_destroy(context_);
    context_ = nullptr;
    pw_thread_loop_destroy(loop_);
    loop_ = nullptr;
}

void PipeWireCameraStream::linkUnlessLinked()
{
    if (!streaming_) linkToCamera();
}

void PipeWireCameraStream::linkToCamera()
{
    const std::uint32_t ownNode = pw_stream_get_node_id(stream_);
    // Once only: the stream passes through the paused state again as it is torn down.
    if (linkRequested_ || ownNode == PW_ID_ANY) return;
    linkRequested_ = true;
    pw_properties* properties =
        pw_properties_new(PW_KEY_LINK_OUTPUT_NODE, std::to_string(cameraNode_).c_str(), PW_KEY_LINK_INPUT_NODE,
                          std::to_string(ownNode).c_str(), PW_KEY_OBJECT_LINGER, "false", nullptr);
    link_ = static_cast<pw_proxy*>(pw_core_create_object(core_, "link-factory", PW_TYPE_INTERFACE_Link,
                                                          PW_VERSION_LINK, &properties->dict, 0));
    pw_properties_free(properties);
}

void PipeWireCameraStream::onParamChanged(void* data, std::uint32_t id, const spa_pod* param)
{
    auto* self = static_cast<PipeWireCameraStream*>(data);
    if (!param || id != SPA_PARAM_Format) return;
    std::uint32_t mediaType = 0;
    std::uint32_t mediaSubtype = 0;
    if (spa_format_parse(param, &mediaType, &mediaSubtype) < 0 || mediaType != SPA_MEDIA_TYPE_video) return;
    std::optional<CameraPictureConverter::Format> format;
    spa_rectangle size{};
    if (mediaSubtype == SPA_MEDIA_SUBTYPE_mjpg) {
        spa_video_info_mjpg info{};
        if (spa_format_video_mjpg_parse(param, &info) < 0) return;
        format = CameraPictureConverter::Format::mjpeg;
        size = info.size;
    } else if (mediaSubtype == SPA_MEDIA_SUBTYPE_raw) {
        spa_video_info_raw info{};
        if (spa_format_video_raw_parse(param, &info) < 0) return;
        format = converterFormat(info.format);
        size = info.size;
    }
    if (!format || size.width == 0 || size.height == 0) return;
    self->converter_ = std::make_unique<CameraPictureConverter>(
        *format, CameraSize{static_cast<int>(size.width), static_cast<int>(size.height)});

    std::uint8_t buffer[256];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
    const spa_pod* params[1];
    params[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(4, 2, 16), SPA_PARAM_BUFFERS_dataType,
        SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr))));
    pw_stream_update_params(self->stream_, params, 1);
}

void PipeWireCameraStream::onStateChanged(void* data, int old, int state, const char*)
{
    auto* self = static_cast<PipeWireCameraStream*>(data);
    if (old == state) return;
    if (state == PW_STREAM_STATE_STREAMING) self->streaming_ = true;
    if (state == PW_STREAM_STATE_PAUSED && !self->linkRequested_ && self->linkTimer_) {
        // A session manager links an autoconnected stream at once; a bare daemon never does.
        timespec wait{1, 0};
        pw_loop_update_timer(pw_thread_loop_get_loop(self->loop_), self->linkTimer_, &wait, nullptr, false);
    }
    if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED) self->markEnded();
}

void PipeWireCameraStream::onCoreError(void* data, std::uint32_t id, int, int result, const char*)
{
    // The daemon went away.
    if (id == PW_ID_CORE && result == -EPIPE) static_cast<PipeWireCameraStream*>(data)->markEnded();
}

void PipeWireCameraStream::onGlobalRemoved(void* data, std::uint32_t id)
{
    auto* self = static_cast<PipeWireCameraStream*>(data);
    if (id == self->cameraNode_) self->markEnded();
}

void PipeWireCameraStream::markEnded()
{
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

void PipeWireCameraStream::onProcess(void* data)
{
    auto* self = static_cast<PipeWireCameraStream*>(data);
    // Only the newest picture matters; older queued ones are returned unread.
    pw_buffer* newest = nullptr;
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(self->stream_)) {
        if (newest) pw_stream_queue_buffer(self->stream_, newest);
        newest = buffer;
    }
    if (!newest) return;
    self->handle(newest->buffer);
    pw_stream_queue_buffer(self->stream_, newest);
}

void PipeWireCameraStream::handle(spa_buffer* buffer)
{
    const SteadyClock::time_point arrived = SteadyClock::now();
    if (!converter_ || buffer->n_datas == 0) return;
    const std::uint8_t* planes[3] = {nullptr, nullptr, nullptr};
    int strides[3] = {0, 0, 0};
    std::size_t size = 0;
    for (std::uint32_t index = 0; index < std::min<std::uint32_t>(buffer->n_datas, 3); ++index) {
        const spa_data& plane = buffer->datas[index];
        if (!plane.data || !plane.chunk || plane.chunk->offset + plane.chunk->size > plane.maxsize) return;
        if (plane.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) return;
        planes[index] = static_cast<const std::uint8_t*>(plane.data) + plane.chunk->offset;
        strides[index] = plane.chunk->stride;
        if (index == 0) size = plane.chunk->size;
    }
    if (size == 0 || !converter_->convert(planes, strides, size, working_.frame)) return;
    working_.sequence = ++sequence_;
    working_.time = arrived;

    const std::lock_guard lock(mutex_);
    std::swap(working_, newest_);
    changed_.notify_all();
}

bool PipeWireCameraStream::waitForFirstPicture(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout, [this] { return ended_ || newest_.sequence > 0; });
    return newest_.sequence > 0;
}

bool PipeWireCameraStream::takeNewest(CameraPicture& into)
{
    const std::lock_guard lock(mutex_);
    if (newest_.sequence <= into.sequence) return false;
    // Swapping hands the stream back the older buffer to fill next, without allocating.
    std::swap(into, newest_);
    return true;
}

bool PipeWireCameraStream::ended() const
{
    const std::lock_guard lock(mutex_);
    return ended_;
}

}  // namespace vantile
