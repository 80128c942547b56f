#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <thread>

#include "platform/DispatchQueue.h"
#include "platform/NSRunLoop.h"
#include "platform/NSThread.h"

namespace zerva {
namespace {

TEST(DispatchQueue, SerialQueueRunsOneBlockAtATimeInOrder) {
  auto queue = dispatch_queue_create("com.zerva.test.serial", DISPATCH_QUEUE_SERIAL);
  std::vector<int> order;  // touched only by the queue's blocks: serial execution makes it safe
  std::atomic<int> inside{0};
  std::atomic<int> maxInside{0};
  for (int i = 0; i < 200; ++i) {
    dispatch_async(queue, [&, i] {
      const int now = ++inside;
      maxInside = std::max(maxInside.load(), now);
      std::this_thread::yield();
      order.push_back(i);
      --inside;
    });
  }
  queue->drain();
  ASSERT_EQ(order.size(), 200u);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(order[static_cast<size_t>(i)], i);
  EXPECT_EQ(maxInside.load(), 1);
  EXPECT_EQ(queue->label(), "com.zerva.test.serial");
}

TEST(DispatchQueue, ConcurrentQueueOverlapsBlocks) {
  auto queue = dispatch_queue_create("com.zerva.test.concurrent", DISPATCH_QUEUE_CONCURRENT);
  // Two blocks that each wait for the other: they finish only if they run at the same time.
  std::mutex m;
  std::condition_variable cv;
  int arrived = 0;
  std::atomic<int> finished{0};
  for (int i = 0; i < 2; ++i) {
    dispatch_async(queue, [&] {
      std::unique_lock lock(m);
      ++arrived;
      cv.notify_all();
      if (cv.wait_for(lock, std::chrono::seconds(10), [&] { return arrived == 2; })) ++finished;
    });
  }
  queue->drain();
  EXPECT_EQ(finished.load(), 2);
}

TEST(DispatchQueue, DrainWaitsForBlocksQueuedByBlocksAndSyncReturnsAfterTheBlock) {
  auto queue = dispatch_queue_create("com.zerva.test.chain", DISPATCH_QUEUE_SERIAL);
  std::atomic<int> steps{0};
  std::function<void()> step = [&] {
    if (++steps < 50) dispatch_async(queue, step);
  };
  dispatch_async(queue, step);
  queue->drain();
  EXPECT_EQ(steps.load(), 50);

  int value = 0;
  dispatch_sync(queue, [&] { value = 7; });
  EXPECT_EQ(value, 7);
  // sync from the queue itself runs at once instead of waiting for itself forever
  dispatch_sync(queue, [&] { dispatch_sync(queue, [&] { value = 8; }); });
  EXPECT_EQ(value, 8);
  EXPECT_FALSE(queue->isCurrent());
}

TEST(DispatchQueue, MainQueueRunsOnTheMainRunLoop) {
  NSRunLoop::mainRunLoop().runPending();  // this thread is the main thread from here on
  std::atomic<bool> ranOnMain{false};
  std::thread other([&] { dispatch_async(dispatch_get_main_queue(), [&] { ranOnMain = NSThread::isMainThread(); }); });
  other.join();
  dispatch_get_main_queue()->drain();
  EXPECT_TRUE(ranOnMain.load());
}

TEST(DispatchQueue, QueueReleasedByItsOwnBlockFinishesCleanly) {
  auto holder = dispatch_queue_create("com.zerva.test.self", DISPATCH_QUEUE_SERIAL);
  std::atomic<bool> submitted{false};
  std::atomic<bool> done{false};
  auto* raw = holder.get();
  raw->async([&] {
    while (!submitted) std::this_thread::yield();
    holder.reset();  // the last reference goes away inside the queue's own block
    done = true;
  });
  submitted = true;
  while (!done) std::this_thread::yield();
  SUCCEED();
}

// A function that must run on the main thread or on a queue checks it on entry; in debug builds
// the wrong thread aborts with the function's name and the thread it needs.
TEST(ThreadChecksDeathTest, TheWrongThreadAbortsNamingTheFunctionAndTheThreadItNeeds) {
#ifdef NDEBUG
  GTEST_SKIP() << "thread checks are compiled into debug builds only";
#else
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // Binds the main run loop to this thread, in each death test's fresh child process too.
  ASSERT_TRUE(NSThread::isMainThread());
  auto queue = dispatch_queue_create("com.zerva.test.frames", DISPATCH_QUEUE_SERIAL);
  EXPECT_DEATH(queue->assertCurrent("appendFrame"),
               "appendFrame must run on the queue \"com.zerva.test.frames\"");
  EXPECT_DEATH(std::thread([] { NSThread::assertMainThread("drawFrame"); }).join(),
               "drawFrame must run on the main thread");
  auto other = dispatch_queue_create("com.zerva.test.other", DISPATCH_QUEUE_SERIAL);
  EXPECT_DEATH(other->sync([&] { queue->assertCurrent("appendFrame"); }), "appendFrame must run on the queue");

  // On the right thread nothing happens.
  queue->sync([&] { queue->assertCurrent("appendFrame"); });
  NSThread::assertMainThread("drawFrame");
#endif
}

TEST(DispatchOnce, RunsExactlyOnceAcrossThreads) {
  dispatch_once_t once;
  std::atomic<int> calls{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([&] { dispatch_once(once, [&] { ++calls; }); });
  for (auto& t : threads) t.join();
  EXPECT_EQ(calls.load(), 1);
}

}  // namespace
}  // namespace zerva
