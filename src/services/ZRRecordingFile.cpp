#include "services/ZRRecordingFile.h"

#include <filesystem>

namespace zerva {

ZR_DEFINE_CLASS(ZRRecordingFile, NSObject, nullptr)

ZRRecordingFile::ZRRecordingFile(std::string path) : url_(NSURL::fileURLWithPath(path)) {}

bool ZRRecordingFile::deleteFile(long /*option*/) {
  std::error_code ec;
  return std::filesystem::remove(url_.path(), ec);
}

bool ZRRecordingFile::fileExists() const {
  std::error_code ec;
  return std::filesystem::is_regular_file(url_.path(), ec);
}

}  // namespace zerva
