#include "services/InternalZRConfiguration.h"

#include "platform/SharedInstanceSlot.h"

namespace zerva {

namespace {
SharedInstanceSlot<InternalZRConfiguration>& slot() {
  static SharedInstanceSlot<InternalZRConfiguration> s;
  return s;
}
}  // namespace

std::shared_ptr<InternalZRConfiguration> InternalZRConfiguration::sharedConfiguration() { return slot().get(); }

void InternalZRConfiguration::resetSharedConfiguration() { slot().replace(nullptr); }

}  // namespace zerva
