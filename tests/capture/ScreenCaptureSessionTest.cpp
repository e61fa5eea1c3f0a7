#include "MediaProbe.h"

#include "capture/RecordingError.h"
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

// Paints a solid colour that changes every frame; can stay blank for a while or vanish.
class FakeGrabber : public ScreenGrabber {
public:
    FakeGrabber(int width, int height, int blankFrames, int vanishAfter)
        : width_(width), height_(height), blankFrames_(blankFrames), vanishAfter_(vanishAfter),
          pixels_(static_cast<std::size_t>(width) * height * 4)
    {
    }
    GrabbedImage grab() override
    {
        ++grabs_;
        if (vanishAfter_ >= 0 && grabs_ > vanishAfter_) throw RecordingError::sourceUnavailable();
        if (grabs_ <= blankFrames_) return {};
        for (std::size_t index = 0; index < pixels_.size(); index += 4) {
            pixels_[index] = 200;                                          // blue
            pixels_[index + 1] = static_cast<std::uint8_t>(grabs_ * 3);    // green drifts
            pixels_[index + 2] = 30;                                        // red
        }
        return {pixels_.data(), width_, height_, width_ * 4};
    }

private:
    int width_, height_, blankFrames_, vanishAfter_;
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
        if (source.id == "window-gone") throw RecordingError::sourceUnavailable();
        return std::make_unique<FakeGrabber>(int(source.region.width), int(source.region.height), blankFrames,
                                             vanishAfter);
    }
    std::unique_ptr<AudioSource> openAudio(AudioSourceKind, const std::optional<std::string>&) override
    {
        return std::make_unique<FakeTone>();
    }

    int blankFrames = 0;
    int vanishAfter = -1;
};

class ScreenCaptureSessionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        directory = std::filesystem::temp_directory_path() /
                    ("vantile-session-" + std::to_string(::getpid()) + "-" +
                     ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(directory);
    }
    void TearDown() override { std::filesystem::remove_all(directory); }

    static CaptureSource source(const std::string& id, double width, double height)
    {
        return {.id = id, .kind = CaptureSource::SourceKind::window, .windowId = "1", .appName = "App",
                .title = "App", .region = {10, 20, width, height}};
    }

    std::filesystem::path directory;
    FakePlatform platform;
};

TEST_F(ScreenCaptureSessionTest, RecordsThirtyFramesASecondAtTheRecordingSize)
{
    ScreenRecorder recorder(platform);
    recorder.start(source("window-1", 800, 450), directory / "raw.mov", {});
    std::this_thread::sleep_for(2s);
    const RecordingResult result = recorder.stop();

    EXPECT_EQ(result.videoInfo, (VideoInfo{"raw.mov", 800, 450, 30}));
    EXPECT_EQ(result.rawVideoURL, directory / "raw.mov");
    EXPECT_GE(result.duration, 2.0);
    EXPECT_LT(result.duration, 3.5);  // wall time includes starting the encoder
    const auto probed = probe(directory / "raw.mov");
    const auto video = streamOfType(probed, "video");
    ASSERT_FALSE(video.is_null());
    EXPECT_EQ(video["codec_name"], "h264");
    EXPECT_EQ(video["width"], 800);
    EXPECT_EQ(video["height"], 450);
    EXPECT_EQ(video["r_frame_rate"], "30/1");
    const int frames = std::stoi(video["nb_read_frames"].get<std::string>());
    EXPECT_LE(frames, 61);
    EXPECT_GE(frames, 45);  // a loaded machine may drop a few
    EXPECT_EQ(recorder.statistics().encodedFrames, frames);
    EXPECT_TRUE(streamOfType(probed, "audio").is_null());
    EXPECT_THROW(recorder.stop(), RecordingError);
}

TEST_F(ScreenCaptureSessionTest, NoFramesStillLeavesAPlayablePlaceholderOfAtLeastOneSecond)
{
    platform.blankFrames = 1 << 30;
    ScreenRecorder recorder(platform);
    recorder.start(source("window-1", 100, 100), directory / "raw.mov", {});
    std::this_thread::sleep_for(400ms);
    const RecordingResult result = recorder.stop();
    EXPECT_DOUBLE_EQ(result.duration, 1.0);
    // Below the minimum size: scaled up until both sides reach it.
    EXPECT_EQ(result.videoInfo, (VideoInfo{"raw.mov", 640, 640, 30}));
    const auto video = streamOfType(probe(directory / "raw.mov"), "video");
    ASSERT_FALSE(video.is_null());
    EXPECT_EQ(video["width"], 640);
    EXPECT_GE(std::stod(video["duration"].get<std::string>()), 0.95);
}

TEST_F(ScreenCaptureSessionTest, ASourceThatVanishesEndsCaptureButKeepsWhatWasRecorded)
{
    platform.vanishAfter = 20;
    ScreenRecorder recorder(platform);
    recorder.start(source("window-1", 640, 360), directory / "raw.mov", {});
    for (int wait = 0; wait < 100 && !recorder.failure(); ++wait) std::this_thread::sleep_for(20ms);
    ASSERT_TRUE(recorder.failure());
    EXPECT_EQ(*recorder.failure(), "The selected capture source is no longer available.");
    recorder.stop();
    const auto video = streamOfType(probe(directory / "raw.mov"), "video");
    ASSERT_FALSE(video.is_null());
    EXPECT_EQ(std::stoi(video["nb_read_frames"].get<std::string>()), 20);
}

TEST_F(ScreenCaptureSessionTest, StartFailuresCarryTheirSentences)
{
    ScreenRecorder recorder(platform);
    EXPECT_THROW(
        {
            try {
                recorder.stop();
            } catch (const RecordingError& error) {
                EXPECT_EQ(error.kind(), RecordingError::Kind::notRecording);
                throw;
            }
        },
        RecordingError);
    try {
        recorder.start(source("window-gone", 640, 360), directory / "raw.mov", {});
        FAIL() << "a vanished window must not record";
    } catch (const RecordingError& error) {
        EXPECT_EQ(error.kind(), RecordingError::Kind::sourceUnavailable);
    }
    EXPECT_FALSE(recorder.isRecording());
    try {
        recorder.start(source("window-1", 640, 360), directory / "missing" / "raw.mov", {});
        FAIL() << "an unwritable movie must not record";
    } catch (const RecordingError& error) {
        EXPECT_EQ(error.kind(), RecordingError::Kind::writerSetupFailed);
    }
}

TEST_F(ScreenCaptureSessionTest, AudioBeforeTheFirstFrameIsDroppedAndTracksShareTimeZero)
{
    platform.blankFrames = 15;  // about half a second without a picture
    ScreenRecorder recorder(platform);
    recorder.start(source("window-1", 640, 360), directory / "raw.mov",
                   {AudioCaptureMode::systemAndMicrophone, std::nullopt});
    std::this_thread::sleep_for(2s);
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
