#pragma once
// Small counters the SDK keeps across runs of the app, in one JSON file written atomically (a
// new file renamed over the old), so a crash mid-write never loses the previous value.

#include <memory>
#include <mutex>
#include <string>

#include "platform/NSError.h"

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
  void load();
  NSErrorOrNil save() const;

  mutable std::mutex mutex_;
  std::string path_;
  long long sessionVideoCount_ = 0;
  bool fileUnreadable_ = false;
  NSErrorOrNil lastError_;
};

}  // namespace zerva
