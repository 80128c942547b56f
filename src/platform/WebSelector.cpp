#include "platform/WebSelector.h"

#include <algorithm>
#include <cctype>

#include "platform/ASCIICase.h"

namespace zerva {

namespace {

class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  bool atEnd() const { return pos_ >= text_.size(); }
  char peek() const { return atEnd() ? '\0' : text_[pos_]; }
  bool take(char c) {
    if (peek() != c) return false;
    ++pos_;
    return true;
  }
  void skipSpace() {
    while (!atEnd() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
  }
  /// A CSS identifier without escapes (letters, digits, '-', '_' and non-ASCII bytes).
  std::optional<std::string> identifier() {
    size_t start = pos_;
    while (!atEnd()) {
      unsigned char c = static_cast<unsigned char>(text_[pos_]);
      if (!(std::isalnum(c) || c == '-' || c == '_' || c >= 0x80)) break;
      ++pos_;
    }
    if (pos_ == start) return std::nullopt;
    return std::string(text_.substr(start, pos_ - start));
  }
  std::optional<std::string> quoted() {
    char quote = peek();
    if (quote != '"' && quote != '\'') return identifier();
    size_t end = text_.find(quote, pos_ + 1);
    if (end == std::string_view::npos) return std::nullopt;
    std::string value(text_.substr(pos_ + 1, end - pos_ - 1));
    pos_ = end + 1;
    return value;
  }

 private:
  std::string_view text_;
  size_t pos_ = 0;
};

/// `word` is one of the white-space separated words of `list`.
bool containsWord(std::string_view list, std::string_view word) {
  if (word.empty()) return false;
  size_t pos = 0;
  while ((pos = list.find(word, pos)) != std::string_view::npos) {
    bool startsWord = pos == 0 || std::isspace(static_cast<unsigned char>(list[pos - 1]));
    size_t end = pos + word.size();
    bool endsWord = end == list.size() || std::isspace(static_cast<unsigned char>(list[end]));
    if (startsWord && endsWord) return true;
    pos = end;
  }
  return false;
}

}  // namespace

std::optional<WebSelector> WebSelector::parse(std::string_view text) {
  WebSelector selector;
  Scanner in(text);
  while (true) {
    in.skipSpace();
    Compound compound;
    bool empty = true;
    if (in.take('*')) {
      empty = false;
    } else if (auto tag = in.identifier()) {
      compound.tag = lowercase(*tag);
      empty = false;
    }
    while (true) {
      if (in.take('#')) {
        auto id = in.identifier();
        if (!id) return std::nullopt;
        compound.ids.push_back(*id);
      } else if (in.take('.')) {
        auto name = in.identifier();
        if (!name) return std::nullopt;
        compound.classes.push_back(*name);
      } else if (in.take('[')) {
        in.skipSpace();
        AttributeTest test;
        auto name = in.identifier();
        if (!name) return std::nullopt;
        test.name = lowercase(*name);
        in.skipSpace();
        if (in.take('~')) {
          if (!in.take('=')) return std::nullopt;
          test.kind = AttributeTest::Kind::ContainsWord;
        } else if (in.take('=')) {
          test.kind = AttributeTest::Kind::Equals;
        }
        if (test.kind != AttributeTest::Kind::Present) {
          in.skipSpace();
          auto value = in.quoted();
          if (!value) return std::nullopt;
          test.value = *value;
          in.skipSpace();
        }
        if (!in.take(']')) return std::nullopt;
        compound.attributes.push_back(std::move(test));
      } else {
        break;
      }
      empty = false;
    }
    if (empty) return std::nullopt;
    selector.alternatives_.push_back(std::move(compound));
    in.skipSpace();
    if (in.atEnd()) return selector;
    if (!in.take(',')) return std::nullopt;  // a combinator or something else we do not understand
  }
}

bool WebSelector::matches(const WebElement& element) const {
  return std::any_of(alternatives_.begin(), alternatives_.end(),
                     [&](const Compound& compound) { return matches(compound, element); });
}

bool WebSelector::matches(const Compound& compound, const WebElement& element) {
  if (!compound.tag.empty() && compound.tag != element.tagName) return false;
  auto id = element.attribute("id");
  for (const auto& wanted : compound.ids) {
    if (id != wanted) return false;
  }
  for (const auto& wanted : compound.classes) {
    if (!element.hasClass(wanted)) return false;
  }
  for (const auto& test : compound.attributes) {
    auto value = element.attribute(test.name);
    if (!value) return false;
    switch (test.kind) {
      case AttributeTest::Kind::Present: break;
      case AttributeTest::Kind::Equals:
        if (*value != test.value) return false;
        break;
      case AttributeTest::Kind::ContainsWord:
        if (!containsWord(*value, test.value)) return false;
        break;
    }
  }
  return true;
}

}  // namespace zerva
