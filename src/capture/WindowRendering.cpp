// Window rendering: the real pixels of the screen for one frame, by layer rendering, by a view
// snapshot that waits for the web page's rectangles, or by the manual and on-demand route.
// Main thread (web pages answer there too).

#include <memory>
#include <utility>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/CALayer.h"
#include "platform/UIApplication.h"
#include "platform/UIImage.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"
#include "services/ZRControllerUtility.h"
#include "services/ZRKeyboardUtility.h"

namespace zerva {

namespace {
// How deep below the top controller's view a web view is looked for.
constexpr long kWebViewSearchLevel = 15;
}  // namespace

std::vector<std::shared_ptr<CALayer>> ZRViewVideoHandler::availableWindowLayers() const {
  ZR_ASSERT_MAIN_THREAD();
  std::vector<std::shared_ptr<CALayer>> layers;
  for (const auto& window : UIApplication::sharedApplication()->windows()) {
    if (!window) continue;
    auto layer = window->layer();
    if (window->isHidden()) continue;
    if (CGRectIsEmpty(layer ? layer->bounds() : CGRectZero)) continue;
    layers.push_back(std::move(layer));
  }
  return layers;
}

void ZRViewVideoHandler::recordScreenVideo(CGRect captureFrame, bool hideFullScreen) {
  ZR_ASSERT_MAIN_THREAD();
  auto keyWindow = UIApplication::sharedApplication()->keyWindow();
  const CGRect windowFrame = keyWindow ? keyWindow->frame() : CGRectZero;
  const CGSize windowSize = windowFrame.size;
  auto rootController = keyWindow ? keyWindow->rootViewController() : nullptr;
  auto keyboard = keyboardUtility();
  const CGRect keyboardFrame = keyboard ? keyboard->keyboardFrameInWindow(keyWindow) : CGRectZero;
  const auto windowLayers = availableWindowLayers();
  auto topController = ZRControllerUtility::topViewControllerWithRootViewController(rootController);

  // The rectangles are fixed before any image is taken, on every call.
  const auto occluded = listOfOccludedDictionaries(false);
  if (!occluded.empty()) {
    setOcclusionRects(captureOcclusionRectsForViews(occluded, topController, windowSize));
  } else {
    setOcclusionRects(ZRRectStringList{});
  }

  if (topController) {
    auto webView = screenWebview();
    if (!webView) webView = ZRControllerUtility::webViewinView(topController->view(), kWebViewSearchLevel);

    if (webView) {
      // Mid-pinch pages are not captured; the next frame interval tries again.
      if (isScrollViewZooming(webView->scrollView())) return;
      auto image = generateSnapShotForView(keyWindow, windowFrame, keyboardFrame);
      if (!image) return;
      // The picture is the one taken now; the page's rectangles join it when the page answers.
      auto self = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());
      occlusionRectsForWebView(webView, [self, webView, image, windowSize, captureFrame,
                                         hideFullScreen](nlohmann::json answer) {
        // A page that left its window before it answered: its rectangles can no longer be
        // placed, while the picture still shows it. The frame is dropped, not sent unmasked.
        if (!webView->window()) return;
        ZRRectStringList merged = self->addWebViewOcclusionRects(answer, webView, windowSize);
        self->setWebViewRects(std::move(merged));
        self->processImageForOcclusionAndVideoConversion(image, hideFullScreen, captureFrame);
      });
      return;
    }

    if (!canUseOldLayerMethodToTakeSnapshotInController(topController, keyWindow)) {
      fetchOcclusionRectAndProcessImage(captureFrame, hideFullScreen);
      return;
    }
  }

  auto image = generateSnapShotForLayers(windowLayers, windowSize, keyboardFrame);
  if (!image) return;
  processImageForOcclusionAndVideoConversion(image, hideFullScreen, captureFrame);
}

}  // namespace zerva
