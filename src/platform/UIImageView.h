#pragma once
// A view that shows an image, stretched to its bounds.

#include <memory>

#include "platform/UIView.h"

namespace zerva {

class UIImage;

class UIImageView : public UIView {
  ZR_DECLARE_CLASS(UIImageView)
 public:
  explicit UIImageView(CGRect frame = CGRectZero);

  std::shared_ptr<UIImage> image() const { return image_; }
  void setImage(std::shared_ptr<UIImage> image) { image_ = std::move(image); }

  /// The image stretched over the bounds.
  void drawRect(CGRect rect) const override;

 private:
  std::shared_ptr<UIImage> image_;
};

}  // namespace zerva
