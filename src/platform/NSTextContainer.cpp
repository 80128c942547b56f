#include "platform/NSTextContainer.h"

namespace zerva {

ZR_DEFINE_CLASS(NSTextContainer, NSObject, [] { return std::make_shared<NSTextContainer>(); })

}  // namespace zerva
