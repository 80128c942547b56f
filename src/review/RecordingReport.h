#pragma once
// The report of one recorded scene: what the frame driver did, what went into the video and what
// each frame hid, the capture times, the file and how the recording ended. Compiled from the
// frame inspector's log and the video as decoded from the file, so that its counts and times are
// those of the video and not of what the handler meant to write.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/CGGeometry.h"
#include "platform/NSError.h"
#include "review/FrameInspectionLog.h"

namespace zerva {

struct DecodedVideo;

struct RecordingReport {
  struct KindCounts {
    std::size_t runs = 0;      // driver runs that chose this kind
    std::size_t captured = 0;  // frames of this kind that reached masking
    std::size_t skipped = 0;   // runs that put no frame into the pipeline
    std::size_t appended = 0;  // frames of this kind found in the video
  };
  struct VideoFrame {
    std::size_t index = 0;
    double presentationTime = 0;
    /// "real", "schematic", "blank", or "repeated" (the last picture again, added by the stop).
    std::string kind;
    std::vector<ZRInspectedRect> hidden;
  };
  struct Timing {
    std::size_t count = 0;
    double p50Ms = 0, p95Ms = 0, maxMs = 0;
  };
  struct GestureAnswer {
    double at = 0;
    CGPoint point = CGPointZero;
    std::string view;
    bool blocked = false;
  };
  struct Outcome {
    unsigned long stopReason = 1;
    std::optional<std::string> recorderPath;  // where the recorder wrote it
    NSErrorOrNil error;
    bool delivered = false;
  };

  std::string scene;
  bool realtime = false;
  double sceneSeconds = 0;
  double wallSeconds = 0;

  KindCounts real, schematic;
  std::size_t blankCaptured = 0;
  std::size_t blankAppended = 0;
  std::size_t repeatedAtStop = 0;
  std::size_t videoFrameCount = 0;
  std::vector<VideoFrame> videoFrames;

  Timing captureTime;
  std::size_t slowPathEntries = 0, slowPathExits = 0;

  std::string videoPath;
  std::uintmax_t videoBytes = 0;
  double videoSeconds = 0;  // the last frame's presentation time
  double videoBytesPerSecond = 0;
  int videoWidth = 0, videoHeight = 0;
  std::string videoCodec;

  std::vector<GestureAnswer> gestureAnswers;
  Outcome outcome;

  std::string contactSheet;
  std::string masksFolder;
  std::size_t masksWritten = 0;

  /// Fills the frame counts, frame list and times from the log and the decoded video: a video
  /// frame is matched to the inspected frame presented at the same millisecond.
  void compile(const std::vector<ZRFrameCaptureRun>& runs, const std::vector<FrameInspectionLog::Frame>& frames,
               const DecodedVideo& video);

  nlohmann::json toJson() const;
  /// A few lines for people.
  std::string summary() const;
};

}  // namespace zerva
