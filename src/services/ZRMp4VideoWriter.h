#pragma once
// The encoding core of the session video recorder: BGRA frames in, an H.264 (yuv420p) video in
// a fragmented MP4 out. Synchronous and single-threaded: the recorder calls it from its own
// worker thread only. FFmpeg stays behind the implementation.
//
// File layout: the moov, then a fragment ('moof' + 'mdat') about every second, each written
// out as soon as it is complete (the moov goes out with the first one). A process killed
// part-way leaves a file that plays up to its last complete fragment.
//
// Time: each frame keeps its own presentation time, in milliseconds (time base 1/1000, and the
// MP4 track's timescale is 1000 too). A frame's duration is the gap to the next frame, so the
// writer holds one encoded frame back until the next arrives; the last frame lasts 1/frameRate.
// The MP4 muxer takes no step of 2^31 ms (about 24.8 days) or more between frames: a gap longer
// than 24 days is shortened to 24 days, and every later frame moves back by as much, so the
// recording goes on and keeps every frame, with their spacing after the gap.
//
// Full disk: a write that fails part-way is cut back to the last whole fragment, so the file
// ends on a box boundary and decodes without errors up to there.
//
// Failed encoder: the file itself is sound, so finish() still writes every frame that came out
// of the encoder before it failed, with the index; nothing more is encoded.
//
// Odd sizes: H.264 in 4:2:0 needs even sides. An odd width or height is padded by one pixel,
// repeating the last column or row; encodedWidth()/encodedHeight() say what the video has.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/NSError.h"
#include "platform/NSResult.h"
#include "services/ZRBGRAFrame.h"
#include "services/ZRVideoEncoderFault.h"
#include "services/ZRVideoOutput.h"

namespace zerva {

struct ZRVideoEncoderConfig {
  /// Frame size in pixels; odd values are padded (see above).
  int width = 0;
  int height = 0;
  /// Frames per second expected. Rate control spends its bits by it, and the last frame lasts
  /// 1/frameRate. The frames' own times decide the timing otherwise.
  double frameRate = 10;
  /// x264's constant rate factor: 0 (lossless) to 51; higher is smaller and blurrier.
  int constantRateFactor = 28;
  /// x264 preset, "ultrafast" ... "veryslow".
  std::string preset = "veryfast";
  /// Screen content: an uneven multi-hexagon motion search reaching motionSearchRange pixels,
  /// sub-pixel refinement 6 and no psychovisual tuning (fidelity to the frames over texture);
  /// no sub-8x8 motion partitions, no weighted prediction, and key frames only at changes of
  /// the whole screen (not where a scroll starts): a scroll costs a third less to encode.
  /// A scroll at 600 points a second moves content 45 to 60 pixels between the frames of every
  /// quality; the presets' hexagon search walks at most 16 and codes a scrolled screen as new.
  bool tuneForScreens = true;
  int motionSearchRange = 64;
  /// At most this many seconds between key frames (where players can seek to).
  double keyframeIntervalSeconds = 10;
  /// Seconds per MP4 fragment: what a killed process loses at most.
  double fragmentSeconds = 1.0;
  /// Encoder threads. One keeps memory flat and leaves the other cores to the app.
  int threads = 1;
  /// The FFmpeg encoder to use.
  std::string encoderName = "libx264";
};

class ZRMp4VideoWriter {
 public:
  /// Sets the encoder up; no file is touched yet. An error when the encoder is missing or
  /// refuses the settings, or the size cannot be encoded.
  static NSResult<std::unique_ptr<ZRMp4VideoWriter>> create(const ZRVideoEncoderConfig& config);
  ~ZRMp4VideoWriter();
  ZRMp4VideoWriter(const ZRMp4VideoWriter&) = delete;
  ZRMp4VideoWriter& operator=(const ZRMp4VideoWriter&) = delete;

  /// Lets a test make the encoder fail (ZRVideoEncoderFault.h). Before startFile.
  void setEncoderFault(ZRVideoEncoderFault fault);
  /// Writes the file header to the output, which the writer owns from now on.
  [[nodiscard]] NSErrorOrNil startFile(std::unique_ptr<ZRVideoOutput> output);
  /// Converts and encodes one frame of exactly width x height pixels at `seconds` (which must be
  /// finite, not negative, and at least a millisecond after the previous frame's). After a
  /// write or encoder error every later call fails with that error.
  [[nodiscard]] NSErrorOrNil encodeFrame(const ZRBGRAFrame& frame, double seconds);
  /// Encodes what is pending, writes the last fragment and index, and closes the output. The
  /// first error met (here or earlier) is returned. Later calls do nothing and return it again.
  [[nodiscard]] NSErrorOrNil finish();

  int encodedWidth() const;
  int encodedHeight() const;
  /// Frames out of the encoder: written to the output or held for the next fragment.
  std::int64_t framesEncoded() const;
  /// Bytes handed to the output so far.
  std::int64_t bytesWritten() const;
  /// Presentation time in the video, in milliseconds, of the last frame accepted; -1 before
  /// the first. Less than the frame's own time after a gap was shortened.
  std::int64_t lastPresentationTimeMs() const;

  /// Milliseconds on the video's time line for a time in seconds.
  static std::int64_t presentationTimeMs(double seconds);

 private:
  struct Impl;
  explicit ZRMp4VideoWriter(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace zerva
