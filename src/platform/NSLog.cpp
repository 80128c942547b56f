#include "platform/NSLog.h"

#include <cstdio>

#include "platform/MutexLock.h"

namespace zerva {

namespace {

void writeToStandardError(const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }

struct SinkSlot {
  Mutex mutex;
  NSLogSink sink GUARDED_BY(mutex) = writeToStandardError;
};

SinkSlot& slot() {
  static SinkSlot s;
  return s;
}

}  // namespace

void NSLog(const std::string& line) {
  NSLogSink sink;
  {
    MutexLock lock(slot().mutex);
    sink = slot().sink;
  }
  sink(line);
}

NSLogSink setNSLogSink(NSLogSink sink) {
  MutexLock lock(slot().mutex);
  NSLogSink previous = std::move(slot().sink);
  slot().sink = sink ? std::move(sink) : NSLogSink(writeToStandardError);
  return previous;
}

NSLogCapture::NSLogCapture() {
  previous_ = setNSLogSink([this](const std::string& line) {
    MutexLock lock(mutex_);
    lines_.push_back(line);
  });
}

NSLogCapture::~NSLogCapture() { setNSLogSink(std::move(previous_)); }

std::vector<std::string> NSLogCapture::lines() const {
  MutexLock lock(mutex_);
  return lines_;
}

size_t NSLogCapture::count(const std::string& text) const {
  MutexLock lock(mutex_);
  size_t n = 0;
  for (const auto& l : lines_) n += l.find(text) != std::string::npos;
  return n;
}

}  // namespace zerva
