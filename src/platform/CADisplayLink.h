#pragma once
// A timer synchronised with the display's refresh (60 Hz). Ticks fall on the display's refresh
// grid (multiples of 1/60 s on the process clock); a preferred rate picks every n-th refresh, the
// n that comes closest to the rate within the allowed range.
//
// Threads: a link ticks on the thread of the run loop it is added to (the main thread, for the
// frame clock); its rate, pause and invalidation may be set from any thread (atomics, and a lock
// for the rate range). Ownership: the run loop keeps an added link alive until it is invalidated;
// the link keeps its action (and a target's object) alive until then.

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "platform/Mutex.h"
#include "platform/NSObject.h"
#include "platform/NSRunLoopSource.h"

namespace zerva {

class NSRunLoop;

struct CAFrameRateRange {
  float minimum = 0;
  float maximum = 0;
  float preferred = 0;
  friend bool operator==(const CAFrameRateRange&, const CAFrameRateRange&) = default;
};

inline CAFrameRateRange CAFrameRateRangeMake(float minimum, float maximum, float preferred) {
  return {minimum, maximum, preferred};
}
inline constexpr CAFrameRateRange CAFrameRateRangeDefault{};

class CADisplayLink : public NSObject, public NSRunLoopSource {
  ZR_DECLARE_CLASS(CADisplayLink)
 public:
  using Action = std::function<void(CADisplayLink&)>;
  static constexpr int kDisplayRefreshRate = 60;

  /// A display link that calls `action` on every tick once it is added to a run loop.
  static std::shared_ptr<CADisplayLink> displayLinkWithAction(Action action);

  /// Target and selector: the link keeps the target alive until it is invalidated.
  template <class T>
  static std::shared_ptr<CADisplayLink> displayLinkWithTarget(std::shared_ptr<T> target, void (T::*selector)()) {
    return displayLinkWithAction([target = std::move(target), selector](CADisplayLink&) { ((*target).*selector)(); });
  }

  explicit CADisplayLink(Action action);

  void addToRunLoop(NSRunLoop& runLoop, const std::string& mode);
  /// Stops the link for good and releases its action (and with it the target).
  void invalidate();

  /// Time of the refresh the current (or last) tick belongs to.
  double timestamp() const { return timestamp_.load(); }
  /// Time of the next tick the link is aiming for.
  double targetTimestamp() const;
  /// Time between two display refreshes.
  double duration() const { return 1.0 / kDisplayRefreshRate; }

  bool isPaused() const override { return paused_.load(); }
  void setPaused(bool paused) { paused_ = paused; }

  int preferredFramesPerSecond() const { return preferredFramesPerSecond_.load(); }
  void setPreferredFramesPerSecond(int fps);
  CAFrameRateRange preferredFrameRateRange() const;
  void setPreferredFrameRateRange(CAFrameRateRange range);
  /// The stand-in's own: how many display refreshes pass between two ticks.
  int refreshesPerTick() const;

  bool isValid() const override { return valid_.load(); }
  double nextFireTime() const override;
  void fire(double scheduledTime) override;

 private:
  static long long refreshIndexAtOrBefore(double time);

  mutable Mutex mutex_;
  Action action_ GUARDED_BY(mutex_);
  CAFrameRateRange range_ GUARDED_BY(mutex_);
  std::atomic<int> preferredFramesPerSecond_{0};
  std::atomic<bool> valid_{true};
  std::atomic<bool> paused_{false};
  std::atomic<double> timestamp_{0};
  std::atomic<long long> lastRefreshIndex_{0};
};

}  // namespace zerva
