#pragma once
// An optional observer of frames on their way into the video, for tools that show what each frame
// hid and why (zerva-scene record). The handler calls it only while one is set
// (ZRViewVideoHandler::setFrameInspector), so a recording without one pays a null test per call
// site. It is no part of the SDK's interface; but for a test's setMaskFault it changes nothing.
//
// Rectangles travel through the handler as plain rect strings; the inspector learns the source of
// each where it is made (noteRects) and labels a masked frame's list by looking them up. A rect
// string made by two sources is labelled with the later one.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "handler/ZROcclusionRecords.h"
#include "platform/CGGeometry.h"
#include "platform/Mutex.h"

namespace zerva {

class UIImage;

/// Where a hidden rectangle came from.
enum class ZRHiddenRectSource {
  SensitiveView,       // registered by the app
  AutomaticTextField,  // a text field the registry added by itself
  WebPage,             // reported by the page of a web view
  Manual,              // pushed by a hybrid framework
  OnDemand,            // pulled from a hybrid framework for the frame
  TextRecognition,     // text found in the frame image
  WholeScreen,         // a hidden screen or a whole-screen rule
  Unknown,             // a rect string nobody noted (should not happen)
};

/// "sensitive view", "automatic text field", "web page", "manual", "on-demand",
/// "text recognition", "whole screen", "unknown".
const char* ZRHiddenRectSourceName(ZRHiddenRectSource source);

struct ZRInspectedRect {
  CGRect rect = CGRectZero;  // in points of the frame image
  ZRHiddenRectSource source = ZRHiddenRectSource::Unknown;
};

enum class ZRInspectedFrameKind { Real, Schematic, Blank };

/// "real", "schematic", "blank".
const char* ZRInspectedFrameKindName(ZRInspectedFrameKind kind);

/// One run of the per-frame driver (main thread, at its end).
struct ZRFrameCaptureRun {
  ZRInspectedFrameKind kind = ZRInspectedFrameKind::Real;  // Blank: paused, a blank frame instead
  /// The synchronous capture on the real clock: the span gZERVA_LastFrameTime measures on the
  /// process clock, which stands still under a manual clock.
  double realSeconds = 0;
  /// A picture (or blank frame) entered the pipeline during the run; false for a skipped frame.
  bool tookPicture = false;
  /// The frame's stamp (onCaptureVideoFrameTime) when it took a picture.
  double frameTime = 0;
  bool slowCapturePath = false;  // after the run
};

/// One frame after masking (frame queue), just before its conversion to a video frame.
struct ZRFrameInspection {
  ZRInspectedFrameKind kind = ZRInspectedFrameKind::Real;
  double frameTime = 0;         // its stamp, as in ZRFrameCaptureRun
  double presentationTime = 0;  // the time it is appended at
  std::shared_ptr<UIImage> captured;  // before masking (blank frames: the blank image)
  std::vector<ZRInspectedRect> hidden;
  std::shared_ptr<UIImage> recorded;  // after masking
};

class ZRFrameInspector {
 public:
  using CaptureObserver = std::function<void(const ZRFrameCaptureRun&)>;
  using FrameObserver = std::function<void(const ZRFrameInspection&)>;
  /// Changes a frame's rectangles (points of the frame image) right before they are painted.
  using MaskFault = std::function<void(ZRRectStringList& rects)>;

  /// Either observer may be empty. Both may be called on any thread; the frame observer on the
  /// frame queue, one frame at a time.
  ZRFrameInspector(CaptureObserver captureObserver, FrameObserver frameObserver);

  /// Any thread: these rectangles were made by `source`.
  void noteRects(const ZRRectStringList& rects, ZRHiddenRectSource source);
  /// The rectangles with the sources noted for them.
  std::vector<ZRInspectedRect> inspectedRects(const ZRRectStringList& rects) const;

  void captureRunDidEnd(const ZRFrameCaptureRun& run) const;
  void frameWasMasked(const ZRFrameInspection& frame) const;

  /// Tests only: a masking fault, to prove that a check of recorded videos catches what it would
  /// do (a rectangle too small, a stale one, one left out). Set it with the inspector, before a
  /// recording starts; called on the frame queue. Production code never sets one.
  const MaskFault& maskFault() const { return maskFault_; }
  void setMaskFault(MaskFault fault) { maskFault_ = std::move(fault); }

 private:
  CaptureObserver captureObserver_;
  FrameObserver frameObserver_;
  MaskFault maskFault_;
  mutable Mutex mutex_;
  static constexpr std::size_t kSourcesPerGeneration = 4096;
  std::unordered_map<std::string, ZRHiddenRectSource> sources_ GUARDED_BY(mutex_);
  std::unordered_map<std::string, ZRHiddenRectSource> olderSources_ GUARDED_BY(mutex_);
};

}  // namespace zerva
