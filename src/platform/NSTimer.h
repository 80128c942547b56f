#pragma once
// A timer that fires a block on a run loop, once or repeatedly.
//
// Threads: the block runs on the thread of the run loop the timer is added to; invalidate() and
// the queries may be called from any thread. Ownership: the run loop keeps a scheduled timer
// (and its block) alive until it is invalidated or has fired for the last time.

#include <atomic>
#include <functional>
#include <memory>

#include "platform/NSObject.h"
#include "platform/NSRunLoopSource.h"

namespace zerva {

class NSRunLoop;

class NSTimer : public NSObject, public NSRunLoopSource {
  ZR_DECLARE_CLASS(NSTimer)
 public:
  using Block = std::function<void(NSTimer&)>;

  /// A timer scheduled on the current run loop in the default mode.
  static std::shared_ptr<NSTimer> scheduledTimerWithTimeInterval(double interval, bool repeats, Block block);
  /// A timer that fires once it is added to a run loop.
  static std::shared_ptr<NSTimer> timerWithTimeInterval(double interval, bool repeats, Block block);

  NSTimer(double interval, bool repeats, Block block);

  void invalidate() { valid_ = false; }
  bool isValid() const override { return valid_; }
  double timeInterval() const { return interval_; }
  /// Process-clock seconds of the next firing.
  double fireDate() const { return fireDate_.load(); }
  double nextFireTime() const override { return fireDate(); }
  void fire(double scheduledTime) override;

 private:
  double interval_;
  bool repeats_;
  Block block_;
  std::atomic<bool> valid_{true};
  std::atomic<double> fireDate_;
};

}  // namespace zerva
