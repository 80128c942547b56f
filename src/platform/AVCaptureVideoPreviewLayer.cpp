#include "platform/AVCaptureVideoPreviewLayer.h"

namespace zerva {

ZR_DEFINE_CLASS(AVCaptureVideoPreviewLayer, CALayer, [] { return std::make_shared<AVCaptureVideoPreviewLayer>(); })

}  // namespace zerva
