#include "platform/AVPlayerLayer.h"

namespace zerva {

ZR_DEFINE_CLASS(AVPlayerLayer, CALayer, [] { return std::make_shared<AVPlayerLayer>(); })

}  // namespace zerva
