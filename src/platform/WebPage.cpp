#include "platform/WebPage.h"

#include <algorithm>

namespace zerva {

namespace {

void extendSize(const std::vector<WebElement>& elements, CGSize& size) {
  for (const auto& element : elements) {
    CGRect r = CGRectStandardize(element.frame);
    size.width = std::max(size.width, CGRectGetMaxX(r));
    size.height = std::max(size.height, CGRectGetMaxY(r));
    extendSize(element.children, size);
  }
}

}  // namespace

CGSize WebPage::resolvedContentSize() const {
  if (contentSize) return *contentSize;
  CGSize size;
  extendSize(body, size);
  return size;
}

}  // namespace zerva
