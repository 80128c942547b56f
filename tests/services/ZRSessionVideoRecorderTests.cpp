#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cmath>
#include <limits>

#include "support/RecorderTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva {
namespace {

using namespace zerva::testing;

constexpr CGSize kFrame{160, 288};
constexpr int kColourTolerance = 8;

CGPixel pixelOf(const UIColor& color) {
  double r, g, b, a;
  color.getRed(&r, &g, &b, &a);
  auto byte = [](double v) { return static_cast<std::uint8_t>(std::lround(v * 255)); };
  return {byte(r), byte(g), byte(b), 255};
}

// --- What comes back out of the file ---------------------------------------------------------------

TEST_F(RecorderTest, FramesComeBackWithTheirOwnTimesSizeCodecAndColours) {
  const std::vector<double> times = {0.0, 0.1, 0.25, 0.333, 1.2, 1.201, 2.5, 3.75, 3.9};
  const std::vector<UIColor> colours = {UIColor::redColor(), UIColor::greenColor(), UIColor::blueColor(),
                                        UIColor::whiteColor(), UIColor::blackColor(),
                                        UIColor::colorWithRed(0.2, 0.6, 0.8, 1)};
  EXPECT_FALSE(recorder_->hasRecordingStarted());
  const StartResult started = start(settingsForFrameSize(kFrame));
  ASSERT_TRUE(started.success) << started.error->description();
  EXPECT_TRUE(started.onMainThread);
  EXPECT_TRUE(recorder_->hasRecordingStarted());

  std::vector<std::future<bool>> appended;
  bool completedOnWriterQueue = true;
  for (std::size_t i = 0; i < times.size(); ++i) {
    auto promise = std::make_shared<std::promise<bool>>();
    appended.push_back(promise->get_future());
    recorder_->appendImage(solidImage(kFrame, colours[i % colours.size()]), times[i], [&, promise](bool ok) {
      completedOnWriterQueue = completedOnWriterQueue && recorder_->writerQueue()->isCurrent();
      promise->set_value(ok);
    });
  }
  for (auto& f : appended) EXPECT_TRUE(f.get());
  EXPECT_TRUE(completedOnWriterQueue);

  const StopResult stopped = stop();
  EXPECT_FALSE(stopped.error);
  EXPECT_FALSE(recorder_->hasRecordingStarted());
  ASSERT_TRUE(stopped.file);
  EXPECT_EQ(stopped.file, recorder_->recordingFile());
  const std::string path = stopped.file->url().path();
  EXPECT_EQ(std::filesystem::path(path).parent_path(), folder_);
  EXPECT_EQ(std::filesystem::path(path).extension(), ".mp4");

  const ProbedVideo video = probeVideo(path);
  ASSERT_TRUE(video.readable);
  EXPECT_EQ(video.codec, "h264");
  EXPECT_EQ(video.pixelFormat, "yuv420p");
  EXPECT_EQ(video.width, 160);
  EXPECT_EQ(video.height, 288);
  std::vector<std::int64_t> expectedPts;
  for (double t : times) expectedPts.push_back(std::llround(t * 1000));
  EXPECT_EQ(video.framePtsMs, expectedPts);

  const DecodedFrames decoded = decodeFrames(path, 160, 288);
  ASSERT_EQ(decoded.frames.size(), times.size());
  for (std::size_t i = 0; i < times.size(); ++i) {
    const CGPixel want = pixelOf(colours[i % colours.size()]);
    for (auto [x, y] : {std::pair{80, 144}, std::pair{0, 0}, std::pair{159, 287}}) {
      EXPECT_LE(colourDistance(decoded.pixelAt(i, x, y), want), kColourTolerance) << "frame " << i << " at " << x
                                                                                   << "," << y;
    }
  }

  EXPECT_TRUE(stopped.file->deleteFile(0));
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(RecorderTest, RefusedAppendsWriteNothingAndTheRecordingGoesOn) {
  const auto red = solidImage(kFrame, UIColor::redColor());
  const auto magenta = solidImage(kFrame, UIColor::colorWithRed(1, 0, 1, 1));
  EXPECT_FALSE(appendAndWait(red, 0.0));  // before any start
  EXPECT_EQ(recorder_->lastAppendError()->code(), ZRVideoRecorderErrorNotRecording);

  ASSERT_TRUE(start(settingsForFrameSize(kFrame)).success);
  EXPECT_TRUE(appendAndWait(red, 1.0));
  recorder_->writerQueue()->drain();
  const auto sizeBefore = std::filesystem::file_size(recorder_->recordingFile()->url().path());

  struct Refusal {
    std::shared_ptr<UIImage> image;
    double time;
    const char* why;
  };
  const Refusal refusals[] = {
      {nullptr, 2.0, "no image"},
      {solidImage({kFrame.width + 2, kFrame.height}, UIColor::redColor()), 2.0, "wrong width"},
      {solidImage({kFrame.width / 2, kFrame.height / 2}, UIColor::redColor(), 2.0), 2.0, "right pixels, wrong points"},
      {magenta, 1.0, "same time"},
      {magenta, 0.5, "earlier time"},
      {magenta, 1.0004, "same millisecond"},
      {magenta, std::numeric_limits<double>::quiet_NaN(), "not a number"},
      {magenta, std::numeric_limits<double>::infinity(), "infinite"},
  };
  for (const Refusal& r : refusals) {
    EXPECT_FALSE(appendAndWait(r.image, r.time)) << r.why;
    EXPECT_EQ(recorder_->lastAppendError()->code(), ZRVideoRecorderErrorFrameRefused) << r.why;
  }
  recorder_->writerQueue()->drain();
  EXPECT_EQ(std::filesystem::file_size(recorder_->recordingFile()->url().path()), sizeBefore);

  EXPECT_TRUE(appendAndWait(solidImage(kFrame, UIColor::blueColor()), 1.001));
  EXPECT_FALSE(recorder_->lastAppendError());
  const StopResult stopped = stop();
  ASSERT_FALSE(stopped.error);
  EXPECT_FALSE(appendAndWait(red, 5.0));  // after the stop

  const ProbedVideo video = probeVideo(stopped.file->url().path());
  EXPECT_EQ(video.framePtsMs, (std::vector<std::int64_t>{1000, 1001}));
  const DecodedFrames decoded = decodeFrames(stopped.file->url().path(), 160, 288);
  ASSERT_EQ(decoded.frames.size(), 2u);
  EXPECT_LE(colourDistance(decoded.pixelAt(0, 10, 10), pixelOf(UIColor::redColor())), kColourTolerance);
  EXPECT_LE(colourDistance(decoded.pixelAt(1, 10, 10), pixelOf(UIColor::blueColor())), kColourTolerance);
}

TEST_F(RecorderTest, OddSizesArePaddedByRepeatingTheLastColumnAndRow) {
  const CGSize odd{161, 287};
  ASSERT_TRUE(start(settingsForFrameSize(odd)).success);
  EXPECT_EQ(recorder_->videoSize(), (CGSize{162, 288}));
  EXPECT_EQ(log_.count("161x287 frames are padded to 162x288"), 1u);
  // Left half red, right half blue: the padded column must be blue, the padded row split alike.
  UIGraphicsImageRendererFormat format;
  format.setOpaque(true);
  auto image = UIGraphicsImageRenderer(odd, format).imageWithActions([&](UIGraphicsImageRendererContext& context) {
    CGContextSetFillColorWithColor(context.CGContext(), UIColor::redColor().cgColor());
    CGContextFillRect(context.CGContext(), CGRectMake(0, 0, 80, 287));
    CGContextSetFillColorWithColor(context.CGContext(), UIColor::blueColor().cgColor());
    CGContextFillRect(context.CGContext(), CGRectMake(80, 0, 81, 287));
  });
  EXPECT_TRUE(appendAndWait(image, 0));
  // An image drawn at two pixels per point has the right size in points: it is scaled down.
  EXPECT_TRUE(appendAndWait(solidImage(odd, UIColor::greenColor(), 2.0), 0.1));
  const StopResult stopped = stop();
  ASSERT_FALSE(stopped.error);

  const ProbedVideo video = probeVideo(stopped.file->url().path());
  EXPECT_EQ(video.width, 162);
  EXPECT_EQ(video.height, 288);
  const DecodedFrames decoded = decodeFrames(stopped.file->url().path(), 162, 288);
  ASSERT_EQ(decoded.frames.size(), 2u);
  const CGPixel red = pixelOf(UIColor::redColor()), blue = pixelOf(UIColor::blueColor());
  EXPECT_LE(colourDistance(decoded.pixelAt(0, 161, 100), blue), kColourTolerance);
  EXPECT_LE(colourDistance(decoded.pixelAt(0, 20, 287), red), kColourTolerance);
  EXPECT_LE(colourDistance(decoded.pixelAt(0, 140, 287), blue), kColourTolerance);
  EXPECT_LE(colourDistance(decoded.pixelAt(1, 80, 144), pixelOf(UIColor::greenColor())), kColourTolerance);
}

// --- Errors ----------------------------------------------------------------------------------------

TEST_F(RecorderTest, StartErrorsLeaveNoFileAndNoRecording) {
  const std::string regularFile = (folder_ / "not-a-folder").string();
  std::FILE* f = std::fopen(regularFile.c_str(), "w");
  ASSERT_TRUE(f);
  std::fclose(f);

  struct Case {
    const char* what;
    std::string folder;
    ZRSessionVideoSettings settings;
    std::string encoder;
    long code;
  };
  ZRSessionVideoSettings zero(ZRVideoQualityHigh, CGSizeZero);
  ZRSessionVideoSettings notFinite = settingsForFrameSize({std::nan(""), 100});
  ZRSessionVideoSettings huge = settingsForFrameSize({100000, 200});
  const Case cases[] = {
      {"folder under a regular file", regularFile + "/videos", settingsForFrameSize(kFrame), "libx264",
       ZRVideoRecorderErrorFolderMissing},
      {"folder that is a file", regularFile, settingsForFrameSize(kFrame), "libx264", ZRVideoRecorderErrorFolderMissing},
      {"missing folder", (folder_ / "missing").string(), settingsForFrameSize(kFrame), "libx264",
       ZRVideoRecorderErrorFolderMissing},
      {"zero screen", folder_.string(), zero, "libx264", ZRVideoRecorderErrorInvalidFrameSize},
      {"size not finite", folder_.string(), notFinite, "libx264", ZRVideoRecorderErrorInvalidFrameSize},
      {"size too large", folder_.string(), huge, "libx264", ZRVideoRecorderErrorInvalidFrameSize},
      {"encoder missing", folder_.string(), settingsForFrameSize(kFrame), "no-such-encoder",
       ZRVideoRecorderErrorEncoderUnavailable},
  };
  for (const Case& c : cases) {
    recorder_->setRecordingsFolder(c.folder);
    recorder_->setEncoderName(c.encoder);
    const StartResult result = start(c.settings);
    EXPECT_FALSE(result.success) << c.what;
    ASSERT_TRUE(result.error) << c.what;
    EXPECT_EQ(result.error->domain(), ZRSessionVideoRecorderErrorDomain);
    EXPECT_EQ(result.error->code(), c.code) << c.what << ": " << result.error->localizedDescription();
    EXPECT_FALSE(result.error->localizedDescription().empty());
    EXPECT_FALSE(recorder_->hasRecordingStarted()) << c.what;
    EXPECT_EQ(filesInFolder().size(), 1u) << c.what;  // only the regular file made above
  }
  EXPECT_FALSE(recorder_->recordingFile());

  // Stop without a recording: an error, no file, and the recorder still starts afterwards.
  const StopResult stopped = stop();
  EXPECT_FALSE(stopped.file);
  ASSERT_TRUE(stopped.error);
  EXPECT_EQ(stopped.error->code(), ZRVideoRecorderErrorNotRecording);
  recorder_->setRecordingsFolder(folder_.string());
  recorder_->setEncoderName("libx264");
  EXPECT_TRUE(start(settingsForFrameSize(kFrame)).success);
}

TEST_F(RecorderTest, SecondStartIsRefusedAndTheFirstRecordingIsUntouched) {
  ASSERT_TRUE(start(settingsForFrameSize(kFrame)).success);
  const auto file = recorder_->recordingFile();
  EXPECT_TRUE(appendAndWait(solidImage(kFrame, UIColor::redColor()), 0));
  const StartResult again = start(settingsForFrameSize({320, 480}));
  EXPECT_FALSE(again.success);
  EXPECT_EQ(again.error->code(), ZRVideoRecorderErrorAlreadyRecording);
  EXPECT_TRUE(recorder_->hasRecordingStarted());
  EXPECT_EQ(recorder_->recordingFile(), file);
  EXPECT_TRUE(appendAndWait(solidImage(kFrame, UIColor::redColor()), 0.1));
  ASSERT_FALSE(stop().error);
  EXPECT_EQ(probeVideo(file->url().path()).framePtsMs.size(), 2u);
}

// Stands in for a device that fills up after a number of bytes.
class FillingOutput final : public ZRVideoOutput {
 public:
  FillingOutput(std::unique_ptr<ZRVideoOutput> file, std::size_t room) : file_(std::move(file)), room_(room) {}
  int write(const std::uint8_t* data, std::size_t size) override {
    if (size > room_) return ENOSPC;
    room_ -= size;
    return file_->write(data, size);
  }
  std::int64_t seek(std::int64_t offset, int whence) override { return file_->seek(offset, whence); }
  int close() override { return file_->close(); }
  const std::string& path() const override { return file_->path(); }

 private:
  std::unique_ptr<ZRVideoOutput> file_;
  std::size_t room_;
};

TEST_F(RecorderTest, AFullDiskFailsTheRecordingWithAClearErrorAndNoCrash) {
  auto fillAfter = [](std::size_t room) {
    return [room](const std::string& path, int* err) -> std::unique_ptr<ZRVideoOutput> {
      auto file = ZRVideoOutputCreateFile(path, err);
      if (!file) return nullptr;
      return std::make_unique<FillingOutput>(std::move(file), room);
    };
  };

  // No room even for the file: the start fails and leaves nothing behind.
  recorder_->setOutputFactory([](const std::string&, int* err) -> std::unique_ptr<ZRVideoOutput> {
    *err = ENOSPC;
    return nullptr;
  });
  const StartResult noRoom = start(settingsForFrameSize(kFrame));
  EXPECT_FALSE(noRoom.success);
  ASSERT_TRUE(noRoom.error);
  EXPECT_EQ(noRoom.error->code(), ZRVideoRecorderErrorDiskFull);
  EXPECT_TRUE(filesInFolder().empty());

  // Room for a few kilobytes: a fragment fails, then everything after it.
  recorder_->setOutputFactory(fillAfter(4096));
  ASSERT_TRUE(start(settingsForFrameSize(kFrame)).success);
  std::vector<std::future<bool>> results;
  for (int i = 0; i < 40; ++i) {
    // Noisy frames so that each fragment needs real room.
    UIGraphicsImageRendererFormat format;
    format.setOpaque(true);
    auto image = UIGraphicsImageRenderer(kFrame, format).imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
      for (int y = 0; y < 288; y += 8) {
        for (int x = 0; x < 160; x += 8) {
          const double v = ((x * 7 + y * 13 + i * 29) % 97) / 97.0;
          CGContextSetRGBFillColor(ctx.CGContext(), v, 1 - v, (v * 3) - std::floor(v * 3), 1);
          CGContextFillRect(ctx.CGContext(), CGRectMake(x, y, 8, 8));
        }
      }
    });
    results.push_back(append(image, i * 0.1));
  }
  int failed = 0, succeededAfterFailure = 0;
  for (auto& r : results) {
    if (!r.get()) ++failed;
    else if (failed > 0) ++succeededAfterFailure;
  }
  EXPECT_GT(failed, 0);
  EXPECT_EQ(succeededAfterFailure, 0);
  EXPECT_EQ(recorder_->lastAppendError()->code(), ZRVideoRecorderErrorDiskFull);

  const StopResult stopped = stop();
  ASSERT_TRUE(stopped.error);
  EXPECT_EQ(stopped.error->code(), ZRVideoRecorderErrorDiskFull);
  EXPECT_NE(stopped.error->localizedDescription().find("disk is full"), std::string::npos);
  EXPECT_FALSE(recorder_->hasRecordingStarted());
  ASSERT_TRUE(stopped.file);
  EXPECT_TRUE(stopped.file->fileExists());  // what made it to disk stays for the caller to judge
}

// --- Crash safety ----------------------------------------------------------------------------------

TEST_F(RecorderTest, AKilledRecordingStillDecodesUpToItsLastFragment) {
  constexpr int kFrames = 25;  // 0.0 ... 2.4 s at 10 frames a second
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // The child records, waits for every append, and dies without a stop.
    start(settingsForFrameSize(kFrame));
    for (int i = 0; i < kFrames; ++i) appendAndWait(solidImage(kFrame, i % 2 ? UIColor::redColor() : UIColor::blueColor()), i * 0.1);
    raise(SIGKILL);
    _exit(3);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);

  const auto files = filesInFolder();
  ASSERT_EQ(files.size(), 1u);
  const ProbedVideo video = probeVideo(files[0].string());
  ASSERT_TRUE(video.readable);
  // What is lost: the fragment in progress (under a second) and the frame held for its duration.
  const auto survived = video.framePtsMs.size();
  EXPECT_GE(survived, static_cast<std::size_t>(kFrames - 10 - 1 - 1));
  EXPECT_LT(survived, static_cast<std::size_t>(kFrames));
  for (std::size_t i = 0; i < survived; ++i) EXPECT_EQ(video.framePtsMs[i], static_cast<std::int64_t>(i) * 100);
  const DecodedFrames decoded = decodeFrames(files[0].string(), 160, 288);
  ASSERT_EQ(decoded.frames.size(), survived);
  EXPECT_LE(colourDistance(decoded.pixelAt(survived - 1, 80, 144),
                           pixelOf((survived - 1) % 2 ? UIColor::redColor() : UIColor::blueColor())),
            kColourTolerance);
  RecordProperty("framesSurvivingKill", static_cast<int>(survived));
}

}  // namespace
}  // namespace zerva
