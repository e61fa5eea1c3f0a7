#include "capture/PulseAudioSource.h"

#include "capture/RecordingError.h"

#include <pulse/pulseaudio.h>

#include <chrono>
#include <algorithm>
#include <cstring>

namespace vantile {

// The threaded main loop, its context and the record stream; callbacks run on the loop's thread.
struct PulseAudioSource::Connection {
    pa_threaded_mainloop* loop = nullptr;
    pa_context* context = nullptr;
    pa_stream* stream = nullptr;
    Handler handler;
    mutable std::mutex failureMutex;
    std::optional<std::string> failure;
    std::atomic<bool> stopping = false;
    std::string lostMessage = "the audio device stopped delivering sound";
    std::optional<std::string> requiredDevice;  // a device the user chose by name

    Connection()
    {
        loop = pa_threaded_mainloop_new();
        if (!loop || pa_threaded_mainloop_start(loop) < 0) {
            if (loop) pa_threaded_mainloop_free(loop);
            loop = nullptr;
            throw RecordingError::captureStartFailed("cannot start the audio thread");
        }
    }

    ~Connection()
    {
        stopping = true;
        pa_threaded_mainloop_lock(loop);
        if (stream) {
            pa_stream_set_read_callback(stream, nullptr, nullptr);
            pa_stream_set_state_callback(stream, nullptr, nullptr);
            pa_stream_set_moved_callback(stream, nullptr, nullptr);
            pa_stream_disconnect(stream);
            pa_stream_unref(stream);
        }
        if (context) {
            pa_context_set_state_callback(context, nullptr, nullptr);
            pa_context_disconnect(context);
            pa_context_unref(context);
        }
        pa_threaded_mainloop_unlock(loop);
        pa_threaded_mainloop_stop(loop);
        pa_threaded_mainloop_free(loop);
    }

    void setFailure(const std::string& message)
    {
        const std::lock_guard guard(failureMutex);
        if (!failure) failure = message;
    }

    // Connects the context; call with the loop locked.
    void connectContext()
    {
        context = pa_context_new(pa_threaded_mainloop_get_api(loop), "Vantile");
        if (!context) throw RecordingError::captureStartFailed("cannot create an audio context");
        pa_context_set_state_callback(
            context, [](pa_context*, void* loop) { pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0); },
            loop);
        if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
            throw RecordingError::captureStartFailed("no audio server is running");
        for (;;) {
            const pa_context_state_t state = pa_context_get_state(context);
            if (state == PA_CONTEXT_READY) return;
            if (!PA_CONTEXT_IS_GOOD(state)) throw RecordingError::captureStartFailed("no audio server is running");
            pa_threaded_mainloop_wait(loop);
        }
    }
};

namespace {

class LoopLock {
public:
    explicit LoopLock(pa_threaded_mainloop* loop) : loop_(loop) { pa_threaded_mainloop_lock(loop_); }
    ~LoopLock() { pa_threaded_mainloop_unlock(loop_); }
    LoopLock(const LoopLock&) = delete;
    LoopLock& operator=(const LoopLock&) = delete;

private:
    pa_threaded_mainloop* loop_;
};

void readAvailable(pa_stream* stream, std::size_t, void* userdata)
{
    auto* connection = static_cast<PulseAudioSource::Connection*>(userdata);
    const void* data = nullptr;
    std::size_t bytes = 0;
    while (pa_stream_readable_size(stream) > 0) {
        if (pa_stream_peek(stream, &data, &bytes) < 0 || bytes == 0) return;
        const auto now = std::chrono::steady_clock::now();
        const std::size_t frames = bytes / (sizeof(float) * AudioSource::channelCount);
        // The stream's latency is the age of the oldest unread sample, so a late wake-up of this
        // thread does not shift the sound against the picture.
        auto age = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::duration<double>(static_cast<double>(frames) / AudioSource::sampleRate));
        pa_usec_t latency = 0;
        int negative = 0;
        if (pa_stream_get_latency(stream, &latency, &negative) == 0 && !negative)
            age = std::max(age, std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                    std::chrono::microseconds(latency)));
        // A hole (no data) is skipped; the writer's sample clock keeps running on the next chunk.
        if (data && frames > 0 && !connection->stopping && connection->handler)
            connection->handler(static_cast<const float*>(data), frames, now - age);
        pa_stream_drop(stream);
    }
}

void streamStateChanged(pa_stream* stream, void* userdata)
{
    auto* connection = static_cast<PulseAudioSource::Connection*>(userdata);
    const pa_stream_state_t state = pa_stream_get_state(stream);
    if ((state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED) && !connection->stopping)
        connection->setFailure(connection->lostMessage);
    pa_threaded_mainloop_signal(connection->loop, 0);
}

// The server moves a stream whose device went away to its default device; for a device the
// user chose, that means the chosen device is gone.
void streamMoved(pa_stream* stream, void* userdata)
{
    auto* connection = static_cast<PulseAudioSource::Connection*>(userdata);
    const char* device = pa_stream_get_device_name(stream);
    if (connection->requiredDevice && (!device || *connection->requiredDevice != device))
        connection->setFailure(connection->lostMessage);
}

}  // namespace

PulseAudioSource::PulseAudioSource(AudioSourceKind kind, std::optional<std::string> deviceName)
    : kind_(kind), deviceName_(std::move(deviceName))
{
}

PulseAudioSource::~PulseAudioSource() { stop(); }

void PulseAudioSource::start(Handler handler)
{
    stop();
    auto connection = std::make_unique<Connection>();
    connection->handler = std::move(handler);
    connection->lostMessage = kind_ == AudioSourceKind::microphone
                                  ? "the microphone stopped delivering sound"
                                  : "system audio stopped delivering sound";
    if (kind_ == AudioSourceKind::microphone) connection->requiredDevice = deviceName_;
    {
        const LoopLock lock(connection->loop);
        connection->connectContext();
        const pa_sample_spec sampleFormat{PA_SAMPLE_FLOAT32LE, static_cast<std::uint32_t>(sampleRate),
                                  static_cast<std::uint8_t>(channelCount)};
        const char* name = kind_ == AudioSourceKind::systemAudio ? "Vantile system audio" : "Vantile microphone";
        connection->stream = pa_stream_new(connection->context, name, &sampleFormat, nullptr);
        if (!connection->stream) throw RecordingError::captureStartFailed("cannot create an audio stream");
        pa_stream_set_read_callback(connection->stream, readAvailable, connection.get());
        pa_stream_set_state_callback(connection->stream, streamStateChanged, connection.get());
        pa_stream_set_moved_callback(connection->stream, streamMoved, connection.get());
        // Small fragments keep the arrival time of each chunk close to when it was heard.
        pa_buffer_attr attributes{};
        attributes.maxlength = static_cast<std::uint32_t>(-1);
        attributes.fragsize = static_cast<std::uint32_t>(pa_usec_to_bytes(20000, &sampleFormat));
        const std::string device = kind_ == AudioSourceKind::systemAudio ? "@DEFAULT_MONITOR@"
                                                                          : deviceName_.value_or("@DEFAULT_SOURCE@");
        if (pa_stream_connect_record(connection->stream, device.c_str(), &attributes, static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_INTERPOLATE_TIMING |
                                                                   PA_STREAM_AUTO_TIMING_UPDATE)) < 0)
            throw RecordingError::captureStartFailed("cannot record from audio device " + device);
        for (;;) {
            const pa_stream_state_t state = pa_stream_get_state(connection->stream);
            if (state == PA_STREAM_READY) break;
            if (!PA_STREAM_IS_GOOD(state))
                throw RecordingError::captureStartFailed("cannot record from audio device " + device);
            pa_threaded_mainloop_wait(connection->loop);
        }
    }
    connection_ = std::move(connection);
}

void PulseAudioSource::stop() { connection_.reset(); }

std::optional<std::string> PulseAudioSource::failure() const
{
    if (!connection_) return std::nullopt;
    const std::lock_guard guard(connection_->failureMutex);
    return connection_->failure;
}

std::vector<AudioInputDevice> PulseAudioSource::listMicrophones()
{
    Connection connection;
    struct Listing {
        pa_threaded_mainloop* loop;
        std::vector<AudioInputDevice> devices;
        bool done = false;
    } listing{connection.loop, {}};
    const LoopLock lock(connection.loop);
    connection.connectContext();
    pa_operation* operation = pa_context_get_source_info_list(
        connection.context,
        [](pa_context*, const pa_source_info* info, int end, void* userdata) {
            auto* listing = static_cast<Listing*>(userdata);
            if (end || !info) {
                listing->done = true;
                pa_threaded_mainloop_signal(listing->loop, 0);
                return;
            }
            if (info->monitor_of_sink == PA_INVALID_INDEX)
                listing->devices.push_back({info->name, info->description ? info->description : info->name});
        },
        &listing);
    if (!operation) throw RecordingError::captureStartFailed("cannot list audio devices");
    while (!listing.done && pa_operation_get_state(operation) == PA_OPERATION_RUNNING)
        pa_threaded_mainloop_wait(connection.loop);
    pa_operation_unref(operation);
    return listing.devices;
}

}  // namespace vantile
