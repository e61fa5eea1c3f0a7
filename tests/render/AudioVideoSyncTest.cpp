#include "RenderTestSupport.h"

#include "render/ExportManager.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace vantile {
namespace {

// Flashes at known frames with tone bursts at the same moments: the system's 1000 Hz on the
// first track, the microphone's 600 Hz on the second.
constexpr int flashFrames[] = {15, 45, 75};
constexpr double systemTone = 1000;
constexpr double microphoneTone = 600;
constexpr double burstSeconds = 0.15;

// The flash whose tone burst sounds at `seconds`, or -1. The second flash sounds on the
// microphone's track, the others on the system's.
int flashAt(double seconds)
{
    for (int flash = 0; flash < 3; ++flash) {
        const double start = flashFrames[flash] / 30.0;
        if (seconds >= start && seconds < start + burstSeconds) return flash;
    }
    return -1;
}

// The frame indices (on the movie's clock) whose centre is bright, read back from the decoded movie.
std::vector<int> brightFrames(const std::filesystem::path& movie)
{
    const std::string gray = testing::commandOutput("ffmpeg -v error -i " + testing::quoted(movie) +
                                                    " -vf fps=30:start_time=0,scale=32:18 -pix_fmt gray -f rawvideo - 2>/dev/null");
    std::vector<int> frames;
    for (std::size_t index = 0; (index + 1) * 32 * 18 <= gray.size(); ++index) {
        if (static_cast<unsigned char>(gray[index * 32 * 18 + 9 * 32 + 16]) > 180) frames.push_back(int(index));
    }
    return frames;
}

TEST(AudioVideoSyncTest, EachFlashMeetsItsToneOnItsOwnTrackAfterExport)
{
    test::TemporaryDirectory directory;
    test::writeRawMovie(
        directory.path() / "raw.mov", 320, 180, 3.0, 2,
        [](QImage& image, int index) {
            const bool flash = std::find(std::begin(flashFrames), std::end(flashFrames), index) != std::end(flashFrames);
            image.fill(flash ? Qt::white : Qt::black);
        },
        [](int track, double seconds) {
            const int flash = flashAt(seconds);
            if (flash < 0 || (flash == 1) != (track == 1)) return 0.0F;
            const double frequency = track == 0 ? systemTone : microphoneTone;
            return static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * frequency * seconds));
        });
    RecordingProject project = test::makeProject(320, 180, 3.0);
    project.renderSettings.showCursor = false;
    project.renderSettings.showClickRipple = false;
    const auto output = ExportManager().exportMovie(test::makeJob(directory.path(), project, "export.mp4"));

    const std::vector<int> frames = brightFrames(output);
    ASSERT_EQ(frames.size(), 3u);
    const auto system = testing::audioSamples(output, 0);
    const auto microphone = testing::audioSamples(output, 1);
    // Each tone only on its own track.
    EXPECT_TRUE(test::toneOnsets(system, microphoneTone).empty());
    EXPECT_TRUE(test::toneOnsets(microphone, systemTone).empty());
    const std::vector<double> systemOnsets = test::toneOnsets(system, systemTone);
    const std::vector<double> microphoneOnsets = test::toneOnsets(microphone, microphoneTone);
    ASSERT_EQ(systemOnsets.size(), 2u);
    ASSERT_EQ(microphoneOnsets.size(), 1u);
    const double heard[] = {systemOnsets[0], microphoneOnsets[0], systemOnsets[1]};
    for (int flash = 0; flash < 3; ++flash) {
        // Within a frame, plus the 5 ms the onset search steps by.
        EXPECT_NEAR(heard[flash], frames[static_cast<std::size_t>(flash)] / 30.0, 1 / 30.0 + 0.005) << "flash " << flash;
    }
}

}  // namespace
}  // namespace vantile
