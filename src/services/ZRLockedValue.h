#pragma once
// A value read and written whole under its own lock, for settings that several threads read.

#include <utility>

#include "platform/Mutex.h"
#include "platform/MutexLock.h"
#include "platform/ThreadAnnotations.h"

namespace zerva {

template <class T>
class ZRLockedValue {
 public:
  ZRLockedValue() = default;
  explicit ZRLockedValue(T value) : value_(std::move(value)) {}

  T get() const {
    MutexLock lock(mutex_);
    return value_;
  }
  void set(T value) {
    MutexLock lock(mutex_);
    value_ = std::move(value);
  }

 private:
  mutable Mutex mutex_;
  T value_ GUARDED_BY(mutex_){};
};

}  // namespace zerva
