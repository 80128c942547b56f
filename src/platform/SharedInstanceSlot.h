#pragma once
// Holds a process-wide shared instance that tests may replace: made on first use, thread-safe.

#include <memory>

#include "platform/Mutex.h"
#include "platform/MutexLock.h"

namespace zerva {

template <class T>
class SharedInstanceSlot {
 public:
  std::shared_ptr<T> get() {
    MutexLock lock(mutex_);
    if (!instance_) instance_ = std::make_shared<T>();
    return instance_;
  }
  /// Replaces the instance; nullptr makes a fresh one on next use.
  void replace(std::shared_ptr<T> instance) {
    MutexLock lock(mutex_);
    instance_ = std::move(instance);
  }

 private:
  Mutex mutex_;
  std::shared_ptr<T> instance_ GUARDED_BY(mutex_);
};

}  // namespace zerva
