#include "platform/PlatformClasses.h"

#include <mutex>

#include "platform/CADisplayLink.h"
#include "platform/NSLayoutManager.h"
#include "platform/NSTextStorage.h"
#include "platform/NSTimer.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"

namespace zerva {

void registerPlatformClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    NSObject::class_();
    NSTimer::class_();
    CADisplayLink::class_();
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
