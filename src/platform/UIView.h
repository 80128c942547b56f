#pragma once
// A view: a rectangle in its superview with a background, alpha, clipping and subviews, backed by
// a layer that holds its geometry. Views keep their subviews strongly and their superview weakly.
// Main thread only.

#include <memory>
#include <optional>
#include <vector>

#include "platform/CALayer.h"
#include "platform/CGGeometry.h"
#include "platform/NSObject.h"
#include "platform/UIColor.h"
#include "platform/UICoordinateSpace.h"
#include "platform/UIKitTypes.h"

namespace zerva {

class UIWindow;

class UIView : public NSObject, public UICoordinateSpace {
  ZR_DECLARE_CLASS(UIView)
 public:
  /// `layerClass` chooses the kind of the backing layer (a CALayer when null).
  explicit UIView(CGRect frame = CGRectZero, Class layerClass = nullptr);
  ~UIView() override;

  /// The backing layer; its delegate is this view.
  std::shared_ptr<CALayer> layer() const;

  // Geometry (stored in the layer)
  CGRect frame() const { return layer_->frame(); }
  void setFrame(CGRect frame) { layer_->setFrame(frame); }
  CGRect bounds() const override { return layer_->bounds(); }
  void setBounds(CGRect bounds) { layer_->setBounds(bounds); }
  CGPoint center() const { return layer_->position(); }
  void setCenter(CGPoint center) { layer_->setPosition(center); }

  // Appearance
  double alpha() const { return layer_->opacity(); }
  void setAlpha(double alpha);
  bool isHidden() const { return layer_->isHidden(); }
  void setHidden(bool hidden) { layer_->setHidden(hidden); }
  bool isOpaque() const { return opaque_; }
  void setOpaque(bool opaque) { opaque_ = opaque; }
  const std::optional<UIColor>& backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(std::optional<UIColor> color);
  bool clipsToBounds() const { return layer_->masksToBounds(); }
  void setClipsToBounds(bool clips) { layer_->setMasksToBounds(clips); }
  UIEdgeInsets safeAreaInsets() const { return safeAreaInsets_; }
  /// The stand-in's own setter: on a device, the system sets the insets.
  void setSafeAreaInsets(UIEdgeInsets insets) { safeAreaInsets_ = insets; }

  // Hierarchy
  std::shared_ptr<UIView> superview() const { return superview_.lock(); }
  const std::vector<std::shared_ptr<UIView>>& subviews() const { return subviews_; }
  void addSubview(const std::shared_ptr<UIView>& view);
  void insertSubview(const std::shared_ptr<UIView>& view, size_t index);
  void removeFromSuperview();
  /// The window this view is in (a window is its own), or nullptr.
  virtual std::shared_ptr<UIWindow> window() const;
  /// This view is `view` or lies inside it.
  bool isDescendantOfView(const std::shared_ptr<const UIView>& view) const;

  // Drawing
  /// Draws the view's tree as it is on screen now (in-flight positions during animations),
  /// scaled from the view's bounds into `rect` of the current context. NO without a context.
  bool drawViewHierarchyInRect(CGRect rect, bool afterScreenUpdates) const;
  /// Draws the view's own content (not its background or subviews) into the current context,
  /// in its bounds' coordinates. Nothing for a plain view.
  virtual void drawRect(CGRect rect) const;

  // UICoordinateSpace: views sit in their window, windows in the screen's interface space.
  CGPoint convertPointToFixedScreenSpace(CGPoint point) const override;
  CGPoint convertPointFromFixedScreenSpace(CGPoint point) const override;

 protected:
  /// Called after the view joined or left a superview.
  virtual void didMoveToSuperview() {}

 private:
  void linkLayerToSelf() const;

  std::shared_ptr<CALayer> layer_;
  std::weak_ptr<UIView> superview_;
  std::vector<std::shared_ptr<UIView>> subviews_;
  std::optional<UIColor> backgroundColor_;
  bool opaque_ = true;
  UIEdgeInsets safeAreaInsets_;
};

}  // namespace zerva
