#pragma once

#include "capture/wayland/ScreenCastPortal.h"
#include "model/Geometry.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

struct pw_thread_loop;
struct pw_context;
struct pw_core;
struct pw_stream;
struct pw_registry;
struct spa_buffer;
struct spa_pod;

namespace vantile {

// One picture of the stream, cropped to the source and in memory order B, G, R, X.
struct StreamPicture {
    std::vector<std::uint8_t> pixels;
    int width = 0;
    int height = 0;
    std::uint64_t sequence = 0;  // 0: no picture yet
    std::chrono::steady_clock::time_point time;
};

// What a buffer's cursor metadata said, in stream pixels.
struct StreamPointer {
    CodablePoint position;
    std::optional<CGRectCodable> crop;  // the source's rectangle inside the stream, when it has one
    PixelSize streamSize;
    std::chrono::steady_clock::time_point time;
};

// Consumes one screen-cast node over a PipeWire remote on a thread of its own, keeping the newest
// picture. Shared-memory buffers only: BGRx, BGRA, RGBx or RGBA.
class PipeWireStream {
public:
    using PointerHandler = std::function<void(const StreamPointer&)>;

    // Takes ownership of descriptor. onPointer runs on the stream's thread.
    PipeWireStream(int descriptor, std::uint32_t node, int fps, PointerHandler onPointer);
    ~PipeWireStream();
    PipeWireStream(const PipeWireStream&) = delete;
    PipeWireStream& operator=(const PipeWireStream&) = delete;

    // The first picture's size, or nothing when none came in time or the stream ended.
    std::optional<PixelSize> waitForFirstPicture(std::chrono::milliseconds timeout);
    // Pictures a second agreed with the compositor (its ceiling when it sends on change); 0 before.
    int negotiatedRate() const { return negotiatedRate_.load(); }
    // Swaps a newer picture than into's into it; false when there is none.
    bool takeNewest(StreamPicture& into);
    bool ended() const;

    struct Counts {
        std::uint64_t pictures = 0;
        std::uint64_t pointerOnlyBuffers = 0;
    };
    Counts counts() const;

private:
    static void onProcess(void* data);
    static void onParamChanged(void* data, std::uint32_t id, const spa_pod* param);
    static void onStateChanged(void* data, int old, int state, const char* error);
    static void onGlobalRemoved(void* data, std::uint32_t id);
    static void onCoreError(void* data, std::uint32_t id, int sequence, int result, const char* message);

    void handle(spa_buffer* buffer);
    void markEnded();
    void teardown();

    PointerHandler onPointer_;
    pw_thread_loop* loop_ = nullptr;
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
    pw_stream* stream_ = nullptr;
    pw_registry* registry_ = nullptr;
    std::uint32_t node_ = 0;
    struct Listeners;
    std::unique_ptr<Listeners> listeners_;

    // Stream thread only.
    std::uint32_t format_ = 0;
    PixelSize size_;
    std::atomic<int> negotiatedRate_{0};
    std::optional<CGRectCodable> crop_;
    StreamPicture working_;
    std::uint64_t sequence_ = 0;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    StreamPicture newest_;
    bool ended_ = false;
    Counts counts_;
};

}  // namespace vantile
