#pragma once
// A boxed number, as key-value reads and rectangle quadruples hand them over.

namespace zerva {

class NSNumber {
 public:
  NSNumber(double value) : value_(value) {}  // NOLINT: boxing is implicit on purpose
  static NSNumber numberWithBool(bool b) { return NSNumber(b ? 1.0 : 0.0); }

  double doubleValue() const { return value_; }
  bool boolValue() const { return value_ != 0.0; }
  long long longLongValue() const { return static_cast<long long>(value_); }

  friend bool operator==(const NSNumber&, const NSNumber&) = default;

 private:
  double value_;
};

}  // namespace zerva
