#pragma once
// Thread queries and sleeping on the process clock.

#include "platform/ThreadCheck.h"

namespace zerva {

class NSThread {
 public:
  /// The calling thread runs the main run loop.
  static bool isMainThread();
  /// Debug builds: aborts, naming `function`, unless the calling thread is the main thread.
  static void assertMainThread(const char* function = __builtin_FUNCTION()) {
#ifndef NDEBUG
    if (!isMainThread()) ZRThreadCheckFailed(function, "the main thread");
#else
    (void)function;
#endif
  }
  /// Real clock: blocks. Manual clock: advances the clock at once.
  static void sleepForTimeInterval(double seconds);
};

}  // namespace zerva
