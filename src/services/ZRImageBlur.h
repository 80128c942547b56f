#pragma once
// A blur strong enough that no text of the original can be read: three passes of a box blur
// (close to a Gaussian of the same reach), on premultiplied pixels.

#include <memory>

namespace zerva {

class UIImage;

/// A new image of the same size and scale; `radiusPoints` is the reach of one box pass, in points.
/// nullptr for a null image.
std::shared_ptr<UIImage> ZRBlurImage(const std::shared_ptr<UIImage>& image, double radiusPoints);

}  // namespace zerva
