#include "platform/WebElement.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "platform/ASCIICase.h"

namespace zerva {

namespace {

bool isOneOf(std::string_view value, std::initializer_list<std::string_view> values) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

}  // namespace

std::optional<std::string> WebElement::attribute(const std::string& name) const {
  auto it = attributes.find(name);
  if (it == attributes.end()) return std::nullopt;
  return it->second;
}

std::vector<std::string> WebElement::classList() const {
  std::vector<std::string> classes;
  auto it = attributes.find("class");
  if (it == attributes.end()) return classes;
  std::string current;
  for (char c : it->second + " ") {
    if (std::isspace(static_cast<unsigned char>(c))) {
      if (!current.empty()) classes.push_back(std::move(current));
      current.clear();
    } else {
      current += c;
    }
  }
  return classes;
}

bool WebElement::hasClass(const std::string& name) const {
  auto classes = classList();
  return std::find(classes.begin(), classes.end(), name) != classes.end();
}

std::string WebElement::computedDisplay() const {
  if (display) return *display;
  if (hasAttribute("hidden")) return "none";
  if (tagName == "input" && domType() == "hidden") return "none";
  // The user-agent style sheet's values for the tags pages are made of.
  if (isOneOf(tagName, {"input", "button", "select", "textarea", "img"})) return "inline-block";
  if (isOneOf(tagName, {"span", "a", "label", "b", "i", "em", "strong", "small", "code"})) return "inline";
  if (isOneOf(tagName, {"script", "style", "head", "template", "meta", "link", "title"})) return "none";
  return "block";
}

std::optional<std::string> WebElement::domType() const {
  if (tagName == "input") {
    static constexpr std::array<std::string_view, 22> kInputTypes = {
        "button", "checkbox", "color",  "date",     "datetime-local", "email", "file",   "hidden",
        "image",  "month",    "number", "password", "radio",          "range", "reset",  "search",
        "submit", "tel",      "text",   "time",     "url",            "week"};
    std::string type = lowercase(attribute("type").value_or("text"));
    return std::find(kInputTypes.begin(), kInputTypes.end(), type) != kInputTypes.end() ? type : "text";
  }
  if (tagName == "textarea") return "textarea";
  if (tagName == "select") return hasAttribute("multiple") ? "select-multiple" : "select-one";
  if (tagName == "button") {
    std::string type = lowercase(attribute("type").value_or("submit"));
    return isOneOf(type, {"submit", "reset", "button"}) ? type : "submit";
  }
  return std::nullopt;
}

}  // namespace zerva
