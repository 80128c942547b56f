#include "platform/UIView.h"

#include <algorithm>

#include "platform/UIScreen.h"
#include "platform/UIWindow.h"

namespace zerva {

ZR_DEFINE_CLASS(UIView, NSObject, [] { return std::make_shared<UIView>(); })

namespace {
std::shared_ptr<CALayer> makeLayer(Class layerClass) {
  if (layerClass && layerClass->isSubclassOfClass(CALayer::class_())) {
    if (auto layer = std::dynamic_pointer_cast<CALayer>(layerClass->createInstance())) return layer;
  }
  return std::make_shared<CALayer>();
}
}  // namespace

UIView::UIView(CGRect frame, Class layerClass) : layer_(makeLayer(layerClass)) { layer_->setFrame(frame); }

UIView::~UIView() {
  // Subviews that outlive us must not keep a stale superview.
  for (auto& v : subviews_) v->superview_.reset();
}

void UIView::linkLayerToSelf() const {
  // The link needs this view's shared_ptr, which does not exist yet while it is being built.
  if (!layer_->hasDelegate()) {
    if (auto self = weak_from_this().lock()) layer_->setDelegate(std::const_pointer_cast<NSObject>(self));
  }
}

std::shared_ptr<CALayer> UIView::layer() const {
  linkLayerToSelf();
  return layer_;
}

void UIView::setAlpha(double alpha) { layer_->setOpacity(static_cast<float>(std::clamp(alpha, 0.0, 1.0))); }

void UIView::setBackgroundColor(std::optional<UIColor> color) {
  backgroundColor_ = color;
  layer_->setBackgroundColor(color ? std::optional<CGColor>(color->cgColor()) : std::nullopt);
}

void UIView::addSubview(const std::shared_ptr<UIView>& view) { insertSubview(view, subviews_.size()); }

void UIView::insertSubview(const std::shared_ptr<UIView>& view, size_t index) {
  if (!view || view.get() == this) return;
  auto keep = view;  // the old superview may hold the last reference
  if (keep->superview().get() == this) {
    std::erase(subviews_, keep);
  } else {
    keep->removeFromSuperview();
  }
  index = std::min(index, subviews_.size());
  subviews_.insert(subviews_.begin() + static_cast<std::ptrdiff_t>(index), keep);
  keep->superview_ = std::static_pointer_cast<UIView>(shared_from_this());
  // Subviews are drawn in order, so their layers follow the same order.
  const auto it = std::find(subviews_.begin(), subviews_.end(), keep);
  size_t layerIndex = layer()->sublayers().size();
  if (it + 1 != subviews_.end()) {
    const auto& siblings = layer_->sublayers();
    const auto next = std::find(siblings.begin(), siblings.end(), (*(it + 1))->layer());
    layerIndex = static_cast<size_t>(next - siblings.begin());
  }
  layer_->insertSublayer(keep->layer(), layerIndex);
  keep->didMoveToSuperview();
}

void UIView::removeFromSuperview() {
  auto parent = superview_.lock();
  if (!parent) return;
  auto self = shared_from_this();  // keep alive until we are done
  superview_.reset();
  std::erase_if(parent->subviews_, [this](const auto& v) { return v.get() == this; });
  layer_->removeFromSuperlayer();
  didMoveToSuperview();
}

std::shared_ptr<UIWindow> UIView::window() const {
  for (auto v = superview(); v; v = v->superview()) {
    if (auto w = std::dynamic_pointer_cast<UIWindow>(v)) return w;
  }
  return nullptr;
}

bool UIView::isDescendantOfView(const std::shared_ptr<const UIView>& view) const {
  if (!view) return false;
  if (view.get() == this) return true;
  for (auto v = superview(); v; v = v->superview()) {
    if (v == view) return true;
  }
  return false;
}

CGPoint UIView::convertPointToFixedScreenSpace(CGPoint point) const {
  const CGPoint inInterface = layer_->convertPoint(point, nullptr);
  return UIScreen::mainScreen()->convertPointFromInterfaceToFixed(inInterface);
}

CGPoint UIView::convertPointFromFixedScreenSpace(CGPoint point) const {
  const CGPoint inInterface = UIScreen::mainScreen()->convertPointFromFixedToInterface(point);
  const CGPoint origin = layer_->convertPoint(CGPointZero, nullptr);
  return {inInterface.x - origin.x, inInterface.y - origin.y};
}

}  // namespace zerva
