#pragma once
// A location. Only file URLs are needed here: an absolute path and its "file://" text form.

#include <iosfwd>
#include <string>

namespace zerva {

class NSURL {
 public:
  /// A relative path is taken against the current directory; "." and ".." parts are kept.
  static NSURL fileURLWithPath(const std::string& path);

  /// The file system path, without percent escapes.
  const std::string& path() const { return path_; }
  /// "file://" and the path with bytes outside the unreserved set percent-escaped.
  std::string absoluteString() const;
  /// The last path component ("clip.mp4" for "/a/clip.mp4").
  std::string lastPathComponent() const;
  bool isFileURL() const { return true; }

  friend bool operator==(const NSURL&, const NSURL&) = default;

 private:
  explicit NSURL(std::string path) : path_(std::move(path)) {}
  std::string path_;
};

void PrintTo(const NSURL& url, std::ostream* os);

}  // namespace zerva
