#pragma once
// A point in wall-clock time. It runs with the process clock, so a manual clock moves it too.

#include <string>

namespace zerva {

class NSDate {
 public:
  static NSDate date();
  static NSDate dateWithTimeIntervalSince1970(double seconds) { return NSDate(seconds); }

  double timeIntervalSince1970() const { return seconds_; }
  /// Negative for a date in the past.
  double timeIntervalSinceNow() const;
  double timeIntervalSinceDate(const NSDate& other) const { return seconds_ - other.seconds_; }
  /// "2026-11-23 00:38:30 +0000".
  std::string description() const;

  friend bool operator==(const NSDate&, const NSDate&) = default;

 private:
  explicit NSDate(double seconds) : seconds_(seconds) {}
  double seconds_;
};

}  // namespace zerva
