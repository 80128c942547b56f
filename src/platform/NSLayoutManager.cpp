#include "platform/NSLayoutManager.h"

#include <algorithm>

#include "platform/NSTextStorage.h"
#include "platform/TextLayout.h"

namespace zerva {

ZR_DEFINE_CLASS(NSLayoutManager, NSObject, [] { return std::make_shared<NSLayoutManager>(); })

namespace {

TextFrame frameFor(const NSTextContainer& container) {
  TextFrame f;
  const double padding = std::max(0.0, container.lineFragmentPadding());
  f.width = container.size().width > 0 ? container.size().width - 2 * padding : 0;
  if (!(f.width > 0) && container.size().width > 0) f.width = 1e-3;  // padding eats it all
  f.height = container.size().height;
  f.maximumNumberOfLines = container.maximumNumberOfLines();
  const NSLineBreakMode mode = container.lineBreakMode();
  f.truncateLastVisibleLine = mode >= NSLineBreakByTruncatingHead && mode <= NSLineBreakByTruncatingMiddle;
  return f;
}

// The runs of [start, end), re-based to start at 0.
std::vector<NSAttributedString::Run> runsBetween(const NSAttributedString& text, std::size_t start, std::size_t end) {
  std::vector<NSAttributedString::Run> runs;
  for (const NSAttributedString::Run& run : text.runs()) {
    const std::size_t a = std::max(start, run.range.location), b = std::min(end, NSMaxRange(run.range));
    if (a < b) runs.push_back({NSMakeRange(a - start, b - a), run.attributes});
  }
  return runs;
}

struct ContainerRanges {
  std::vector<NSRange> ranges;  // one per container, in order
};

ContainerRanges layOut(const NSTextStorage& storage, const std::vector<std::shared_ptr<NSTextContainer>>& containers) {
  ContainerRanges out;
  std::size_t start = 0;
  const std::string& text = storage.string();
  for (const auto& container : containers) {
    if (start >= text.size()) {
      out.ranges.push_back(NSMakeRange(text.size(), 0));
      continue;
    }
    const auto runs = runsBetween(storage, start, text.size());
    const TextMetrics m = measureText(std::string_view(text).substr(start), runs, frameFor(*container));
    out.ranges.push_back(NSMakeRange(start, m.visibleLength));
    start += m.visibleLength;
  }
  return out;
}

}  // namespace

void NSLayoutManager::addTextContainer(std::shared_ptr<NSTextContainer> container) {
  if (container) textContainers_.push_back(std::move(container));
}

NSRange NSLayoutManager::glyphRangeForTextContainer(const std::shared_ptr<NSTextContainer>& container) const {
  auto storage = textStorage();
  auto it = std::find(textContainers_.begin(), textContainers_.end(), container);
  if (!storage || it == textContainers_.end()) return {};
  return layOut(*storage, textContainers_).ranges[static_cast<std::size_t>(it - textContainers_.begin())];
}

void NSLayoutManager::drawBackgroundForGlyphRange(NSRange, CGPoint) const {}

void NSLayoutManager::drawGlyphsForGlyphRange(NSRange glyphsToShow, CGPoint origin) const {
  CGContextRef c = UIGraphicsGetCurrentContext();
  auto storage = textStorage();
  if (!c || !storage || glyphsToShow.length == 0) return;
  const ContainerRanges laid = layOut(*storage, textContainers_);
  for (std::size_t i = 0; i < laid.ranges.size(); ++i) {
    const NSRange r = laid.ranges[i];
    if (glyphsToShow.location < r.location || glyphsToShow.location >= NSMaxRange(r)) continue;
    const NSTextContainer& container = *textContainers_[i];
    // Set from the container's first character to the end, as layOut did: the container's own
    // limits leave out the text that flows on.
    const auto runs = runsBetween(*storage, r.location, storage->length());
    const CGPoint at{origin.x + std::max(0.0, container.lineFragmentPadding()), origin.y};
    drawText(*c, at, std::string_view(storage->string()).substr(r.location), runs, frameFor(container));
    return;
  }
}

}  // namespace zerva
