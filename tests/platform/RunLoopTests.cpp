#include <gtest/gtest.h>

#include <thread>

#include "platform/CADisplayLink.h"
#include "platform/NSRunLoop.h"
#include "platform/NSThread.h"
#include "platform/NSTimer.h"
#include "platform/ProcessClock.h"
#include "platform/UIScreen.h"

namespace zerva {
namespace {

TEST(DisplayLink, AskingForFiveHertzTicksEveryPointTwoSecondsUntilInvalidated) {
  ScopedManualClock clock;
  NSRunLoop& loop = NSRunLoop::currentRunLoop();
  std::vector<double> ticks;
  std::vector<double> clockAtTick;
  auto link = CADisplayLink::displayLinkWithAction([&](CADisplayLink& l) {
    ticks.push_back(l.timestamp());
    clockAtTick.push_back(CACurrentMediaTime());
  });
  link->setPreferredFrameRateRange(CAFrameRateRangeMake(2, 10, 5));
  link->addToRunLoop(loop, NSRunLoopCommonModes);
  loop.runForTimeInterval(2.0);

  ASSERT_EQ(ticks.size(), 10u);
  for (size_t i = 0; i < ticks.size(); ++i) {
    EXPECT_EQ(ticks[i], clockAtTick[i]);  // the clock stands exactly at the tick
    if (i > 0) {
      EXPECT_NEAR(ticks[i] - ticks[i - 1], 0.2, 1e-9);
    }
  }
  link->invalidate();
  loop.runForTimeInterval(2.0);
  EXPECT_EQ(ticks.size(), 10u);
  EXPECT_EQ(loop.sourceCount(), 0u);
}

TEST(DisplayLink, RateChoicesFollowTheDisplayAndTheRange) {
  auto link = CADisplayLink::displayLinkWithAction(nullptr);
  EXPECT_EQ(link->refreshesPerTick(), 1);  // no preference: every refresh, 60 Hz
  link->setPreferredFramesPerSecond(10);
  EXPECT_EQ(link->refreshesPerTick(), 6);
  link->setPreferredFrameRateRange(CAFrameRateRangeMake(2, 10, 30));  // preferred above the maximum
  EXPECT_EQ(link->refreshesPerTick(), 6);
  link->setPreferredFrameRateRange(CAFrameRateRangeMake(2, 10, 1));  // below the minimum
  EXPECT_EQ(link->refreshesPerTick(), 30);
}

struct Counter {
  int ticks = 0;
  void tick() { ++ticks; }
};

TEST(DisplayLink, TargetAndSelectorKeepTheTargetUntilInvalidate) {
  ScopedManualClock clock;
  auto target = std::make_shared<Counter>();
  std::weak_ptr<Counter> weakTarget = target;
  auto link = UIScreen::mainScreen()->displayLinkWithTarget(target, &Counter::tick);
  link->addToRunLoop(NSRunLoop::currentRunLoop(), NSRunLoopCommonModes);
  target.reset();
  NSRunLoop::currentRunLoop().runForTimeInterval(0.1);
  ASSERT_FALSE(weakTarget.expired());
  EXPECT_EQ(weakTarget.lock()->ticks, 6);  // 60 Hz for 0.1 s
  link->invalidate();
  EXPECT_TRUE(weakTarget.expired());
}

TEST(RunLoop, TimersFireAtTheirTimesAndModesGateSources) {
  ScopedManualClock clock;
  NSRunLoop& loop = NSRunLoop::currentRunLoop();
  const double start = CACurrentMediaTime();
  std::vector<double> fired;
  auto repeating = NSTimer::scheduledTimerWithTimeInterval(0.5, true, [&](NSTimer&) { fired.push_back(CACurrentMediaTime() - start); });
  auto once = NSTimer::scheduledTimerWithTimeInterval(0.7, false, [&](NSTimer&) { fired.push_back(-1); });
  loop.runForTimeInterval(1.6);
  EXPECT_EQ(fired, (std::vector<double>{0.5, -1, 1.0, 1.5}));
  EXPECT_FALSE(once->isValid());

  // In tracking mode only common-mode sources fire: the default-mode timer waits.
  fired.clear();
  int commonTicks = 0;
  auto link = CADisplayLink::displayLinkWithAction([&](CADisplayLink&) { ++commonTicks; });
  link->setPreferredFramesPerSecond(10);
  link->addToRunLoop(loop, NSRunLoopCommonModes);
  loop.runMode(UITrackingRunLoopMode, CACurrentMediaTime() + 1.0);
  EXPECT_TRUE(fired.empty());
  EXPECT_EQ(commonTicks, 10);
  repeating->invalidate();
  link->invalidate();
}

TEST(RunLoop, BlocksPostedFromOtherThreadsRunInOrderOnTheLoopThread) {
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  std::vector<int> order;
  std::vector<bool> onMain;
  std::thread poster([&] {
    for (int i = 0; i < 5; ++i) {
      loop.performBlock([&, i] {
        order.push_back(i);
        onMain.push_back(NSThread::isMainThread());
      });
    }
  });
  poster.join();
  ASSERT_TRUE(loop.runUntil([&] { return order.size() == 5; }, 5.0));
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
  EXPECT_EQ(onMain, std::vector<bool>(5, true));
}

TEST(RunLoop, ManualClockSleepAdvancesTimeWithoutWaiting) {
  ScopedManualClock clock;
  const double before = CACurrentMediaTime();
  for (int i = 0; i < 100; ++i) NSThread::sleepForTimeInterval(0.1);
  EXPECT_NEAR(CACurrentMediaTime() - before, 10.0, 1e-9);
}

}  // namespace
}  // namespace zerva
