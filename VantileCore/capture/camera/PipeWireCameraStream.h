#pragma once

#include "capture/camera/CameraDevice.h"
#include "capture/camera/CameraPictureConverter.h"
#include "capture/camera/CameraStream.h"

#include <condition_variable>
#include <memory>
#include <mutex>

struct pw_thread_loop;
struct pw_context;
struct pw_core;
struct pw_stream;
struct pw_registry;
struct pw_proxy;
struct spa_buffer;
struct spa_pod;
struct spa_source;

namespace vantile {

// Streams one PipeWire camera node on a thread of its own, in YUY2, UYVY, NV12, I420 or MJPEG at
// most 30 pictures a second. The session manager links it to the camera; where none does so
// within a second (a bare daemon), the stream links itself.
class PipeWireCameraStream : public CameraStream {
public:
    // remoteDescriptor: a remote to use (owned from here on), or -1 for the user's daemon.
    // Throws CameraError::noCameras when the daemon cannot be reached.
    PipeWireCameraStream(const CameraDevice& camera, int remoteDescriptor = -1);
    ~PipeWireCameraStream() override;
    PipeWireCameraStream(const PipeWireCameraStream&) = delete;
    PipeWireCameraStream& operator=(const PipeWireCameraStream&) = delete;

    bool waitForFirstPicture(std::chrono::milliseconds timeout) override;
    bool takeNewest(CameraPicture& into) override;
    bool ended() const override;

private:
    static void onProcess(void* data);
    static void onParamChanged(void* data, std::uint32_t id, const spa_pod* param);
    static void onStateChanged(void* data, int old, int state, const char* error);
    static void onGlobalRemoved(void* data, std::uint32_t id);
    static void onCoreError(void* data, std::uint32_t id, int sequence, int result, const char* message);

    void handle(spa_buffer* buffer);
    void linkToCamera();
    void linkUnlessLinked();
    void markEnded();
    void teardown();

    std::uint32_t cameraNode_ = 0;
    pw_thread_loop* loop_ = nullptr;
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
    pw_stream* stream_ = nullptr;
    pw_registry* registry_ = nullptr;
    pw_proxy* link_ = nullptr;
    bool linkRequested_ = false;
    bool streaming_ = false;
    spa_source* linkTimer_ = nullptr;
    struct Listeners;
    std::unique_ptr<Listeners> listeners_;

    // Stream thread only.
    std::unique_ptr<CameraPictureConverter> converter_;
    CameraPicture working_;
    std::uint64_t sequence_ = 0;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    CameraPicture newest_;
    bool ended_ = false;
};

}  // namespace vantile
