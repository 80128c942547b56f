#include "services/ZervaHandler.h"

namespace zerva {

std::shared_ptr<ZervaHandler> ZervaHandler::shared() {
  static const auto handler = std::make_shared<ZervaHandler>();
  return handler;
}

void ZervaHandler::setSessionSettings(std::shared_ptr<ZRSessionSettings> settings) {
  if (!settings) settings = std::make_shared<ZRSessionSettings>();
  sessionSettings_.set(std::move(settings));
}

}  // namespace zerva
