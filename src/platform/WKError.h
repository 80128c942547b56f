#pragma once
// The web view's errors, as script evaluation reports them.

#include <string>

namespace zerva {

inline const std::string WKErrorDomain = "WKErrorDomain";

enum WKErrorCode : long {
  WKErrorUnknown = 1,
  WKErrorWebContentProcessTerminated = 2,
  WKErrorWebViewInvalidated = 3,
  WKErrorJavaScriptExceptionOccurred = 4,
  WKErrorJavaScriptResultTypeIsUnsupported = 5,
};

// userInfo keys of a WKErrorJavaScriptExceptionOccurred error.
inline const std::string WKJavaScriptExceptionMessageErrorKey = "WKJavaScriptExceptionMessage";
inline const std::string WKJavaScriptExceptionLineNumberErrorKey = "WKJavaScriptExceptionLineNumber";

}  // namespace zerva
