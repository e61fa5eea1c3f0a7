#include "capture/wayland/PointerTracker.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <thread>

namespace vantile {
namespace {

using namespace std::chrono_literals;

bool readable(int fd)
{
    pollfd descriptor{fd, POLLIN, 0};
    return poll(&descriptor, 1, 0) == 1 && (descriptor.revents & POLLIN);
}

TEST(PointerTrackerTest, PositionAtATimeIsTheLastUpdateAtOrBeforeIt)
{
    PointerTracker tracker;
    const auto epoch = std::chrono::steady_clock::now();
    EXPECT_FALSE(tracker.latest());
    EXPECT_FALSE(tracker.positionAt(epoch));

    tracker.update({10, 20}, epoch + 100ms);
    tracker.update({30, 40}, epoch + 200ms);
    tracker.update({50, 60}, epoch + 300ms);
    tracker.update({5, 6}, epoch + 150ms);  // late arrival lands in time order
    EXPECT_EQ(tracker.latest(), (CodablePoint{50, 60}));
    EXPECT_EQ(tracker.positionAt(epoch), (CodablePoint{10, 20}));  // before everything: the earliest
    EXPECT_EQ(tracker.positionAt(epoch + 170ms), (CodablePoint{5, 6}));
    EXPECT_EQ(tracker.positionAt(epoch + 299ms), (CodablePoint{30, 40}));
    EXPECT_EQ(tracker.positionAt(epoch + 300ms), (CodablePoint{50, 60}));

    // A repeated position moves nothing but says the pointer was known to rest until then.
    EXPECT_EQ(tracker.latestTime(), epoch + 300ms);
    tracker.update({50, 60}, epoch + 400ms);
    EXPECT_EQ(tracker.latestTime(), epoch + 400ms);
    tracker.update({1, 2}, epoch + 350ms);
    EXPECT_EQ(tracker.latestTime(), epoch + 400ms);
    EXPECT_EQ(tracker.positionAt(epoch + 360ms), (CodablePoint{1, 2}));
}

TEST(PointerTrackerTest, MovesQueueInOrderAndTheDescriptorIsReadableExactlyWhileTheyWait)
{
    PointerTracker tracker;
    const auto epoch = std::chrono::steady_clock::now();
    EXPECT_FALSE(readable(tracker.fileDescriptor()));
    tracker.update({1, 1}, epoch + 10ms);
    tracker.update({1, 1}, epoch + 20ms);  // same position: not a move
    tracker.update({2, 1}, epoch + 30ms);
    EXPECT_TRUE(readable(tracker.fileDescriptor()));
    EXPECT_EQ(tracker.takeMoves(), (std::vector<PointerTracker::Move>{{{1, 1}, epoch + 10ms}, {{2, 1}, epoch + 30ms}}));
    EXPECT_FALSE(readable(tracker.fileDescriptor()));
    EXPECT_TRUE(tracker.takeMoves().empty());

    tracker.update({3, 1}, epoch + 40ms);
    tracker.discardMoves();
    EXPECT_FALSE(readable(tracker.fileDescriptor()));
    EXPECT_TRUE(tracker.takeMoves().empty());
    EXPECT_EQ(tracker.latest(), (CodablePoint{3, 1}));  // discarding moves keeps the position
}

TEST(PointerTrackerTest, UntakenMovesAndOldHistoryStayBounded)
{
    PointerTracker tracker;
    const auto epoch = std::chrono::steady_clock::now();
    const std::size_t count = PointerTracker::maximumPendingMoves + 10;
    for (std::size_t index = 0; index < count; ++index)
        tracker.update({double(index), 0}, epoch + index * 10ms);
    const auto moves = tracker.takeMoves();
    ASSERT_EQ(moves.size(), PointerTracker::maximumPendingMoves);
    EXPECT_EQ(moves.front().position.x, 10);  // the oldest were dropped
    EXPECT_EQ(moves.back().position.x, double(count - 1));
    // Only the last few seconds stay answerable; older times get the earliest position kept.
    const double earliestKept = double(count - 1) - 500;
    EXPECT_EQ(tracker.positionAt(epoch), (CodablePoint{earliestKept, 0}));
}

TEST(PointerTrackerTest, UpdatesFromAnotherThreadAreAllSeenOnce)
{
    PointerTracker tracker;
    const auto epoch = std::chrono::steady_clock::now();
    std::thread producer([&] {
        for (int index = 1; index <= 2000; ++index) tracker.update({double(index), 0}, epoch + index * 1ms);
    });
    std::vector<PointerTracker::Move> seen;
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (seen.size() < 2000 && std::chrono::steady_clock::now() < deadline) {
        pollfd descriptor{tracker.fileDescriptor(), POLLIN, 0};
        poll(&descriptor, 1, 100);
        for (const auto& move : tracker.takeMoves()) seen.push_back(move);
    }
    producer.join();
    ASSERT_EQ(seen.size(), 2000u);
    for (std::size_t index = 0; index < seen.size(); ++index) EXPECT_EQ(seen[index].position.x, double(index + 1));
}

}  // namespace
}  // namespace vantile
