#pragma once
// The bench content (BenchContent.h) as frames of a video's size, ten a second, scaled down the
// way the handler scales its frames (libyuv, bilinear): what the video benchmarks encode.

#include <libyuv.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "BenchContent.h"

namespace zerva::bench {

/// Frames of the medium video's size, one per 0.1 s, from a source.
class FrameSource {
 public:
  virtual ~FrameSource() = default;
  virtual int frames() const = 0;
  /// Pixels of frame i at the video size (width x height x 4 bytes).
  virtual const std::uint8_t* frame(int i) = 0;
};

class ContentSource final : public FrameSource {
 public:
  ContentSource(Content kind, bool continuous, double seconds, int width, int height)
      : content_(kind, 400, 844), continuous_(continuous), frames_(static_cast<int>(seconds * 10)), width_(width),
        height_(height), pixels_(static_cast<std::size_t>(width) * height * 4) {}
  int frames() const override { return frames_; }
  const std::uint8_t* frame(int i) override {
    double t = i / 10.0;
    // Without pause: only the scrolling parts of each 4-second cycle, back to back.
    if (continuous_) t = std::floor(t / 1.5) * 4.0 + std::fmod(t, 1.5);
    content_.renderAt(t);
    libyuv::ARGBScale(content_.pixels(), static_cast<int>(content_.bytesPerRow()), content_.width(),
                      content_.height(), pixels_.data(), width_ * 4, width_, height_, libyuv::kFilterBilinear);
    return pixels_.data();
  }

 private:
  ContentGenerator content_;
  bool continuous_;
  int frames_, width_, height_;
  std::vector<std::uint8_t> pixels_;
};

/// The four ways the bench content is played: scrolling 1.5 s of every 4 (one minute), or only
/// its scrolling parts back to back (30 s), of the list and of the photographs.
inline constexpr int kContentSources = 4;
inline const char* const kContentSourceNames[kContentSources] = {
    "bench list, scrolling 1.5 s of 4", "bench photos, scrolling 1.5 s of 4", "bench list, scrolling without pause",
    "bench photos, scrolling without pause"};

inline std::unique_ptr<FrameSource> contentSource(int which, int width, int height) {
  const Content kind = which % 2 == 0 ? Content::Schematic : Content::Photo;
  const bool continuous = which >= 2;
  return std::make_unique<ContentSource>(kind, continuous, continuous ? 30 : 60, width, height);
}

}  // namespace zerva::bench
