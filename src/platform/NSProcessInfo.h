#pragma once
// The operating-system version that availability checks read. Settable, so that code paths for
// older and newer systems can both run here.

#include <atomic>

namespace zerva {

struct NSOperatingSystemVersion {
  int majorVersion = 0;
  int minorVersion = 0;
  int patchVersion = 0;
};

class NSProcessInfo {
 public:
  static NSProcessInfo& processInfo();

  NSOperatingSystemVersion operatingSystemVersion() const;
  bool isOperatingSystemAtLeastVersion(NSOperatingSystemVersion version) const;
  /// The stand-in's own setter: the version the app appears to run on (17.0.0 by default).
  void setOperatingSystemVersion(NSOperatingSystemVersion version);

 private:
  NSProcessInfo() = default;
  std::atomic<int> major_{17};
  std::atomic<int> minor_{0};
  std::atomic<int> patch_{0};
};

/// Availability check, as `@available(iOS major.minor, *)` reads.
bool ZRSystemVersionAtLeast(int major, int minor = 0);

}  // namespace zerva
