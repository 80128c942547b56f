#pragma once
// A value read and written whole under its own lock, for settings that several threads read.

#include <mutex>

namespace zerva {

template <class T>
class ZRLockedValue {
 public:
  ZRLockedValue() = default;
  explicit ZRLockedValue(T value) : value_(std::move(value)) {}

  T get() const {
    std::lock_guard lock(mutex_);
    return value_;
  }
  void set(T value) {
    std::lock_guard lock(mutex_);
    value_ = std::move(value);
  }

 private:
  mutable std::mutex mutex_;
  T value_{};
};

}  // namespace zerva
