#include "platform/NSThread.h"

#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"

namespace zerva {

bool NSThread::isMainThread() { return NSRunLoop::mainRunLoop().isCurrentThread(); }

void NSThread::sleepForTimeInterval(double seconds) { ProcessClock::current().sleepFor(seconds); }

}  // namespace zerva
