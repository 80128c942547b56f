#pragma once
// The session's settings as the SDK received them: whether the screen is recorded and at which
// quality, which screens are hidden from the start (and whether their gestures are), and the
// colour of occlusion boxes. Thread-safe.

#include <string>
#include <vector>

#include "platform/UIColor.h"
#include "services/ZRLockedValue.h"

namespace zerva {

struct ZRHiddenScreen {
  std::string name;
  bool hideGestures = false;
  friend bool operator==(const ZRHiddenScreen&, const ZRHiddenScreen&) = default;
};

class ZRSessionSettings {
 public:
  bool recordScreenVideo() const { return recordScreenVideo_.get(); }
  void setRecordScreenVideo(bool record) { recordScreenVideo_.set(record); }
  unsigned long recordingQuality() const { return recordingQuality_.get(); }
  void setRecordingQuality(unsigned long quality) { recordingQuality_.set(quality); }
  UIColor sensitiveViewColor() const { return sensitiveViewColor_.get(); }
  void setSensitiveViewColor(UIColor color) { sensitiveViewColor_.set(color); }
  std::vector<ZRHiddenScreen> hiddenScreens() const { return hiddenScreens_.get(); }
  void setHiddenScreens(std::vector<ZRHiddenScreen> screens) { hiddenScreens_.set(std::move(screens)); }

  /// YES when the screen is hidden from the start of a recording; `hideGestures` (when given) is
  /// set to whether its gestures are hidden too, and left alone otherwise.
  bool occludeScreenNamed(const std::string& name, bool* hideGestures) const;

 private:
  ZRLockedValue<bool> recordScreenVideo_{true};
  ZRLockedValue<unsigned long> recordingQuality_{1};
  ZRLockedValue<UIColor> sensitiveViewColor_{UIColor::colorWithWhite(0.2, 1.0)};
  ZRLockedValue<std::vector<ZRHiddenScreen>> hiddenScreens_;
};

}  // namespace zerva
