#pragma once
// The page a web view shows: the elements of its body, the scripts it runs when it loads, and
// whether it includes the SDK's web snippet (which defines "occludeZervaElements"). Built in code
// or read from JSON (docs/web-pages.md); reading is strict and names the JSON path of a problem.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/CGGeometry.h"
#include "platform/NSError.h"
#include "platform/WebElement.h"

namespace zerva {

class ZRJSONReader;

inline const std::string WebPageErrorDomain = "WebPageError";

struct WebPage {
  /// The children of <body>, in document order.
  std::vector<WebElement> body;
  /// Script texts run in order when the page loads, as its inline <script> elements would be.
  std::vector<std::string> scripts;
  /// The page includes the SDK's web snippet: "occludeZervaElements" exists once it has loaded.
  bool definesOcclusionFunction = false;
  /// The scrollable size in CSS pixels; none: the union of the elements' frames.
  std::optional<CGSize> contentSize;

  /// contentSize, or the extent of every element's frame from the page origin.
  CGSize resolvedContentSize() const;

  /// Reads a page from JSON text; on failure returns none and sets `error` (domain
  /// WebPageErrorDomain, code 1) whose description names `documentName` and the JSON path.
  static std::optional<WebPage> pageWithJSON(std::string_view text, NSErrorOrNil* error = nullptr,
                                             const std::string& documentName = "page");
  /// Reads a page that is part of a larger document, recording problems in `reader`.
  static std::optional<WebPage> readPage(ZRJSONReader& reader, const nlohmann::json& value, const std::string& path);
};

}  // namespace zerva
