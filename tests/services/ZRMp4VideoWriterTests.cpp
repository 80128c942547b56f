#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "services/ZRMp4VideoWriter.h"
#include "services/ZRSessionVideoSettings.h"
#include "services/ZRVideoOutput.h"

namespace zerva {
namespace {

class CountingOutput final : public ZRVideoOutput {
 public:
  explicit CountingOutput(std::int64_t* total) : total_(total) {}
  int write(const std::uint8_t*, std::size_t size) override {
    position_ += static_cast<std::int64_t>(size);
    *total_ = std::max(*total_, position_);
    return 0;
  }
  std::int64_t seek(std::int64_t offset, int whence) override {
    position_ = whence == SEEK_SET ? offset : whence == SEEK_CUR ? position_ + offset : *total_ + offset;
    return position_;
  }
  int close() override { return 0; }
  const std::string& path() const override { return path_; }

 private:
  std::int64_t* total_;
  std::int64_t position_ = 0;
  std::string path_ = "(counting)";
};

// A page of text-like runs on white, taller than the frame, to be scrolled through.
std::vector<std::uint32_t> textPage(int width, int height) {
  std::vector<std::uint32_t> page(static_cast<std::size_t>(width) * height, 0xFFFFFFFFu);
  std::uint32_t seed = 12345;
  for (int line = 8; line + 12 < height; line += 22) {
    for (int x = 12; x < width - 12;) {
      seed = seed * 1664525u + 1013904223u;
      const int glyph = 2 + static_cast<int>((seed >> 24) % 6);
      if ((seed >> 8) % 7 != 0) {
        for (int y = line; y < line + 10; ++y)
          for (int g = x; g < std::min(x + glyph, width - 12); ++g) page[static_cast<std::size_t>(y) * width + g] = 0xFF1C1C1Eu;
      }
      x += glyph + 2;
    }
  }
  return page;
}

// Bytes of a 1.5-second clip at 10 fps whose content moves `step` rows up on every frame.
std::int64_t clipBytes(const ZRVideoEncoderConfig& config, int step) {
  const int frames = 15;
  const auto page = textPage(config.width, config.height + step * frames);
  std::int64_t total = 0;
  auto created = ZRMp4VideoWriter::create(config);
  EXPECT_TRUE(created) << created.errorOrNil()->localizedDescription();
  if (!created) return 0;
  auto writer = std::move(*created);
  writer->startFile(std::make_unique<CountingOutput>(&total));
  for (int i = 0; i < frames; ++i) {
    const auto* top = reinterpret_cast<const std::uint8_t*>(page.data() + static_cast<std::size_t>(i * step) * config.width);
    EXPECT_FALSE(writer->encodeFrame({config.width, config.height, static_cast<std::size_t>(config.width) * 4, top},
                                     i / 10.0));
  }
  EXPECT_FALSE(writer->finish());
  return total;
}

TEST(ZRMp4VideoWriterTest, AScrollOfAScreenPerSecondCostsLittleMoreThanAStillScreen) {
  // 600 points a second at 10 fps is 60 points a frame, 45 pixels at medium quality's scale.
  const ZRVideoEncoderConfig config = ZRSessionVideoSettings(ZRVideoQualityMedium, {390, 844}).encoderConfig();
  const std::int64_t still = clipBytes(config, 0);
  const std::int64_t scrolled = clipBytes(config, 45);
  ASSERT_GT(still, 0);
  // Found by the motion search, each scrolled frame codes only the rows that came in; a search
  // that cannot reach 45 pixels codes every frame nearly as a new screen.
  EXPECT_LT(scrolled, 3 * still) << "still " << still << " bytes, scrolled " << scrolled;
}

}  // namespace
}  // namespace zerva
