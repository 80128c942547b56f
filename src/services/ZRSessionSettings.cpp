#include "services/ZRSessionSettings.h"

namespace zerva {

bool ZRSessionSettings::occludeScreenNamed(const std::string& name, bool* hideGestures) const {
  for (const auto& s : hiddenScreens_.get()) {
    if (s.name == name) {
      if (hideGestures) *hideGestures = s.hideGestures;
      return true;
    }
  }
  return false;
}

}  // namespace zerva
