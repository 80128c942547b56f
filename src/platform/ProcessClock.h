#pragma once
// The process clock behind CACurrentMediaTime(), NSDate and NSThread sleeps.
//
// By default it is the real monotonic clock. Tests install a ManualClock: time then stands
// still until a test advances it, or until a run loop advances it to its next timer or
// display-link tick, and sleeping advances it instead of waiting.

#include <atomic>
#include <memory>

namespace zerva {

class ProcessClock {
 public:
  virtual ~ProcessClock() = default;
  /// Seconds on a monotonic time line.
  virtual double now() const = 0;
  /// Real clock: blocks the thread. Manual clock: moves time forward at once.
  virtual void sleepFor(double seconds) = 0;
  virtual bool isManual() const { return false; }

  /// The clock in force. Never null.
  static ProcessClock& current();
  /// Installs a clock for the whole process; nullptr restores the real clock.
  static void install(std::shared_ptr<ProcessClock> clock);
};

class RealClock : public ProcessClock {
 public:
  double now() const override;
  void sleepFor(double seconds) override;
};

class ManualClock : public ProcessClock {
 public:
  explicit ManualClock(double start = 1000.0) : now_(start) {}
  double now() const override { return now_.load(); }
  void sleepFor(double seconds) override { advance(seconds); }
  bool isManual() const override { return true; }

  /// Moves time forward; negative amounts are ignored.
  void advance(double seconds);
  /// Moves time to `t` when it lies ahead; time never runs backwards.
  void advanceTo(double t);

 private:
  std::atomic<double> now_;
};

/// Installs a fresh ManualClock for the lifetime of this object, then restores the real clock.
class ScopedManualClock {
 public:
  explicit ScopedManualClock(double start = 1000.0);
  ~ScopedManualClock();
  ScopedManualClock(const ScopedManualClock&) = delete;
  ScopedManualClock& operator=(const ScopedManualClock&) = delete;

  ManualClock& clock() { return *clock_; }
  void advance(double seconds) { clock_->advance(seconds); }

 private:
  std::shared_ptr<ManualClock> clock_;
};

/// Seconds on the process clock.
double CACurrentMediaTime();

}  // namespace zerva
