#pragma once
// The SDK's screen tracker: which screen is shown, how long each screen has been shown since the
// last reset (its "heat time"), and whether gestures are hidden. Thread-safe.

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/Mutex.h"
#include "platform/ThreadAnnotations.h"
#include "services/ZRScreenDetail.h"

namespace zerva {

class ZRHeatTimeHandler {
 public:
  static std::shared_ptr<ZRHeatTimeHandler> sharedHandler();
  /// The stand-in's own: a fresh tracker (for tests).
  static void resetSharedHandler();

  std::optional<std::string> currentScreenName() const;
  /// The app moved to another screen (or to none).
  void setCurrentScreenName(std::optional<std::string> name);
  /// Seconds the screen was shown since the last reset, counting the current stay.
  double heatTimeForScreen(const std::string& name) const;
  /// Starts counting afresh (a recording's first frame does this).
  void reset();
  long resetCount() const;

  bool hideOcclusionGestures() const;
  void setHideOcclusionGestures(bool hide);
  std::shared_ptr<ZRScreenDetail> vcDetail() const { return detail_; }

 private:
  void closeCurrentStayLocked(double now) REQUIRES(mutex_);

  mutable Mutex mutex_;
  std::optional<std::string> current_ GUARDED_BY(mutex_);
  double currentSince_ GUARDED_BY(mutex_) = 0;
  std::map<std::string, double> heatTimes_ GUARDED_BY(mutex_);
  long resetCount_ GUARDED_BY(mutex_) = 0;
  bool hideOcclusionGestures_ GUARDED_BY(mutex_) = false;
  std::shared_ptr<ZRScreenDetail> detail_ = std::make_shared<ZRScreenDetail>();
};

}  // namespace zerva
