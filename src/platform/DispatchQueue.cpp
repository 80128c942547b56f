#include "platform/DispatchQueue.h"

#include <algorithm>

#include "platform/MutexLock.h"
#include "platform/NSRunLoop.h"

namespace zerva {

namespace {
// The queues (by their shared state) whose blocks the calling thread is running.
thread_local std::vector<const void*> tlsRunningQueues;

struct RunningScope {
  explicit RunningScope(const void* q) { tlsRunningQueues.push_back(q); }
  ~RunningScope() { tlsRunningQueues.pop_back(); }
};
}  // namespace

DispatchQueue::DispatchQueue(std::string label, Kind kind, int concurrentThreads)
    : label_(std::move(label)), kind_(kind), maxThreads_(kind == Kind::Serial ? 1 : std::max(2, concurrentThreads)) {}

DispatchQueue::~DispatchQueue() {
  std::vector<std::thread> workers;
  {
    MutexLock lock(state_->mutex);
    state_->shuttingDown = true;
    workers.swap(workers_);
  }
  state_->workAvailable.notifyAll();
  for (auto& t : workers) {
    if (t.get_id() == std::this_thread::get_id()) {
      t.detach();  // released by our own block: that worker finishes on the shared state
    } else if (t.joinable()) {
      t.join();
    }
  }
}

bool DispatchQueue::isCurrent() const {
  return std::find(tlsRunningQueues.begin(), tlsRunningQueues.end(), state_.get()) != tlsRunningQueues.end();
}

void DispatchQueue::startWorkersLocked() {
  const int busy = state_->running + static_cast<int>(state_->queue.size());
  while (static_cast<int>(workers_.size()) < std::min(busy, maxThreads_)) {
    workers_.emplace_back([state = state_] { workerLoop(state); });
  }
}

void DispatchQueue::async(std::function<void()> block) {
  if (!block) return;
  if (kind_ == Kind::Main) {
    NSRunLoop::mainRunLoop().performBlock([state = state_, b = std::move(block)] {
      RunningScope scope(state.get());
      b();
    });
    return;
  }
  // A block may release the queue as soon as it is queued: keep what this call still needs.
  const auto state = state_;
  {
    // No block runs before the lock is released, so the queue itself is still here inside it.
    MutexLock lock(state_->mutex);
    state_->queue.push_back(std::move(block));
    startWorkersLocked();
  }
  state->workAvailable.notifyOne();
}

void DispatchQueue::sync(const std::function<void()>& block) {
  if (!block) return;
  if (isCurrent() && kind_ != Kind::Concurrent) {
    block();
    return;
  }
  if (kind_ == Kind::Main && NSRunLoop::mainRunLoop().isCurrentThread()) {
    RunningScope scope(state_.get());
    block();
    return;
  }
  struct Completion {
    Mutex mutex;
    ConditionVariable changed;
    bool done GUARDED_BY(mutex) = false;
  } completion;
  async([&] {
    block();
    MutexLock lock(completion.mutex);
    completion.done = true;
    completion.changed.notifyAll();
  });
  MutexLock lock(completion.mutex);
  while (!completion.done) completion.changed.wait(completion.mutex);
}

void DispatchQueue::drain() {
  if (kind_ == Kind::Main) {
    NSRunLoop::mainRunLoop().runPending();
    return;
  }
  MutexLock lock(state_->mutex);
  while (!state_->queue.empty() || state_->running != 0) state_->idle.wait(state_->mutex);
}

void DispatchQueue::workerLoop(const std::shared_ptr<State>& state) {
  RunningScope scope(state.get());
  MutexLock lock(state->mutex);
  while (true) {
    while (!state->shuttingDown && state->queue.empty()) state->workAvailable.wait(state->mutex);
    if (state->queue.empty()) return;  // shutting down with nothing left to run
    auto block = std::move(state->queue.front());
    state->queue.pop_front();
    ++state->running;
    state->mutex.unlock();
    block();
    block = nullptr;  // release what the block captured before reporting idle
    state->mutex.lock();
    --state->running;
    if (state->queue.empty() && state->running == 0) state->idle.notifyAll();
  }
}

dispatch_queue_t dispatch_queue_create(const std::string& label, dispatch_queue_attr_t attr) {
  return std::make_shared<DispatchQueue>(
      label, attr == DISPATCH_QUEUE_CONCURRENT ? DispatchQueue::Kind::Concurrent : DispatchQueue::Kind::Serial);
}

dispatch_queue_t dispatch_get_main_queue() {
  static const dispatch_queue_t q = std::make_shared<DispatchQueue>("com.apple.main-thread", DispatchQueue::Kind::Main);
  return q;
}

dispatch_queue_t dispatch_get_global_queue(long, unsigned long) {
  static const dispatch_queue_t q =
      std::make_shared<DispatchQueue>("com.apple.root.default-qos", DispatchQueue::Kind::Concurrent);
  return q;
}

void dispatch_async(const dispatch_queue_t& queue, dispatch_block_t block) {
  if (queue) queue->async(std::move(block));
}

void dispatch_sync(const dispatch_queue_t& queue, const dispatch_block_t& block) {
  if (queue) queue->sync(block);
}

void dispatch_once(dispatch_once_t& predicate, const dispatch_block_t& block) { std::call_once(predicate, block); }

}  // namespace zerva
