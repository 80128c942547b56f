#include "platform/NSError.h"

namespace zerva {

NSError NSError::errorWithDomain(std::string domain, long code, std::string localizedDescription) {
  NSError e;
  e.domain_ = std::move(domain);
  e.code_ = code;
  e.description_ = std::move(localizedDescription);
  return e;
}

NSError NSError::withUserInfo(const std::string& key, std::string value) const {
  NSError e = *this;
  e.userInfo_[key] = std::move(value);
  return e;
}

std::string NSError::description() const {
  return "Error Domain=" + domain_ + " Code=" + std::to_string(code_) + " \"" + description_ + "\"";
}

}  // namespace zerva
