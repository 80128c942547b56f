#pragma once
// A non-recursive mutex the thread-safety analysis knows: fields it guards say GUARDED_BY(mutex_),
// functions that expect it held say REQUIRES(mutex_). Hold it with MutexLock.

#include <mutex>

#include "platform/ThreadAnnotations.h"

namespace zerva {

class CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }
  bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

 private:
  std::mutex mutex_;
};

}  // namespace zerva
