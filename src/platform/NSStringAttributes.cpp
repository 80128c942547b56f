#include "platform/NSStringAttributes.h"

namespace zerva {

bool NSStringAttributes::hasValueForKey(NSAttributedStringKey key) const {
  switch (key) {
    case NSAttributedStringKey::Font:
      return font.has_value();
    case NSAttributedStringKey::ForegroundColor:
      return foregroundColor.has_value();
    case NSAttributedStringKey::ParagraphStyle:
      return paragraphStyle.has_value();
  }
  return false;
}

void NSStringAttributes::removeValueForKey(NSAttributedStringKey key) {
  switch (key) {
    case NSAttributedStringKey::Font:
      font.reset();
      break;
    case NSAttributedStringKey::ForegroundColor:
      foregroundColor.reset();
      break;
    case NSAttributedStringKey::ParagraphStyle:
      paragraphStyle.reset();
      break;
  }
}

void NSStringAttributes::setValueForKey(NSAttributedStringKey key, const NSStringAttributes& from) {
  switch (key) {
    case NSAttributedStringKey::Font:
      font = from.font;
      break;
    case NSAttributedStringKey::ForegroundColor:
      foregroundColor = from.foregroundColor;
      break;
    case NSAttributedStringKey::ParagraphStyle:
      paragraphStyle = from.paragraphStyle;
      break;
  }
}

void NSStringAttributes::addEntriesFrom(const NSStringAttributes& other) {
  for (NSAttributedStringKey key : allKeys) {
    if (other.hasValueForKey(key)) setValueForKey(key, other);
  }
}

}  // namespace zerva
