#include "services/ZRVideoOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace zerva {

namespace {

class FileOutput final : public ZRVideoOutput {
 public:
  FileOutput(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}
  ~FileOutput() override {
    if (fd_ >= 0) ::close(fd_);
  }

  int write(const std::uint8_t* data, std::size_t size) override {
    while (size > 0) {
      const ssize_t n = ::write(fd_, data, size);
      if (n < 0) {
        if (errno == EINTR) continue;
        return errno;
      }
      if (n == 0) return EIO;
      data += n;
      size -= static_cast<std::size_t>(n);
    }
    return 0;
  }

  std::int64_t seek(std::int64_t offset, int whence) override {
    const off_t at = ::lseek(fd_, offset, whence);
    return at < 0 ? -errno : at;
  }

  int truncate(std::int64_t size) override {
    if (::ftruncate(fd_, static_cast<off_t>(size)) != 0) return errno;
    return ::lseek(fd_, static_cast<off_t>(size), SEEK_SET) < 0 ? errno : 0;
  }

  int close() override {
    if (fd_ < 0) return EBADF;
    const int rc = ::close(fd_);
    fd_ = -1;
    return rc == 0 ? 0 : errno;
  }

  const std::string& path() const override { return path_; }

 private:
  int fd_;
  std::string path_;
};

}  // namespace

std::unique_ptr<ZRVideoOutput> ZRVideoOutputCreateFile(const std::string& path, int* errnoOut) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (fd < 0) {
    if (errnoOut) *errnoOut = errno;
    return nullptr;
  }
  if (errnoOut) *errnoOut = 0;
  return std::make_unique<FileOutput>(fd, path);
}

}  // namespace zerva
