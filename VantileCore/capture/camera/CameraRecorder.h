#pragma once

#include "capture/camera/CameraStream.h"
#include "model/CameraRecording.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace vantile {

// What the camera left when the recording stopped.
struct CameraTake {
    std::optional<CameraRecording> camera;  // absent when not one frame was written
    std::optional<std::string> warning;     // why the camera ended before the screen, in the user's words

    bool operator==(const CameraTake&) const = default;
};

// Records a camera stream into camera.mov beside the screen's raw movie: H.264 at a constant
// 30 fps on the screen's frame clock (the newest picture at each tick, repeated when the camera
// is slower), fragmented so a killed recording leaves it playable. Encodes on a thread of its
// own, so the screen never waits for it.
class CameraRecorder {
public:
    // camera.mov's own file name, and the note beside the journal that lets recovery rebuild the
    // project's camera key.
    static constexpr const char* fileName = "camera.mov";
    static constexpr const char* noteFileName = "camera.json";

    CameraRecorder(std::unique_ptr<CameraStream> stream, std::filesystem::path projectDirectory);
    ~CameraRecorder();
    CameraRecorder(const CameraRecorder&) = delete;
    CameraRecorder& operator=(const CameraRecorder&) = delete;

    // The screen's first frame: tick 0 of both movies.
    void startClock(std::chrono::steady_clock::time_point screenFirstFrame);
    // Keeps no picture from `end` on, closes camera.mov and says what it holds.
    CameraTake finish(std::chrono::steady_clock::time_point end);

    // The camera note of a project directory, when its camera wrote a frame.
    static std::optional<CameraRecording> readNote(const std::filesystem::path& projectDirectory);
    static void removeNote(const std::filesystem::path& projectDirectory);

private:
    void run();

    std::unique_ptr<CameraStream> stream_;
    std::filesystem::path directory_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::optional<std::chrono::steady_clock::time_point> origin_;
    std::optional<std::chrono::steady_clock::time_point> end_;
    CameraTake take_;  // the thread's until it is joined
    std::thread thread_;
};

}  // namespace vantile
