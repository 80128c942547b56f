// JSON to hierarchy dictionaries for the fuzzer (see the header for the mapping).

#include "HierarchyFromJSON.h"

#include <algorithm>
#include <memory>

#include "platform/CGContext.h"
#include "platform/NSLayoutManager.h"
#include "platform/NSTextContainer.h"
#include "platform/NSTextStorage.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"

namespace zerva::fuzzing {

namespace {

using json = nlohmann::json;

std::optional<std::array<double, 4>> fourNumbers(const json& value) {
  if (!value.is_array() || value.size() != 4) return std::nullopt;
  std::array<double, 4> out{};
  for (size_t i = 0; i < 4; ++i) {
    if (!value[i].is_number()) return std::nullopt;
    out[i] = value[i].get<double>();
  }
  return out;
}

const std::string* typeConstantNamed(const std::string& name) {
  for (const std::string* constant :
       {&Zerva_HS_KeyTypeOf_View, &Zerva_HS_KeyTypeOf_Window, &Zerva_HS_KeyTypeOf_Label, &Zerva_HS_KeyTypeOf_TextField,
        &Zerva_HS_KeyTypeOf_ImageView, &Zerva_HS_KeyTypeOf_ScrollView, &Zerva_HS_KeyTypeOf_WebView,
        &Zerva_HS_KeyTypeOf_AlertView, &Zerva_HS_KeyTypeOf_RNTextView}) {
    if (*constant == name) return constant;
  }
  return nullptr;
}

std::shared_ptr<const UIImage> solidImage(double width, double height) {
  const CGSize size{std::clamp(width, 1.0, 64.0), std::clamp(height, 1.0, 64.0)};
  UIGraphicsImageRendererFormat format;
  format.setScale(1);
  return UIGraphicsImageRenderer(size, format).imageWithActions([&](UIGraphicsImageRendererContext& context) {
    CGContextSetFillColorWithColor(context.CGContext(), UIColor::blueColor().cgColor());
    CGContextFillRect(context.CGContext(), CGRect{CGPointZero, size});
  });
}

HVValue plainValue(const json& value, int depth) {
  if (value.is_boolean()) return value.get<bool>();
  if (value.is_number()) return value.get<double>();
  if (value.is_string()) return value.get<std::string>();
  if (value.is_object() && depth > 0) {
    return std::shared_ptr<const HVHierarchyDictionary>(
        std::make_shared<HVHierarchyDictionary>(hierarchyFromJSON(value, depth - 1)));
  }
  return HVOpaqueObject{value.type_name()};
}

HVValue valueFor(const std::string& key, const json& value, int depth) {
  if (key == Zerva_HS_Key_ScreenRect || key == Zerva_HS_Key_ClipToRect) {
    if (auto xywh = fourNumbers(value)) return Zerva_rectToFastStore(CGRectMake((*xywh)[0], (*xywh)[1], (*xywh)[2], (*xywh)[3]));
  } else if (key == Zerva_HS_Key_IsTypeOf) {
    if (value.is_string()) {
      if (const std::string* constant = typeConstantNamed(value.get<std::string>())) return HVTypeTag{constant};
    }
  } else if (key == Zerva_HS_Key_BackgroundColour || key == Zerva_HS_Key_ForegroundColour) {
    if (auto rgba = fourNumbers(value)) return UIColor::colorWithRed((*rgba)[0], (*rgba)[1], (*rgba)[2], (*rgba)[3]);
  } else if (key == Zerva_HS_Key_ViewTitle_Font) {
    if (value.is_number()) return UIFont::systemFontOfSize(value.get<double>());
  } else if (key == Zerva_HS_Key_Views) {
    if (value.is_array() && depth > 0) {
      auto children = std::make_shared<HVHierarchyArray>();
      for (const json& child : value) {
        if (child.is_object()) children->push_back(hierarchyFromJSON(child, depth - 1));
      }
      return std::shared_ptr<const HVHierarchyArray>(children);
    }
  } else if (key == Zerva_HS_Key_ViewTitle_AttrText) {
    if (value.is_string()) {
      NSStringAttributes attributes;
      attributes.font = UIFont::systemFontOfSize(20);
      attributes.foregroundColor = UIColor::redColor();
      return std::shared_ptr<const NSAttributedString>(std::make_shared<NSAttributedString>(value.get<std::string>(), attributes));
    }
  } else if (key == Zerva_HS_Key_DirectImage) {
    if (value.is_array() && value.size() == 2 && value[0].is_number() && value[1].is_number()) {
      return solidImage(value[0].get<double>(), value[1].get<double>());
    }
  } else if (key == Zerva_HS_KeyTypeOf_RNTextView) {
    if (value.is_string()) {
      auto storage = std::make_shared<NSTextStorage>(value.get<std::string>(), NSStringAttributes{});
      auto manager = std::make_shared<NSLayoutManager>();
      manager->addTextContainer(std::make_shared<NSTextContainer>(CGSizeMake(200, 40)));
      storage->addLayoutManager(manager);
      return std::shared_ptr<const NSTextStorage>(storage);
    }
  }
  return plainValue(value, depth);
}

}  // namespace

HVHierarchyDictionary hierarchyFromJSON(const json& view, int depth) {
  HVHierarchyDictionary dictionary;
  if (!view.is_object()) return dictionary;
  for (const auto& [key, value] : view.items()) dictionary.set(key, valueFor(key, value, depth));
  return dictionary;
}

}  // namespace zerva::fuzzing
