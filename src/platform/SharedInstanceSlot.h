#pragma once
// Holds a process-wide shared instance that tests may replace: made on first use, thread-safe.

#include <memory>
#include <mutex>

namespace zerva {

template <class T>
class SharedInstanceSlot {
 public:
  std::shared_ptr<T> get() {
    std::lock_guard lock(mutex_);
    if (!instance_) instance_ = std::make_shared<T>();
    return instance_;
  }
  /// Replaces the instance; nullptr makes a fresh one on next use.
  void replace(std::shared_ptr<T> instance) {
    std::lock_guard lock(mutex_);
    instance_ = std::move(instance);
  }

 private:
  std::mutex mutex_;
  std::shared_ptr<T> instance_;
};

}  // namespace zerva
