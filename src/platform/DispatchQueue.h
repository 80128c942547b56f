#pragma once
// Work queues: a serial queue runs its blocks one at a time, in order, on its own thread; a
// concurrent queue runs them on a small pool of threads, overlapping; the main queue runs them
// on the main run loop. Tests wait for a queue with drain(), never by sleeping.

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/ConditionVariable.h"
#include "platform/Mutex.h"
#include "platform/ThreadCheck.h"

namespace zerva {

class DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
 public:
  enum class Kind { Serial, Concurrent, Main };

  DispatchQueue(std::string label, Kind kind, int concurrentThreads = 4);
  ~DispatchQueue();
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;

  const std::string& label() const { return label_; }
  Kind kind() const { return kind_; }

  void async(std::function<void()> block);
  /// Runs the block on the queue and waits for it. Called from a block of the same serial
  /// queue, where waiting would never end, the block runs at once instead.
  void sync(const std::function<void()>& block);
  /// Waits until the queue has nothing queued or running, including blocks queued meanwhile.
  /// On the main queue, runs the main run loop's pending work instead (main thread only).
  void drain();
  /// The calling thread is running a block of this queue.
  bool isCurrent() const;
  /// Debug builds: aborts, naming `function` and the queue, unless the calling thread is
  /// running a block of this queue.
  void assertCurrent(const char* function = __builtin_FUNCTION()) const {
#ifndef NDEBUG
    if (!isCurrent()) ZRThreadCheckFailed(function, "the queue \"" + label_ + "\"");
#else
    (void)function;
#endif
  }

 private:
  // Shared with the worker threads, so that a queue released by one of its own blocks leaves
  // that worker something valid to finish on.
  struct State {
    Mutex mutex;
    ConditionVariable workAvailable;
    ConditionVariable idle;
    std::deque<std::function<void()>> queue GUARDED_BY(mutex);
    int running GUARDED_BY(mutex) = 0;
    bool shuttingDown GUARDED_BY(mutex) = false;
  };

  static void workerLoop(const std::shared_ptr<State>& state);
  void startWorkersLocked() REQUIRES(state_->mutex);

  const std::string label_;
  const Kind kind_;
  const int maxThreads_;
  const std::shared_ptr<State> state_ = std::make_shared<State>();
  std::vector<std::thread> workers_ GUARDED_BY(state_->mutex);
};

using dispatch_queue_t = std::shared_ptr<DispatchQueue>;
using dispatch_block_t = std::function<void()>;

enum class dispatch_queue_attr_t { DISPATCH_QUEUE_SERIAL, DISPATCH_QUEUE_CONCURRENT };
inline constexpr dispatch_queue_attr_t DISPATCH_QUEUE_SERIAL = dispatch_queue_attr_t::DISPATCH_QUEUE_SERIAL;
inline constexpr dispatch_queue_attr_t DISPATCH_QUEUE_CONCURRENT = dispatch_queue_attr_t::DISPATCH_QUEUE_CONCURRENT;

dispatch_queue_t dispatch_queue_create(const std::string& label, dispatch_queue_attr_t attr);
dispatch_queue_t dispatch_get_main_queue();
/// A process-wide concurrent queue; the priority and flags are accepted and not used.
dispatch_queue_t dispatch_get_global_queue(long priority = 0, unsigned long flags = 0);
void dispatch_async(const dispatch_queue_t& queue, dispatch_block_t block);
void dispatch_sync(const dispatch_queue_t& queue, const dispatch_block_t& block);

/// Once-only initialisation.
using dispatch_once_t = std::once_flag;
void dispatch_once(dispatch_once_t& predicate, const dispatch_block_t& block);

}  // namespace zerva
