#pragma once
// What the frame inspector told during one recording: every run of the frame driver and every
// frame on its way into the video, with its hidden rectangles and their sources. It writes the
// mask previews as frames come, so that no frame image is kept longer than its preview needs.
//
// Runs arrive on the main thread, frames on the frame queue; everything here is thread-safe. For
// schematic and blank frames the left side of a preview is what the screen showed, drawn on the
// main thread when the run that took the frame ends; a frame that arrives first waits for it.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "handler/ZRFrameInspector.h"
#include "platform/Mutex.h"
#include "platform/NSError.h"

namespace zerva {

class UIImage;

class FrameInspectionLog : public std::enable_shared_from_this<FrameInspectionLog> {
 public:
  /// What the screen shows now (main thread).
  using ScreenPicture = std::function<std::shared_ptr<UIImage>()>;

  /// One frame as it went into the pipeline's last step, without its images.
  struct Frame {
    ZRInspectedFrameKind kind = ZRInspectedFrameKind::Real;
    double frameTime = 0;
    double presentationTime = 0;
    std::vector<ZRInspectedRect> hidden;
  };

  /// `masksFolder` empty: no previews. Otherwise every `maskEvery`-th frame gets
  /// masksFolder/NNNN.png, NNNN its index among the frames.
  static std::shared_ptr<FrameInspectionLog> create(std::string masksFolder, int maskEvery, ScreenPicture screen);

  /// An inspector for the handler that reports here (the log may go first: it holds it weakly).
  std::shared_ptr<ZRFrameInspector> makeInspector();

  /// Told of each run after the log has it (main thread). Set it before the recording starts.
  void setRunObserver(ZRFrameInspector::CaptureObserver observer) { runObserver_ = std::move(observer); }

  std::vector<ZRFrameCaptureRun> runs() const;
  std::vector<Frame> frames() const;
  std::size_t frameCount() const;
  std::size_t masksWritten() const;

  /// Writes the previews still waiting for a screen picture (with the frame's own image instead)
  /// and returns the first error met writing any preview.
  NSErrorOrNil finish();

 private:
  FrameInspectionLog(std::string masksFolder, int maskEvery, ScreenPicture screen);
  void runDidEnd(const ZRFrameCaptureRun& run);
  void frameWasMasked(const ZRFrameInspection& frame);
  /// Without the lock: PNG encoding takes milliseconds.
  void writePreview(std::size_t index, const ZRFrameInspection& frame, const std::shared_ptr<UIImage>& shown);

  const std::string masksFolder_;
  const int maskEvery_;
  const ScreenPicture screen_;
  ZRFrameInspector::CaptureObserver runObserver_;

  mutable Mutex mutex_;
  std::vector<ZRFrameCaptureRun> runs_ GUARDED_BY(mutex_);
  std::vector<Frame> frames_ GUARDED_BY(mutex_);
  std::size_t picturesTaken_ GUARDED_BY(mutex_) = 0;
  /// Screen pictures by frame stamp, until their frame comes.
  std::map<double, std::shared_ptr<UIImage>> screenPictures_ GUARDED_BY(mutex_);
  /// Frames waiting for their screen picture, by frame stamp, with their index.
  std::map<double, std::pair<std::size_t, ZRFrameInspection>> waiting_ GUARDED_BY(mutex_);
  std::size_t masksWritten_ GUARDED_BY(mutex_) = 0;
  NSErrorOrNil firstError_ GUARDED_BY(mutex_);
};

}  // namespace zerva
