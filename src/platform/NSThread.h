#pragma once
// Thread queries and sleeping on the process clock.

namespace zerva {

class NSThread {
 public:
  /// The calling thread runs the main run loop.
  static bool isMainThread();
  /// Real clock: blocks. Manual clock: advances the clock at once.
  static void sleepForTimeInterval(double seconds);
};

}  // namespace zerva
