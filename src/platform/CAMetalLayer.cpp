#include "platform/CAMetalLayer.h"

namespace zerva {

ZR_DEFINE_CLASS(CAMetalLayer, CALayer, [] { return std::make_shared<CAMetalLayer>(); })

}  // namespace zerva
