#pragma once
// Where the encoded video's bytes go. The recorder writes through this small interface rather
// than straight to a file so that tests can stand in a device that fills up.

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace zerva {

class ZRVideoOutput {
 public:
  virtual ~ZRVideoOutput() = default;
  /// Writes all the bytes at the current position; 0, or an errno value (ENOSPC: disk full).
  virtual int write(const std::uint8_t* data, std::size_t size) = 0;
  /// Moves the position as lseek does; the new position, or a negative errno value.
  virtual std::int64_t seek(std::int64_t offset, int whence) = 0;
  /// Cuts the bytes from `size` on and moves the position there; 0 or an errno value. The
  /// writer cuts a torn write back to the last whole fragment. An output that cannot cut
  /// answers ENOTSUP.
  virtual int truncate(std::int64_t size) {
    (void)size;
    return ENOTSUP;
  }
  /// Releases the file; 0 or an errno value. Called once; nothing is written afterwards.
  virtual int close() = 0;
  /// The path the bytes land in.
  virtual const std::string& path() const = 0;
};

/// Creates a new file at the path (never replaces one) and opens it for writing; nullptr with
/// *errnoOut set when it cannot.
std::unique_ptr<ZRVideoOutput> ZRVideoOutputCreateFile(const std::string& path, int* errnoOut);

}  // namespace zerva
