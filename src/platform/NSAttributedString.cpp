#include "platform/NSAttributedString.h"

#include <algorithm>
#include <stdexcept>

#include "platform/TextLayout.h"

namespace zerva {

ZR_DEFINE_CLASS(NSAttributedString, NSObject, [] { return std::make_shared<NSAttributedString>(); })
ZR_DEFINE_CLASS(NSMutableAttributedString, NSAttributedString, [] { return std::make_shared<NSMutableAttributedString>(); })

NSAttributedString::NSAttributedString(std::string text, const NSStringAttributes& attributes) : text_(std::move(text)) {
  if (!text_.empty()) runs_.push_back({NSMakeRange(0, text_.size()), attributes});
}

NSStringAttributes NSAttributedString::attributesAtIndex(std::size_t index, NSRange* effectiveRange) const {
  for (const Run& run : runs_) {
    if (index >= run.range.location && index < NSMaxRange(run.range)) {
      if (effectiveRange) *effectiveRange = run.range;
      return run.attributes;
    }
  }
  throw std::out_of_range("NSAttributedString attributesAtIndex: index " + std::to_string(index) +
                          " beyond bounds of length " + std::to_string(length()));
}

std::shared_ptr<NSMutableAttributedString> NSAttributedString::mutableCopy() const {
  auto copy = std::make_shared<NSMutableAttributedString>();
  copy->text_ = text_;
  copy->runs_ = runs_;
  return copy;
}

CGRect NSAttributedString::boundingRectWithSize(CGSize size, NSStringDrawingOptions options) const {
  return measureText(text_, runs_, TextFrame::forOptions(size, options)).usedRect;
}

void NSAttributedString::drawWithRect(CGRect rect, NSStringDrawingOptions options) const {
  CGContextRef c = UIGraphicsGetCurrentContext();
  if (!c) return;
  const CGRect r = CGRectStandardize(rect);
  drawText(*c, r.origin, text_, runs_, TextFrame::forOptions(r.size, options));
}

void NSAttributedString::splitRunAt(std::size_t index) {
  for (auto it = runs_.begin(); it != runs_.end(); ++it) {
    if (index > it->range.location && index < NSMaxRange(it->range)) {
      Run tail{NSMakeRange(index, NSMaxRange(it->range) - index), it->attributes};
      it->range.length = index - it->range.location;
      runs_.insert(it + 1, tail);
      return;
    }
  }
}

void NSAttributedString::mergeEqualRuns() {
  std::vector<Run> merged;
  for (Run& run : runs_) {
    if (!merged.empty() && merged.back().attributes == run.attributes) {
      merged.back().range.length += run.range.length;
    } else {
      merged.push_back(std::move(run));
    }
  }
  runs_ = std::move(merged);
}

template <typename Edit>
void NSAttributedString::editAttributes(NSRange range, Edit edit) {
  const std::size_t start = std::min(range.location, length());
  const std::size_t end = std::min(length(), start + std::min(range.length, length() - start));
  if (start >= end) return;
  splitRunAt(start);
  splitRunAt(end);
  for (Run& run : runs_) {
    if (run.range.location >= start && NSMaxRange(run.range) <= end) edit(run.attributes);
  }
  mergeEqualRuns();
}

void NSMutableAttributedString::addAttributes(const NSStringAttributes& attributes, NSRange range) {
  editAttributes(range, [&](NSStringAttributes& a) { a.addEntriesFrom(attributes); });
}

void NSMutableAttributedString::removeAttribute(NSAttributedStringKey name, NSRange range) {
  editAttributes(range, [&](NSStringAttributes& a) { a.removeValueForKey(name); });
}

void NSMutableAttributedString::setAttributes(const NSStringAttributes& attributes, NSRange range) {
  editAttributes(range, [&](NSStringAttributes& a) { a = attributes; });
}

void NSMutableAttributedString::appendAttributedString(const NSAttributedString& other) {
  const std::size_t offset = length();
  text_ += other.string();
  for (Run run : other.runs()) {
    run.range.location += offset;
    runs_.push_back(std::move(run));
  }
  mergeEqualRuns();
}

}  // namespace zerva
