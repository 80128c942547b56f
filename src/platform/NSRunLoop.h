#pragma once
// A run loop: blocks posted from any thread, and timers and display links that fire at their
// times, all run on the one thread that runs the loop. The main run loop's thread is the main
// thread: the thread that last ran it (or created it, before it first ran).
//
// Under a ManualClock the loop advances the clock itself to the next due source, so timers and
// display-link ticks fire at exactly their timestamps and no test waits in real time.

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/ConditionVariable.h"
#include "platform/Mutex.h"
#include "platform/NSRunLoopSource.h"

namespace zerva {

inline const std::string NSDefaultRunLoopMode = "kCFRunLoopDefaultMode";
inline const std::string NSRunLoopCommonModes = "kCFRunLoopCommonModes";
inline const std::string UITrackingRunLoopMode = "UITrackingRunLoopMode";

class NSRunLoop {
 public:
  static NSRunLoop& mainRunLoop();
  /// The calling thread's run loop (the main one on the main thread).
  static NSRunLoop& currentRunLoop();

  NSRunLoop() = default;
  NSRunLoop(const NSRunLoop&) = delete;
  NSRunLoop& operator=(const NSRunLoop&) = delete;

  std::thread::id thread() const { return thread_.load(); }
  bool isCurrentThread() const { return thread_.load() == std::this_thread::get_id(); }

  /// Queues a block to run on the loop's thread, in posting order. Thread-safe.
  void performBlock(std::function<void()> block);
  /// Schedules a source in a mode (NSRunLoopCommonModes covers the default and tracking modes).
  void addSource(std::shared_ptr<NSRunLoopSource> source, const std::string& mode);

  /// Runs until the process clock reaches `mediaTime`, firing everything due up to then.
  void runUntilDate(double mediaTime) { runMode(NSDefaultRunLoopMode, mediaTime); }
  void runForTimeInterval(double seconds);
  /// As runUntilDate, with only the sources of `mode` active.
  void runMode(const std::string& mode, double mediaTime);
  /// Runs posted blocks and due sources, without moving a manual clock, until `done` answers
  /// true or `timeoutSeconds` of real time pass. Returns done's last answer.
  bool runUntil(const std::function<bool()>& done, double timeoutSeconds = 10.0);
  /// Runs what is posted and due now, without waiting.
  void runPending();
  /// Makes a running loop return after its current step. Thread-safe.
  void stop();

  const std::string& currentMode() const { return mode_; }
  /// Number of scheduled, valid sources (for tests).
  size_t sourceCount() const;

 private:
  struct Entry {
    std::shared_ptr<NSRunLoopSource> source;
    std::string mode;
  };

  void bindToCurrentThread() { thread_ = std::this_thread::get_id(); }
  bool runPostedBlocks();
  /// Fires the earliest source due at or before `now`; false when none is due.
  bool fireOneDueSource(double now);
  /// Earliest fire time of the active sources, or +infinity.
  double nextFireTime() const;
  bool modeMatches(const std::string& sourceMode) const;
  /// Waits on wake_ for at most `seconds`, or until a block is posted or a stop requested.
  void waitForPostedWork(double seconds) EXCLUDES(mutex_);
  void waitForWork(double untilMediaTime);

  std::atomic<std::thread::id> thread_{std::this_thread::get_id()};
  mutable Mutex mutex_;
  ConditionVariable wake_;
  std::deque<std::function<void()>> posted_ GUARDED_BY(mutex_);
  std::vector<Entry> sources_ GUARDED_BY(mutex_);
  std::string mode_ = NSDefaultRunLoopMode;
  std::atomic<bool> stopRequested_{false};
};

}  // namespace zerva
