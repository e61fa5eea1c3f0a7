#include "FakeServices.h"

#include "CameraThumbnailItem.h"
#include "DesktopCameraService.h"
#include "support/TestCameraDaemon.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::TestCameraDaemon;
using testing::waitFor;

TEST(CameraThumbnailItemTest, TheChosenCameraShowsMovingPicturesUntilNoneIsChosenOrTheItemIsInactive)
{
    TestCameraDaemon daemon;
    AppFixture app(std::chrono::milliseconds(1000), std::make_shared<DesktopCameraService>());
    CameraThumbnailItem thumbnail;
    thumbnail.setAppState(app.state.get());
    thumbnail.setCameraId("camera-test-camera");

    ASSERT_TRUE(waitFor([&] { return thumbnail.pictureCount() >= 1; }, 10000));
    const QImage first = thumbnail.picture();
    EXPECT_GT(first.width(), 0);
    EXPECT_GT(first.height(), 0);
    // The test camera's ball moves: a later picture differs, about ten of them a second.
    const int counted = thumbnail.pictureCount();
    ASSERT_TRUE(waitFor([&] { return thumbnail.picture() != first; }, 5000));
    QTest::qWait(1000);
    EXPECT_GE(thumbnail.pictureCount() - counted, 3);
    EXPECT_LE(thumbnail.pictureCount() - counted, 14);

    // 不录制摄像头 stops the stream and leaves no picture.
    thumbnail.setCameraId("");
    EXPECT_FALSE(thumbnail.isStreaming());
    EXPECT_TRUE(thumbnail.picture().isNull());
    const int stoppedAt = thumbnail.pictureCount();
    QTest::qWait(400);
    EXPECT_EQ(thumbnail.pictureCount(), stoppedAt);

    // Inactive (a recording starting) stops it too; active again streams again.
    thumbnail.setCameraId("camera-test-camera");
    thumbnail.setActive(false);
    QTest::qWait(600);
    EXPECT_FALSE(thumbnail.isStreaming());
    EXPECT_EQ(thumbnail.pictureCount(), stoppedAt);
    thumbnail.setActive(true);
    ASSERT_TRUE(waitFor([&] { return thumbnail.pictureCount() > stoppedAt; }, 10000));
}

}  // namespace
}  // namespace vantile
