#include "platform/PlatformClasses.h"

#include <mutex>

#include "platform/AVCaptureVideoPreviewLayer.h"
#include "platform/AVPlayerLayer.h"
#include "platform/UIAlertView.h"
#include "platform/CADisplayLink.h"
#include "platform/CALayer.h"
#include "platform/CAMetalLayer.h"
#include "platform/NSLayoutManager.h"
#include "platform/NSTextStorage.h"
#include "platform/NSTimer.h"
#include "platform/UIApplication.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"
#include "platform/UIImageView.h"
#include "platform/UILabel.h"
#include "platform/UINavigationController.h"
#include "platform/UIScreen.h"
#include "platform/UIScrollView.h"
#include "platform/UITextField.h"
#include "platform/UIView.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"

namespace zerva {

void registerPlatformClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    // Run loop.
    NSObject::class_();
    NSTimer::class_();
    CADisplayLink::class_();
    // Layers and views.
    CALayer::class_();
    AVPlayerLayer::class_();
    AVCaptureVideoPreviewLayer::class_();
    CAMetalLayer::class_();
    UIView::class_();
    UIWindow::class_();
    UIScrollView::class_();
    UILabel::class_();
    UITextField::class_();
    UIImageView::class_();
    UIAlertView::class_();
    WKWebView::class_();
    UIViewController::class_();
    UINavigationController::class_();
    UIApplication::class_();
    UIScreen::class_();
    // Drawing and text.
    UIImage::class_();
    UIGraphicsImageRenderer::class_();
    NSAttributedString::class_();
    NSMutableAttributedString::class_();
    NSTextStorage::class_();
    NSLayoutManager::class_();
    NSTextContainer::class_();
  });
}

}  // namespace zerva
