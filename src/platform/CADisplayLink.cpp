#include "platform/CADisplayLink.h"

#include <algorithm>
#include <cmath>

#include "platform/MutexLock.h"
#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"

namespace zerva {

ZR_DEFINE_CLASS(CADisplayLink, NSObject, nullptr)

std::shared_ptr<CADisplayLink> CADisplayLink::displayLinkWithAction(Action action) {
  return std::make_shared<CADisplayLink>(std::move(action));
}

CADisplayLink::CADisplayLink(Action action) : action_(std::move(action)) {}

long long CADisplayLink::refreshIndexAtOrBefore(double time) {
  // A hair of tolerance so that a time computed as index/60 maps back to that index.
  return static_cast<long long>(std::floor(time * kDisplayRefreshRate + 1e-7));
}

void CADisplayLink::addToRunLoop(NSRunLoop& runLoop, const std::string& mode) {
  if (!valid_) return;
  lastRefreshIndex_ = refreshIndexAtOrBefore(CACurrentMediaTime());
  runLoop.addSource(std::static_pointer_cast<CADisplayLink>(shared_from_this()), mode);
}

void CADisplayLink::invalidate() {
  valid_ = false;
  Action released;
  {
    MutexLock lock(mutex_);
    released.swap(action_);
  }
}

void CADisplayLink::setPreferredFramesPerSecond(int fps) { preferredFramesPerSecond_ = std::max(0, fps); }

CAFrameRateRange CADisplayLink::preferredFrameRateRange() const {
  MutexLock lock(mutex_);
  return range_;
}

void CADisplayLink::setPreferredFrameRateRange(CAFrameRateRange range) {
  MutexLock lock(mutex_);
  range_ = range;
}

int CADisplayLink::refreshesPerTick() const {
  const CAFrameRateRange range = preferredFrameRateRange();
  double rate = kDisplayRefreshRate;
  if (range.preferred > 0) {
    rate = range.preferred;
  } else if (range.maximum > 0) {
    rate = range.maximum;
  } else if (preferredFramesPerSecond_ > 0) {
    rate = preferredFramesPerSecond_;
  }
  if (range.maximum > 0) rate = std::min<double>(rate, range.maximum);
  if (range.minimum > 0) rate = std::max<double>(rate, range.minimum);
  rate = std::clamp(rate, 1.0, double(kDisplayRefreshRate));
  return std::max(1, static_cast<int>(std::lround(kDisplayRefreshRate / rate)));
}

double CADisplayLink::nextFireTime() const {
  const long long n = refreshesPerTick();
  const long long next = (lastRefreshIndex_.load() / n + 1) * n;
  return static_cast<double>(next) / kDisplayRefreshRate;
}

double CADisplayLink::targetTimestamp() const { return nextFireTime(); }

void CADisplayLink::fire(double scheduledTime) {
  if (!valid_ || paused_) return;
  // A late tick skips the refreshes it missed.
  lastRefreshIndex_ = std::max(refreshIndexAtOrBefore(scheduledTime), refreshIndexAtOrBefore(CACurrentMediaTime()));
  timestamp_ = scheduledTime;
  Action action;
  {
    MutexLock lock(mutex_);
    action = action_;
  }
  if (action) action(*this);
}

}  // namespace zerva
