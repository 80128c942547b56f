#pragma once
// Case folding of ASCII letters only, as HTML folds tag and attribute names; other bytes
// (UTF-8 included) stay as they are.

#include <algorithm>
#include <cctype>
#include <string>

namespace zerva {

inline std::string lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

inline std::string uppercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

}  // namespace zerva
