#pragma once
// Shows the camera's live picture: its pixels are not part of the layer tree's drawing.
// Here it matters only as a kind that capture code tests for.

#include "platform/CALayer.h"

namespace zerva {

class AVCaptureVideoPreviewLayer : public CALayer {
  ZR_DECLARE_CLASS(AVCaptureVideoPreviewLayer)
};

}  // namespace zerva
