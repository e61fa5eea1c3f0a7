#include "capture/camera/CameraRecorder.h"

#include "capture/RawMovieWriter.h"
#include "capture/camera/CameraError.h"
#include "store/ProjectFileManager.h"

#include <cmath>
#include <fstream>

namespace vantile {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr auto frameInterval =
    std::chrono::duration_cast<SteadyClock::duration>(std::chrono::duration<double>(1.0 / RawMovieWriter::standardFps));

// Noisy camera pictures cost x264 far more than screens: ultrafast keeps 720p30 near a quarter
// of a core, and a higher rate factor keeps the file small for a picture shown as a small bubble.
constexpr RawMovieWriter::VideoEncoding cameraEncoding{.preset = "ultrafast", .constantRateFactor = 23};

std::filesystem::path notePath(const std::filesystem::path& directory)
{
    return directory / ProjectFileManager::metadataFolderName / CameraRecorder::noteFileName;
}

}  // namespace

CameraRecorder::CameraRecorder(std::unique_ptr<CameraStream> stream, std::filesystem::path projectDirectory)
    : stream_(std::move(stream)), directory_(std::move(projectDirectory))
{
    thread_ = std::thread([this] { run(); });
}

CameraRecorder::~CameraRecorder()
{
    if (thread_.joinable()) finish(SteadyClock::now());
}

void CameraRecorder::startClock(SteadyClock::time_point screenFirstFrame)
{
    const std::lock_guard lock(mutex_);
    if (!origin_) origin_ = screenFirstFrame;
    wake_.notify_all();
}

CameraTake CameraRecorder::finish(SteadyClock::time_point end)
{
    {
        const std::lock_guard lock(mutex_);
        if (!end_) end_ = end;
        wake_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
    stream_.reset();
    return take_;
}

void CameraRecorder::run()
{
    SteadyClock::time_point origin;
    {
        std::unique_lock lock(mutex_);
        wake_.wait(lock, [this] { return origin_ || end_; });
        if (!origin_) return;
        origin = *origin_;
    }
    std::unique_ptr<RawMovieWriter> writer;
    std::int64_t firstTick = -1;
    CameraPicture picture;
    try {
        for (std::int64_t tick = 0;; ++tick) {
            const SteadyClock::time_point due = origin + tick * frameInterval;
            {
                std::unique_lock lock(mutex_);
                wake_.wait_until(lock, due, [this] { return end_.has_value(); });
                if (end_ && due >= *end_) break;
            }
            if (stream_->ended()) {
                take_.warning = CameraError::stopped(static_cast<double>(tick) / RawMovieWriter::standardFps).what();
                break;
            }
            stream_->takeNewest(picture);
            // Until the camera's first picture, ticks pass without a frame: the movie starts later.
            if (picture.sequence == 0) continue;
            if (!writer) {
                writer = std::make_unique<RawMovieWriter>(directory_ / fileName, picture.frame.width,
                                                          picture.frame.height, 0, cameraEncoding);
                firstTick = tick;
                take_.camera = CameraRecording{.path = fileName,
                                               .width = picture.frame.width,
                                               .height = picture.frame.height,
                                               .fps = RawMovieWriter::standardFps,
                                               .startOffset = static_cast<double>(tick) / RawMovieWriter::standardFps};
                // Written before the first frame, so a killed recording still knows where camera.mov begins.
                std::filesystem::create_directories(notePath(directory_).parent_path());
                std::ofstream(notePath(directory_)) << Json(*take_.camera).dump();
            }
            // A camera that changes its size mid-take keeps the last good picture in the movie.
            if (picture.frame.width == writer->width() && picture.frame.height == writer->height())
                writer->writeVideo(picture.frame, tick - firstTick);
            // Far behind (a starved machine): skip the missed ticks instead of encoding them all late.
            const auto late = SteadyClock::now() - (due + frameInterval);
            if (late > std::chrono::seconds(1)) tick += late / frameInterval;
        }
        if (writer) writer->finish();
    } catch (const std::exception& error) {
        // Whatever was written stays playable; the screen recording goes on regardless.
        take_.warning = std::string("摄像头画面写入失败，摄像头画面只录到出错之前：") + error.what();
    }
}

std::optional<CameraRecording> CameraRecorder::readNote(const std::filesystem::path& projectDirectory)
{
    std::ifstream stream(notePath(projectDirectory));
    if (!stream) return std::nullopt;
    try {
        CameraRecording camera;
        decodeValue(Json::parse(stream), camera);
        return camera;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void CameraRecorder::removeNote(const std::filesystem::path& projectDirectory)
{
    std::error_code ignored;
    std::filesystem::remove(notePath(projectDirectory), ignored);
}

}  // namespace vantile
