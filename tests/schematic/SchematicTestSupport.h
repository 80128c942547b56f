#pragma once
// Building screen descriptions by hand and reading the drawn pictures back.

#include <algorithm>
#include <climits>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/UIImage.h"
#include "services/HVHierarchyDictionary.h"

namespace zerva::testing {

/// A view at `rect`, clipped to nothing smaller than the screen.
inline HVHierarchyDictionary viewAt(CGRect rect, std::optional<HVValue> background = std::nullopt) {
  HVHierarchyDictionary d;
  d.set(Zerva_HS_Key_ScreenRect, Zerva_rectToFastStore(rect));
  d.set(Zerva_HS_Key_ClipToRect, Zerva_rectToFastStore(CGRectMake(-1000, -1000, 10000, 10000)));
  d.set(Zerva_HS_Key_IsTypeOf, HVTypeTag{&Zerva_HS_KeyTypeOf_View});
  if (background) d.set(Zerva_HS_Key_BackgroundColour, *background);
  return d;
}

inline void setChildren(HVHierarchyDictionary& parent, std::vector<HVHierarchyDictionary> children) {
  parent.set(Zerva_HS_Key_Views, std::make_shared<const HVHierarchyArray>(std::move(children)));
}

inline HVHierarchyDictionary withChildren(HVHierarchyDictionary parent, std::vector<HVHierarchyDictionary> children) {
  setChildren(parent, std::move(children));
  return parent;
}

struct TitleFields {
  std::optional<std::string> text = std::nullopt;
  std::shared_ptr<const NSAttributedString> attributed = nullptr;
  std::optional<UIFont> font = std::nullopt;
  std::optional<double> alignment = std::nullopt;
  std::optional<double> lines = std::nullopt;
};

inline void setTitle(HVHierarchyDictionary& view, const TitleFields& fields) {
  auto title = std::make_shared<HVHierarchyDictionary>();
  if (fields.text) title->set(Zerva_HS_Key_ViewTitle_Text, *fields.text);
  if (fields.attributed) title->set(Zerva_HS_Key_ViewTitle_AttrText, fields.attributed);
  if (fields.font) title->set(Zerva_HS_Key_ViewTitle_Font, *fields.font);
  if (fields.alignment) title->set(Zerva_HS_Key_ViewTitle_Align, *fields.alignment);
  if (fields.lines) title->set(Zerva_HS_Key_ViewTitle_NumberOfTextLines, *fields.lines);
  view.set(Zerva_HS_Key_ViewTitle, std::shared_ptr<const HVHierarchyDictionary>(title));
}

/// A label (type tag Label) with a title, on a background of no colour unless one is given.
inline HVHierarchyDictionary labelAt(CGRect rect, const TitleFields& fields, std::optional<HVValue> background = std::nullopt) {
  auto d = viewAt(rect, background ? *background : HVValue{HVOpaqueObject{"no colour"}});
  d.set(Zerva_HS_Key_IsTypeOf, HVTypeTag{&Zerva_HS_KeyTypeOf_Label});
  setTitle(d, fields);
  return d;
}

/// The box, in pixels, of the pixels in `area` that pass `ink`; nullopt when none do.
inline std::optional<CGRect> inkBox(const UIImage& image, CGRect area, const std::function<bool(CGPixel)>& ink) {
  int x0 = INT_MAX, y0 = INT_MAX, x1 = -1, y1 = -1;
  const int maxX = std::min<int>(static_cast<int>(CGRectGetMaxX(area)), static_cast<int>(image.pixelWidth()));
  const int maxY = std::min<int>(static_cast<int>(CGRectGetMaxY(area)), static_cast<int>(image.pixelHeight()));
  for (int y = std::max(0, static_cast<int>(area.origin.y)); y < maxY; ++y) {
    for (int x = std::max(0, static_cast<int>(area.origin.x)); x < maxX; ++x) {
      if (!ink(image.pixelAt(x, y))) continue;
      x0 = std::min(x0, x), y0 = std::min(y0, y), x1 = std::max(x1, x), y1 = std::max(y1, y);
    }
  }
  if (x1 < 0) return std::nullopt;
  return CGRectMake(x0, y0, x1 + 1 - x0, y1 + 1 - y0);
}

inline bool isDark(CGPixel p) { return p.red + p.green + p.blue < 3 * 100; }
}  // namespace zerva::testing
