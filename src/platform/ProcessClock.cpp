#include "platform/ProcessClock.h"

#include <chrono>
#include <thread>
#include <vector>

#include "platform/Mutex.h"
#include "platform/MutexLock.h"

namespace zerva {

namespace {

std::shared_ptr<ProcessClock>& installedClock() {
  static std::shared_ptr<ProcessClock> clock = std::make_shared<RealClock>();
  return clock;
}

Mutex& clockMutex() {
  static Mutex m;
  return m;
}

// The clock in force, published for lock-free reads on every thread.
std::atomic<ProcessClock*>& currentClock() {
  static std::atomic<ProcessClock*> clock{installedClock().get()};
  return clock;
}

}  // namespace

ProcessClock& ProcessClock::current() { return *currentClock().load(std::memory_order_acquire); }

void ProcessClock::install(std::shared_ptr<ProcessClock> clock) {
  MutexLock lock(clockMutex());
  if (!clock) clock = std::make_shared<RealClock>();
  // The previous clock is kept alive: a thread may still be reading it.
  static std::vector<std::shared_ptr<ProcessClock>> retired;
  retired.push_back(installedClock());
  installedClock() = std::move(clock);
  currentClock().store(installedClock().get(), std::memory_order_release);
}

double RealClock::now() const {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

void RealClock::sleepFor(double seconds) {
  if (seconds > 0) std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

void ManualClock::advance(double seconds) {
  if (!(seconds > 0)) return;
  double t = now_.load();
  while (!now_.compare_exchange_weak(t, t + seconds)) {
  }
}

void ManualClock::advanceTo(double target) {
  double t = now_.load();
  while (target > t && !now_.compare_exchange_weak(t, target)) {
  }
}

ScopedManualClock::ScopedManualClock(double start) : clock_(std::make_shared<ManualClock>(start)) {
  ProcessClock::install(clock_);
}

ScopedManualClock::~ScopedManualClock() { ProcessClock::install(nullptr); }

double CACurrentMediaTime() { return ProcessClock::current().now(); }

}  // namespace zerva
