// Schematic frames from start to hand-over: the skip rules, the scan of the screen, the frame
// image with its keyboard box, and the way into the pipeline. Main thread (the completion on the
// frame queue).

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/NSStringDrawing.h"
#include "platform/UIApplication.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"
#include "platform/UIWindow.h"
#include "services/HVHierarchyScanner.h"
#include "services/ZRKeyboardUtility.h"

namespace zerva {

namespace {

constexpr double kKeyboardLabelFontSize = 18.0;
const std::string kKeyboardText = "Keyboard";

/// new / current: a side whose native size is unknown (0) is kept as it is rather than
/// scaled by infinity.
double videoScale(double current, double native) { return native != 0 ? current / native : 1.0; }

}  // namespace

void ZRViewVideoHandler::schematicFrameScreenImage(bool hideFullScreen) {
  ZR_ASSERT_MAIN_THREAD();
  const long orientation = UIApplication::sharedApplication()->statusBarOrientation();

  auto keyWindow = keyWindowForFrameCapture(nullptr);
  if (!keyWindow) {
    fs_DidSkipLastFrameCapture = true;
    return;
  }

  if (stopScrollCaptureOnStutterOS() && userControlOfStopScrollCaptureOnStutterOS() &&
      !verifyServerStoppedSlowPath()) {
    bool skip = false;
    auto keyboard = keyboardUtility();
    if (keyboard && keyboard->isKeyboardVisible()) {
      skip = true;
    } else {
      cleanupTrackedScrollviews();
      if (anyViewScrollingInHierarchy(keyWindow)) {
        skip = true;
      } else if (skipCaptureOfCurrentFrame()) {
        setSkipCaptureOfCurrentFrame(false);
        skip = true;
      }
    }
    if (skip) {
      fs_DidSkipLastFrameCapture = true;
      return;
    }
  }
  fs_DidSkipLastFrameCapture = false;

  refreshAutoOccludedViews();
  const auto sensitiveViews = listOfActiveSensitiveViews();
  const auto scanner = HVHierarchyScanner::initAndOccludeAllTextFields(occludeAllTextFields());
  const auto snapshot = scanner->hierarchySnapshotFromWindow(nullptr, sensitiveViews);

  const auto keyboard = keyboardUtility();
  const CGRect keyboardFrame = keyboard ? keyboard->keyboardFrameInWindow(keyWindow) : CGRectZero;
  auto occlusionRects = copyAndResetOcclusionRects();
  auto screens = currentVisibleScreens();

  auto image = renderSchematicFrame(snapshot, keyboardFrame);

  auto self = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());
  processImageForAutoOcclusionAndVideoConversion(
      std::move(image), std::move(occlusionRects),
      [self, screens = std::move(screens), orientation, hideFullScreen](
          std::shared_ptr<UIImage> drawn, ZRRectStringList joinedRects, double frameTime) {
        ZR_ASSERT_FRAME_QUEUE();
        self->preserveLastVideoFrameTime(frameTime);
        auto masked = self->occludeSensitiveViewsIntoImage(drawn, screens, joinedRects, false, hideFullScreen);
        self->inspectMaskedFrame(ZRInspectedFrameKind::Schematic, frameTime, drawn, screens, joinedRects,
                                 hideFullScreen, masked);
        // Drawn at the screen's size already: no scaling before conversion.
        const CGSize size = masked ? masked->size() : CGSizeZero;
        self->processCapturedImageIntoVideo(masked, orientation, CGRectMake(0, 0, size.width, size.height), false,
                                            hideFullScreen);
      });
}

std::shared_ptr<UIImage> ZRViewVideoHandler::renderSchematicFrame(const std::vector<HVHierarchyDictionary>& snapshot,
                                                                  CGRect keyboardFrame) {
  ZR_ASSERT_MAIN_THREAD();
  if (snapshot.empty()) return nullptr;
  const CGRect screenRect = Zerva_rectFromFastStore(snapshot.front().get(Zerva_HS_Key_ScreenRect));
  auto renderer = imageRendererForSize(screenRect.size);
  if (!renderer) return nullptr;

  auto image = renderer->imageWithActions([&](UIGraphicsImageRendererContext& rendererContext) {
    CGContextRef context = rendererContext.CGContext();
    NSMutableParagraphStyle labelStyle;
    labelStyle.setAlignment(NSTextAlignmentCenter);
    fs_OutlineLabelParagraphStyle = labelStyle;
    // Later roots paint over earlier ones; the keyboard lies over everything.
    for (const auto& root : snapshot) drawViewHierarchy(root, context, 1.0);
    addKeyboardView(keyboardFrame, context);
  });

  setOnCaptureVideoFrameTime(totalSnapshots() != 0 ? videoTimeElapsed() : 0.0);
  setTotalSnapshots(totalSnapshots() + 1);
  return image;
}

void ZRViewVideoHandler::addKeyboardView(CGRect keyboardFrame, CGContextRef context) {
  auto keyboard = keyboardUtility();
  if (!keyboard || !keyboard->isKeyboardVisible()) return;

  CGRect frame = keyboardFrame;
  if (fs_WindowFrameSizeAdjustedOnLastFrame) {
    const double scaleX = videoScale(fs_CurrentVideoSize.width, fs_DeviceNativeSize.width);
    const double scaleY = videoScale(fs_CurrentVideoSize.height, fs_DeviceNativeSize.height);
    frame = CGRectMake(frame.origin.x * scaleX, frame.origin.y * scaleY, frame.size.width * scaleX,
                       frame.size.height * scaleY);
  }

  CGContextSetFillColorWithColor(context, UIColor::whiteColor().cgColor());
  CGContextFillRect(context, frame);
  CGContextSetStrokeColorWithColor(context, UIColor::blackColor().cgColor());
  CGContextStrokeRect(context, frame);

  NSMutableParagraphStyle centred;
  centred.setAlignment(NSTextAlignmentCenter);
  NSStringAttributes attributes;
  attributes.font = UIFont::systemFontOfSize(kKeyboardLabelFontSize);
  attributes.foregroundColor = UIColor::blackColor();
  attributes.paragraphStyle = centred;
  const CGRect labelRect = CGRectMake(frame.origin.x, frame.origin.y + 0.4 * frame.size.height, frame.size.width,
                                      0.2 * frame.size.height);
  // drawWithRect draws into the current context: make it this one for the label.
  const bool pushed = context && UIGraphicsGetCurrentContext() != context;
  if (pushed) UIGraphicsPushContext(context);
  drawWithRect(kKeyboardText, labelRect, 0, attributes);
  if (pushed) UIGraphicsPopContext();
}

}  // namespace zerva
