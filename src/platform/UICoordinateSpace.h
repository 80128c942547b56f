#pragma once
// A coordinate space that can convert points and rectangles into any other. Spaces meet in the
// screen's fixed space (portrait-up, origin at the device's top-left corner in portrait).

#include "platform/CGGeometry.h"

namespace zerva {

class UICoordinateSpace {
 public:
  virtual ~UICoordinateSpace() = default;

  virtual CGRect bounds() const = 0;

  CGPoint convertPoint(CGPoint point, const UICoordinateSpace& toCoordinateSpace) const;
  /// The bounding box of the converted corners (a quarter turn swaps width and height).
  CGRect convertRect(CGRect rect, const UICoordinateSpace& toCoordinateSpace) const;

  virtual CGPoint convertPointToFixedScreenSpace(CGPoint point) const = 0;
  virtual CGPoint convertPointFromFixedScreenSpace(CGPoint point) const = 0;
};

}  // namespace zerva
