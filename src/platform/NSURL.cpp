#include "platform/NSURL.h"

#include <cctype>
#include <filesystem>
#include <ostream>

namespace zerva {

NSURL NSURL::fileURLWithPath(const std::string& path) {
  std::error_code ec;
  std::filesystem::path p(path);
  if (p.is_relative()) {
    const auto absolute = std::filesystem::absolute(p, ec);
    if (!ec) p = absolute;
  }
  return NSURL(p.string());
}

std::string NSURL::absoluteString() const {
  static const char* kHex = "0123456789ABCDEF";
  std::string out = "file://";
  for (unsigned char c : path_) {
    const bool plain = std::isalnum(c) || c == '/' || c == '-' || c == '_' || c == '.' || c == '~';
    if (plain) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

std::string NSURL::lastPathComponent() const { return std::filesystem::path(path_).filename().string(); }

void PrintTo(const NSURL& url, std::ostream* os) { *os << url.absoluteString(); }

}  // namespace zerva
