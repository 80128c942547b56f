#pragma once
// The description of one view that the hierarchy scanner writes and schematic frames are drawn
// from: a small dictionary keyed by the constants below, whose values are typed, so that "a
// value of the wrong kind" (a background that is not a colour) can exist and be told apart.

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/UIColor.h"
#include "platform/UIFont.h"

namespace zerva {

class UIImage;
class NSAttributedString;
class NSTextStorage;
class HVHierarchyDictionary;

// Keys of a view's dictionary.
inline const std::string Zerva_HS_Key_ScreenRect = "screenRect";
inline const std::string Zerva_HS_Key_ClipToRect = "clipToRect";
inline const std::string Zerva_HS_Key_LayerM2B = "layerMasksToBounds";
inline const std::string Zerva_HS_Key_CornerRadius = "cornerRadius";
inline const std::string Zerva_HS_Key_Alpha = "alpha";
inline const std::string Zerva_HS_Key_SensitiveView = "sensitiveView";
inline const std::string Zerva_HS_Key_BackgroundColour = "backgroundColour";
inline const std::string Zerva_HS_Key_Views = "views";
inline const std::string Zerva_HS_Key_ZPosition = "zPosition";
inline const std::string Zerva_HS_Key_IsTypeOf = "isTypeOf";
inline const std::string Zerva_HS_Key_AlertView = "alertView";
inline const std::string Zerva_HS_Key_ImageView = "imageView";
inline const std::string Zerva_HS_Key_DirectImage = "directImage";
inline const std::string Zerva_HS_Key_ForegroundColour = "foregroundColour";
inline const std::string Zerva_HS_Key_ViewTitle = "viewTitle";
// Keys of the title dictionary.
inline const std::string Zerva_HS_Key_ViewTitle_Text = "text";
inline const std::string Zerva_HS_Key_ViewTitle_AttrText = "attributedText";
inline const std::string Zerva_HS_Key_ViewTitle_Font = "font";
inline const std::string Zerva_HS_Key_ViewTitle_Align = "alignment";
inline const std::string Zerva_HS_Key_ViewTitle_NumberOfTextLines = "numberOfLines";
inline const std::string Zerva_HS_Key_ViewTitle_LineBreak = "lineBreakMode";
// Kinds of view. Tags are compared by identity: a dictionary holds the constant itself.
inline const std::string Zerva_HS_KeyTypeOf_View = "typeView";
inline const std::string Zerva_HS_KeyTypeOf_Window = "typeWindow";
inline const std::string Zerva_HS_KeyTypeOf_Label = "typeLabel";
inline const std::string Zerva_HS_KeyTypeOf_TextField = "typeTextField";
inline const std::string Zerva_HS_KeyTypeOf_ImageView = "typeImageView";
inline const std::string Zerva_HS_KeyTypeOf_ScrollView = "typeScrollView";
inline const std::string Zerva_HS_KeyTypeOf_WebView = "typeWebView";
inline const std::string Zerva_HS_KeyTypeOf_AlertView = "typeAlertView";
/// Also a key: a text view of a hybrid framework stores its text storage under it.
inline const std::string Zerva_HS_KeyTypeOf_RNTextView = "typeRNTextView";

/// A rectangle as the scanner stores it: four doubles, read back by Zerva_rectFromFastStore.
struct HVStoredRect {
  std::array<double, 4> xywh{};
  friend bool operator==(const HVStoredRect&, const HVStoredRect&) = default;
};

/// A type tag: which constant it is, by address.
struct HVTypeTag {
  const std::string* tag = nullptr;
  bool is(const std::string& constant) const { return tag == &constant; }
  friend bool operator==(const HVTypeTag&, const HVTypeTag&) = default;
};

/// Some object that is none of the kinds the drawing knows (a background that is a pattern,
/// say): present, but of no usable kind. Carries a note for people reading a dump.
struct HVOpaqueObject {
  std::string note;
  friend bool operator==(const HVOpaqueObject&, const HVOpaqueObject&) = default;
};

using HVHierarchyArray = std::vector<HVHierarchyDictionary>;

using HVValue = std::variant<bool, double, std::string, UIColor, UIFont, HVStoredRect, HVTypeTag, HVOpaqueObject,
                             std::shared_ptr<const UIImage>, std::shared_ptr<const NSAttributedString>,
                             std::shared_ptr<const NSTextStorage>, std::shared_ptr<const HVHierarchyArray>,
                             std::shared_ptr<const HVHierarchyDictionary>>;

class HVHierarchyDictionary {
 public:
  void set(const std::string& key, HVValue value) { values_.insert_or_assign(key, std::move(value)); }
  void remove(const std::string& key) { values_.erase(key); }
  bool contains(const std::string& key) const { return values_.count(key) != 0; }
  /// The value under the key, or nullptr.
  const HVValue* get(const std::string& key) const;
  size_t size() const { return values_.size(); }

  // Typed reads: nullopt/nullptr when the key is missing or holds another kind.
  std::optional<double> number(const std::string& key) const;  // booleans read as 0 or 1
  std::optional<bool> boolean(const std::string& key) const;   // numbers read as non-zero
  std::optional<std::string> string(const std::string& key) const;
  std::optional<UIColor> color(const std::string& key) const;
  std::optional<UIFont> font(const std::string& key) const;
  std::optional<HVTypeTag> typeTag(const std::string& key) const;
  std::shared_ptr<const UIImage> image(const std::string& key) const;
  std::shared_ptr<const NSAttributedString> attributedString(const std::string& key) const;
  std::shared_ptr<const NSTextStorage> textStorage(const std::string& key) const;
  std::shared_ptr<const HVHierarchyArray> array(const std::string& key) const;
  std::shared_ptr<const HVHierarchyDictionary> dictionary(const std::string& key) const;

  /// Keys in order, for dumps and tests.
  std::vector<std::string> keys() const;

 private:
  std::map<std::string, HVValue> values_;
};

/// Stores a rectangle for a dictionary.
HVValue Zerva_rectToFastStore(CGRect rect);
/// The rectangle of a stored value; the zero rectangle when the value is missing or not a
/// stored rectangle.
CGRect Zerva_rectFromFastStore(const HVValue* value);

}  // namespace zerva
