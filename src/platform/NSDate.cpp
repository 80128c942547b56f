#include "platform/NSDate.h"

#include <chrono>
#include <cmath>
#include <ctime>

#include "platform/ProcessClock.h"

namespace zerva {

namespace {
// Wall-clock seconds minus process-clock seconds, fixed at first use.
double wallOffset() {
  static const double offset = [] {
    using namespace std::chrono;
    const double wall = duration<double>(system_clock::now().time_since_epoch()).count();
    return wall - RealClock().now();
  }();
  return offset;
}
}  // namespace

NSDate NSDate::date() { return NSDate(wallOffset() + CACurrentMediaTime()); }

double NSDate::timeIntervalSinceNow() const { return seconds_ - date().seconds_; }

std::string NSDate::description() const {
  const std::time_t t = static_cast<std::time_t>(std::floor(seconds_));
  std::tm tm{};
  gmtime_r(&t, &tm);
  char buf[40];
  std::strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S +0000", &tm);
  return buf;
}

}  // namespace zerva
