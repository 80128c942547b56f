#pragma once
// One element of a web view's page: what a laid-out document would tell a script about it.
// The stand-in has no markup, styles or layout engine; each element carries its outcome instead:
// its box in page coordinates and the display and visibility its styles gave it.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/UIColor.h"

namespace zerva {

struct WebElement {
  /// Lower case, as in markup: "input", "div".
  std::string tagName = "div";
  /// Every attribute by lower-case name, "type", "id", "class" and "hidden" included; an attribute
  /// without a value (`hidden`, `data-zerva-sensitive`) has the empty string.
  std::map<std::string, std::string> attributes;
  std::string text;   // textContent
  std::string value;  // the current value of a form control
  /// The border box in CSS pixels of the page (document coordinates, unaffected by scrolling).
  CGRect frame;
  /// The author's `display`; none means the browser's default: "none" under the hidden attribute,
  /// otherwise the tag's usual value.
  std::optional<std::string> display;
  /// The author's `visibility`; none inherits the parent's (the root's is "visible").
  std::optional<std::string> visibility;
  /// The author's `color` and `background-color`; none keeps the browser's defaults.
  std::optional<UIColor> color;
  std::optional<UIColor> background;
  std::vector<WebElement> children;

  /// The attribute's value, or none when the element lacks it.
  std::optional<std::string> attribute(const std::string& name) const;
  bool hasAttribute(const std::string& name) const { return attributes.contains(name); }
  /// The class attribute split at white space.
  std::vector<std::string> classList() const;
  bool hasClass(const std::string& name) const;
  /// The `display` styles resolve to for this element alone (ancestors aside).
  std::string computedDisplay() const;
  /// The DOM's `type` property: input types in lower case, an unknown or missing one reading
  /// "text"; "textarea", "select-one"/"select-multiple" and button types; none for other tags.
  std::optional<std::string> domType() const;
};

}  // namespace zerva
