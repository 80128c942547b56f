#include "platform/PlatformClasses.h"

#include <mutex>

#include "platform/CADisplayLink.h"
#include "platform/NSTimer.h"

namespace zerva {

void registerPlatformClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    NSObject::class_();
    NSTimer::class_();
    CADisplayLink::class_();
  });
}

}  // namespace zerva
