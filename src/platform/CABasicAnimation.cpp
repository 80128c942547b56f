#include "platform/CABasicAnimation.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace zerva {

namespace {

double lerp(double a, double b, double f) { return a + (b - a) * f; }

CGPoint lerp(CGPoint a, CGPoint b, double f) { return {lerp(a.x, b.x, f), lerp(a.y, b.y, f)}; }

CGRect lerp(CGRect a, CGRect b, double f) {
  return {lerp(a.origin, b.origin, f), {lerp(a.size.width, b.size.width, f), lerp(a.size.height, b.size.height, f)}};
}

}  // namespace

CABasicAnimation CABasicAnimation::animationWithKeyPath(std::string keyPath) { return CABasicAnimation(std::move(keyPath)); }

bool CABasicAnimation::isRunningAt(double time) const { return time >= beginTime_ && !isFinishedAt(time); }

CAAnimationValue CABasicAnimation::valueAt(double time) const {
  double f = duration_ > 0 ? std::clamp((time - beginTime_) / duration_, 0.0, 1.0) : 1.0;
  if (timing_ == CAMediaTimingFunction::EaseInEaseOut) f = 0.5 - 0.5 * std::cos(std::numbers::pi * f);
  if (from_.index() != to_.index()) return f < 1.0 ? from_ : to_;
  return std::visit(
      [&](const auto& from) -> CAAnimationValue {
        using T = std::decay_t<decltype(from)>;
        return lerp(from, std::get<T>(to_), f);
      },
      from_);
}

}  // namespace zerva
