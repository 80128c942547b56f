#include "platform/NSTimer.h"

#include <algorithm>

#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"

namespace zerva {

ZR_DEFINE_CLASS(NSTimer, NSObject, nullptr)

namespace {
// The platform's floor on timer intervals.
constexpr double kMinimumInterval = 0.0001;
}  // namespace

NSTimer::NSTimer(double interval, bool repeats, Block block)
    : interval_(std::max(interval, kMinimumInterval)),
      repeats_(repeats),
      block_(std::move(block)),
      fireDate_(CACurrentMediaTime() + std::max(interval, kMinimumInterval)) {}

std::shared_ptr<NSTimer> NSTimer::timerWithTimeInterval(double interval, bool repeats, Block block) {
  return std::make_shared<NSTimer>(interval, repeats, std::move(block));
}

std::shared_ptr<NSTimer> NSTimer::scheduledTimerWithTimeInterval(double interval, bool repeats, Block block) {
  auto timer = timerWithTimeInterval(interval, repeats, std::move(block));
  NSRunLoop::currentRunLoop().addSource(timer, NSDefaultRunLoopMode);
  return timer;
}

void NSTimer::fire(double scheduledTime) {
  if (!valid_) return;
  if (repeats_) {
    // Missed firings are skipped, not caught up.
    double next = scheduledTime + interval_;
    const double now = CACurrentMediaTime();
    while (next <= now) next += interval_;
    fireDate_ = next;
  } else {
    valid_ = false;
  }
  if (block_) block_(*this);
}

}  // namespace zerva
