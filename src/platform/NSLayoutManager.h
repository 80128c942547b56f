#pragma once
// Lays a text storage's text out in text containers and draws it. The least the stand-in needs:
// text flows through the containers in order; glyph indices are the text's byte indices (one
// glyph per byte); there are no background attributes, so backgrounds draw nothing.

#include <memory>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/NSObject.h"
#include "platform/NSRange.h"
#include "platform/NSTextContainer.h"

namespace zerva {

class NSTextStorage;

class NSLayoutManager : public NSObject {
  ZR_DECLARE_CLASS(NSLayoutManager)
 public:
  const std::vector<std::shared_ptr<NSTextContainer>>& textContainers() const { return textContainers_; }
  void addTextContainer(std::shared_ptr<NSTextContainer> container);
  /// The storage this manager was added to, while it lives.
  std::shared_ptr<NSTextStorage> textStorage() const { return textStorage_.lock(); }
  /// Called by NSTextStorage::addLayoutManager.
  void setTextStorage(const std::shared_ptr<NSTextStorage>& storage) { textStorage_ = storage; }

  /// The part of the text set in the container: {0, 0} for a container not of this manager.
  NSRange glyphRangeForTextContainer(const std::shared_ptr<NSTextContainer>& container) const;
  void drawBackgroundForGlyphRange(NSRange glyphsToShow, CGPoint origin) const;
  /// Draws, into the current context, the lines of the container that holds the range's first
  /// glyph, with the container's top-left at the origin. An empty range draws nothing.
  void drawGlyphsForGlyphRange(NSRange glyphsToShow, CGPoint origin) const;

 private:
  std::vector<std::shared_ptr<NSTextContainer>> textContainers_;
  std::weak_ptr<NSTextStorage> textStorage_;
};

}  // namespace zerva
