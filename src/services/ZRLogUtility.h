#pragma once
// The SDK's log utility: two switches that gate the component's log lines, and internal tags
// (a name with string-keyed properties) at four levels. Tags are kept in a bounded in-memory
// record that tests and tools read, and optionally appended as JSON lines to a file.
// Thread-safe: tags come from the main thread, the frame queue and recorder callbacks.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/NSError.h"

namespace zerva {

enum class ZRLogLevel { Verbose, Info, Warning, Error };

/// One tag as recorded.
struct ZRLogTag {
  ZRLogLevel level;
  std::string tag;
  nlohmann::json properties;  // an object, or null when none were given
  double time;                // process-clock seconds
};

class ZRLogUtility {
 public:
  static bool isIntegrationLoggingEnabled();
  static void setIntegrationLoggingEnabled(bool enabled);
  static bool isVerboseLoggingEnabled();
  static void setVerboseLoggingEnabled(bool enabled);

  static void addInternalVerboseTag(const std::string& tag, const nlohmann::json& properties = nullptr);
  static void addInternalInfoTag(const std::string& tag, const nlohmann::json& properties = nullptr);
  static void addInternalWarningTag(const std::string& tag, const nlohmann::json& properties = nullptr);
  static void addInternalErrorTag(const std::string& tag, const nlohmann::json& properties = nullptr);

  /// The most recent tags, oldest first; at most recordCapacity() of them.
  static std::vector<ZRLogTag> recordedTags();
  static std::vector<ZRLogTag> recordedTagsNamed(const std::string& tag);
  static void clearRecordedTags();
  static size_t recordCapacity();
  static void setRecordCapacity(size_t capacity);

  /// Appends every later tag to `path` as one JSON object per line; nullopt stops writing.
  /// A file that cannot be opened is an error and leaves the previous setting.
  [[nodiscard]] static NSErrorOrNil setOutputFile(const std::optional<std::string>& path);

  /// Switches off, empties the record and stops file output (for tests).
  static void reset();

  static const char* levelName(ZRLogLevel level);
};

}  // namespace zerva
