#pragma once
// The CSS selectors the stand-in page answers: a comma-separated list of compound selectors, each
// made of an optional tag name or "*" and any number of "#id", ".class", "[name]", "[name=value]"
// (value bare or quoted) and "[name~=value]" (one of its space-separated words). Combinators
// and pseudo-classes are not understood; such a list does not parse.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/WebElement.h"

namespace zerva {

class WebSelector {
 public:
  /// None when the text is not a selector list of the form above.
  static std::optional<WebSelector> parse(std::string_view text);

  bool matches(const WebElement& element) const;

 private:
  struct AttributeTest {
    enum class Kind { Present, Equals, ContainsWord } kind = Kind::Present;
    std::string name;
    std::string value;
  };
  struct Compound {
    std::string tag;  // empty: any
    std::vector<std::string> ids;
    std::vector<std::string> classes;
    std::vector<AttributeTest> attributes;
  };

  static bool matches(const Compound& compound, const WebElement& element);

  std::vector<Compound> alternatives_;
};

}  // namespace zerva
