#pragma once
// The page a web view shows: the elements of its body and the scripts it runs when it loads.
// A plain value, built in code or read by the scenes from JSON (docs/web-pages.md).

#include <optional>
#include <string>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/WebElement.h"

namespace zerva {

struct WebPage {
  /// The children of <body>, in document order.
  std::vector<WebElement> body;
  /// Script texts run in order when the page loads, as its inline <script> elements would be.
  std::vector<std::string> scripts;
  /// The scrollable size in CSS pixels; none: the union of the elements' frames.
  std::optional<CGSize> contentSize;

  /// contentSize, or the extent of every element's frame from the page origin.
  CGSize resolvedContentSize() const;
};

}  // namespace zerva
