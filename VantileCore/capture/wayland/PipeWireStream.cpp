#include "capture/wayland/PipeWireStream.h"

#include "capture/RecordingError.h"

#include <libyuv/convert_argb.h>
#include <libyuv/planar_functions.h>
#include <pipewire/pipewire.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>
#include <unistd.h>

namespace vantile {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t cursorMetaSize(int width, int height)
{
    return sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + static_cast<std::size_t>(width * height * 4);
}

bool isRedFirst(std::uint32_t format) { return format == SPA_VIDEO_FORMAT_RGBx || format == SPA_VIDEO_FORMAT_RGBA; }

// Buffer timestamps are on the monotonic clock, as steady_clock is. Mutter stamps the first
// picture after an idle spell with its last presentation time, seconds old; a stamp older than
// any delivery delay of a busy machine (or from another clock) gives way to the arrival time.
SteadyClock::time_point bufferTime(const spa_meta_header* header)
{
    constexpr auto plausibleDelay = std::chrono::milliseconds(500);
    const SteadyClock::time_point now = SteadyClock::now();
    if (!header || header->pts <= 0) return now;
    const SteadyClock::time_point stamped{std::chrono::nanoseconds(header->pts)};
    return stamped <= now && now - stamped <= plausibleDelay ? stamped : now;
}

}  // namespace

struct PipeWireStream::Listeners {
    spa_hook core{};
    spa_hook stream{};
    spa_hook registry{};
    pw_core_events coreEvents{};
    pw_registry_events registryEvents{};
    pw_stream_events streamEvents{};
};

PipeWireStream::PipeWireStream(int descriptor, std::uint32_t node, int fps, PointerHandler onPointer)
    : onPointer_(std::move(onPointer)), listeners_(std::make_unique<Listeners>())
{
    static std::once_flag initialised;
    std::call_once(initialised, [] { pw_init(nullptr, nullptr); });

    loop_ = pw_thread_loop_new("vantile-capture", nullptr);
    if (!loop_) {
        close(descriptor);
        throw RecordingError::captureStartFailed("cannot create the PipeWire loop");
    }
    context_ = pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0);
    if (!context_ || pw_thread_loop_start(loop_) < 0) {
        close(descriptor);
        if (context_) pw_context_destroy(context_);
        pw_thread_loop_destroy(loop_);
        throw RecordingError::captureStartFailed("cannot start the PipeWire loop");
    }

    pw_thread_loop_lock(loop_);
    core_ = pw_context_connect_fd(context_, descriptor, nullptr, 0);
    if (!core_) {
        pw_thread_loop_unlock(loop_);
        pw_thread_loop_stop(loop_);
        pw_context_destroy(context_);
        pw_thread_loop_destroy(loop_);
        throw RecordingError::captureStartFailed("cannot connect to the screen-cast stream");
    }
    listeners_->coreEvents.version = PW_VERSION_CORE_EVENTS;
    listeners_->coreEvents.error = onCoreError;
    pw_core_add_listener(core_, &listeners_->core, &listeners_->coreEvents, this);
    // A stream whose source goes away only pauses; the node leaving the registry is the sign.
    node_ = node;
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    listeners_->registryEvents.version = PW_VERSION_REGISTRY_EVENTS;
    listeners_->registryEvents.global_remove = onGlobalRemoved;
    pw_registry_add_listener(registry_, &listeners_->registry, &listeners_->registryEvents, this);

    stream_ = pw_stream_new(core_, "Vantile screen capture",
                            pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture",
                                              PW_KEY_MEDIA_ROLE, "Screen", nullptr));
    listeners_->streamEvents.version = PW_VERSION_STREAM_EVENTS;
    listeners_->streamEvents.process = onProcess;
    listeners_->streamEvents.param_changed = onParamChanged;
    listeners_->streamEvents.state_changed = [](void* data, pw_stream_state old, pw_stream_state state,
                                                const char* error) {
        onStateChanged(data, old, state, error);
    };
    pw_stream_add_listener(stream_, &listeners_->stream, &listeners_->streamEvents, this);

    std::uint8_t buffer[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
    spa_rectangle defaultSize{1920, 1080};
    spa_rectangle minimumSize{1, 1};
    spa_rectangle maximumSize{16384, 16384};
    // The raw movie keeps no more pictures a second than the recording's rate; asking for no
    // more spares the compositor.
    spa_fraction defaultRate{static_cast<std::uint32_t>(fps), 1};
    spa_fraction minimumRate{0, 1};
    spa_fraction maximumRate{static_cast<std::uint32_t>(fps), 1};
    const spa_pod* params[1];
    params[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
        SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
        SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA,
                               SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA),
        SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&defaultSize, &minimumSize, &maximumSize),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&defaultRate, &minimumRate, &maximumRate)));
    const int connected = pw_stream_connect(stream_, PW_DIRECTION_INPUT, node,
                                            static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT |
                                                                         PW_STREAM_FLAG_MAP_BUFFERS),
                                            params, 1);
    pw_thread_loop_unlock(loop_);
    if (connected < 0) {
        teardown();
        throw RecordingError::captureStartFailed("cannot connect to the screen-cast stream");
    }
}

PipeWireStream::~PipeWireStream() { teardown(); }

void PipeWireStream::teardown()
{
    if (!loop_) return;
    pw_thread_loop_lock(loop_);
    if (stream_) pw_stream_destroy(stream_);
    stream_ = nullptr;
    if (registry_) pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
    registry_ = nullptr;
    if (core_) pw_core_disconnect(core_);
    core_ = nullptr;
    pw_thread_loop_unlock(loop_);
    pw_thread_loop_stop(loop_);
    pw_context_destroy(context_);
    pw_thread_loop_destroy(loop_);
    loop_ = nullptr;
}

void PipeWireStream::onParamChanged(void* data, std::uint32_t id, const spa_pod* param)
{
    auto* self = static_cast<PipeWireStream*>(data);
    if (!param || id != SPA_PARAM_Format) return;
    spa_video_info_raw info{};
    if (spa_format_video_raw_parse(param, &info) < 0) return;
    self->format_ = info.format;
    self->size_ = {static_cast<int>(info.size.width), static_cast<int>(info.size.height)};
    // A compositor that sends pictures on change states a variable rate (0) and its ceiling.
    const spa_fraction rate = info.framerate.num > 0 ? info.framerate : info.max_framerate;
    self->negotiatedRate_.store(rate.denom > 0 ? static_cast<int>(rate.num / rate.denom) : 0);

    std::uint8_t buffer[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
    const spa_pod* params[4];
    params[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(8, 2, 16), SPA_PARAM_BUFFERS_dataType,
        SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr))));
    params[1] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
        SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header))));
    params[2] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_VideoCrop),
        SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_region))));
    params[3] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Cursor),
        SPA_PARAM_META_size,
        SPA_POD_CHOICE_RANGE_Int(cursorMetaSize(64, 64), cursorMetaSize(1, 1), cursorMetaSize(512, 512))));
    pw_stream_update_params(self->stream_, params, 4);
}

void PipeWireStream::onStateChanged(void* data, int old, int state, const char*)
{
    auto* self = static_cast<PipeWireStream*>(data);
    if (old != state && (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED)) self->markEnded();
}

void PipeWireStream::onCoreError(void* data, std::uint32_t id, int, int result, const char*)
{
    // The remote itself went away (the portal closed the session).
    if (id == PW_ID_CORE && result == -EPIPE) static_cast<PipeWireStream*>(data)->markEnded();
}

void PipeWireStream::onGlobalRemoved(void* data, std::uint32_t id)
{
    auto* self = static_cast<PipeWireStream*>(data);
    if (id == self->node_) self->markEnded();
}

void PipeWireStream::markEnded()
{
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

void PipeWireStream::onProcess(void* data)
{
    auto* self = static_cast<PipeWireStream*>(data);
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(self->stream_)) {
        self->handle(buffer->buffer);
        pw_stream_queue_buffer(self->stream_, buffer);
    }
}

void PipeWireStream::handle(spa_buffer* buffer)
{
    const auto* header =
        static_cast<const spa_meta_header*>(spa_buffer_find_meta_data(buffer, SPA_META_Header, sizeof(spa_meta_header)));
    const SteadyClock::time_point time = bufferTime(header);

    // Buffers that only move the pointer carry no valid crop: the last one still holds.
    if (const auto* region = static_cast<const spa_meta_region*>(
            spa_buffer_find_meta_data(buffer, SPA_META_VideoCrop, sizeof(spa_meta_region)));
        region && spa_meta_region_is_valid(region)) {
        crop_ = CGRectCodable{double(region->region.position.x), double(region->region.position.y),
                              double(region->region.size.width), double(region->region.size.height)};
    }
    const std::optional<CGRectCodable> crop = crop_;

    if (const auto* cursor = static_cast<const spa_meta_cursor*>(
            spa_buffer_find_meta_data(buffer, SPA_META_Cursor, sizeof(spa_meta_cursor)));
        cursor && spa_meta_cursor_is_valid(cursor)) {
        if (onPointer_)
            onPointer_({{double(cursor->position.x), double(cursor->position.y)}, crop, size_, time});
    }

    const spa_data& plane = buffer->datas[0];
    const bool corrupted = header && (header->flags & SPA_META_HEADER_FLAG_CORRUPTED);
    // Pointer moves alone arrive as buffers without a picture.
    if (corrupted || !plane.data || !plane.chunk || plane.chunk->size == 0 || size_.width <= 0 || size_.height <= 0 ||
        (plane.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED)) {
        const std::lock_guard lock(mutex_);
        ++counts_.pointerOnlyBuffers;
        return;
    }
    const int stride = plane.chunk->stride > 0 ? plane.chunk->stride : size_.width * 4;
    if (std::size_t(plane.chunk->offset) + std::size_t(stride) * std::size_t(size_.height) > plane.maxsize) return;
    int left = 0;
    int top = 0;
    int width = size_.width;
    int height = size_.height;
    if (crop) {
        left = std::clamp(int(crop->x), 0, size_.width - 1);
        top = std::clamp(int(crop->y), 0, size_.height - 1);
        width = std::clamp(int(crop->width), 1, size_.width - left);
        height = std::clamp(int(crop->height), 1, size_.height - top);
    }
    const auto* source = static_cast<const std::uint8_t*>(plane.data) + plane.chunk->offset +
                         std::size_t(top) * std::size_t(stride) + std::size_t(left) * 4;
    working_.pixels.resize(std::size_t(width) * std::size_t(height) * 4);
    if (isRedFirst(format_))
        libyuv::ABGRToARGB(source, stride, working_.pixels.data(), width * 4, width, height);
    else
        libyuv::ARGBCopy(source, stride, working_.pixels.data(), width * 4, width, height);
    working_.width = width;
    working_.height = height;
    working_.sequence = ++sequence_;
    working_.time = time;

    const std::lock_guard lock(mutex_);
    std::swap(working_, newest_);
    ++counts_.pictures;
    changed_.notify_all();
}

std::optional<PixelSize> PipeWireStream::waitForFirstPicture(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout, [this] { return ended_ || newest_.sequence > 0; });
    if (newest_.sequence == 0) return std::nullopt;
    return PixelSize{newest_.width, newest_.height};
}

bool PipeWireStream::takeNewest(StreamPicture& into)
{
    const std::lock_guard lock(mutex_);
    if (newest_.sequence <= into.sequence) return false;
    std::swap(into, newest_);
    return true;
}

bool PipeWireStream::ended() const
{
    const std::lock_guard lock(mutex_);
    return ended_;
}

PipeWireStream::Counts PipeWireStream::counts() const
{
    const std::lock_guard lock(mutex_);
    return counts_;
}

}  // namespace vantile
