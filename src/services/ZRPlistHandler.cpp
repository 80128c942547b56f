#include "services/ZRPlistHandler.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "platform/MutexLock.h"
#include "services/ZRLogUtility.h"

namespace zerva {

namespace fs = std::filesystem;

namespace {
constexpr const char* kDomain = "ZervaStateError";

NSError ioError(long code, const std::string& what, const std::string& path, int err) {
  return NSError::errorWithDomain(kDomain, code, what + " " + path + ": " + std::strerror(err)).withUserInfo("path", path);
}
}  // namespace

std::shared_ptr<ZRPlistHandler> ZRPlistHandler::sharedHandler() {
  static const auto handler = std::make_shared<ZRPlistHandler>();
  return handler;
}

std::string ZRPlistHandler::defaultStorePath() {
  if (const char* dir = std::getenv("ZERVA_STATE_DIR"); dir && *dir) return (fs::path(dir) / "state.json").string();
  if (const char* dir = std::getenv("XDG_STATE_HOME"); dir && *dir) {
    return (fs::path(dir) / "zerva-screenvideo" / "state.json").string();
  }
  const char* home = std::getenv("HOME");
  return (fs::path(home && *home ? home : "/tmp") / ".local" / "state" / "zerva-screenvideo" / "state.json").string();
}

ZRPlistHandler::ZRPlistHandler(std::string storePath) : path_(std::move(storePath)) { load(); }

void ZRPlistHandler::setStorePath(std::string path) {
  MutexLock lock(mutex_);
  path_ = std::move(path);
  load();
}

void ZRPlistHandler::load() {
  sessionVideoCount_ = 0;
  fileUnreadable_ = false;
  std::ifstream in(path_, std::ios::binary);
  if (!in) return;  // no file yet: nothing counted
  std::ostringstream text;
  text << in.rdbuf();
  const auto doc = nlohmann::json::parse(text.str(), nullptr, false);
  if (doc.is_object() && doc.contains("sessionVideoCount") && doc["sessionVideoCount"].is_number_integer()) {
    sessionVideoCount_ = doc["sessionVideoCount"].get<long long>();
    return;
  }
  fileUnreadable_ = true;
  ZRLogUtility::addInternalErrorTag("plist-unreadable", {{"path", path_}});
}

long long ZRPlistHandler::sessionVideoCount() const {
  MutexLock lock(mutex_);
  return sessionVideoCount_;
}

NSErrorOrNil ZRPlistHandler::lastError() const {
  MutexLock lock(mutex_);
  return lastError_;
}

void ZRPlistHandler::increaseSessionVideoCount() {
  MutexLock lock(mutex_);
  ++sessionVideoCount_;
  lastError_ = save();
  if (lastError_) {
    ZRLogUtility::addInternalErrorTag("plist-saveFailed", {{"error", lastError_->localizedDescription()}});
  }
}

NSErrorOrNil ZRPlistHandler::save() const {
  const fs::path target(path_);
  std::error_code ec;
  if (target.has_parent_path()) fs::create_directories(target.parent_path(), ec);
  if (fileUnreadable_) {
    // Keep what we could not read for a person to look at, rather than overwrite it.
    fs::rename(target, fs::path(path_ + ".unreadable"), ec);
  }
  const std::string temp = path_ + ".tmp." + std::to_string(::getpid());
  const std::string body = nlohmann::json{{"sessionVideoCount", sessionVideoCount_}}.dump() + "\n";
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return ioError(1, "Cannot create", temp, errno);
  const ssize_t written = ::write(fd, body.data(), body.size());
  const int writeErrno = errno;
  const bool synced = ::fsync(fd) == 0;
  ::close(fd);
  if (written != static_cast<ssize_t>(body.size()) || !synced) {
    ::unlink(temp.c_str());
    return ioError(2, "Cannot write", temp, written < 0 ? writeErrno : ENOSPC);
  }
  if (::rename(temp.c_str(), path_.c_str()) != 0) {
    const int err = errno;
    ::unlink(temp.c_str());
    return ioError(3, "Cannot replace", path_, err);
  }
  return std::nullopt;
}

}  // namespace zerva
