#include "render/TimelineStripReader.h"

#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::quoteForShell;
using testing::runShell;

// A 4 s movie that brightens steadily, with two audio tracks: silence broken by a loud burst
// from 1.5 s to 2.5 s, and a quiet hum all along.
std::filesystem::path writeToneMovie(const std::filesystem::path& directory)
{
    const auto movie = directory / "raw.mov";
    const auto result = runShell(
        "ffmpeg -v error -y -f lavfi -i 'color=c=black:s=64x36:r=30:d=4,format=yuv420p,geq=lum=min(255\\,T*60):cb=128:cr=128' "
        "-f lavfi -i 'aevalsrc=if(between(t\\,1.5\\,2.5)\\,0.8*sin(2*PI*440*t)\\,0):s=48000:d=4' "
        "-f lavfi -i 'aevalsrc=0.3*sin(2*PI*220*t):s=48000:d=4' "
        "-map 0 -map 1 -map 2 -c:v libx264 -g 30 -pix_fmt yuv420p -c:a aac -b:a 128k " +
        quoteForShell(movie.string()));
    EXPECT_EQ(result.exitCode, 0) << result.standardError;
    return movie;
}

double meanLightness(const QImage& image)
{
    double sum = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) sum += qGray(image.pixel(x, y));
    return sum / (image.width() * image.height());
}

TEST(TimelineStripReaderTest, ThumbnailsRunInTimeOrderAndWaveformsFollowEachTrack)
{
    testing::TemporaryDirectory directory;
    const auto movie = writeToneMovie(directory.path());
    TimelineStripRequest request;
    request.duration = 4;
    request.thumbnailCount = 8;
    request.thumbnailHeight = 18;
    request.peaksPerTrack = 40;
    const TimelineStrip strip = readTimelineStrip(movie, request);

    // Eight pictures at the middles of eight half-second stretches, each brighter than the one before.
    ASSERT_EQ(strip.thumbnails.size(), 8U);
    ASSERT_EQ(strip.thumbnailTimes.size(), 8U);
    double previous = -1000;
    for (std::size_t index = 0; index < 8; ++index) {
        EXPECT_DOUBLE_EQ(strip.thumbnailTimes[index], 0.25 + 0.5 * static_cast<double>(index));
        ASSERT_FALSE(strip.thumbnails[index].isNull()) << index;
        EXPECT_EQ(strip.thumbnails[index].height(), 18);
        const double lightness = meanLightness(strip.thumbnails[index]);
        // 60 levels a second: 30 between neighbours.
        EXPECT_GT(lightness, previous + 15) << "picture " << index << " is out of order";
        previous = lightness;
    }

    // One waveform per audio track, in stream order.
    ASSERT_EQ(strip.waveforms.size(), 2U);
    const auto& burst = strip.waveforms[0];
    const auto& hum = strip.waveforms[1];
    ASSERT_EQ(burst.size(), 40U);
    ASSERT_EQ(hum.size(), 40U);
    for (std::size_t bucket = 0; bucket < 40; ++bucket) {
        const double start = 0.1 * static_cast<double>(bucket);
        // Away from the burst's edges, where the codec's filters smear it a little.
        if (start >= 1.6 && start < 2.4) {
            EXPECT_GT(burst[bucket], 0.6F) << "at " << start;
        }
        if (start < 1.3 || (start >= 2.7 && start < 3.9)) {
            EXPECT_LT(burst[bucket], 0.05F) << "at " << start;
        }
        if (start >= 0.1 && start < 3.9) {
            EXPECT_NEAR(hum[bucket], 0.3, 0.08) << "at " << start;
        }
    }
}

TEST(TimelineStripReaderTest, AMissingOrBrokenMovieGivesAnEmptyStrip)
{
    testing::TemporaryDirectory directory;
    TimelineStripRequest request;
    request.duration = 4;
    EXPECT_EQ(readTimelineStrip(directory / "raw.mov", request), TimelineStrip{});

    testing::writeText(directory / "broken.mov", "not a movie at all");
    const TimelineStrip broken = readTimelineStrip(directory / "broken.mov", request);
    EXPECT_TRUE(broken.waveforms.empty());
    for (const QImage& picture : broken.thumbnails) EXPECT_TRUE(picture.isNull());
}

}  // namespace
}  // namespace vantile
