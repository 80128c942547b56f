#pragma once
// Shows video from a player: its pixels are not part of the layer tree's drawing.
// Here it matters only as a kind that capture code tests for.

#include "platform/CALayer.h"

namespace zerva {

class AVPlayerLayer : public CALayer {
  ZR_DECLARE_CLASS(AVPlayerLayer)
};

}  // namespace zerva
