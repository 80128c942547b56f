#include "platform/NSParagraphStyle.h"

namespace zerva {

void NSMutableParagraphStyle::setAlignment(NSTextAlignment alignment) {
  alignment_ = alignment >= NSTextAlignmentLeft && alignment <= NSTextAlignmentNatural ? alignment : NSTextAlignmentNatural;
}

void NSMutableParagraphStyle::setLineBreakMode(NSLineBreakMode mode) {
  lineBreakMode_ = mode >= NSLineBreakByWordWrapping && mode <= NSLineBreakByTruncatingMiddle ? mode : NSLineBreakByWordWrapping;
}

}  // namespace zerva
