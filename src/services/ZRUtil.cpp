#include "services/ZRUtil.h"

#include "services/InternalZRConfiguration.h"
#include "services/ZervaHandler.h"

namespace zerva {

long ZRUtil::getPlatformType() { return InternalZRConfiguration::sharedConfiguration()->platformType(); }

long ZRUtil::sessionVideoQuality() {
  return static_cast<long>(ZervaHandler::shared()->sessionSettings()->recordingQuality());
}

}  // namespace zerva
