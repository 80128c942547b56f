#pragma once
// Pixel buffers of bitmaps that are gone, kept for the next bitmap of the same size.
//
// A recording draws a few bitmaps of the same sizes for every frame (the screen, its copies, the
// downscaled frame), 0.5 to 3 MB each. Fresh memory for each costs page faults and cold caches on
// every frame; a buffer that waits here is warm. A buffer comes back only when the last image or
// context over it is gone, so no buffer is ever behind two live bitmaps.
//
// Bounded: at most maxBuffers buffers and maxBytes bytes wait at once; a buffer given back to a
// full pool makes the one that has waited longest go. Thread-safe: bitmaps are made and dropped
// on the main thread, the frame queue and the recorder's thread.

#include <cstddef>
#include <deque>

#include "platform/Mutex.h"
#include "platform/ThreadAnnotations.h"

namespace zerva {

class BitmapPool {
 public:
  /// A few frames' worth of a tablet's screen.
  static constexpr std::size_t kDefaultMaxBuffers = 8;
  static constexpr std::size_t kDefaultMaxBytes = 24u << 20;

  /// The pool every bitmap of the process draws from; it lives until the process ends, since
  /// images may be dropped by static destructors.
  static BitmapPool& shared();

  BitmapPool(std::size_t maxBuffers, std::size_t maxBytes) : maxBuffers_(maxBuffers), maxBytes_(maxBytes) {}
  ~BitmapPool();
  BitmapPool(const BitmapPool&) = delete;
  BitmapPool& operator=(const BitmapPool&) = delete;

  /// A buffer of `bytes` bytes (64-byte aligned; contents undefined): the latest one given back
  /// of that size, or new memory; nullptr for zero bytes or when memory runs out. It belongs to
  /// the caller until given back.
  unsigned char* take(std::size_t bytes);
  /// Takes back a buffer from take() with the size it was taken with. Kept for the next take()
  /// of that size while the bounds allow, else freed.
  void giveBack(unsigned char* buffer, std::size_t bytes);

  std::size_t waitingBuffers() const;
  std::size_t waitingBytes() const;

 private:
  struct Waiting {
    unsigned char* buffer;
    std::size_t bytes;
  };

  const std::size_t maxBuffers_;
  const std::size_t maxBytes_;
  mutable Mutex mutex_;
  std::deque<Waiting> waiting_ GUARDED_BY(mutex_);  // longest waiting first
  std::size_t waitingBytes_ GUARDED_BY(mutex_) = 0;
};

}  // namespace zerva
