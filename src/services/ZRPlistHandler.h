#pragma once
// Small counters the SDK keeps across runs of the app, in one JSON file written atomically (a
// new file renamed over the old), so a crash mid-write never loses the previous value.

#include <memory>
#include <string>

#include "platform/Mutex.h"
#include "platform/NSError.h"
#include "platform/ThreadAnnotations.h"

namespace zerva {

class ZRPlistHandler {
 public:
  static std::shared_ptr<ZRPlistHandler> sharedHandler();
  /// $ZERVA_STATE_DIR/state.json, else $XDG_STATE_HOME/zerva-screenvideo/state.json, else
  /// ~/.local/state/zerva-screenvideo/state.json.
  static std::string defaultStorePath();

  explicit ZRPlistHandler(std::string storePath = defaultStorePath());

  const std::string& storePath() const { return path_; }
  /// Switches to another file and reads it.
  void setStorePath(std::string path);

  long long sessionVideoCount() const;
  /// Counts a started recording and saves at once. A failed save is logged (error tag
  /// "plist-saveFailed") and kept in lastError(); the count in memory still rises.
  void increaseSessionVideoCount();
  NSErrorOrNil lastError() const;

 private:
  void load() REQUIRES(mutex_);
  [[nodiscard]] NSErrorOrNil save() const REQUIRES(mutex_);

  mutable Mutex mutex_;
  std::string path_ GUARDED_BY(mutex_);
  long long sessionVideoCount_ GUARDED_BY(mutex_) = 0;
  bool fileUnreadable_ GUARDED_BY(mutex_) = false;
  NSErrorOrNil lastError_ GUARDED_BY(mutex_);
};

}  // namespace zerva
