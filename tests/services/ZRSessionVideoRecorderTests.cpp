#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cmath>
#include <cstring>
#include <fstream>
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

// Noisy frames, so that each fragment needs real room.
std::shared_ptr<UIImage> noisyImage(int seed) {
  UIGraphicsImageRendererFormat format;
  format.setOpaque(true);
  return UIGraphicsImageRenderer(kFrame, format).imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
    for (int y = 0; y < 288; y += 8) {
      for (int x = 0; x < 160; x += 8) {
        const double v = ((x * 7 + y * 13 + seed * 29) % 97) / 97.0;
        CGContextSetRGBFillColor(ctx.CGContext(), v, 1 - v, (v * 3) - std::floor(v * 3), 1);
        CGContextFillRect(ctx.CGContext(), CGRectMake(x, y, 8, 8));
      }
    }
  });
}

// The MP4's top-level boxes, in order; empty when they do not tile the file exactly.
std::vector<std::string> topLevelBoxes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<std::string> boxes;
  std::size_t at = 0;
  auto be = [&](std::size_t from, int n) {
    std::uint64_t v = 0;
    for (int i = 0; i < n; ++i) v = (v << 8) | static_cast<std::uint8_t>(bytes[from + i]);
    return v;
  };
  while (at < bytes.size()) {
    if (bytes.size() - at < 8) return {};
    std::uint64_t size = be(at, 4);
    if (size == 1 && bytes.size() - at >= 16) size = be(at + 8, 8);
    if (size < 8 || size > bytes.size() - at) return {};
    boxes.emplace_back(bytes.data() + at + 4, 4);
    at += size;
  }
  return boxes;
}

// What FFmpeg complains about while decoding the whole file.
std::string decodeComplaints(const std::string& path) {
  std::string out;
  if (FILE* pipe = popen(("ffmpeg -v error -i '" + path + "' -f null - 2>&1").c_str(), "r")) {
    char buffer[4096];
    std::size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    pclose(pipe);
  }
  return out;
}

TEST_F(RecorderTest, AFullDiskFailsTheRecordingWithAClearErrorAndNoCrash) {

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
  for (int i = 0; i < 40; ++i) results.push_back(append(noisyImage(i), i * 0.1));
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

TEST_F(RecorderTest, ADiskThatFillsMidFragmentLeavesOnlyWholeFragments) {
  auto record = [&] {
    std::vector<std::future<bool>> results;
    for (int i = 0; i < 60; ++i) results.push_back(append(noisyImage(i), i * 0.1));
    std::size_t accepted = 0;
    for (auto& r : results) accepted += r.get() ? 1 : 0;
    return accepted;
  };
  ASSERT_TRUE(start(settingsForFrameSize(kFrame)).success);
  ASSERT_EQ(record(), 60u);
  const StopResult whole = stop();
  ASSERT_FALSE(whole.error);
  const std::size_t fullSize = std::filesystem::file_size(whole.file->url().path());
  std::filesystem::remove(whole.file->url().path());

  // Room for the header and some fragments; the write that overflows lands part-way.
  for (std::size_t room : {fullSize * 4 / 10, fullSize * 6 / 10, fullSize * 8 / 10}) {
    recorder_->setOutputFactory(fillAfter(room));
    ASSERT_TRUE(start(settingsForFrameSize(kFrame)).success);
    const std::size_t accepted = record();
    const StopResult stopped = stop();
    ASSERT_TRUE(stopped.error) << room;
    EXPECT_EQ(stopped.error->code(), ZRVideoRecorderErrorDiskFull);
    const std::string path = stopped.file->url().path();
    EXPECT_LT(std::filesystem::file_size(path), room);

    const std::vector<std::string> boxes = topLevelBoxes(path);
    ASSERT_FALSE(boxes.empty()) << room << ": the file does not end on a box boundary";
    EXPECT_EQ(boxes.back(), "mdat") << room;
    EXPECT_EQ(decodeComplaints(path), "") << room;
    const ProbedVideo video = probeVideo(path);
    ASSERT_GT(video.framePtsMs.size(), 0u) << room;
    EXPECT_LT(video.framePtsMs.size(), accepted) << room;  // what was still in memory is lost
    for (std::size_t i = 0; i < video.framePtsMs.size(); ++i) {
      EXPECT_EQ(video.framePtsMs[i], static_cast<std::int64_t>(i) * 100) << room;
    }
    std::filesystem::remove(path);
  }
}

TEST_F(RecorderTest, AGapOfMillionsOfSecondsKeepsEveryFrame) {
  // Beyond what one MP4 step can be (2^31 ms): the gap is shortened to 24 days, and the frames
  // after it keep their spacing.
  ASSERT_TRUE(start(settingsForFrameSize(kFrame)).success);
  const std::vector<double> times = {0.0, 0.1, 3.5e6, 3.5e6 + 0.1, 9.9e6};
  const std::vector<UIColor> colours = {UIColor::redColor(), UIColor::greenColor(), UIColor::blueColor(),
                                        UIColor::whiteColor(), UIColor::blackColor()};
  for (std::size_t i = 0; i < times.size(); ++i) {
    EXPECT_TRUE(appendAndWait(solidImage(kFrame, colours[i]), times[i])) << times[i];
  }
  const StopResult stopped = stop();
  ASSERT_FALSE(stopped.error) << stopped.error->description();

  const std::string path = stopped.file->url().path();
  EXPECT_EQ(decodeComplaints(path), "");
  const ProbedVideo video = probeVideo(path);
  constexpr std::int64_t kDays24 = std::int64_t{24} * 24 * 3600 * 1000;
  EXPECT_EQ(video.framePtsMs, (std::vector<std::int64_t>{0, 100, 100 + kDays24, 200 + kDays24, 200 + 2 * kDays24}));
  EXPECT_EQ(log_.count("a gap of"), 2u);
  const DecodedFrames decoded = decodeFrames(path, 160, 288);
  ASSERT_EQ(decoded.frames.size(), times.size());
  for (std::size_t i = 0; i < times.size(); ++i) {
    EXPECT_LE(colourDistance(decoded.pixelAt(i, 80, 144), pixelOf(colours[i])), kColourTolerance) << i;
  }
}

TEST_F(RecorderTest, AnExistingFolderThatRefusesFilesIsNotReportedMissing) {
  // The device answers as some file systems do for a folder that takes no new entries.
  for (int err : {ENOENT, ENOTDIR, EACCES, EROFS, 0}) {
    recorder_->setOutputFactory([err](const std::string&, int* out) -> std::unique_ptr<ZRVideoOutput> {
      *out = err;
      return nullptr;
    });
    const StartResult result = start(settingsForFrameSize(kFrame));
    ASSERT_TRUE(result.error) << err;
    if (err == 0) {
      EXPECT_EQ(result.error->code(), ZRVideoRecorderErrorWriteFailed);
    } else {
      EXPECT_EQ(result.error->code(), ZRVideoRecorderErrorFolderNotWritable) << std::strerror(err);
      EXPECT_EQ(result.error->localizedDescription().find("does not exist"), std::string::npos);
    }
  }
}

TEST_F(RecorderTest, AFolderInsideOneThatCannotBeSearchedIsNotReportedMissing) {
  // It exists, but no file can go in. Root passes every permission check, so the check runs as
  // an unprivileged user in a child process, forked before this test starts any thread.
  const std::filesystem::path locked = folder_ / "locked", inner = locked / "videos";
  std::filesystem::create_directories(inner);
  std::filesystem::permissions(locked, std::filesystem::perms::owner_all);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (geteuid() == 0 && setuid(65534) != 0) _exit(2);
    auto recorder = std::make_shared<ZRSessionVideoRecorder>();
    recorder->setRecordingsFolder(inner.string());
    std::promise<NSErrorOrNil> done;
    recorder->startRecordingWithSettings(settingsForFrameSize(kFrame),
                                         [&](bool, NSErrorOrNil error) { done.set_value(error); });
    auto future = done.get_future();
    NSRunLoop::mainRunLoop().runUntil([&] { return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    const NSErrorOrNil error = future.get();
    _exit(error && error->code() == ZRVideoRecorderErrorFolderNotWritable ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  std::filesystem::permissions(locked, std::filesystem::perms::all);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: the folder was reported as something else; 2: no unprivileged user";
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
