#include "platform/BitmapPool.h"

#include <cstdlib>
#include <iterator>
#include <vector>

#include "platform/MutexLock.h"

namespace zerva {

namespace {

// Whole cache lines, so that vector code reading rows may use aligned loads.
constexpr std::size_t kAlignment = 64;

std::size_t allocationFor(std::size_t bytes) { return (bytes + kAlignment - 1) / kAlignment * kAlignment; }

}  // namespace

BitmapPool& BitmapPool::shared() {
  // Never destroyed: the last images can go after static destructors have run.
  static BitmapPool* pool = new BitmapPool(kDefaultMaxBuffers, kDefaultMaxBytes);
  return *pool;
}

BitmapPool::~BitmapPool() {
  MutexLock lock(mutex_);
  for (const Waiting& w : waiting_) std::free(w.buffer);
}

unsigned char* BitmapPool::take(std::size_t bytes) {
  if (bytes == 0) return nullptr;
  {
    MutexLock lock(mutex_);
    // The most recently given back is the likeliest still in the caches.
    for (auto it = waiting_.rbegin(); it != waiting_.rend(); ++it) {
      if (it->bytes != bytes) continue;
      unsigned char* buffer = it->buffer;
      waitingBytes_ -= bytes;
      waiting_.erase(std::next(it).base());
      return buffer;
    }
  }
  return static_cast<unsigned char*>(std::aligned_alloc(kAlignment, allocationFor(bytes)));
}

void BitmapPool::giveBack(unsigned char* buffer, std::size_t bytes) {
  if (!buffer) return;
  if (bytes > maxBytes_ || maxBuffers_ == 0) {
    std::free(buffer);
    return;
  }
  std::vector<unsigned char*> leaving;  // freed after the lock: giving memory back can be slow
  {
    MutexLock lock(mutex_);
    waiting_.push_back({buffer, bytes});
    waitingBytes_ += bytes;
    while (waiting_.size() > maxBuffers_ || waitingBytes_ > maxBytes_) {
      leaving.push_back(waiting_.front().buffer);
      waitingBytes_ -= waiting_.front().bytes;
      waiting_.pop_front();
    }
  }
  for (unsigned char* b : leaving) std::free(b);
}

std::size_t BitmapPool::waitingBuffers() const {
  MutexLock lock(mutex_);
  return waiting_.size();
}

std::size_t BitmapPool::waitingBytes() const {
  MutexLock lock(mutex_);
  return waitingBytes_;
}

}  // namespace zerva
