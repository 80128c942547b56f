#pragma once
// An error as callers receive it: a domain, a code and a description for people.
// "No error" is std::nullopt.

#include <map>
#include <optional>
#include <string>

namespace zerva {

class NSError {
 public:
  static NSError errorWithDomain(std::string domain, long code, std::string localizedDescription);

  const std::string& domain() const { return domain_; }
  long code() const { return code_; }
  const std::string& localizedDescription() const { return description_; }
  /// Extra details by key (for example the file path an error is about).
  const std::map<std::string, std::string>& userInfo() const { return userInfo_; }
  NSError withUserInfo(const std::string& key, std::string value) const;
  /// "Error Domain=<domain> Code=<code> \"<description>\"".
  std::string description() const;

  friend bool operator==(const NSError&, const NSError&) = default;

 private:
  std::string domain_;
  long code_ = 0;
  std::string description_;
  std::map<std::string, std::string> userInfo_;
};

using NSErrorOrNil = std::optional<NSError>;

}  // namespace zerva
