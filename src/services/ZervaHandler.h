#pragma once
// The SDK's top-level object, as far as the screen-video component reaches it: the session
// settings.
//
// Threads: any; the settings are swapped whole under a lock. Ownership: the process owns the one
// shared instance; the settings are shared with whoever reads them.

#include <memory>

#include "services/ZRLockedValue.h"
#include "services/ZRSessionSettings.h"

namespace zerva {

class ZervaHandler {
 public:
  static std::shared_ptr<ZervaHandler> shared();

  std::shared_ptr<ZRSessionSettings> sessionSettings() const { return sessionSettings_.get(); }
  /// Replaces the settings (tests start from fresh ones).
  void setSessionSettings(std::shared_ptr<ZRSessionSettings> settings);

 private:
  ZRLockedValue<std::shared_ptr<ZRSessionSettings>> sessionSettings_{std::make_shared<ZRSessionSettings>()};
};

}  // namespace zerva
