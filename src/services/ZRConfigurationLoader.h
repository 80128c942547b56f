#pragma once
// Loads the SDK configuration from JSON (see docs/configuration.md): session settings, the
// internal configuration with its occlusion rules, and the log switches. The whole document is
// checked before anything is applied; a bad document changes nothing and says what is wrong and
// where.

#include <string>

#include "platform/NSError.h"

namespace zerva {

class ZRConfigurationLoader {
 public:
  [[nodiscard]] static NSErrorOrNil loadFile(const std::string& path);
  /// `documentName` names the text in error messages.
  [[nodiscard]] static NSErrorOrNil loadText(const std::string& text, const std::string& documentName);
};

}  // namespace zerva
