#pragma once
// A layer: the geometry and tree that views sit on, and what conversions between coordinate
// spaces walk.
//
// Geometry: `bounds` is the layer's own coordinate space (its origin is what a scroll view's
// content offset moves), `position` is where the anchor point (the centre) lies in the
// superlayer's space, and `frame` is derived from both. A point p of a layer lies in its
// superlayer's space at p - bounds.origin + frame.origin. Layers have no transforms here.
//
// Main thread only, like every UI object.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/CABasicAnimation.h"
#include "platform/CGContext.h"
#include "platform/CGColor.h"
#include "platform/CGGeometry.h"
#include "platform/NSObject.h"

namespace zerva {

class CALayer : public NSObject {
  ZR_DECLARE_CLASS(CALayer)
 public:
  CALayer() = default;

  // Geometry
  CGRect bounds() const { return bounds_; }
  void setBounds(CGRect bounds) { bounds_ = bounds; }
  CGPoint position() const { return position_; }
  void setPosition(CGPoint position) { position_ = position; }
  CGPoint anchorPoint() const { return anchorPoint_; }
  void setAnchorPoint(CGPoint anchor) { anchorPoint_ = anchor; }
  CGRect frame() const;
  /// Sets the bounds size and the position; the bounds origin stays.
  void setFrame(CGRect frame);

  // Appearance
  double contentsScale() const { return contentsScale_; }
  void setContentsScale(double scale) { contentsScale_ = scale; }
  bool masksToBounds() const { return masksToBounds_; }
  void setMasksToBounds(bool masks) { masksToBounds_ = masks; }
  double cornerRadius() const { return cornerRadius_; }
  void setCornerRadius(double radius) { cornerRadius_ = radius; }
  double zPosition() const { return zPosition_; }
  void setZPosition(double z) { zPosition_ = z; }
  float opacity() const { return opacity_; }
  void setOpacity(float opacity) { opacity_ = opacity; }
  bool isHidden() const { return hidden_; }
  void setHidden(bool hidden) { hidden_ = hidden; }
  std::optional<CGColor> backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(std::optional<CGColor> color) { backgroundColor_ = color; }

  // Layout
  bool needsLayout() const { return needsLayout_; }
  void setNeedsLayout() { needsLayout_ = true; }
  void layoutIfNeeded() { needsLayout_ = false; }

  // Animations: added with a key; an animation whose span has ended is gone.
  void addAnimation(CABasicAnimation animation, const std::string& key);
  void removeAnimationForKey(const std::string& key);
  void removeAllAnimations();
  /// Keys of the animations that have not finished yet.
  std::vector<std::string> animationKeys() const;
  /// A copy of this layer at its in-flight geometry and opacity while an animation runs on it or
  /// on one of its superlayers; nullptr otherwise. The copy's superlayer is the superlayer's
  /// presentation copy (or the superlayer itself when that is at rest).
  std::shared_ptr<CALayer> presentationLayer() const;
  /// For a presentation copy, the layer it was copied from; otherwise this layer.
  std::shared_ptr<const CALayer> modelLayer() const;

  /// The object this layer draws for (a view), linked weakly.
  std::shared_ptr<NSObject> delegate() const { return delegate_.lock(); }
  void setDelegate(const std::shared_ptr<NSObject>& delegate) { delegate_ = delegate; }
  bool hasDelegate() const { return !delegate_.expired(); }

  // Tree
  std::shared_ptr<CALayer> superlayer() const;
  const std::vector<std::shared_ptr<CALayer>>& sublayers() const { return sublayers_; }
  void addSublayer(const std::shared_ptr<CALayer>& layer);
  void insertSublayer(const std::shared_ptr<CALayer>& layer, size_t index);
  void removeFromSuperlayer();

  /// Converts a rectangle of this layer's space into `layer`'s space. Layers of different trees
  /// (different windows) meet in screen space, where their root layers' frames lie; nullptr
  /// means screen space.
  CGRect convertRect(CGRect rect, const std::shared_ptr<const CALayer>& layer) const;
  CGPoint convertPoint(CGPoint point, const std::shared_ptr<const CALayer>& layer) const;

  // Drawing
  /// Draws the layer and its sublayers as they are in the model (animations are not shown), in
  /// the layer's own coordinate space with its bounds origin at the context's origin: the
  /// background (rounded by the corner radius), the content its delegate view draws, and the
  /// sublayers by z-position (in order where equal), clipped when the layer masks to its bounds.
  /// Hidden and fully transparent layers draw nothing; opacity applies to the layer as a group.
  void renderInContext(CGContextRef context) const;

 private:
  /// Offset of this layer's space from screen space, summed up the tree.
  CGPoint offsetFromScreen() const;
  bool hasRunningAnimation(double now) const;
  bool anyAncestorAnimating(double now) const;
  void applyAnimations(const std::vector<std::pair<std::string, CABasicAnimation>>& animations, double now);

  CGRect bounds_;
  CGPoint position_;
  CGPoint anchorPoint_{0.5, 0.5};
  double contentsScale_ = 1.0;
  bool masksToBounds_ = false;
  double cornerRadius_ = 0;
  double zPosition_ = 0;
  float opacity_ = 1.0f;
  bool hidden_ = false;
  std::optional<CGColor> backgroundColor_;
  bool needsLayout_ = false;

  std::vector<std::pair<std::string, CABasicAnimation>> animations_;
  std::weak_ptr<NSObject> delegate_;
  std::weak_ptr<CALayer> superlayer_;
  std::vector<std::shared_ptr<CALayer>> sublayers_;

  // Set on presentation copies only.
  std::shared_ptr<CALayer> presentationSuperlayer_;
  std::weak_ptr<const CALayer> model_;
};

}  // namespace zerva
