#pragma once
// A font: the one fixed family the platform stand-in draws with (DejaVu Sans), at a size.

#include <string>

namespace zerva {

class UIFont {
 public:
  static UIFont systemFontOfSize(double pointSize);
  static UIFont boldSystemFontOfSize(double pointSize);

  double pointSize() const { return pointSize_; }
  bool isBold() const { return bold_; }
  std::string familyName() const { return "DejaVu Sans"; }
  /// Ascender plus descender of DejaVu Sans (2384 of 2048 units per em), in points.
  double lineHeight() const;
  double ascender() const;
  double descender() const;  // negative, as the platform reports it

  friend bool operator==(const UIFont&, const UIFont&) = default;

 private:
  UIFont(double size, bool bold) : pointSize_(size), bold_(bold) {}
  double pointSize_;
  bool bold_;
};

}  // namespace zerva
