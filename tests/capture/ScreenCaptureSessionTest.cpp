#include "support/MediaProbe.h"
#include "support/TemporaryDirectory.h"

#include "capture/ScreenRecorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <numbers>
#include <thread>

namespace vantile {
namespace {

using namespace std::chrono_literals;
using vantile::testing::probe;
using vantile::testing::streamOfType;

// Paints a solid colour that changes every frame; can stay blank for a while.
class FakeGrabber : public ScreenGrabber {
public:
    FakeGrabber(int width, int height, int blankFrames)
        : width_(width), height_(height), blankFrames_(blankFrames),
          pixels_(static_cast<std::size_t>(width) * height * 4)
    {
    }
    GrabbedImage grab() override
    {
        ++grabs_;
        if (grabs_ <= blankFrames_) return {};
        for (std::size_t index = 0; index < pixels_.size(); index += 4) {
            pixels_[index] = 200;                                          // blue
            pixels_[index + 1] = static_cast<std::uint8_t>(grabs_ * 3);    // green drifts
            pixels_[index + 2] = 30;                                        // red
        }
        return {pixels_.data(), width_, height_, width_ * 4};
    }

private:
    int width_, height_, blankFrames_;
    int grabs_ = 0;
    std::vector<std::uint8_t> pixels_;
};

// A 440 Hz tone delivered in 10 ms chunks from its own thread, stamped like a real device.
class FakeTone : public AudioSource {
public:
    void start(Handler handler) override
    {
        running_ = true;
        thread_ = std::thread([this, handler] {
            std::vector<float> chunk(480 * 2);
            std::int64_t position = 0;
            auto due = std::chrono::steady_clock::now();
            while (running_) {
                for (std::size_t frame = 0; frame < 480; ++frame, ++position) {
                    const auto value = static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * 440 * position / 48000.0));
                    chunk[frame * 2] = chunk[frame * 2 + 1] = value;
                }
                due += 10ms;
                std::this_thread::sleep_until(due);
                handler(chunk.data(), 480, std::chrono::steady_clock::now() - 10ms);
            }
        });
    }
    void stop() override
    {
        running_ = false;
        if (thread_.joinable()) thread_.join();
    }
    std::optional<std::string> failure() const override { return std::nullopt; }
    ~FakeTone() override { stop(); }

private:
    std::atomic<bool> running_ = false;
    std::thread thread_;
};

class FakePlatform : public CapturePlatform {
public:
    std::unique_ptr<ScreenGrabber> openGrabber(const CaptureSource& source) override
    {
        return std::make_unique<FakeGrabber>(int(source.region.width), int(source.region.height), blankFrames);
    }
    std::unique_ptr<AudioSource> openAudio(AudioSourceKind, const std::optional<std::string>&) override
    {
        return std::make_unique<FakeTone>();
    }

    int blankFrames = 0;
};

class ScreenCaptureSessionTest : public ::testing::Test {
protected:
    static CaptureSource source(const std::string& id, double width, double height)
    {
        return {.id = id, .kind = CaptureSource::SourceKind::window, .windowId = "1", .appName = "App",
                .title = "App", .region = {10, 20, width, height}};
    }

    vantile::testing::TemporaryDirectory directory;
    FakePlatform platform;
};

TEST_F(ScreenCaptureSessionTest, NoFramesStillLeavesAPlayablePlaceholderOfAtLeastOneSecond)
{
    platform.blankFrames = 1 << 30;
    ScreenRecorder recorder(platform);
    recorder.start(source("window-1", 100, 100), directory / "raw.mov", {});
    const RecordingResult result = recorder.stop();
    EXPECT_DOUBLE_EQ(result.duration, 1.0);
    // Below the minimum size: scaled up until both sides reach it.
    EXPECT_EQ(result.videoInfo, (VideoInfo{"raw.mov", 640, 640, 30}));
    const auto video = streamOfType(probe(directory / "raw.mov"), "video");
    ASSERT_FALSE(video.is_null());
    EXPECT_EQ(video["width"], 640);
    EXPECT_GE(std::stod(video["duration"].get<std::string>()), 0.95);
}

TEST_F(ScreenCaptureSessionTest, AudioBeforeTheFirstFrameIsDroppedAndTracksShareTimeZero)
{
    platform.blankFrames = 15;  // about half a second without a picture
    ScreenRecorder recorder(platform);
    recorder.start(source("window-1", 640, 360), directory / "raw.mov",
                   {AudioCaptureMode::systemAndMicrophone, std::nullopt});
    // Two seconds of pictures after the blank start.
    for (int wait = 0; wait < 500 && recorder.statistics().encodedFrames < 60; ++wait) std::this_thread::sleep_for(10ms);
    recorder.stop();
    const auto probed = probe(directory / "raw.mov");
    const auto video = streamOfType(probed, "video");
    ASSERT_FALSE(video.is_null());
    for (int track = 0; track < 2; ++track) {
        const auto audio = streamOfType(probed, "audio", track);
        ASSERT_FALSE(audio.is_null()) << "track " << track;
        EXPECT_EQ(audio["codec_name"], "aac");
        EXPECT_EQ(audio["sample_rate"], "48000");
        EXPECT_EQ(audio["channels"], 2);
        EXPECT_NEAR(std::stod(audio["start_time"].get<std::string>()), 0.0, 0.03);
        // Had the early half second been kept, the audio would run that much longer.
        EXPECT_NEAR(std::stod(audio["duration"].get<std::string>()), std::stod(video["duration"].get<std::string>()),
                    0.2);
        const auto samples = vantile::testing::audioSamples(directory / "raw.mov", track);
        ASSERT_GT(samples.size(), 48000u);
        double energy = 0;
        for (std::size_t index = 4800; index < 28800; ++index) energy += samples[index] * samples[index];
        EXPECT_NEAR(std::sqrt(energy / 24000), 0.5 / std::sqrt(2), 0.05);  // the tone's RMS, no gaps
    }
}

}  // namespace
}  // namespace vantile
