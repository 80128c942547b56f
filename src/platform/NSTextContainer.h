#pragma once
// The region a layout manager sets text in: a size, the padding at both ends of each line, a
// line limit and the line-break mode of the last line.

#include <cstddef>

#include "platform/CGGeometry.h"
#include "platform/NSObject.h"
#include "platform/NSParagraphStyle.h"

namespace zerva {

class NSTextContainer : public NSObject {
  ZR_DECLARE_CLASS(NSTextContainer)
 public:
  NSTextContainer() = default;
  /// initWithSize:. A width or height that is not a positive finite number means no limit.
  explicit NSTextContainer(CGSize size) : size_(size) {}

  CGSize size() const { return size_; }
  void setSize(CGSize size) { size_ = size; }
  /// Inset of the text from the container's left and right edges; 5 points by default.
  CGFloat lineFragmentPadding() const { return lineFragmentPadding_; }
  void setLineFragmentPadding(CGFloat padding) { lineFragmentPadding_ = padding; }
  /// 0: no limit.
  std::size_t maximumNumberOfLines() const { return maximumNumberOfLines_; }
  void setMaximumNumberOfLines(std::size_t lines) { maximumNumberOfLines_ = lines; }
  /// A truncating mode ends the last line in "…" when text is left out.
  NSLineBreakMode lineBreakMode() const { return lineBreakMode_; }
  void setLineBreakMode(NSLineBreakMode mode) { lineBreakMode_ = mode; }

 private:
  CGSize size_{};
  CGFloat lineFragmentPadding_ = 5;
  std::size_t maximumNumberOfLines_ = 0;
  NSLineBreakMode lineBreakMode_ = NSLineBreakByWordWrapping;
};

}  // namespace zerva
