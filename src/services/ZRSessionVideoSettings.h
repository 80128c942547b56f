#pragma once
// The settings of one session video: frame rate, frame size and the encoder's rate control,
// chosen from a recording quality and the screen's size. docs/video-settings.md has the table
// and the measurements behind it.
//
// Sizes are in points. The video of a screen W x H points is, at full size, W rounded up to a
// multiple of 16 by H (truncated): fullVideoSize(). When scaleFactor() is below 1 every frame is
// downscaled to screenSize(), which keeps the full size's aspect ratio within a pixel and has
// even sides. videoFrameSize() is what the recorder is set up for.

#include <string>

#include "platform/CGGeometry.h"
#include "services/ZRMp4VideoWriter.h"

namespace zerva {

/// Recording qualities as the SDK passes them. Other values are taken as medium.
enum ZRVideoQuality : unsigned long {
  ZRVideoQualityLow = 0,
  ZRVideoQualityMedium = 1,
  ZRVideoQualityHigh = 2,
};

class ZRSessionVideoSettings {
 public:
  /// Medium quality for an empty screen; the recorder refuses its zero frame size.
  ZRSessionVideoSettings() : ZRSessionVideoSettings(ZRVideoQualityMedium, CGSizeZero) {}
  /// initForQuality:nativeScreenSize: (the screen's fixed-space size in points, not rounded).
  ZRSessionVideoSettings(unsigned long quality, CGSize nativeScreenSize);
  static ZRSessionVideoSettings initForQuality(unsigned long quality, CGSize nativeScreenSize) {
    return ZRSessionVideoSettings(quality, nativeScreenSize);
  }

  /// The quality in force (an unknown one reads back as medium).
  ZRVideoQuality quality() const { return quality_; }
  CGSize nativeScreenSize() const { return nativeScreenSize_; }

  /// Frames per second, 2 to 10 in the table.
  float frameRate() const { return frameRate_; }
  void setFrameRate(float frameRate) { frameRate_ = frameRate; }
  /// Below 1 the frames are downscaled to screenSize(); 1 means full size.
  float scaleFactor() const { return scaleFactor_; }
  void setScaleFactor(float scaleFactor) { scaleFactor_ = scaleFactor; }
  /// The downscaled frame size: even sides, the full size's aspect ratio within a pixel.
  CGSize screenSize() const { return screenSize_; }
  void setScreenSize(CGSize size) { screenSize_ = size; }

  /// Screen width rounded up to a multiple of 16 by the screen height (both truncated first);
  /// zero for a screen size that is not finite and positive.
  CGSize fullVideoSize() const;
  /// What the recorder encodes: screenSize() when scaleFactor() < 1, else fullVideoSize().
  CGSize videoFrameSize() const;

  /// x264 constant rate factor (rate control by quality, not by bitrate).
  int constantRateFactor() const { return crf_; }
  void setConstantRateFactor(int crf) { crf_ = crf; }
  const std::string& encoderPreset() const { return preset_; }
  void setEncoderPreset(std::string preset) { preset_ = std::move(preset); }
  double keyframeIntervalSeconds() const { return keyframeIntervalSeconds_; }
  void setKeyframeIntervalSeconds(double seconds) { keyframeIntervalSeconds_ = seconds; }

  /// The encoder set-up for these settings (the frame size is videoFrameSize(), rounded).
  ZRVideoEncoderConfig encoderConfig() const;

 private:
  ZRVideoQuality quality_;
  CGSize nativeScreenSize_;
  float frameRate_ = 0;
  float scaleFactor_ = 1;
  CGSize screenSize_;
  int crf_ = 28;
  std::string preset_;
  double keyframeIntervalSeconds_ = 10;
};

void PrintTo(const ZRSessionVideoSettings& settings, std::ostream* os);

}  // namespace zerva
