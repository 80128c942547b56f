// Recordings whose recorder, encoder, disk or process fails: each ends cleanly, says why, and the
// next recording works. Frames come from a real window whose colour changes every frame.

#include <fcntl.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <mutex>

extern "C" {
#include <libavutil/error.h>
}

#include "platform/StringWithFormat.h"
#include "recording/RecordingTestSupport.h"
#include "services/ZRVideoOutput.h"

extern char** environ;

namespace zerva::testing {
namespace {

class RecorderFaults : public RecordingTest {
 protected:
  void SetUp() override {
    RecordingTest::SetUp();
    ZRViewVideoHandler::setSchematicCapture(false);
    window_ = makeKeyWindow();
    // A grid of tiles that change colour every frame: frames that cost the disk kilobytes.
    for (int row = 0; row < 8; ++row) {
      for (int column = 0; column < 5; ++column) {
        auto tile = std::make_shared<UIView>(CGRectMake(column * 32, row * 36, 32, 36));
        window_->addSubview(tile);
        tiles_.push_back(tile);
      }
    }
  }

  /// Plays `seconds` one display refresh at a time, each frame finished before the clock moves
  /// on; the window changes colour every frame so that each one costs the disk something.
  void playFor(double seconds) {
    for (double t = 0; t < seconds; t += 1.0 / 60) {
      ++tick_;
      for (size_t i = 0; i < tiles_.size(); ++i) {
        const auto k = static_cast<int>(i) + tick_ * 7;
        tiles_[i]->setBackgroundColor(
            UIColor::colorWithRed((k * 37 % 256) / 255.0, (k * 91 % 256) / 255.0, (k * 13 % 256) / 255.0, 1));
      }
      runFor(1.0 / 60);
      settle();
    }
  }

  /// A whole recording: started, played, stopped with reason 1.
  StopOutcome record(double seconds) {
    EXPECT_TRUE(startRecording());
    playFor(seconds);
    return stopRecording(1);
  }

  std::vector<std::filesystem::path> filesIn(const std::filesystem::path& folder) const {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) files.push_back(entry.path());
    return files;
  }

  std::shared_ptr<ScriptedWindow> window_;
  std::vector<std::shared_ptr<UIView>> tiles_;
  int tick_ = 0;
};

void expectPlayable(const std::optional<std::string>& path, size_t atLeastFrames) {
  ASSERT_TRUE(path);
  const ProbedVideo video = probeVideo(*path);
  ASSERT_TRUE(video.readable) << *path;
  EXPECT_GE(video.framePtsMs.size(), atLeastFrames);
}

TEST_F(RecorderFaults, AStartThatFailsLeavesNothingBehindAndTheNextOneRecords) {
  ZRLogUtility::setIntegrationLoggingEnabled(true);
  struct Failure {
    const char* what;
    std::function<void()> inject;
    const char* logged;
  };
  const Failure failures[] = {
      {"folder refuses files",
       [&] {
         handler_->videoRecorder()->setOutputFactory([](const std::string&, int* err) -> std::unique_ptr<ZRVideoOutput> {
           *err = EACCES;
           return nullptr;
         });
       },
       "Screen Recording has failed to start with error: The recordings folder"},
      {"no room for the file",
       [&] {
         handler_->videoRecorder()->setOutputFactory([](const std::string&, int* err) -> std::unique_ptr<ZRVideoOutput> {
           *err = ENOSPC;
           return nullptr;
         });
       },
       "Screen Recording has failed to start with error: The disk is full: no video file can be created"},
      {"encoder missing", [&] { handler_->videoRecorder()->setEncoderName("no-such-encoder"); },
       "Screen Recording has failed to start with error: The video encoder \"no-such-encoder\" is not available"},
  };
  for (const Failure& failure : failures) {
    failure.inject();
    const size_t before = log_.count("Screen Recording has failed to start");
    handler_->startScreenRecording();
    NSRunLoop::mainRunLoop().runUntil([&] { return log_.count("Screen Recording has failed to start") > before; });
    settle();
    EXPECT_EQ(log_.count(failure.logged), 1u) << failure.what;
    EXPECT_FALSE(handler_->isRecording() || handler_->displayLink()) << failure.what;
    for (const auto& file : filesIn(folder_)) EXPECT_NE(file.extension(), ".mp4") << failure.what;

    handler_->videoRecorder()->setOutputFactory(nullptr);
    handler_->videoRecorder()->setEncoderName("libx264");
    const StopOutcome next = record(0.5);
    expectPlayable(next.path, 3);
    std::filesystem::remove(*next.path);
  }
}

// A small device of its own: a tmpfs where the machine lets us mount one, else a file that
// takes only so many bytes.
class SmallDisk {
 public:
  SmallDisk(const std::filesystem::path& at, size_t freeBytes) : at_(at) {
    std::filesystem::create_directories(at_);
    mounted_ = ::mount("tmpfs", at_.c_str(), "tmpfs", 0, "size=1m") == 0;
    if (!mounted_) return;
    // Fill it but for `freeBytes`: tmpfs counts whole pages.
    std::ofstream filler(at_ / "filler", std::ios::binary);
    const std::string chunk(4096, 'x');
    for (size_t written = 0; written + freeBytes < 1024 * 1024; written += chunk.size()) filler << chunk;
  }
  ~SmallDisk() {
    if (mounted_) ::umount2(at_.c_str(), MNT_DETACH);
  }
  bool mounted() const { return mounted_; }
  void makeRoom() { std::filesystem::remove(at_ / "filler"); }
  const std::filesystem::path& path() const { return at_; }

 private:
  std::filesystem::path at_;
  bool mounted_ = false;
};

TEST_F(RecorderFaults, ADiskThatFillsMidRecordingEndsItWithTheDiskFullError) {
  SmallDisk disk(folder_ / "small-disk", 12 * 1024);
  if (disk.mounted()) {
    handler_->videoRecorder()->setRecordingsFolder(disk.path().string());
  } else {
    handler_->videoRecorder()->setOutputFactory(fillAfter(12 * 1024));
  }
  RecordProperty("device", disk.mounted() ? "tmpfs" : "filling output");

  ASSERT_TRUE(startRecording());
  const std::string path = recordingPath();
  playFor(4.0);
  EXPECT_TRUE(handler_->isRecording()) << "frames that cannot be written do not end the recording";
  const auto error = handler_->videoRecorder()->lastAppendError();
  ASSERT_TRUE(error) << "the disk never filled: give it less room";
  EXPECT_EQ(error->code(), ZRVideoRecorderErrorDiskFull);

  // The caller learns why, and no half file is left behind unannounced.
  const StopOutcome stopped = stopRecording(1);
  ASSERT_TRUE(stopped.delivered);
  ASSERT_TRUE(stopped.error);
  EXPECT_EQ(stopped.error->code(), ZRVideoRecorderErrorDiskFull);
  EXPECT_NE(stopped.error->localizedDescription().find("disk is full"), std::string::npos)
      << stopped.error->localizedDescription();
  EXPECT_FALSE(stopped.path);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_FALSE(handler_->isRecording());

  // With room again the next recording is whole.
  disk.makeRoom();
  handler_->videoRecorder()->setOutputFactory(nullptr);
  const StopOutcome next = record(1.0);
  EXPECT_FALSE(next.error);
  expectPlayable(next.path, 4);
}

// --- The encoder failing on a frame mid-recording -----------------------------------------------

// Stands in for libx264 refusing a frame: from frame `failingFrame` (counted from 1) on, `step`
// fails as x264's own errors reach FFmpeg callers. Remembers the time of every frame handed to
// the encoder and counts every call made after the failure.
class FailingEncoder : public std::enable_shared_from_this<FailingEncoder> {
 public:
  FailingEncoder(ZRVideoEncoderStep step, int failingFrame) : step_(step), failingFrame_(failingFrame) {}

  ZRVideoEncoderFault hook() {
    // Shared: a recording that a failed check leaves running still calls it at the tear-down.
    return [self = shared_from_this()](ZRVideoEncoderStep step, std::int64_t frameTimeMs) {
      return self->answer(step, frameTimeMs);
    };
  }

  /// The frame time at which the encoder failed; -1 before it has.
  std::int64_t failedAtMs() const {
    std::lock_guard lock(mutex_);
    return failedAtMs_;
  }
  int callsAfterFailure() const {
    std::lock_guard lock(mutex_);
    return callsAfterFailure_;
  }
  /// The times of the frames that went through the encoder whole.
  std::vector<std::int64_t> timesBeforeFailureMs() const {
    std::lock_guard lock(mutex_);
    return {sentTimesMs_.begin(),
            sentTimesMs_.begin() + std::min<std::ptrdiff_t>(failingFrame_ - 1, sentTimesMs_.size())};
  }

 private:
  int answer(ZRVideoEncoderStep step, std::int64_t frameTimeMs) {
    std::lock_guard lock(mutex_);
    if (failedAtMs_ >= 0) {
      ++callsAfterFailure_;
      return AVERROR_EXTERNAL;
    }
    if (step == ZRVideoEncoderStep::sendFrame) ++framesSent_;
    if (step == step_ && framesSent_ == failingFrame_) {
      failedAtMs_ = frameTimeMs;
      return AVERROR_EXTERNAL;
    }
    if (step == ZRVideoEncoderStep::sendFrame) sentTimesMs_.push_back(frameTimeMs);
    return 0;
  }

  const ZRVideoEncoderStep step_;
  const int failingFrame_;
  mutable std::mutex mutex_;
  int framesSent_ = 0;
  std::int64_t failedAtMs_ = -1;
  int callsAfterFailure_ = 0;
  std::vector<std::int64_t> sentTimesMs_;
};

TEST_F(RecorderFaults, AnEncoderThatFailsMidRecordingEndsItKeepingEveryFrameBefore) {
  // About 2.5 s in, part-way through a one-second fragment: frames held in memory, not on disk.
  constexpr int kFailingFrame = 13;
  struct Failure {
    ZRVideoEncoderStep step;
    const char* name;
    const char* what;
  };
  const Failure failures[] = {{ZRVideoEncoderStep::sendFrame, "sendFrame", "refused"},
                              {ZRVideoEncoderStep::receivePacket, "receivePacket", "failed on"}};
  for (const Failure& failure : failures) {
    const auto encoder = std::make_shared<FailingEncoder>(failure.step, kFailingFrame);
    handler_->videoRecorder()->setEncoderFault(encoder->hook());
    ASSERT_TRUE(startRecording());
    // A second name for the file: the handler deletes it when the stop reports an error, and
    // what the recorder left in it is what is checked.
    const std::string path = recordingPath();
    const auto kept = folder_ / (std::string("kept-") + failure.name + ".mp4");
    std::filesystem::create_hard_link(path, kept);
    playFor(3.0);
    ASSERT_GE(encoder->failedAtMs(), 0) << failure.name << ": the encoder never reached the failing frame";
    EXPECT_TRUE(handler_->isRecording()) << failure.name;
    // The appends after the failure report NO: none is counted.
    EXPECT_EQ(handler_->numFramesInVideo(), kFailingFrame - 1) << failure.name;

    const auto stopCalled = std::chrono::steady_clock::now();
    const StopOutcome stopped = stopRecording(1);
    const auto msToEnd =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - stopCalled).count();
    ASSERT_TRUE(stopped.delivered) << failure.name;
    ASSERT_TRUE(stopped.error) << failure.name;
    EXPECT_EQ(stopped.error->domain(), ZRSessionVideoRecorderErrorDomain);
    EXPECT_EQ(stopped.error->code(), ZRVideoRecorderErrorEncodingFailed);
    EXPECT_EQ(
        stopped.error->localizedDescription(),
        stringWithFormat("The H.264 encoder (libx264) %s the frame at %.3f s: Generic error in an external library.",
                         failure.what, static_cast<double>(encoder->failedAtMs()) / 1000.0));
    EXPECT_FALSE(stopped.path) << failure.name;
    EXPECT_FALSE(std::filesystem::exists(path)) << failure.name << ": a recorder error at the stop deletes the file";
    EXPECT_FALSE(handler_->isRecording()) << failure.name;
    // The failed encoder is asked nothing more: no frame, no flush at the end.
    EXPECT_EQ(encoder->callsAfterFailure(), 0) << failure.name;
    EXPECT_EQ(log_.count(std::string("recording failed: The H.264 encoder (libx264) ") + failure.what), 1u);

    const ProbedVideo video = probeVideo(kept.string());
    ASSERT_TRUE(video.readable) << failure.name;
    EXPECT_EQ(video.framePtsMs, encoder->timesBeforeFailureMs()) << failure.name;
    EXPECT_EQ(decodeFrames(kept.string(), video.width, video.height).frames.size(), video.framePtsMs.size())
        << failure.name;
    RecordProperty(std::string("framesKept_") + failure.name, static_cast<int>(video.framePtsMs.size()));
    RecordProperty(std::string("msFromStopToOutcome_") + failure.name, static_cast<int>(msToEnd));

    handler_->videoRecorder()->setEncoderFault(nullptr);
    const StopOutcome next = record(1.0);
    EXPECT_FALSE(next.error) << failure.name;
    expectPlayable(next.path, 4);
    std::filesystem::remove(*next.path);
  }
}

// --- A process killed mid-recording ----------------------------------------------------------------
// The recording runs in a fresh copy of this test program (forking would leave the child without
// the frame queue's thread), which kills itself; the parent reads what it left.

constexpr const char* kChildFolderVariable = "ZR_KILLED_RECORDING_FOLDER";
constexpr double kChildSeconds = 3.0;

TEST_F(RecorderFaults, KilledRecordingChild) {
  const char* folder = std::getenv(kChildFolderVariable);
  if (!folder) GTEST_SKIP() << "runs as the child of AKilledRecordingPlaysUpToItsLastSecond";
  handler_->videoRecorder()->setRecordingsFolder(folder);
  if (!startRecording()) _exit(2);
  playFor(kChildSeconds);
  std::ofstream(std::filesystem::path(folder) / "frames.txt") << handler_->numFramesInVideo();
  ::raise(SIGKILL);
  _exit(3);
}

TEST_F(RecorderFaults, AKilledRecordingPlaysUpToItsLastSecond) {
  const std::filesystem::path folder = folder_ / "killed";
  std::filesystem::create_directories(folder);
  const std::string variable = std::string(kChildFolderVariable) + "=" + folder.string();
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  std::string filter = "--gtest_filter=RecorderFaults.KilledRecordingChild";
  std::vector<char*> argv = {const_cast<char*>(self.c_str()), filter.data(), nullptr};
  std::vector<char*> env;
  for (char** e = environ; *e; ++e) env.push_back(*e);
  env.push_back(const_cast<char*>(variable.c_str()));
  env.push_back(nullptr);
  // The child's own test output would only repeat this test's name.
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int spawned = posix_spawn(&child, self.c_str(), &quiet, nullptr, argv.data(), env.data());
  posix_spawn_file_actions_destroy(&quiet);
  ASSERT_EQ(spawned, 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "the child ended otherwise: " << status;

  long appended = 0;
  std::ifstream(folder / "frames.txt") >> appended;
  std::vector<std::filesystem::path> videos;
  for (const auto& file : filesIn(folder)) {
    if (file.extension() == ".mp4") videos.push_back(file);
  }
  ASSERT_EQ(videos.size(), 1u);
  const ProbedVideo video = probeVideo(videos[0].string());
  ASSERT_TRUE(video.readable);
  // Lost: at most the fragment in progress (a second of frames) and the frame held for its
  // duration.
  const auto survived = static_cast<long>(video.framePtsMs.size());
  EXPECT_GE(appended, static_cast<long>(kChildSeconds * 4));
  const auto framesInASecond = static_cast<long>(std::ceil(static_cast<double>(appended) / kChildSeconds));
  EXPECT_GE(survived, appended - framesInASecond - 2);
  EXPECT_LE(survived, appended);
  for (size_t i = 1; i < video.framePtsMs.size(); ++i) EXPECT_GT(video.framePtsMs[i], video.framePtsMs[i - 1]);
  ASSERT_FALSE(video.framePtsMs.empty());
  EXPECT_GE(video.framePtsMs.back(), static_cast<std::int64_t>((kChildSeconds - 1.5) * 1000));
  const DecodedFrames decoded = decodeFrames(videos[0].string(), video.width, video.height);
  EXPECT_EQ(decoded.frames.size(), video.framePtsMs.size());
  RecordProperty("framesAppended", static_cast<int>(appended));
  RecordProperty("framesSurvivingKill", static_cast<int>(survived));
}

}  // namespace
}  // namespace zerva::testing
