#pragma once
// What the screen tracker knows of the screen shown now: the names the app tagged by hand and
// whether gestures on it are hidden. Thread-safe.

#include <optional>
#include <string>

#include "services/ZRLockedValue.h"

namespace zerva {

class ZRScreenDetail {
 public:
  bool hideGesturesOnThisScreen() const { return hideGestures_.get(); }
  void setHideGesturesOnThisScreen(bool hide) { hideGestures_.set(hide); }

  std::optional<std::string> manualTaggedScreenName() const { return manualName_.get(); }
  std::optional<std::string> manualTaggedPreviousScreen() const { return manualPrevious_.get(); }
  /// Tags the screen by hand; the name tagged before becomes the previous screen.
  void tagScreenManually(std::optional<std::string> name);

 private:
  ZRLockedValue<bool> hideGestures_{false};
  ZRLockedValue<std::optional<std::string>> manualName_;
  ZRLockedValue<std::optional<std::string>> manualPrevious_;
};

}  // namespace zerva
