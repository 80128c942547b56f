#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "review/VideoFrameReader.h"
#include "services/ZRMp4VideoWriter.h"
#include "services/ZRSessionVideoSettings.h"
#include "services/ZRVideoOutput.h"
#include "services/ZRVideoRecorderErrors.h"

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
  const NSErrorOrNil started = writer->startFile(std::make_unique<CountingOutput>(&total));
  EXPECT_FALSE(started) << started->localizedDescription();
  if (started) return 0;
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

// --- Writing to a file and reading it back ----------------------------------------------------

// A solid BGRA frame whose right part, from `splitX` on, has a second colour.
struct TwoColourFrame {
  TwoColourFrame(int width, int height, std::uint32_t left, std::uint32_t right, int splitX)
      : width(width), height(height), pixels(static_cast<std::size_t>(width) * height) {
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) pixels[static_cast<std::size_t>(y) * width + x] = x < splitX ? left : right;
  }
  ZRBGRAFrame view() const {
    return {width, height, static_cast<std::size_t>(width) * 4, reinterpret_cast<const std::uint8_t*>(pixels.data())};
  }
  int width;
  int height;
  std::vector<std::uint32_t> pixels;
};

constexpr std::uint32_t kRed = 0xFFFF0000u;
constexpr std::uint32_t kBlue = 0xFF0000FFu;

int channelDistance(std::uint32_t a, std::uint32_t b) {
  int most = 0;
  for (int shift = 0; shift < 24; shift += 8)
    most = std::max(most, std::abs(static_cast<int>((a >> shift) & 0xFF) - static_cast<int>((b >> shift) & 0xFF)));
  return most;
}

// Top-level MP4 boxes of a file, and what its fragments hold.
struct Mp4Layout {
  std::vector<std::string> boxTypes;
  bool endsOnABoxBoundary = false;
  std::vector<std::uint32_t> fragmentSampleCounts;  // per moof: its track run's samples
  std::vector<std::uint64_t> fragmentStartsMs;      // per moof: its base media decode time
};

std::uint64_t readBigEndian(const std::string& bytes, std::size_t at, int size) {
  std::uint64_t value = 0;
  for (int i = 0; i < size; ++i) value = value << 8 | static_cast<std::uint8_t>(bytes[at + i]);
  return value;
}

// The payload offset of the first child box of `type` between begin and end, or npos.
std::size_t findChild(const std::string& bytes, std::size_t begin, std::size_t end, const char* type) {
  while (begin + 8 <= end) {
    const auto size = static_cast<std::size_t>(readBigEndian(bytes, begin, 4));
    if (size < 8 || begin + size > end) return std::string::npos;
    if (bytes.compare(begin + 4, 4, type) == 0) return begin + 8;
    begin += size;
  }
  return std::string::npos;
}

Mp4Layout readLayout(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  Mp4Layout layout;
  std::size_t at = 0;
  while (at + 8 <= bytes.size()) {
    const auto size = static_cast<std::size_t>(readBigEndian(bytes, at, 4));  // the writer has no 64-bit sizes
    if (size < 8 || at + size > bytes.size()) break;
    const std::string type = bytes.substr(at + 4, 4);
    layout.boxTypes.push_back(type);
    if (type == "moof") {
      const std::size_t traf = findChild(bytes, at + 8, at + size, "traf");
      EXPECT_NE(traf, std::string::npos);
      if (traf == std::string::npos) break;
      const std::size_t trafEnd = traf - 8 + readBigEndian(bytes, traf - 8, 4);
      const std::size_t trun = findChild(bytes, traf, trafEnd, "trun");
      const std::size_t tfdt = findChild(bytes, traf, trafEnd, "tfdt");
      EXPECT_TRUE(trun != std::string::npos && tfdt != std::string::npos);
      if (trun == std::string::npos || tfdt == std::string::npos) break;
      layout.fragmentSampleCounts.push_back(static_cast<std::uint32_t>(readBigEndian(bytes, trun + 4, 4)));
      const bool wideTime = bytes[tfdt] == 1;  // the full box's version
      layout.fragmentStartsMs.push_back(readBigEndian(bytes, tfdt + 4, wideTime ? 8 : 4));
    }
    at += size;
  }
  layout.endsOnABoxBoundary = at == bytes.size();
  return layout;
}

std::vector<std::int64_t> decodedTimesMs(const std::string& path) {
  NSErrorOrNil error;
  const auto video = VideoFrameReader::readFile(path, false, &error);
  EXPECT_TRUE(video) << (error ? error->localizedDescription() : "");
  std::vector<std::int64_t> times;
  if (video)
    for (const auto& frame : video->frames) times.push_back(std::llround(frame.presentationTime * 1000));
  return times;
}

class ZRMp4VideoWriterFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = (std::filesystem::temp_directory_path() /
             ("zr-mp4-" + std::string(info->name()) + "-" + std::to_string(::getpid()) + ".mp4"))
                .string();
    std::filesystem::remove(path_);
  }
  void TearDown() override { std::filesystem::remove(path_); }

  std::unique_ptr<ZRMp4VideoWriter> startWriter(int width, int height) {
    ZRVideoEncoderConfig config;
    config.width = width;
    config.height = height;
    config.preset = "ultrafast";
    auto created = ZRMp4VideoWriter::create(config);
    EXPECT_TRUE(created) << created.errorOrNil()->localizedDescription();
    if (!created) return nullptr;
    int err = 0;
    auto output = ZRVideoOutputCreateFile(path_, &err);
    EXPECT_TRUE(output) << std::strerror(err);
    if (!output) return nullptr;
    EXPECT_FALSE((*created)->startFile(std::move(output)));
    return std::move(*created);
  }

  std::string path_;
};

TEST_F(ZRMp4VideoWriterFileTest, FragmentsOfASecondLeaveTheFileDecodableAfterEveryFrame) {
  constexpr int kFrames = 36;  // 0.0 ... 3.5 s at 10 frames a second
  auto writer = startWriter(64, 48);
  ASSERT_TRUE(writer);
  const TwoColourFrame frame(64, 48, kRed, kBlue, 32);
  for (int i = 0; i < kFrames; ++i) {
    ASSERT_FALSE(writer->encodeFrame(frame.view(), i / 10.0));
    // What a process killed now leaves: whole boxes, and every frame of its fragments decodes.
    const Mp4Layout layout = readLayout(path_);
    ASSERT_TRUE(layout.endsOnABoxBoundary) << "after frame " << i;
    std::uint32_t inFragments = 0;
    for (std::uint32_t count : layout.fragmentSampleCounts) inFragments += count;
    // The frame being encoded is held for its duration, and the fragment in progress for its second.
    EXPECT_GE(inFragments + 12, static_cast<std::uint32_t>(i + 1)) << "after frame " << i;
    if (i == 25) {
      ASSERT_GE(layout.fragmentSampleCounts.size(), 2u);
      std::vector<std::int64_t> expected;
      for (std::uint32_t k = 0; k < inFragments; ++k) expected.push_back(k * 100);
      EXPECT_EQ(decodedTimesMs(path_), expected);
    }
  }
  ASSERT_FALSE(writer->finish());
  EXPECT_EQ(writer->framesEncoded(), kFrames);
  EXPECT_EQ(static_cast<std::int64_t>(std::filesystem::file_size(path_)), writer->bytesWritten());

  const Mp4Layout layout = readLayout(path_);
  EXPECT_TRUE(layout.endsOnABoxBoundary);
  ASSERT_GE(layout.boxTypes.size(), 3u);
  EXPECT_EQ(layout.boxTypes[0], "ftyp");
  EXPECT_EQ(layout.boxTypes[1], "moov");
  ASSERT_EQ(layout.fragmentSampleCounts.size(), 4u);
  std::uint32_t total = 0;
  for (std::size_t k = 0; k < layout.fragmentSampleCounts.size(); ++k) {
    total += layout.fragmentSampleCounts[k];
    if (k + 1 < layout.fragmentSampleCounts.size()) {
      EXPECT_EQ(layout.fragmentSampleCounts[k], 10u) << "fragment " << k;
      EXPECT_EQ(layout.fragmentStartsMs[k + 1] - layout.fragmentStartsMs[k], 1000u) << "fragment " << k;
    }
  }
  EXPECT_EQ(total, static_cast<std::uint32_t>(kFrames));
  EXPECT_EQ(decodedTimesMs(path_).size(), static_cast<std::size_t>(kFrames));
}

TEST_F(ZRMp4VideoWriterFileTest, PresentationTimesReadBackToTheMillisecond) {
  // A late first frame, uneven gaps, one of a single millisecond, and times between milliseconds.
  const std::vector<double> times = {0.75, 0.8, 0.801, 1.0004, 1.6666, 4.2, 4.25, 9.999, 10.5};
  auto writer = startWriter(32, 32);
  ASSERT_TRUE(writer);
  const TwoColourFrame frame(32, 32, kBlue, kBlue, 0);
  for (double t : times) {
    ASSERT_FALSE(writer->encodeFrame(frame.view(), t)) << t;
    EXPECT_EQ(writer->lastPresentationTimeMs(), ZRMp4VideoWriter::presentationTimeMs(t));
  }
  ASSERT_FALSE(writer->finish());
  EXPECT_EQ(decodedTimesMs(path_), (std::vector<std::int64_t>{750, 800, 801, 1000, 1667, 4200, 4250, 9999, 10500}));
}

TEST_F(ZRMp4VideoWriterFileTest, OddTinyAndVeryWideSizesArePaddedWithTheirLastColumnAndRow) {
  struct Size {
    int width, height;
  };
  for (const Size size : {Size{1, 1}, Size{3, 5}, Size{161, 287}, Size{4001, 3}, Size{2, 2048}}) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    std::filesystem::remove(path_);
    auto writer = startWriter(size.width, size.height);
    ASSERT_TRUE(writer);
    const int evenWidth = size.width + size.width % 2, evenHeight = size.height + size.height % 2;
    EXPECT_EQ(writer->encodedWidth(), evenWidth);
    EXPECT_EQ(writer->encodedHeight(), evenHeight);
    // Red on the left, blue from the middle on: the padded column must be blue, not black.
    const int split = size.width / 2;
    const TwoColourFrame frame(size.width, size.height, kRed, kBlue, split);
    ASSERT_FALSE(writer->encodeFrame(frame.view(), 0));
    ASSERT_FALSE(writer->encodeFrame(frame.view(), 0.1));
    ASSERT_FALSE(writer->finish());

    NSErrorOrNil error;
    const auto video = VideoFrameReader::readFile(path_, true, &error);
    ASSERT_TRUE(video) << error->localizedDescription();
    ASSERT_EQ(video->frames.size(), 2u);
    const DecodedVideoFrame& decoded = video->frames[1];
    ASSERT_EQ(decoded.width, evenWidth);
    ASSERT_EQ(decoded.height, evenHeight);
    auto at = [&](int x, int y) { return decoded.pixels[static_cast<std::size_t>(y) * decoded.width + x]; };
    // Chroma is shared by 2x2 pixels: a tiny frame only keeps its colour where a block is whole.
    constexpr int kTolerance = 40;
    const int lastRow = evenHeight - 1, lastColumn = evenWidth - 1;
    if (evenWidth - split >= 2) {
      EXPECT_LE(channelDistance(at(lastColumn, 0), kBlue), kTolerance);
      EXPECT_LE(channelDistance(at(lastColumn, lastRow), kBlue), kTolerance);
    }
    if (split >= 4) {
      EXPECT_LE(channelDistance(at(0, lastRow), kRed), kTolerance);
      EXPECT_LE(channelDistance(at(0, 0), kRed), kTolerance);
    }
  }
}

TEST(ZRMp4VideoWriterTest, SizesAndRatesItCannotEncodeAreRefusedAtCreation) {
  struct Refusal {
    int width, height;
    double frameRate;
    const char* encoder;
    long code;
    const char* message;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Refusal refusals[] = {
      {0, 100, 10, "libx264", ZRVideoRecorderErrorInvalidFrameSize,
       "The video frame size 0x100 cannot be encoded: width and height must be 1 to 8192 pixels."},
      {100, -2, 10, "libx264", ZRVideoRecorderErrorInvalidFrameSize,
       "The video frame size 100x-2 cannot be encoded: width and height must be 1 to 8192 pixels."},
      {8193, 2, 10, "libx264", ZRVideoRecorderErrorInvalidFrameSize,
       "The video frame size 8193x2 cannot be encoded: width and height must be 1 to 8192 pixels."},
      {100, 100, 0, "libx264", ZRVideoRecorderErrorInvalidFrameSize, "The frame rate 0 cannot be encoded."},
      {100, 100, nan, "libx264", ZRVideoRecorderErrorInvalidFrameSize, "The frame rate nan cannot be encoded."},
      {100, 100, 10, "no-such-encoder", ZRVideoRecorderErrorEncoderUnavailable,
       "The video encoder \"no-such-encoder\" is not available in this FFmpeg build."},
  };
  for (const Refusal& r : refusals) {
    ZRVideoEncoderConfig config;
    config.width = r.width;
    config.height = r.height;
    config.frameRate = r.frameRate;
    config.encoderName = r.encoder;
    auto created = ZRMp4VideoWriter::create(config);
    ASSERT_FALSE(created) << r.message;
    EXPECT_EQ(created.error().domain(), ZRSessionVideoRecorderErrorDomain);
    EXPECT_EQ(created.error().code(), r.code) << r.message;
    EXPECT_EQ(created.error().localizedDescription(), r.message);
  }
}

TEST_F(ZRMp4VideoWriterFileTest, TimesThatDoNotMoveForwardAreRefusedAndTheVideoGoesOn) {
  auto writer = startWriter(16, 16);
  ASSERT_TRUE(writer);
  const TwoColourFrame frame(16, 16, kRed, kRed, 16);
  ASSERT_FALSE(writer->encodeFrame(frame.view(), 1.0));
  const auto bytesBefore = writer->bytesWritten();

  struct Refusal {
    double seconds;
    const char* message;
  };
  const Refusal refusals[] = {
      {1.0, "The frame time 1.000 s is not after the previous frame's (1.000 s)."},
      {0.5, "The frame time 0.500 s is not after the previous frame's (1.000 s)."},
      {1.0004, "The frame time 1.000 s is not after the previous frame's (1.000 s)."},  // the same millisecond
      {-0.1, "The frame time -0.1 is not a time on the recording."},
      {std::numeric_limits<double>::quiet_NaN(), "The frame time nan is not a time on the recording."},
      {std::numeric_limits<double>::infinity(), "The frame time inf is not a time on the recording."},
      {-std::numeric_limits<double>::infinity(), "The frame time -inf is not a time on the recording."},
      {2e7, "The frame time 2e+07 is not a time on the recording."},
  };
  for (const Refusal& r : refusals) {
    const NSErrorOrNil error = writer->encodeFrame(frame.view(), r.seconds);
    ASSERT_TRUE(error) << r.message;
    EXPECT_EQ(error->code(), ZRVideoRecorderErrorFrameRefused) << r.message;
    EXPECT_EQ(error->localizedDescription(), r.message);
  }
  EXPECT_EQ(writer->framesEncoded(), 1);
  EXPECT_EQ(writer->lastPresentationTimeMs(), 1000);
  EXPECT_EQ(writer->bytesWritten(), bytesBefore);

  // A refusal is not a failure: the next good frame is taken, and the file holds the two.
  EXPECT_FALSE(writer->encodeFrame(frame.view(), 1.001));
  EXPECT_FALSE(writer->finish());
  EXPECT_EQ(decodedTimesMs(path_), (std::vector<std::int64_t>{1000, 1001}));
}

}  // namespace
}  // namespace zerva
