#pragma once
// The session video recorder: images in, an H.264 MP4 file out.
//
// Threads. Every call returns at once and may come from any thread. The work runs, in call
// order, on the recorder's own serial queue (writerQueue()): opening the file, converting and
// encoding each frame, finishing the file. Append and stop completions come from that queue;
// the start completion is posted to the main run loop, because the frame timer that the caller
// starts there must live on the main thread.
//
// Frames. An image must have the video's frame size in points (settings' videoFrameSize());
// an image drawn at more pixels per point is scaled down to one pixel per point. Its time is
// seconds on the recording's time line and must be at least a millisecond after the previous
// frame's. Refused appends write nothing and report NO; lastAppendError() says why.
//
// Files. Each recording is a new file in recordingsFolder(). The file is a fragmented MP4 that
// gets a complete fragment about every second, so a process killed mid-recording leaves a file
// that plays up to its last second or so. Errors reach the completions as NSError values of
// ZRSessionVideoRecorderErrorDomain (ZRVideoRecorderErrors.h); nothing is thrown.

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/DispatchQueue.h"
#include "platform/Mutex.h"
#include "platform/NSError.h"
#include "platform/NSObject.h"
#include "platform/ThreadAnnotations.h"
#include "platform/UIImage.h"
#include "services/ZRRecordingFile.h"
#include "services/ZRSessionVideoSettings.h"
#include "services/ZRVideoEncoderFault.h"
#include "services/ZRVideoOutput.h"
#include "services/ZRVideoRecorderErrors.h"

namespace zerva {

class ZRMp4VideoWriter;

class ZRSessionVideoRecorder : public NSObject {
  ZR_DECLARE_CLASS(ZRSessionVideoRecorder)
 public:
  using StartCompletion = std::function<void(bool success, NSErrorOrNil error)>;
  using AppendCompletion = std::function<void(bool success)>;
  /// The file is the recording's (also recordingFile()); nullptr when nothing was recording.
  using StopCompletion = std::function<void(std::shared_ptr<ZRRecordingFile> file, NSErrorOrNil error)>;
  /// Creates the file for a recording (ZRVideoOutputCreateFile by default); tests stand in
  /// outputs that fail.
  using OutputFactory = std::function<std::unique_ptr<ZRVideoOutput>(const std::string& path, int* errnoOut)>;

  ZRSessionVideoRecorder();
  /// Finishes a recording still running, so its file is complete.
  ~ZRSessionVideoRecorder() override;

  // --- Recording -------------------------------------------------------------------------------

  /// YES from a successful start until the stop completes.
  bool hasRecordingStarted() const { return started_.load(); }
  void startRecordingWithSettings(const ZRSessionVideoSettings& settings, StartCompletion completion);
  void appendImage(std::shared_ptr<UIImage> image, double time, AppendCompletion completion);
  /// Encodes every frame appended before this call, finishes the file and reports the first
  /// error met during the recording (a full disk, say), or none.
  void stopRecordingWithCompletionHandler(StopCompletion completion);
  /// The file of the current or last recording; nullptr before the first successful start.
  std::shared_ptr<ZRRecordingFile> recordingFile() const;

  // --- Configuration (applies from the next start) ----------------------------------------------

  /// "$XDG_CACHE_HOME/zerva/recordings" (or "~/.cache/...", or the temporary folder's); made on
  /// first use. A folder set by setRecordingsFolder must exist already.
  static std::string defaultRecordingsFolder();
  std::string recordingsFolder() const;
  void setRecordingsFolder(std::string folder);
  void setOutputFactory(OutputFactory factory);
  /// The FFmpeg encoder to use; "libx264" unless a test asks for another.
  void setEncoderName(std::string name);
  /// Makes the encoder fail where the hook says (tests); nullptr for none.
  void setEncoderFault(ZRVideoEncoderFault fault);

  // --- Diagnostics ------------------------------------------------------------------------------

  /// Pixel size of the current or last recording's video: the frame size, with an odd side
  /// padded by one (the last column or row repeated).
  CGSize videoSize() const;
  /// Why the last refused or failed append failed; nullopt after a successful one.
  NSErrorOrNil lastAppendError() const;
  const dispatch_queue_t& writerQueue() const { return queue_; }

 private:
  // Run on writerQueue() only.
  [[nodiscard]] NSErrorOrNil openRecordingOnWriter(const ZRSessionVideoSettings& settings);
  [[nodiscard]] NSErrorOrNil appendOnWriter(const std::shared_ptr<UIImage>& image, double time);
  [[nodiscard]] NSErrorOrNil finishOnWriter();

  const dispatch_queue_t queue_;
  std::atomic<bool> started_{false};

  // Writer-queue state.
  std::unique_ptr<ZRMp4VideoWriter> writer_;
  int frameWidth_ = 0;
  int frameHeight_ = 0;
  NSErrorOrNil failure_;             // first write or encode error of the recording
  std::vector<std::uint8_t> scaled_;  // pixels of an image brought to one pixel per point

  mutable Mutex mutex_;  // guards what follows, read from any thread
  std::string folder_ GUARDED_BY(mutex_);
  bool folderIsDefault_ GUARDED_BY(mutex_) = true;
  OutputFactory outputFactory_ GUARDED_BY(mutex_);
  std::string encoderName_ GUARDED_BY(mutex_) = "libx264";
  ZRVideoEncoderFault encoderFault_ GUARDED_BY(mutex_);
  std::shared_ptr<ZRRecordingFile> file_ GUARDED_BY(mutex_);
  CGSize videoSize_ GUARDED_BY(mutex_);
  NSErrorOrNil lastAppendError_ GUARDED_BY(mutex_);
};

}  // namespace zerva
