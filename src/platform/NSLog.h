#pragma once
// The platform log. Lines go to a sink: standard error by default; tests capture them.

#include <functional>
#include <string>
#include <vector>

#include "platform/Mutex.h"

namespace zerva {

using NSLogSink = std::function<void(const std::string& line)>;

/// Writes one line to the platform log.
void NSLog(const std::string& line);
/// Replaces the sink (nullptr restores standard error) and returns the previous one.
NSLogSink setNSLogSink(NSLogSink sink);

/// Collects every NSLog line while it lives; thread-safe.
class NSLogCapture {
 public:
  NSLogCapture();
  ~NSLogCapture();
  NSLogCapture(const NSLogCapture&) = delete;
  NSLogCapture& operator=(const NSLogCapture&) = delete;

  std::vector<std::string> lines() const;
  /// Lines that contain `text`.
  size_t count(const std::string& text) const;

 private:
  mutable Mutex mutex_;
  std::vector<std::string> lines_ GUARDED_BY(mutex_);
  NSLogSink previous_;
};

}  // namespace zerva
