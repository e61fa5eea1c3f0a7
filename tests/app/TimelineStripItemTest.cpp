#include "SampleProject.h"
#include "TimelineStripItem.h"

#include "render/TimelineStripCache.h"
#include "support/TemporaryDirectory.h"

#include <QTest>

#include <gtest/gtest.h>

namespace vantile {
namespace {

namespace fs = std::filesystem;

// Points the user's cache into the test's own directory, and back where it was afterwards.
struct PrivateCacheFolder {
    QByteArray before = qgetenv("XDG_CACHE_HOME");
    explicit PrivateCacheFolder(const fs::path& home) { qputenv("XDG_CACHE_HOME", QByteArray::fromStdString(home.string())); }
    ~PrivateCacheFolder() { qputenv("XDG_CACHE_HOME", before); }
};

TEST(TimelineStripItemTest, AStripReadOnceIsDrawnAtOnceWhenTheProjectOpensAgain)
{
    testing::TemporaryDirectory directory;
    PrivateCacheFolder cacheFolder(directory / "cache");
    const RecordingProject project =
        SampleProjectWriter::write(directory / "project", {2, 320, 180, AudioCaptureMode::system});
    const fs::path movie = directory / "project" / "raw.mov";
    const QUrl movieUrl = QUrl::fromLocalFile(QString::fromStdString(movie.string()));

    TimelineStrip first;
    {
        TimelineStripItem item;
        item.setDuration(project.duration);
        item.setMovie(movieUrl);
        EXPECT_FALSE(item.isReady()) << "decoded on the main thread";
        ASSERT_TRUE(QTest::qWaitFor([&] { return item.isReady(); }, 30000));
        first = item.strip();
        ASSERT_EQ(first.thumbnails.size(), 16U);
        ASSERT_EQ(first.waveforms.size(), 1U);
    }
    TimelineStripRequest request;
    request.duration = project.duration;
    ASSERT_TRUE(TimelineStripCache(directory / "cache" / "vantile" / "strips").load(movie, request))
        << "the strip was not kept in the user's cache";

    // The next opening finds it before any work is queued.
    TimelineStripItem again;
    again.setDuration(project.duration);
    again.setMovie(movieUrl);
    EXPECT_TRUE(again.isReady());
    EXPECT_EQ(again.strip(), first);
}

}  // namespace
}  // namespace vantile
