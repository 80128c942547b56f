#include "platform/NSLog.h"

#include <cstdio>

namespace zerva {

namespace {

void writeToStandardError(const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }

struct SinkSlot {
  std::mutex mutex;
  NSLogSink sink = writeToStandardError;
};

SinkSlot& slot() {
  static SinkSlot s;
  return s;
}

}  // namespace

void NSLog(const std::string& line) {
  NSLogSink sink;
  {
    std::lock_guard lock(slot().mutex);
    sink = slot().sink;
  }
  sink(line);
}

NSLogSink setNSLogSink(NSLogSink sink) {
  std::lock_guard lock(slot().mutex);
  NSLogSink previous = std::move(slot().sink);
  slot().sink = sink ? std::move(sink) : NSLogSink(writeToStandardError);
  return previous;
}

NSLogCapture::NSLogCapture() {
  previous_ = setNSLogSink([this](const std::string& line) {
    std::lock_guard lock(mutex_);
    lines_.push_back(line);
  });
}

NSLogCapture::~NSLogCapture() { setNSLogSink(std::move(previous_)); }

std::vector<std::string> NSLogCapture::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

size_t NSLogCapture::count(const std::string& text) const {
  std::lock_guard lock(mutex_);
  size_t n = 0;
  for (const auto& l : lines_) n += l.find(text) != std::string::npos;
  return n;
}

}  // namespace zerva
