#include "render/TimelineStripCache.h"

#include "RenderTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>

namespace vantile {
namespace {

namespace fs = std::filesystem;
using test::TemporaryDirectory;

// A short movie whose picture darkens frame by frame, with one tone track.
void writeMovie(const fs::path& path, int shade)
{
    test::writeRawMovie(path, 96, 54, 1.5, 1, [shade](QImage& canvas, int index) {
        canvas.fill(QColor(shade, 255 - 4 * index, 80));
    });
}

TimelineStripRequest smallRequest()
{
    TimelineStripRequest request;
    request.duration = 1.5;
    request.thumbnailCount = 3;
    request.thumbnailHeight = 20;
    request.peaksPerTrack = 30;
    return request;
}

// A movie and its decoded strip, in a folder of their own with the cache's folder beside.
struct DecodedMovie {
    TemporaryDirectory directory;
    fs::path movie = [this] {
        writeMovie(directory / "raw.mov", 40);
        return directory / "raw.mov";
    }();
    TimelineStripRequest request = smallRequest();
    TimelineStrip strip = readTimelineStrip(movie, request);
};

std::size_t entryCount(const fs::path& directory)
{
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(directory)) count += entry.is_regular_file() ? 1 : 0;
    return count;
}

TEST(TimelineStripCacheTest, AStoredStripComesBackEqualToTheDecodedOne)
{
    DecodedMovie decoded;
    auto& [directory, movie, request, strip] = decoded;
    ASSERT_EQ(strip.thumbnails.size(), 3U);
    ASSERT_FALSE(strip.thumbnails[2].isNull());
    ASSERT_EQ(strip.waveforms.size(), 1U);

    const TimelineStripCache cache(directory / "cache" / "strips");
    EXPECT_FALSE(cache.load(movie, request));
    ASSERT_TRUE(cache.store(movie, request, strip));
    // Another cache over the same folder, as the next session opens it.
    EXPECT_EQ(TimelineStripCache(directory / "cache" / "strips").load(movie, request), strip);

    // A picture that could not be decoded stays missing rather than turning into an empty one.
    strip.thumbnails[1] = QImage();
    ASSERT_TRUE(cache.store(movie, request, strip));
    EXPECT_EQ(cache.load(movie, request), strip);
    EXPECT_EQ(entryCount(directory / "cache" / "strips"), 1U);
}

TEST(TimelineStripCacheTest, ATouchedOrReplacedMovieMissesAndItsOldEntryGoes)
{
    DecodedMovie decoded;
    const auto& [directory, movie, request, strip] = decoded;
    const TimelineStripCache cache(directory / "strips");
    ASSERT_TRUE(cache.store(movie, request, strip));

    // Touched: same bytes, a later change time.
    const auto written = fs::last_write_time(movie);
    fs::last_write_time(movie, written + std::chrono::seconds(2));
    EXPECT_FALSE(cache.load(movie, request));
    fs::last_write_time(movie, written);
    EXPECT_EQ(cache.load(movie, request), strip);

    // Replaced by another recording under the same name and with the same change time.
    const auto size = fs::file_size(movie);
    writeMovie(directory / "other.mov", 200);
    fs::rename(directory / "other.mov", movie);
    fs::last_write_time(movie, written);
    ASSERT_NE(fs::file_size(movie), size);
    EXPECT_FALSE(cache.load(movie, request)) << "the replaced movie read the old movie's strip";
    const TimelineStrip replaced = readTimelineStrip(movie, request);
    ASSERT_NE(replaced, strip);

    // Storing the new state drops the old one's entry, so the folder does not grow with every change.
    ASSERT_TRUE(cache.store(movie, request, replaced));
    EXPECT_EQ(cache.load(movie, request), replaced);
    EXPECT_EQ(entryCount(directory / "strips"), 1U);

    fs::remove(movie);
    EXPECT_FALSE(cache.load(movie, request));
    EXPECT_FALSE(cache.store(movie, request, replaced));
}

TEST(TimelineStripCacheTest, DamagedEntriesAreIgnoredAndRewritten)
{
    DecodedMovie decoded;
    const auto& [directory, movie, request, strip] = decoded;
    const TimelineStripCache cache(directory / "strips");
    ASSERT_TRUE(cache.store(movie, request, strip));
    const fs::path entry = *cache.entryOf(movie, request);
    const std::string whole = test::readText(entry);
    ASSERT_GT(whole.size(), 200U);

    const auto damaged = [&](const std::string& contents) {
        testing::writeText(entry, contents);
        return cache.load(movie, request);
    };
    EXPECT_FALSE(damaged(""));
    EXPECT_FALSE(damaged(whole.substr(0, whole.size() / 2))) << "cut in the middle";
    EXPECT_FALSE(damaged(whole.substr(0, whole.size() - 1))) << "last byte missing";
    EXPECT_FALSE(damaged(whole + "x")) << "a byte too many";
    for (const std::size_t at : {std::size_t{0}, whole.size() / 3, whole.size() / 2, whole.size() - 40}) {
        std::string flipped = whole;
        flipped[at] = static_cast<char>(flipped[at] ^ 0x10);
        EXPECT_FALSE(damaged(flipped)) << "byte " << at << " changed";
    }

    // The next store writes a whole entry over the damaged one.
    ASSERT_TRUE(cache.store(movie, request, strip));
    EXPECT_EQ(cache.load(movie, request), strip);
    EXPECT_EQ(test::readText(entry), whole);
}

TEST(TimelineStripCacheTest, DifferentRequestsKeepEntriesOfTheirOwn)
{
    TemporaryDirectory directory;
    const fs::path movie = directory / "raw.mov";
    writeMovie(movie, 40);
    const TimelineStripCache cache(directory / "strips");
    const TimelineStripRequest request = smallRequest();
    TimelineStripRequest morePictures = request;
    morePictures.thumbnailCount = 5;
    TimelineStripRequest taller = request;
    taller.thumbnailHeight = 30;
    TimelineStripRequest finerPeaks = request;
    finerPeaks.peaksPerTrack = 31;
    TimelineStripRequest shorter = request;
    shorter.duration = 1.4999999;

    std::vector<TimelineStrip> strips;
    for (const auto& each : {request, morePictures, taller, finerPeaks, shorter}) {
        strips.push_back(readTimelineStrip(movie, each));
        ASSERT_TRUE(cache.store(movie, each, strips.back()));
    }
    EXPECT_EQ(cache.load(movie, request), strips[0]);
    EXPECT_EQ(cache.load(movie, morePictures), strips[1]);
    EXPECT_EQ(cache.load(movie, taller), strips[2]);
    EXPECT_EQ(cache.load(movie, finerPeaks), strips[3]);
    EXPECT_EQ(cache.load(movie, shorter), strips[4]);

    // Nor do two movies of one size and time in different folders.
    fs::create_directory(directory / "copy");
    fs::copy_file(movie, directory / "copy" / "raw.mov");
    fs::last_write_time(directory / "copy" / "raw.mov", fs::last_write_time(movie));
    EXPECT_FALSE(cache.load(directory / "copy" / "raw.mov", request));
}

}  // namespace
}  // namespace vantile
