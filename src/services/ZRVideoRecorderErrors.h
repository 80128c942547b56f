#pragma once
// The errors the session video recorder reports. Every one has a description a person can act
// on, and "NSFilePath" in its userInfo when it is about a file or folder.

#include <string>

#include "platform/NSError.h"

namespace zerva {

inline const std::string ZRSessionVideoRecorderErrorDomain = "ZRSessionVideoRecorderErrorDomain";

enum ZRSessionVideoRecorderErrorCode : long {
  /// The recordings folder does not exist or is not a folder.
  ZRVideoRecorderErrorFolderMissing = 1,
  /// The recordings folder exists but no file can be created in it.
  ZRVideoRecorderErrorFolderNotWritable = 2,
  /// The file could not be created or written for another reason (see the description).
  ZRVideoRecorderErrorWriteFailed = 3,
  /// The device ran out of space (or quota) while the file was created or written.
  ZRVideoRecorderErrorDiskFull = 4,
  /// The H.264 encoder is missing from this build or refused its settings.
  ZRVideoRecorderErrorEncoderUnavailable = 5,
  /// The settings give a frame size the encoder cannot take (zero, negative, not finite, too big).
  ZRVideoRecorderErrorInvalidFrameSize = 6,
  /// A start while a recording runs.
  ZRVideoRecorderErrorAlreadyRecording = 7,
  /// A stop or append without a running recording.
  ZRVideoRecorderErrorNotRecording = 8,
  /// An append refused before anything was written: no image, wrong size, time not after the
  /// previous frame's, or a recording that already failed.
  ZRVideoRecorderErrorFrameRefused = 9,
  /// The encoder failed on a frame.
  ZRVideoRecorderErrorEncodingFailed = 10,
};

inline NSError ZRVideoRecorderError(long code, std::string description, const std::string& path = {}) {
  NSError error = NSError::errorWithDomain(ZRSessionVideoRecorderErrorDomain, code, std::move(description));
  return path.empty() ? error : error.withUserInfo("NSFilePath", path);
}

}  // namespace zerva
