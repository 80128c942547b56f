#pragma once
// Something a run loop fires at given times: timers and display links.

namespace zerva {

class NSRunLoopSource {
 public:
  virtual ~NSRunLoopSource() = default;
  /// False once invalidated; the run loop then drops the source.
  virtual bool isValid() const = 0;
  /// A paused source stays scheduled but does not fire.
  virtual bool isPaused() const { return false; }
  /// Process-clock seconds of the next firing.
  virtual double nextFireTime() const = 0;
  /// Called on the run loop's thread; `scheduledTime` is the time it was due.
  virtual void fire(double scheduledTime) = 0;
};

}  // namespace zerva
