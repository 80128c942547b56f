#pragma once
// Shows GPU-rendered content: its pixels are not part of the layer tree's drawing.
// Here it matters only as a kind that capture code tests for.

#include "platform/CALayer.h"

namespace zerva {

class CAMetalLayer : public CALayer {
  ZR_DECLARE_CLASS(CAMetalLayer)
};

}  // namespace zerva
