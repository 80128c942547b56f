#include "services/ZRLogUtility.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <fstream>
#include <memory>

#include "platform/Mutex.h"
#include "platform/MutexLock.h"
#include "platform/NSLog.h"
#include "platform/ProcessClock.h"
#include "platform/ThreadAnnotations.h"

namespace zerva {

namespace {

struct LogState {
  std::atomic<bool> integration{false};
  std::atomic<bool> verbose{false};
  Mutex mutex;
  std::deque<ZRLogTag> record GUARDED_BY(mutex);
  size_t capacity GUARDED_BY(mutex) = 1000;
  std::unique_ptr<std::ofstream> file GUARDED_BY(mutex);
  std::string filePath GUARDED_BY(mutex);
};

LogState& state() {
  static LogState s;
  return s;
}

void addTag(ZRLogLevel level, const std::string& tag, const nlohmann::json& properties) {
  LogState& s = state();
  ZRLogTag entry{level, tag, properties.is_object() ? properties : nlohmann::json(nullptr), CACurrentMediaTime()};
  MutexLock lock(s.mutex);
  if (s.file) {
    nlohmann::json line = {{"level", ZRLogUtility::levelName(level)}, {"tag", tag}, {"time", entry.time}};
    if (entry.properties.is_object()) line["properties"] = entry.properties;
    *s.file << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
    s.file->flush();
    if (!*s.file) {
      // Keep recording in memory; say once why the file stopped.
      NSLog("Zerva: log file " + s.filePath + " could not be written; tags are kept in memory only");
      s.file.reset();
    }
  }
  if (s.capacity == 0) return;
  while (s.record.size() >= s.capacity) s.record.pop_front();
  s.record.push_back(std::move(entry));
}

}  // namespace

bool ZRLogUtility::isIntegrationLoggingEnabled() { return state().integration; }
void ZRLogUtility::setIntegrationLoggingEnabled(bool enabled) { state().integration = enabled; }
bool ZRLogUtility::isVerboseLoggingEnabled() { return state().verbose; }
void ZRLogUtility::setVerboseLoggingEnabled(bool enabled) { state().verbose = enabled; }

void ZRLogUtility::addInternalVerboseTag(const std::string& tag, const nlohmann::json& p) { addTag(ZRLogLevel::Verbose, tag, p); }
void ZRLogUtility::addInternalInfoTag(const std::string& tag, const nlohmann::json& p) { addTag(ZRLogLevel::Info, tag, p); }
void ZRLogUtility::addInternalWarningTag(const std::string& tag, const nlohmann::json& p) { addTag(ZRLogLevel::Warning, tag, p); }
void ZRLogUtility::addInternalErrorTag(const std::string& tag, const nlohmann::json& p) { addTag(ZRLogLevel::Error, tag, p); }

std::vector<ZRLogTag> ZRLogUtility::recordedTags() {
  MutexLock lock(state().mutex);
  return {state().record.begin(), state().record.end()};
}

std::vector<ZRLogTag> ZRLogUtility::recordedTagsNamed(const std::string& tag) {
  std::vector<ZRLogTag> out;
  MutexLock lock(state().mutex);
  for (const auto& t : state().record) {
    if (t.tag == tag) out.push_back(t);
  }
  return out;
}

void ZRLogUtility::clearRecordedTags() {
  MutexLock lock(state().mutex);
  state().record.clear();
}

size_t ZRLogUtility::recordCapacity() {
  MutexLock lock(state().mutex);
  return state().capacity;
}

void ZRLogUtility::setRecordCapacity(size_t capacity) {
  MutexLock lock(state().mutex);
  state().capacity = capacity;
  while (state().record.size() > capacity) state().record.pop_front();
}

NSErrorOrNil ZRLogUtility::setOutputFile(const std::optional<std::string>& path) {
  std::unique_ptr<std::ofstream> file;
  if (path) {
    errno = 0;
    file = std::make_unique<std::ofstream>(*path, std::ios::app);
    if (!*file) {
      const std::string why = errno != 0 ? std::string(" (") + std::strerror(errno) + ")" : std::string();
      return NSError::errorWithDomain("ZervaLogError", 1, "Cannot open the log file " + *path + " for appending" + why)
          .withUserInfo("path", *path);
    }
  }
  MutexLock lock(state().mutex);
  state().file = std::move(file);
  state().filePath = path.value_or("");
  return std::nullopt;
}

void ZRLogUtility::reset() {
  setIntegrationLoggingEnabled(false);
  setVerboseLoggingEnabled(false);
  (void)setOutputFile(std::nullopt);  // closing cannot fail
  MutexLock lock(state().mutex);
  state().record.clear();
  state().capacity = 1000;
}

const char* ZRLogUtility::levelName(ZRLogLevel level) {
  switch (level) {
    case ZRLogLevel::Verbose: return "verbose";
    case ZRLogLevel::Info: return "info";
    case ZRLogLevel::Warning: return "warning";
    case ZRLogLevel::Error: return "error";
  }
  return "info";
}

}  // namespace zerva
