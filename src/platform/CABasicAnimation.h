#pragma once
// An animation of one layer property from one value to another over a time span. While it runs
// the layer's presentation copy shows the in-flight value; the model keeps its own value.

#include <string>
#include <variant>

#include "platform/CGGeometry.h"

namespace zerva {

/// A value an animation moves between: a number ("opacity"), a point ("position",
/// "bounds.origin") or a rectangle ("bounds").
using CAAnimationValue = std::variant<double, CGPoint, CGRect>;

enum class CAMediaTimingFunction { Linear, EaseInEaseOut };

class CABasicAnimation {
 public:
  static CABasicAnimation animationWithKeyPath(std::string keyPath);

  const std::string& keyPath() const { return keyPath_; }
  const CAAnimationValue& fromValue() const { return from_; }
  void setFromValue(CAAnimationValue v) { from_ = v; }
  const CAAnimationValue& toValue() const { return to_; }
  void setToValue(CAAnimationValue v) { to_ = v; }
  /// Process-clock seconds; 0 means "when it is added to a layer".
  double beginTime() const { return beginTime_; }
  void setBeginTime(double t) { beginTime_ = t; }
  double duration() const { return duration_; }
  void setDuration(double d) { duration_ = d > 0 ? d : 0; }
  CAMediaTimingFunction timingFunction() const { return timing_; }
  void setTimingFunction(CAMediaTimingFunction f) { timing_ = f; }

  /// Running at `time`: begun and not yet finished.
  bool isRunningAt(double time) const;
  bool isFinishedAt(double time) const { return time >= beginTime_ + duration_; }
  /// The value at `time`, clamped to the animation's span.
  CAAnimationValue valueAt(double time) const;

 private:
  explicit CABasicAnimation(std::string keyPath) : keyPath_(std::move(keyPath)) {}

  std::string keyPath_;
  CAAnimationValue from_ = 0.0;
  CAAnimationValue to_ = 0.0;
  double beginTime_ = 0;
  double duration_ = 0.25;
  CAMediaTimingFunction timing_ = CAMediaTimingFunction::Linear;
};

}  // namespace zerva
