#pragma once
// The SDK's screen tracker: which screen is shown, how long each screen has been shown since the
// last reset (its "heat time"), and whether gestures are hidden. Thread-safe.

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

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
  void closeCurrentStayLocked(double now);

  mutable std::mutex mutex_;
  std::optional<std::string> current_;
  double currentSince_ = 0;
  std::map<std::string, double> heatTimes_;
  long resetCount_ = 0;
  bool hideOcclusionGestures_ = false;
  std::shared_ptr<ZRScreenDetail> detail_ = std::make_shared<ZRScreenDetail>();
};

}  // namespace zerva
