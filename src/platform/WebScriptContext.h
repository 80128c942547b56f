#pragma once
// The script environment of one loaded page: a JavaScript heap whose globals outlive each
// evaluation, with `window` and `document` offering the part of the DOM that page scripts of the
// SDK use (docs/web-pages.md lists it). The engine stays behind this class.
//
// Not thread-safe: one thread (the main thread) makes, uses and destroys a context.

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/CGGeometry.h"
#include "platform/NSError.h"
#include "platform/WebPage.h"

namespace zerva {

class WebScriptContext {
 public:
  /// What the page's window reports during an evaluation, in CSS pixels.
  struct Viewport {
    CGPoint scroll;  // window.scrollX / scrollY
    CGSize size;     // window.innerWidth / innerHeight
  };
  struct Limits {
    /// Real time one evaluation may run before it is stopped with an error.
    double timeoutSeconds = 1.0;
    /// Memory the whole heap may hold.
    size_t memoryBytes = size_t{64} << 20;
  };
  /// The script's value (none for undefined), or an error in WKErrorDomain.
  struct Result {
    std::optional<nlohmann::json> value;
    NSErrorOrNil error;
  };

  /// Builds the page's document and runs `userScripts`, then the page's own load scripts;
  /// errors of those are logged.
  WebScriptContext(std::shared_ptr<const WebPage> page, const std::vector<std::string>& userScripts, Limits limits,
                   const Viewport& viewport);
  ~WebScriptContext();
  WebScriptContext(const WebScriptContext&) = delete;
  WebScriptContext& operator=(const WebScriptContext&) = delete;

  /// Runs `script` as global code and converts its completion value: null, booleans, numbers
  /// and strings as themselves, arrays (holes as null) and plain objects (own enumerable
  /// properties, undefined ones left out) recursively. Functions and other values JSON cannot
  /// hold, and cycles, are WKErrorJavaScriptResultTypeIsUnsupported.
  Result evaluate(std::string_view script, const Viewport& viewport);

  const Limits& limits() const;
  void setTimeoutSeconds(double seconds);
  /// Applies to later allocations; memory already held stays.
  void setMemoryLimit(size_t bytes);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zerva
