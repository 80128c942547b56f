#pragma once
// The colour the leak audit draws secret content in, and how close a decoded pixel must come to
// it to count as secret. Colours are compared as straight 8-bit RGB, by Euclidean distance.
//
// Three distances, nested: a decoded secret pixel lands within kTolerance of the secret colour
// (H.264 at CRF 30, 4:2:0 chroma and scaling included); anything else the scene draws is kept
// more than kReserve away, so that neither blending at edges nor codec error brings it within
// kTolerance. The measured figures behind both are in docs/audit.md.

#include <cstdint>

#include "platform/UIColor.h"

namespace zerva {

class SecretPalette {
 public:
  /// Magenta: no platform colour, no greys and none of the usual interface hues come near it,
  /// and its chroma is as far from grey as 4:2:0 allows, so blurring by subsampling moves it least.
  static constexpr std::uint8_t kRed = 255, kGreen = 0, kBlue = 255;
  /// A decoded pixel within this distance is secret.
  static constexpr double kTolerance = 90;
  /// Scene colours within this distance are moved away (to kStandIn) before recording.
  static constexpr double kReserve = 180;

  static UIColor secretColor();
  /// What a scene colour too close to the secret colour becomes: mid grey, far from it.
  static UIColor standInColor();

  /// Distance of an 8-bit colour from the secret colour, 0 to about 441.
  static double distance(std::uint8_t red, std::uint8_t green, std::uint8_t blue);
  /// The same for a decoded 0xAARRGGBB word (opaque).
  static double distance(std::uint32_t argb);
  /// The same for a colour, ignoring its alpha; +infinity for one without RGB components.
  static double distance(const UIColor& color);

  static bool isSecret(std::uint32_t argb) { return distance(argb) <= kTolerance; }
  /// A colour the scene may not keep as it is.
  static bool isReserved(const UIColor& color) { return distance(color) <= kReserve; }
};

}  // namespace zerva
