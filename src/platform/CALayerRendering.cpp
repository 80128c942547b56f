// The platform's own drawing of layer and view trees.

#include <algorithm>
#include <vector>

#include "platform/CALayer.h"
#include "platform/CGPath.h"
#include "platform/UIView.h"

namespace zerva {

namespace {

enum class Geometry { Model, Presentation };

void addBoundsPath(CGContextRef c, const CALayer& layer) {
  CGPath path;
  if (layer.cornerRadius() > 0) {
    CGPathAddRoundedRect(path, layer.bounds(), layer.cornerRadius(), layer.cornerRadius());
  } else {
    CGPathAddRect(path, layer.bounds());
  }
  CGContextBeginPath(c);
  CGContextAddPath(c, path);
}

void renderLayer(const CALayer& layer, CGContextRef c, Geometry geometry);

// Draws everything of a layer in its own coordinate space: its looks from `layer` (the model or
// its in-flight copy), its sublayers from `model` (copies carry no sublayers).
void renderContents(const CALayer& layer, const CALayer& model, CGContextRef c, Geometry geometry) {
  if (layer.isHidden() || !(layer.opacity() > 0)) return;
  CGContextStateSaver saver(c);
  const bool group = layer.opacity() < 1;
  if (group) {
    CGContextSetAlpha(c, layer.opacity());
    CGContextBeginTransparencyLayer(c);
  }
  if (auto color = layer.backgroundColor()) {
    CGContextSetFillColorWithColor(c, *color);
    addBoundsPath(c, layer);
    CGContextFillPath(c);
  }
  if (auto view = std::dynamic_pointer_cast<UIView>(layer.delegate())) {
    UIGraphicsPushContext(c);
    view->drawRect(layer.bounds());
    UIGraphicsPopContext();
  }
  if (!model.sublayers().empty()) {
    CGContextStateSaver clip(c);
    if (layer.masksToBounds()) {
      addBoundsPath(c, layer);
      CGContextClip(c);
    }
    const auto& subs = model.sublayers();
    const bool layered = std::any_of(subs.begin(), subs.end(),
                                     [&](const auto& l) { return l->zPosition() != subs.front()->zPosition(); });
    if (!layered) {
      // The usual case: no z-positions set, so sublayer order is drawing order; no copy per frame.
      for (const auto& sub : subs) renderLayer(*sub, c, geometry);
    } else {
      std::vector<const CALayer*> ordered;
      ordered.reserve(subs.size());
      for (const auto& sub : subs) ordered.push_back(sub.get());
      std::stable_sort(ordered.begin(), ordered.end(),
                       [](const CALayer* a, const CALayer* b) { return a->zPosition() < b->zPosition(); });
      for (const CALayer* sub : ordered) renderLayer(*sub, c, geometry);
    }
  }
  if (group) CGContextEndTransparencyLayer(c);
}

// Draws a sublayer at its place in its superlayer's space.
void renderLayer(const CALayer& model, CGContextRef c, Geometry geometry) {
  std::shared_ptr<CALayer> inFlight;
  if (geometry == Geometry::Presentation) inFlight = model.presentationLayer();
  const CALayer& layer = inFlight ? *inFlight : model;
  const CGRect frame = layer.frame();
  const CGRect bounds = layer.bounds();
  CGContextStateSaver saver(c);
  CGContextTranslateCTM(c, frame.origin.x - bounds.origin.x, frame.origin.y - bounds.origin.y);
  renderContents(layer, model, c, geometry);
}

}  // namespace

void CALayer::renderInContext(CGContextRef context) const {
  if (!context) return;
  CGContextStateSaver saver(context);
  CGContextTranslateCTM(context, -bounds_.origin.x, -bounds_.origin.y);
  renderContents(*this, *this, context, Geometry::Model);
}

bool UIView::drawViewHierarchyInRect(CGRect rect, bool /*afterScreenUpdates*/) const {
  CGContextRef c = UIGraphicsGetCurrentContext();
  if (!c) return false;
  auto inFlight = layer_->presentationLayer();
  const CALayer& layer = inFlight ? *inFlight : *layer_;
  const CGRect bounds = layer.bounds();
  if (!(bounds.size.width > 0) || !(bounds.size.height > 0)) return true;
  CGContextStateSaver saver(c);
  CGContextTranslateCTM(c, rect.origin.x, rect.origin.y);
  CGContextScaleCTM(c, rect.size.width / bounds.size.width, rect.size.height / bounds.size.height);
  CGContextTranslateCTM(c, -bounds.origin.x, -bounds.origin.y);
  renderContents(layer, *layer_, c, Geometry::Presentation);
  return true;
}

void UIView::drawRect(CGRect) const {}

}  // namespace zerva
