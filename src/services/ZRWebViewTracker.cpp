#include "services/ZRWebViewTracker.h"

namespace zerva {

// Made at build time from webViewOcclusionScript.js (see ZRWebViewOcclusionScript.cpp.in).
extern const char ZRWebViewOcclusionScriptSource[];

std::string ZRWebViewTracker::webViewOcclusionScript() { return ZRWebViewOcclusionScriptSource; }

}  // namespace zerva
