#include "platform/CALayer.h"

#include <algorithm>

#include "platform/ProcessClock.h"

namespace zerva {

ZR_DEFINE_CLASS(CALayer, NSObject, [] { return std::make_shared<CALayer>(); })

CGRect CALayer::frame() const {
  return {{position_.x - anchorPoint_.x * bounds_.size.width, position_.y - anchorPoint_.y * bounds_.size.height},
          bounds_.size};
}

void CALayer::setFrame(CGRect frame) {
  frame = CGRectStandardize(frame);
  bounds_.size = frame.size;
  position_ = {frame.origin.x + anchorPoint_.x * frame.size.width, frame.origin.y + anchorPoint_.y * frame.size.height};
}

void CALayer::addAnimation(CABasicAnimation animation, const std::string& key) {
  const double now = CACurrentMediaTime();
  if (animation.beginTime() == 0) animation.setBeginTime(now);
  std::erase_if(animations_, [&](const auto& a) { return a.first == key || a.second.isFinishedAt(now); });
  animations_.emplace_back(key, std::move(animation));
}

void CALayer::removeAnimationForKey(const std::string& key) {
  std::erase_if(animations_, [&](const auto& a) { return a.first == key; });
}

void CALayer::removeAllAnimations() { animations_.clear(); }

std::vector<std::string> CALayer::animationKeys() const {
  const double now = CACurrentMediaTime();
  std::vector<std::string> keys;
  for (const auto& [key, animation] : animations_) {
    if (!animation.isFinishedAt(now)) keys.push_back(key);
  }
  return keys;
}

bool CALayer::hasRunningAnimation(double now) const {
  return std::any_of(animations_.begin(), animations_.end(), [&](const auto& a) { return a.second.isRunningAt(now); });
}

bool CALayer::anyAncestorAnimating(double now) const {
  for (auto layer = superlayer(); layer; layer = layer->superlayer()) {
    if (layer->hasRunningAnimation(now)) return true;
  }
  return false;
}

void CALayer::applyAnimations(const std::vector<std::pair<std::string, CABasicAnimation>>& animations, double now) {
  for (const auto& [key, animation] : animations) {
    if (!animation.isRunningAt(now)) continue;
    const CAAnimationValue v = animation.valueAt(now);
    const std::string& path = animation.keyPath();
    if (path == "position" && std::holds_alternative<CGPoint>(v)) {
      position_ = std::get<CGPoint>(v);
    } else if (path == "bounds" && std::holds_alternative<CGRect>(v)) {
      bounds_ = std::get<CGRect>(v);
    } else if (path == "bounds.origin" && std::holds_alternative<CGPoint>(v)) {
      bounds_.origin = std::get<CGPoint>(v);
    } else if (path == "opacity" && std::holds_alternative<double>(v)) {
      opacity_ = static_cast<float>(std::get<double>(v));
    }
  }
}

std::shared_ptr<CALayer> CALayer::presentationLayer() const {
  if (model_.lock()) return std::const_pointer_cast<CALayer>(std::static_pointer_cast<const CALayer>(shared_from_this()));
  const double now = CACurrentMediaTime();
  if (!hasRunningAnimation(now) && !anyAncestorAnimating(now)) return nullptr;

  auto made = getClass()->createInstance();
  auto copy = std::dynamic_pointer_cast<CALayer>(made);
  if (!copy) copy = std::make_shared<CALayer>();
  copy->bounds_ = bounds_;
  copy->position_ = position_;
  copy->anchorPoint_ = anchorPoint_;
  copy->contentsScale_ = contentsScale_;
  copy->masksToBounds_ = masksToBounds_;
  copy->cornerRadius_ = cornerRadius_;
  copy->zPosition_ = zPosition_;
  copy->opacity_ = opacity_;
  copy->hidden_ = hidden_;
  copy->backgroundColor_ = backgroundColor_;
  copy->delegate_ = delegate_;
  copy->model_ = std::static_pointer_cast<const CALayer>(shared_from_this());
  copy->applyAnimations(animations_, now);
  if (auto parent = superlayer()) {
    auto parentPresentation = parent->presentationLayer();
    copy->presentationSuperlayer_ = parentPresentation ? parentPresentation : parent;
  }
  return copy;
}

std::shared_ptr<const CALayer> CALayer::modelLayer() const {
  if (auto model = model_.lock()) return model;
  return std::static_pointer_cast<const CALayer>(shared_from_this());
}

std::shared_ptr<CALayer> CALayer::superlayer() const {
  if (presentationSuperlayer_) return presentationSuperlayer_;
  return superlayer_.lock();
}

void CALayer::addSublayer(const std::shared_ptr<CALayer>& layer) { insertSublayer(layer, sublayers_.size()); }

void CALayer::insertSublayer(const std::shared_ptr<CALayer>& layer, size_t index) {
  if (!layer || layer.get() == this) return;
  auto keep = layer;  // removing from the old superlayer may drop its last reference
  keep->removeFromSuperlayer();
  index = std::min(index, sublayers_.size());
  sublayers_.insert(sublayers_.begin() + static_cast<std::ptrdiff_t>(index), keep);
  keep->superlayer_ = std::static_pointer_cast<CALayer>(shared_from_this());
}

void CALayer::removeFromSuperlayer() {
  auto parent = superlayer_.lock();
  superlayer_.reset();
  if (!parent) return;
  std::erase_if(parent->sublayers_, [this](const auto& l) { return l.get() == this; });
}

CGPoint CALayer::offsetFromScreen() const {
  CGPoint offset{0, 0};
  for (const CALayer* layer = this; layer;) {
    const CGRect f = layer->frame();
    offset.x += f.origin.x - layer->bounds_.origin.x;
    offset.y += f.origin.y - layer->bounds_.origin.y;
    auto parent = layer->superlayer();
    layer = parent.get();
  }
  return offset;
}

CGPoint CALayer::convertPoint(CGPoint point, const std::shared_ptr<const CALayer>& layer) const {
  const CGPoint from = offsetFromScreen();
  const CGPoint to = layer ? layer->offsetFromScreen() : CGPointZero;
  return {point.x + from.x - to.x, point.y + from.y - to.y};
}

CGRect CALayer::convertRect(CGRect rect, const std::shared_ptr<const CALayer>& layer) const {
  if (CGRectIsNull(rect)) return rect;
  rect = CGRectStandardize(rect);
  return {convertPoint(rect.origin, layer), rect.size};
}

}  // namespace zerva
