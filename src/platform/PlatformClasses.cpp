#include "platform/PlatformClasses.h"

#include <mutex>

#include "platform/NSTimer.h"
#include "platform/CADisplayLink.h"
#include "platform/CALayer.h"
#include "platform/AVPlayerLayer.h"
#include "platform/AVCaptureVideoPreviewLayer.h"
#include "platform/CAMetalLayer.h"
#include "platform/UIView.h"
#include "platform/UIWindow.h"
#include "platform/UIScrollView.h"
#include "platform/UILabel.h"
#include "platform/UINavigationController.h"
#include "platform/UITextField.h"
#include "platform/UIImageView.h"
#include "platform/WKWebView.h"
#include "platform/UIViewController.h"
#include "platform/UIApplication.h"
#include "platform/UIScreen.h"

namespace zerva {

void registerPlatformClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    NSObject::class_();
    NSTimer::class_();
    CADisplayLink::class_();
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
    WKWebView::class_();
    UIViewController::class_();
    UINavigationController::class_();
    UIApplication::class_();
    UIScreen::class_();
  });
}

}  // namespace zerva
