// The optional frame inspector: where each rectangle came from, and each frame before and after
// masking, for tools. Called on the thread of each call site; a no-op without an inspector.

#include "handler/ZRFrameInspector.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/MutexLock.h"
#include "platform/UIImage.h"
#include "services/ZROcclusionManager.h"

namespace zerva {

const char* ZRHiddenRectSourceName(ZRHiddenRectSource source) {
  switch (source) {
    case ZRHiddenRectSource::SensitiveView:
      return "sensitive view";
    case ZRHiddenRectSource::AutomaticTextField:
      return "automatic text field";
    case ZRHiddenRectSource::WebPage:
      return "web page";
    case ZRHiddenRectSource::Manual:
      return "manual";
    case ZRHiddenRectSource::OnDemand:
      return "on-demand";
    case ZRHiddenRectSource::TextRecognition:
      return "text recognition";
    case ZRHiddenRectSource::WholeScreen:
      return "whole screen";
    case ZRHiddenRectSource::Unknown:
      break;
  }
  return "unknown";
}

const char* ZRInspectedFrameKindName(ZRInspectedFrameKind kind) {
  switch (kind) {
    case ZRInspectedFrameKind::Real:
      return "real";
    case ZRInspectedFrameKind::Schematic:
      return "schematic";
    case ZRInspectedFrameKind::Blank:
      return "blank";
  }
  return "real";
}

ZRFrameInspector::ZRFrameInspector(CaptureObserver captureObserver, FrameObserver frameObserver)
    : captureObserver_(std::move(captureObserver)), frameObserver_(std::move(frameObserver)) {}

void ZRFrameInspector::noteRects(const ZRRectStringList& rects, ZRHiddenRectSource source) {
  MutexLock lock(mutex_);
  // Every scroll position makes new rect strings; a list is looked up within a few frames of
  // being noted, so two generations bound the memory of a long recording.
  if (sources_.size() >= kSourcesPerGeneration) {
    olderSources_ = std::move(sources_);
    sources_.clear();
  }
  for (const auto& rect : rects) sources_[rect] = source;
}

std::vector<ZRInspectedRect> ZRFrameInspector::inspectedRects(const ZRRectStringList& rects) const {
  std::vector<ZRInspectedRect> inspected;
  inspected.reserve(rects.size());
  MutexLock lock(mutex_);
  for (const auto& rect : rects) {
    ZRHiddenRectSource source = ZRHiddenRectSource::Unknown;
    if (const auto found = sources_.find(rect); found != sources_.end()) {
      source = found->second;
    } else if (const auto older = olderSources_.find(rect); older != olderSources_.end()) {
      source = older->second;
    }
    inspected.push_back({CGRectFromString(rect), source});
  }
  return inspected;
}

void ZRFrameInspector::captureRunDidEnd(const ZRFrameCaptureRun& run) const {
  if (captureObserver_) captureObserver_(run);
}

void ZRFrameInspector::frameWasMasked(const ZRFrameInspection& frame) const {
  if (frameObserver_) frameObserver_(frame);
}

void ZRViewVideoHandler::inspectRects(const ZRRectStringList& rects, ZRHiddenRectSource source) const {
  if (auto inspector = frameInspector(); inspector && !rects.empty()) inspector->noteRects(rects, source);
}

void ZRViewVideoHandler::inspectFrameCapture(bool schematic, double realSeconds, std::int64_t snapshotsBefore) const {
  auto inspector = frameInspector();
  if (!inspector) return;
  ZRFrameCaptureRun run;
  // While paused the driver appends a blank frame in place of either kind.
  run.kind = screenRecordingIsPaused() ? ZRInspectedFrameKind::Blank
                                       : (schematic ? ZRInspectedFrameKind::Schematic : ZRInspectedFrameKind::Real);
  run.realSeconds = realSeconds;
  // Every picture and blank frame counts itself in totalSnapshots when it is taken.
  run.tookPicture = totalSnapshots() > snapshotsBefore;
  run.frameTime = onCaptureVideoFrameTime();
  run.slowCapturePath = slowCapturePath();
  inspector->captureRunDidEnd(run);
}

void ZRViewVideoHandler::inspectMaskedFrame(ZRInspectedFrameKind kind, double frameTime,
                                            const std::shared_ptr<UIImage>& captured,
                                            const std::vector<std::string>& screens,
                                            const ZRRectStringList& occlusionRects, bool hideFullScreen,
                                            const std::shared_ptr<UIImage>& recorded) const {
  auto inspector = frameInspector();
  if (!inspector) return;
  ZRFrameInspection frame;
  frame.kind = kind;
  frame.frameTime = frameTime;
  // Blank frames go in at their stamp; pictures at the time preserveLastVideoFrameTime fixed.
  frame.presentationTime = kind == ZRInspectedFrameKind::Blank ? frameTime : lastVideoFrameTime();
  frame.captured = captured;
  // A frame that is not masked goes on as it was captured.
  frame.recorded = recorded ? recorded : captured;
  const CGRect whole{CGPointZero, captured ? captured->size() : CGSizeZero};
  if (hideFullScreen) {
    // The cover is painted instead of the rectangles.
    frame.hidden.push_back({whole, ZRHiddenRectSource::WholeScreen});
  } else {
    frame.hidden = inspector->inspectedRects(occlusionRects);
    auto manager = occlusionManager();
    if (kind != ZRInspectedFrameKind::Blank && manager &&
        manager->occlusionForScreens(screens, ZROcclusionCategoryWholeScreen)) {
      frame.hidden.push_back({whole, ZRHiddenRectSource::WholeScreen});
    }
  }
  inspector->frameWasMasked(frame);
}

}  // namespace zerva
