#pragma once
// SDK-wide values the component copies into its records.

namespace zerva {

class ZRUtil {
 public:
  /// The kind of app the SDK runs in (configuration "platformType"; 0 for a native app).
  static long getPlatformType();
  /// The session's recording quality (session settings "recordingQuality").
  static long sessionVideoQuality();
};

}  // namespace zerva
