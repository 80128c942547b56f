// The way of every captured frame to the video: its time, screens and rectangles fixed at the
// call, text recognition, then masking and conversion. Entries on the caller's thread; every
// step after them on the frame queue.

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/UIApplication.h"
#include "platform/UIImage.h"
#include "services/AITextOcclusionData.h"
#include "services/ScreenImageProcessor.h"
#include "services/ZROcclusionManager.h"
#include "services/ZRUtil.h"

namespace zerva {

namespace {

constexpr long kTextOcclusionType = 1;
/// The time the second entry gives its records; its caller keeps the frame time apart.
constexpr double kTextPipelineRecordTime = 3.0;

/// Hands the record to the processor. Without one (a test or tool may take it away) the frame
/// goes on with no rectangles of its own rather than being lost.
void askProcessor(const std::shared_ptr<ScreenImageProcessor>& processor, AITextOcclusionData record,
                  ScreenImageProcessor::Completion answer) {
  if (processor) {
    processor->processImage(std::move(record), std::move(answer));
  } else {
    answer({});
  }
}

}  // namespace

void ZRViewVideoHandler::processImageForOcclusionAndVideoConversion(std::shared_ptr<UIImage> image,
                                                                    bool hideFullScreen, CGRect screenFrame) {
  processImageForOcclusionAndVideoConversion(std::move(image), copyAndResetOcclusionRects(), hideFullScreen,
                                             screenFrame);
}

void ZRViewVideoHandler::processImageForOcclusionAndVideoConversion(std::shared_ptr<UIImage> image,
                                                                    ZRRectStringList occlusionRects,
                                                                    bool hideFullScreen, CGRect screenFrame) {
  // Orientation and screens of the moment of capture, not of the moment of masking.
  const long orientation = UIApplication::sharedApplication()->statusBarOrientation();
  auto screens = currentVisibleScreens();
  auto self = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());

  processImageForAutoOcclusionAndVideoConversion(
      std::move(image), std::move(occlusionRects),
      [self, screens = std::move(screens), orientation, hideFullScreen, screenFrame](
          std::shared_ptr<UIImage> captured, ZRRectStringList joinedRects, double frameTime) {
        ZR_ASSERT_FRAME_QUEUE();
        self->preserveLastVideoFrameTime(frameTime);
        auto masked = self->occludeSensitiveViewsIntoImage(captured, screens, joinedRects, false, hideFullScreen);
        self->inspectMaskedFrame(ZRInspectedFrameKind::Real, frameTime, captured, screens, joinedRects, hideFullScreen,
                                 masked);
        auto scaled = self->scaleImageToScreenSize(masked, screenFrame.size);
        self->processCapturedImageIntoVideo(scaled, orientation, screenFrame, false, hideFullScreen);
      });
}

void ZRViewVideoHandler::processImageForAutoOcclusionAndVideoConversion(std::shared_ptr<UIImage> image,
                                                                        ZRRectStringList occlusionRects,
                                                                        PipelineCompletion completion) {
  const double frameTime = onCaptureVideoFrameTime();
  const auto screens = currentVisibleScreens();
  std::optional<ZROcclusionSetting> setting;
  if (auto manager = occlusionManager()) setting = manager->autoOccludeSetting(screens);

  AITextOcclusionData record(image, frameTime, setting ? AITextProcessingTypeRecognize : AITextProcessingTypeNone,
                             ZRUtil::sessionVideoQuality(), kTextOcclusionType);
  if (setting) {
    record.setRecognitionLanguages(setting->recognitionLanguage());
    record.setCustomWords(setting->customWords());
  }

  auto self = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());
  dispatch_async(GetMakeVideoFrameQueue(), [self, record = std::move(record), image = std::move(image),
                                            occlusionRects = std::move(occlusionRects),
                                            completion = std::move(completion), frameTime]() mutable {
    // The processor answers on its own thread; the frame goes on from the serial queue, so that
    // frames are masked and converted one at a time. One that never answers holds its frame.
    askProcessor(
        self->imageProcessor(), std::move(record),
        [inspector = self->frameInspector(), image = std::move(image), occlusionRects = std::move(occlusionRects),
         completion = std::move(completion), frameTime](std::vector<std::string> found) mutable {
          dispatch_async(GetMakeVideoFrameQueue(), [inspector = std::move(inspector), image = std::move(image),
                                                    occlusionRects = std::move(occlusionRects),
                                                    completion = std::move(completion), frameTime,
                                                    found = std::move(found)]() mutable {
            if (inspector) inspector->noteRects(found, ZRHiddenRectSource::TextRecognition);
            ZRRectStringList joined = std::move(occlusionRects);
            joined.insert(joined.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
            if (completion) completion(std::move(image), std::move(joined), frameTime);
          });
        });
  });
}

void ZRViewVideoHandler::addImageToAITextOcclusionPipeline(std::shared_ptr<UIImage> image,
                                                           TextOcclusionCompletion completion) {
  const double frameTime = onCaptureVideoFrameTime();
  AITextOcclusionData record(image, kTextPipelineRecordTime, AITextProcessingTypeNone, ZRUtil::sessionVideoQuality(),
                             kTextOcclusionType);

  auto self = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());
  dispatch_async(GetMakeVideoFrameQueue(), [self, record = std::move(record), image = std::move(image),
                                            completion = std::move(completion), frameTime]() mutable {
    // Only the answer's arrival matters here; its rectangles are not used.
    askProcessor(self->imageProcessor(), std::move(record), [image = std::move(image), completion = std::move(completion),
                                                frameTime](std::vector<std::string>) mutable {
      dispatch_async(GetMakeVideoFrameQueue(), [image = std::move(image), completion = std::move(completion),
                                                frameTime]() mutable {
        if (completion) completion(std::move(image), frameTime);
      });
    });
  });
}

}  // namespace zerva
