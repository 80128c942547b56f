// The last step of every frame: appends to the recorder with counting of confirmed frames, blank
// frames with the stamping rule, and the two preserve operations of the last frame's time.
// Appends on the frame queue (recorder completions on any thread); blank frames on the caller's.

#include <memory>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/UIColor.h"
#include "platform/UIImage.h"
#include "services/ZRImageRenderer.h"
#include "services/ZRLogUtility.h"
#include "services/ZRSessionVideoRecorder.h"

namespace zerva {

std::int64_t ZRViewVideoHandler::incrementNumFramesInVideo() { return ++numFramesInVideo_; }

void ZRViewVideoHandler::processScreenImageIntoVideo(std::shared_ptr<UIImage> image, double time) {
  ZR_ASSERT_FRAME_QUEUE();
  // Images that arrive while no recording runs, or once a stop began, are dropped.
  if (!isRecording() || wantToStopVideoRecording()) return;
  setLastVideoFrameImage(image);
  setLastVideoFrameTime(time);
  auto self = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());
  // A failed append is neither retried nor counted; the image stays the last frame.
  videoRecorder()->appendImage(std::move(image), lastVideoFrameTime(), [self](bool success) {
    if (success && self->incrementNumFramesInVideo() == 1) ZRLogUtility::addInternalInfoTag("firstVideoFrameRecorded");
  });
}

void ZRViewVideoHandler::addBlankImageToVideo() { addBlankScreenToVideo(UIColor::blackColor()); }

void ZRViewVideoHandler::addBlankScreenToVideo(const UIColor& color) {
  auto renderer = imageRenderer();
  std::shared_ptr<UIImage> image = renderer ? renderer->blankImageOfSize(lastScreenImageSize(), color) : nullptr;

  // Stamping: the first frame of a recording at 0.0, later ones at the time their capture began.
  setOnCaptureVideoFrameTime(totalSnapshots() == 0 ? 0.0 : videoTimeElapsed());
  setTotalSnapshots(totalSnapshots() + 1);

  auto self = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());
  processImageForAutoOcclusionAndVideoConversion(
      std::move(image), ZRRectStringList{},
      [self](std::shared_ptr<UIImage> delivered, ZRRectStringList, double frameTime) {
        self->inspectMaskedFrame(ZRInspectedFrameKind::Blank, frameTime, delivered, {}, {}, false, nullptr);
        self->processScreenImageIntoVideo(std::move(delivered), frameTime);
      });
}

void ZRViewVideoHandler::preserveLastVideoFrameTime() {
  setLastVideoFrameTime(numFramesInVideo() == 0 ? 0.0 : videoTimeElapsed());
}

void ZRViewVideoHandler::preserveLastVideoFrameTime(double time) {
  // A frame stamped 0.0 (the first of a recording) is appended at the time of its conversion.
  if (time == 0.0) time = totalSnapshots() == 0 ? 0.0 : videoTimeElapsed();
  setLastVideoFrameTime(time);
}

}  // namespace zerva
