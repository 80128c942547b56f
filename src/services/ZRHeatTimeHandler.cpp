#include "services/ZRHeatTimeHandler.h"

#include "platform/MutexLock.h"
#include "platform/ProcessClock.h"
#include "platform/SharedInstanceSlot.h"

namespace zerva {

namespace {
SharedInstanceSlot<ZRHeatTimeHandler>& slot() {
  static SharedInstanceSlot<ZRHeatTimeHandler> s;
  return s;
}
}  // namespace

std::shared_ptr<ZRHeatTimeHandler> ZRHeatTimeHandler::sharedHandler() { return slot().get(); }

void ZRHeatTimeHandler::resetSharedHandler() { slot().replace(nullptr); }

std::optional<std::string> ZRHeatTimeHandler::currentScreenName() const {
  MutexLock lock(mutex_);
  return current_;
}

void ZRHeatTimeHandler::closeCurrentStayLocked(double now) {
  if (current_) heatTimes_[*current_] += now - currentSince_;
  currentSince_ = now;
}

void ZRHeatTimeHandler::setCurrentScreenName(std::optional<std::string> name) {
  MutexLock lock(mutex_);
  closeCurrentStayLocked(CACurrentMediaTime());
  current_ = std::move(name);
}

double ZRHeatTimeHandler::heatTimeForScreen(const std::string& name) const {
  MutexLock lock(mutex_);
  double t = 0;
  if (auto it = heatTimes_.find(name); it != heatTimes_.end()) t = it->second;
  if (current_ == name) t += CACurrentMediaTime() - currentSince_;
  return t;
}

void ZRHeatTimeHandler::reset() {
  MutexLock lock(mutex_);
  heatTimes_.clear();
  currentSince_ = CACurrentMediaTime();
  ++resetCount_;
}

long ZRHeatTimeHandler::resetCount() const {
  MutexLock lock(mutex_);
  return resetCount_;
}

bool ZRHeatTimeHandler::hideOcclusionGestures() const {
  MutexLock lock(mutex_);
  return hideOcclusionGestures_;
}

void ZRHeatTimeHandler::setHideOcclusionGestures(bool hide) {
  MutexLock lock(mutex_);
  hideOcclusionGestures_ = hide;
}

}  // namespace zerva
