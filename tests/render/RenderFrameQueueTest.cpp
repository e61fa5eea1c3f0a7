#include "render/RenderError.h"
#include "render/RenderFrameQueue.h"

#include <gtest/gtest.h>

#include <thread>

namespace vantile {
namespace {

TEST(RenderFrameQueueTest, HandsOverInOrderUnderBackPressure)
{
    RenderFrameQueue<int> queue(2);
    std::thread producer([&] {
        for (int i = 0; i < 200; ++i) queue.enqueue(i);
        queue.finish();
    });
    std::vector<int> received;
    while (const auto value = queue.dequeue()) received.push_back(*value);
    producer.join();
    ASSERT_EQ(received.size(), 200U);
    for (int i = 0; i < 200; ++i) EXPECT_EQ(received[static_cast<std::size_t>(i)], i);
    EXPECT_FALSE(queue.dequeue().has_value());  // finished and drained stays empty
}

TEST(RenderFrameQueueTest, FirstErrorWinsAndIsThrownEvenWithFramesLeft)
{
    RenderFrameQueue<int> queue(4);
    queue.enqueue(1);
    queue.enqueue(2);
    queue.fail(std::make_exception_ptr(RenderError::pixelBufferCreationFailed()));
    queue.fail(std::make_exception_ptr(RenderError::writerFailed()));
    queue.enqueue(3);  // dropped silently
    for (int attempt = 0; attempt < 2; ++attempt) {
        try {
            queue.dequeue();
            FAIL() << "expected the stored error";
        } catch (const RenderError& error) {
            EXPECT_EQ(error.kind(), RenderError::Kind::pixelBufferCreationFailed);
        }
    }
    EXPECT_TRUE(queue.isClosed());
}

TEST(RenderFrameQueueTest, FailingReleasesABlockedProducer)
{
    RenderFrameQueue<int> queue(1);
    queue.enqueue(0);
    std::thread producer([&] { queue.enqueue(1); });  // blocks: the queue is full
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    queue.fail(std::make_exception_ptr(RenderError::cancelled()));
    producer.join();
    EXPECT_THROW(queue.dequeue(), RenderError);
}

}  // namespace
}  // namespace vantile
