#pragma once
// A condition variable that waits on a Mutex, so that what it waits for can be GUARDED_BY that
// mutex and the analysis still sees the waiter holding it. Callers loop on their condition:
//   while (!ready_) changed_.wait(mutex_);

#include <condition_variable>

#include "platform/Mutex.h"
#include "platform/ThreadAnnotations.h"

namespace zerva {

class ConditionVariable {
 public:
  /// Releases `mutex` while it waits and holds it again on return; may wake spuriously.
  void wait(Mutex& mutex) REQUIRES(mutex) { changed_.wait(mutex); }
  /// As wait(), for at most `seconds`.
  void waitFor(Mutex& mutex, double seconds) REQUIRES(mutex) {
    changed_.wait_for(mutex, std::chrono::duration<double>(seconds));
  }
  void notifyOne() { changed_.notify_one(); }
  void notifyAll() { changed_.notify_all(); }

 private:
  std::condition_variable_any changed_;
};

}  // namespace zerva
