#include "services/HVHierarchyDictionary.h"

namespace zerva {

namespace {
template <class T>
const T* alternative(const HVValue* v) {
  return v ? std::get_if<T>(v) : nullptr;
}
}  // namespace

const HVValue* HVHierarchyDictionary::get(const std::string& key) const {
  auto it = values_.find(key);
  return it == values_.end() ? nullptr : &it->second;
}

std::optional<double> HVHierarchyDictionary::number(const std::string& key) const {
  const HVValue* v = get(key);
  if (auto d = alternative<double>(v)) return *d;
  if (auto b = alternative<bool>(v)) return *b ? 1.0 : 0.0;
  return std::nullopt;
}

std::optional<bool> HVHierarchyDictionary::boolean(const std::string& key) const {
  if (auto n = number(key)) return *n != 0;
  return std::nullopt;
}

std::optional<std::string> HVHierarchyDictionary::string(const std::string& key) const {
  if (auto s = alternative<std::string>(get(key))) return *s;
  return std::nullopt;
}

std::optional<UIColor> HVHierarchyDictionary::color(const std::string& key) const {
  if (auto c = alternative<UIColor>(get(key))) return *c;
  return std::nullopt;
}

std::optional<UIFont> HVHierarchyDictionary::font(const std::string& key) const {
  if (auto f = alternative<UIFont>(get(key))) return *f;
  return std::nullopt;
}

std::optional<HVTypeTag> HVHierarchyDictionary::typeTag(const std::string& key) const {
  if (auto t = alternative<HVTypeTag>(get(key))) return *t;
  return std::nullopt;
}

std::shared_ptr<const UIImage> HVHierarchyDictionary::image(const std::string& key) const {
  auto p = alternative<std::shared_ptr<const UIImage>>(get(key));
  return p ? *p : nullptr;
}

std::shared_ptr<const NSAttributedString> HVHierarchyDictionary::attributedString(const std::string& key) const {
  auto p = alternative<std::shared_ptr<const NSAttributedString>>(get(key));
  return p ? *p : nullptr;
}

std::shared_ptr<const NSTextStorage> HVHierarchyDictionary::textStorage(const std::string& key) const {
  auto p = alternative<std::shared_ptr<const NSTextStorage>>(get(key));
  return p ? *p : nullptr;
}

std::shared_ptr<const HVHierarchyArray> HVHierarchyDictionary::array(const std::string& key) const {
  auto p = alternative<std::shared_ptr<const HVHierarchyArray>>(get(key));
  return p ? *p : nullptr;
}

std::shared_ptr<const HVHierarchyDictionary> HVHierarchyDictionary::dictionary(const std::string& key) const {
  auto p = alternative<std::shared_ptr<const HVHierarchyDictionary>>(get(key));
  return p ? *p : nullptr;
}

std::vector<std::string> HVHierarchyDictionary::keys() const {
  std::vector<std::string> out;
  for (const auto& [k, v] : values_) out.push_back(k);
  return out;
}

HVValue Zerva_rectToFastStore(CGRect rect) {
  return HVStoredRect{{rect.origin.x, rect.origin.y, rect.size.width, rect.size.height}};
}

CGRect Zerva_rectFromFastStore(const HVValue* value) {
  auto r = alternative<HVStoredRect>(value);
  if (!r) return CGRectZero;
  return CGRectMake(r->xywh[0], r->xywh[1], r->xywh[2], r->xywh[3]);
}

}  // namespace zerva
