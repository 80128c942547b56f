#include "services/ZRSessionVideoSettings.h"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace zerva {

namespace {

struct QualityRow {
  float frameRate;
  float scaleFactor;     // of the full video size
  double maxLongSide;    // points; a larger screen is scaled further down to fit
  int crf;
  const char* preset;
};

// Measured on schematic and photo-like app content; see docs/video-settings.md.
constexpr QualityRow kQualityTable[] = {
    /* low    */ {5.0f, 0.5f, 640, 30, "veryfast"},
    /* medium */ {10.0f, 0.75f, 960, 26, "veryfast"},
    /* high   */ {10.0f, 1.0f, 1366, 26, "veryfast"},
};

double nearestEven(double v) { return std::max(2.0, 2.0 * std::round(v / 2.0)); }

}  // namespace

ZRSessionVideoSettings::ZRSessionVideoSettings(unsigned long quality, CGSize nativeScreenSize)
    : quality_(quality <= ZRVideoQualityHigh ? static_cast<ZRVideoQuality>(quality) : ZRVideoQualityMedium),
      nativeScreenSize_(nativeScreenSize) {
  const QualityRow& row = kQualityTable[quality_];
  frameRate_ = row.frameRate;
  crf_ = row.crf;
  preset_ = row.preset;

  const CGSize full = fullVideoSize();
  const double longSide = std::max(full.width, full.height);
  double scale = row.scaleFactor;
  if (longSide > 0) scale = std::min(scale, row.maxLongSide / longSide);
  if (scale >= 1.0 || longSide <= 0) {
    scaleFactor_ = 1.0f;
    screenSize_ = full;
  } else {
    scaleFactor_ = static_cast<float>(scale);
    screenSize_ = {nearestEven(full.width * scale), nearestEven(full.height * scale)};
  }
}

CGSize ZRSessionVideoSettings::fullVideoSize() const {
  const double w = nativeScreenSize_.width, h = nativeScreenSize_.height;
  // Beyond this no screen exists; the bound also keeps the integer conversion defined.
  constexpr double kLimit = 1 << 20;
  if (!std::isfinite(w) || !std::isfinite(h) || w < 1 || h < 1 || w > kLimit || h > kLimit) return CGSizeZero;
  auto width = static_cast<unsigned long>(w);
  if (width % 16 != 0) width = width - width % 16 + 16;
  return {static_cast<double>(width), std::trunc(h)};
}

CGSize ZRSessionVideoSettings::videoFrameSize() const { return scaleFactor_ < 1.0f ? screenSize_ : fullVideoSize(); }

ZRVideoEncoderConfig ZRSessionVideoSettings::encoderConfig() const {
  ZRVideoEncoderConfig config;
  const CGSize size = videoFrameSize();
  auto pixels = [](double v) { return std::isfinite(v) && v > 0 && v < 1e6 ? static_cast<int>(std::lround(v)) : 0; };
  config.width = pixels(size.width);
  config.height = pixels(size.height);
  config.frameRate = frameRate_;
  config.constantRateFactor = crf_;
  config.preset = preset_;
  config.keyframeIntervalSeconds = keyframeIntervalSeconds_;
  return config;
}

void PrintTo(const ZRSessionVideoSettings& s, std::ostream* os) {
  *os << "{quality " << s.quality() << ", " << s.frameRate() << " fps, scale " << s.scaleFactor() << ", screenSize "
      << s.screenSize().width << "x" << s.screenSize().height << ", frame " << s.videoFrameSize().width << "x"
      << s.videoFrameSize().height << ", crf " << s.constantRateFactor() << " " << s.encoderPreset() << "}";
}

}  // namespace zerva
