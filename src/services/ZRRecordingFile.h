#pragma once
// The file of one recording, as the recorder hands it back.

#include <string>

#include "platform/NSObject.h"
#include "platform/NSURL.h"

namespace zerva {

class ZRRecordingFile : public NSObject {
  ZR_DECLARE_CLASS(ZRRecordingFile)
 public:
  explicit ZRRecordingFile(std::string path);

  NSURL url() const { return url_; }
  /// deleteFile: removes the file. The SDK passes 0; every value deletes at once. True when a
  /// file was removed.
  bool deleteFile(long option);
  bool fileExists() const;

 private:
  NSURL url_;
};

}  // namespace zerva
