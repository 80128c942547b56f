#pragma once
// What a factory or loader returns: the thing it made, or the NSError that says why it could not.
// Discarding one is a compile warning, so that no failure goes unread.

#include <cassert>
#include <utility>
#include <variant>

#include "platform/NSError.h"

namespace zerva {

template <typename T>
class [[nodiscard]] NSResult {
 public:
  NSResult(T value) : state_(std::in_place_index<0>, std::move(value)) {}  // NOLINT: implicit by design
  NSResult(NSError error) : state_(std::in_place_index<1>, std::move(error)) {}  // NOLINT: implicit by design

  bool ok() const { return state_.index() == 0; }
  explicit operator bool() const { return ok(); }

  /// The value; only when ok().
  T& value() & {
    assert(ok());
    return std::get<0>(state_);
  }
  const T& value() const& {
    assert(ok());
    return std::get<0>(state_);
  }
  T&& value() && {
    assert(ok());
    return std::get<0>(std::move(state_));
  }
  T& operator*() & { return value(); }
  const T& operator*() const& { return value(); }
  T&& operator*() && { return std::move(*this).value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }

  /// The error; only when !ok().
  const NSError& error() const {
    assert(!ok());
    return std::get<1>(state_);
  }
  /// The error, or none when there is a value (for callers that pass errors on as NSErrorOrNil).
  NSErrorOrNil errorOrNil() const { return ok() ? NSErrorOrNil{} : NSErrorOrNil{error()}; }

 private:
  std::variant<T, NSError> state_;
};

}  // namespace zerva
