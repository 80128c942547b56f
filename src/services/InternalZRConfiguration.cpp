#include "services/InternalZRConfiguration.h"

#include <mutex>

namespace zerva {

namespace {
std::shared_ptr<InternalZRConfiguration>& slot() {
  static auto configuration = std::make_shared<InternalZRConfiguration>();
  return configuration;
}
std::mutex& slotMutex() {
  static std::mutex m;
  return m;
}
}  // namespace

std::shared_ptr<InternalZRConfiguration> InternalZRConfiguration::sharedConfiguration() {
  std::lock_guard lock(slotMutex());
  return slot();
}

void InternalZRConfiguration::resetSharedConfiguration() {
  std::lock_guard lock(slotMutex());
  slot() = std::make_shared<InternalZRConfiguration>();
}

}  // namespace zerva
