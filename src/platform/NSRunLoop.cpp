#include "platform/NSRunLoop.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

#include "platform/MutexLock.h"
#include "platform/ProcessClock.h"

namespace zerva {

namespace {
constexpr double kInfinity = std::numeric_limits<double>::infinity();
// While a manual clock stands still, a waiting loop re-checks this often for a clock moved by
// another thread.
constexpr double kManualClockPollSeconds = 0.005;
}  // namespace

NSRunLoop& NSRunLoop::mainRunLoop() {
  static NSRunLoop loop;
  return loop;
}

NSRunLoop& NSRunLoop::currentRunLoop() {
  NSRunLoop& main = mainRunLoop();
  if (main.isCurrentThread()) return main;
  thread_local NSRunLoop loop;
  return loop;
}

void NSRunLoop::performBlock(std::function<void()> block) {
  if (!block) return;
  {
    MutexLock lock(mutex_);
    posted_.push_back(std::move(block));
  }
  wake_.notifyAll();
}

void NSRunLoop::addSource(std::shared_ptr<NSRunLoopSource> source, const std::string& mode) {
  if (!source) return;
  {
    MutexLock lock(mutex_);
    for (const Entry& e : sources_) {
      if (e.source == source && e.mode == mode) return;
    }
    sources_.push_back({std::move(source), mode});
  }
  wake_.notifyAll();
}

size_t NSRunLoop::sourceCount() const {
  MutexLock lock(mutex_);
  return static_cast<size_t>(std::count_if(sources_.begin(), sources_.end(),
                                           [](const Entry& e) { return e.source->isValid(); }));
}

bool NSRunLoop::modeMatches(const std::string& sourceMode) const {
  if (sourceMode == mode_) return true;
  return sourceMode == NSRunLoopCommonModes && (mode_ == NSDefaultRunLoopMode || mode_ == UITrackingRunLoopMode);
}

bool NSRunLoop::runPostedBlocks() {
  std::deque<std::function<void()>> batch;
  {
    MutexLock lock(mutex_);
    batch.swap(posted_);
  }
  for (auto& block : batch) block();
  return !batch.empty();
}

double NSRunLoop::nextFireTime() const {
  MutexLock lock(mutex_);
  double next = kInfinity;
  for (const Entry& e : sources_) {
    if (e.source->isValid() && !e.source->isPaused() && modeMatches(e.mode)) {
      next = std::min(next, e.source->nextFireTime());
    }
  }
  return next;
}

bool NSRunLoop::fireOneDueSource(double now) {
  std::shared_ptr<NSRunLoopSource> due;
  double dueTime = kInfinity;
  {
    MutexLock lock(mutex_);
    std::erase_if(sources_, [](const Entry& e) { return !e.source->isValid(); });
    for (const Entry& e : sources_) {
      if (e.source->isPaused() || !modeMatches(e.mode)) continue;
      const double t = e.source->nextFireTime();
      if (t <= now && t < dueTime) {
        due = e.source;
        dueTime = t;
      }
    }
  }
  if (!due) return false;
  due->fire(dueTime);
  return true;
}

void NSRunLoop::waitForWork(double untilMediaTime) {
  ProcessClock& clock = ProcessClock::current();
  const double waitFor = clock.isManual() ? kManualClockPollSeconds
                                          : std::min(untilMediaTime - clock.now(), 3600.0);
  if (!(waitFor > 0)) return;
  waitForPostedWork(waitFor);
}

void NSRunLoop::waitForPostedWork(double seconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  MutexLock lock(mutex_);
  while (posted_.empty() && !stopRequested_.load()) {
    const double left = std::chrono::duration<double>(deadline - std::chrono::steady_clock::now()).count();
    if (!(left > 0)) return;
    wake_.waitFor(mutex_, left);
  }
}

void NSRunLoop::runMode(const std::string& mode, double mediaTime) {
  bindToCurrentThread();
  const std::string previousMode = mode_;
  mode_ = mode;
  stopRequested_ = false;
  while (!stopRequested_) {
    if (runPostedBlocks()) continue;
    ProcessClock& clock = ProcessClock::current();
    const double now = clock.now();
    if (fireOneDueSource(now)) continue;
    if (now >= mediaTime) break;
    const double target = std::min(nextFireTime(), mediaTime);
    if (clock.isManual()) {
      static_cast<ManualClock&>(clock).advanceTo(target);
    } else {
      waitForWork(target);
    }
  }
  mode_ = previousMode;
}

void NSRunLoop::runForTimeInterval(double seconds) { runUntilDate(CACurrentMediaTime() + std::max(0.0, seconds)); }

bool NSRunLoop::runUntil(const std::function<bool()>& done, double timeoutSeconds) {
  bindToCurrentThread();
  stopRequested_ = false;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
  while (true) {
    runPending();
    if (done()) return true;
    if (stopRequested_ || std::chrono::steady_clock::now() >= deadline) return done();
    ProcessClock& clock = ProcessClock::current();
    const double untilNextSource = clock.isManual() ? kManualClockPollSeconds : nextFireTime() - clock.now();
    const auto realLeft = std::chrono::duration<double>(deadline - std::chrono::steady_clock::now()).count();
    const double waitFor = std::clamp(std::min(untilNextSource, realLeft), 0.0, kManualClockPollSeconds * 20);
    waitForPostedWork(waitFor);
  }
}

void NSRunLoop::runPending() {
  bindToCurrentThread();
  bool didWork = true;
  while (didWork) {
    didWork = runPostedBlocks();
    didWork = fireOneDueSource(CACurrentMediaTime()) || didWork;
  }
}

void NSRunLoop::stop() {
  stopRequested_ = true;
  wake_.notifyAll();
}

}  // namespace zerva
