#pragma once
// Web pages of scenes, read from JSON (docs/web-pages.md). Reading is strict and names the JSON
// path of a problem. "definesOcclusionFunction" stands for a page that includes the SDK's web
// snippet: the snippet becomes the page's first script.

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "platform/NSResult.h"
#include "platform/WebPage.h"

namespace zerva {

class ZRJSONReader;

inline const std::string WebPageErrorDomain = "WebPageError";

class ScenePageReader {
 public:
  /// Reads a page from JSON text; the error (domain WebPageErrorDomain, code 1) names
  /// `documentName` and the JSON path.
  static NSResult<WebPage> pageWithJSON(std::string_view text, const std::string& documentName = "page");
  /// Reads a page that is part of a larger document, recording problems in `reader`.
  static std::optional<WebPage> readPage(ZRJSONReader& reader, const nlohmann::json& value, const std::string& path);
};

}  // namespace zerva
