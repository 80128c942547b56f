#include "platform/NSProcessInfo.h"

#include <tuple>

namespace zerva {

NSProcessInfo& NSProcessInfo::processInfo() {
  static NSProcessInfo info;
  return info;
}

NSOperatingSystemVersion NSProcessInfo::operatingSystemVersion() const {
  return {major_.load(), minor_.load(), patch_.load()};
}

bool NSProcessInfo::isOperatingSystemAtLeastVersion(NSOperatingSystemVersion v) const {
  const auto current = operatingSystemVersion();
  return std::tie(current.majorVersion, current.minorVersion, current.patchVersion) >=
         std::tie(v.majorVersion, v.minorVersion, v.patchVersion);
}

void NSProcessInfo::setOperatingSystemVersion(NSOperatingSystemVersion v) {
  major_ = v.majorVersion;
  minor_ = v.minorVersion;
  patch_ = v.patchVersion;
}

bool ZRSystemVersionAtLeast(int major, int minor) {
  return NSProcessInfo::processInfo().isOperatingSystemAtLeastVersion({major, minor, 0});
}

}  // namespace zerva
