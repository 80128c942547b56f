#include "services/ZRSessionVideoRecorder.h"

#include <libyuv/scale_argb.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "platform/MutexLock.h"
#include "platform/NSLog.h"
#include "platform/NSRunLoop.h"
#include "platform/StringWithFormat.h"
#include "services/ZRMp4VideoWriter.h"

namespace zerva {

namespace fs = std::filesystem;

namespace {

const char* const kLogPrefix = "Zerva: ZRSessionVideoRecorder: ";

// "session-20261123-005510-4242-1.mp4": sortable by start, unique per process by the counter.
std::string recordingFileName(int attempt) {
  static std::atomic<unsigned> counter{0};
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm utc{};
  gmtime_r(&now, &utc);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &utc);
  return stringWithFormat("session-%s-%d-%u%@.mp4", stamp, static_cast<int>(getpid()), ++counter,
                          attempt > 0 ? stringWithFormat("-%d", attempt) : std::string());
}

NSError folderNotWritable(int err, const std::string& folder) {
  return ZRVideoRecorderError(ZRVideoRecorderErrorFolderNotWritable,
                              "The recordings folder \"" + folder + "\" is not writable (" + std::strerror(err) + ").",
                              folder);
}

// Why no file could be made in `folder`: what the folder itself is, first, then the errno.
NSError fileCreationError(int err, const std::string& folder, const std::string& path) {
  if (err == 0) err = EIO;  // a factory that failed without saying why
  std::error_code ec;
  const bool isFolder = fs::is_directory(folder, ec);
  switch (err) {
    case EACCES:
    case EPERM:
    case EROFS:
      return folderNotWritable(err, folder);
    case ENOENT:
    case ENOTDIR:
      // An existing folder that answers so refuses new files; only a gone one is missing.
      if (isFolder) return folderNotWritable(err, folder);
      return ZRVideoRecorderError(ZRVideoRecorderErrorFolderMissing,
                                  "The recordings folder \"" + folder + "\" does not exist.", folder);
    case ENOSPC:
    case EDQUOT:
      return ZRVideoRecorderError(ZRVideoRecorderErrorDiskFull,
                                  "The disk is full: no video file can be created in \"" + folder + "\".", path);
    default:
      return ZRVideoRecorderError(ZRVideoRecorderErrorWriteFailed,
                                  "The video file \"" + path + "\" could not be created: " + std::strerror(err) + ".",
                                  path);
  }
}

}  // namespace

ZR_DEFINE_CLASS(ZRSessionVideoRecorder, NSObject, nullptr)

ZRSessionVideoRecorder::ZRSessionVideoRecorder()
    : queue_(dispatch_queue_create("ZRSessionVideoRecorder.writer", DISPATCH_QUEUE_SERIAL)),
      folder_(defaultRecordingsFolder()) {}

ZRSessionVideoRecorder::~ZRSessionVideoRecorder() {
  queue_->sync([this] {
    // finishOnWriter() logs a file left incomplete; nobody is left to hand the error to.
    if (writer_) (void)finishOnWriter();
  });
}

std::string ZRSessionVideoRecorder::defaultRecordingsFolder() {
  if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache && *cache) {
    return (fs::path(cache) / "zerva" / "recordings").string();
  }
  if (const char* home = std::getenv("HOME"); home && *home) {
    return (fs::path(home) / ".cache" / "zerva" / "recordings").string();
  }
  std::error_code ec;
  const fs::path temp = fs::temp_directory_path(ec);
  return ((ec ? fs::path("/tmp") : temp) / "zerva-recordings").string();
}

std::string ZRSessionVideoRecorder::recordingsFolder() const {
  MutexLock lock(mutex_);
  return folder_;
}

void ZRSessionVideoRecorder::setRecordingsFolder(std::string folder) {
  MutexLock lock(mutex_);
  folderIsDefault_ = folder.empty();
  folder_ = folder.empty() ? defaultRecordingsFolder() : std::move(folder);
}

void ZRSessionVideoRecorder::setOutputFactory(OutputFactory factory) {
  MutexLock lock(mutex_);
  outputFactory_ = std::move(factory);
}

void ZRSessionVideoRecorder::setEncoderName(std::string name) {
  MutexLock lock(mutex_);
  encoderName_ = std::move(name);
}

void ZRSessionVideoRecorder::setEncoderFault(ZRVideoEncoderFault fault) {
  MutexLock lock(mutex_);
  encoderFault_ = std::move(fault);
}

std::shared_ptr<ZRRecordingFile> ZRSessionVideoRecorder::recordingFile() const {
  MutexLock lock(mutex_);
  return file_;
}

CGSize ZRSessionVideoRecorder::videoSize() const {
  MutexLock lock(mutex_);
  return videoSize_;
}

NSErrorOrNil ZRSessionVideoRecorder::lastAppendError() const {
  MutexLock lock(mutex_);
  return lastAppendError_;
}

// --- Start -----------------------------------------------------------------------------------------

void ZRSessionVideoRecorder::startRecordingWithSettings(const ZRSessionVideoSettings& settings,
                                                        StartCompletion completion) {
  queue_->async([this, settings, completion = std::move(completion)]() mutable {
    NSErrorOrNil error = openRecordingOnWriter(settings);
    if (error) NSLog(kLogPrefix + std::string("could not start: ") + error->localizedDescription());
    NSRunLoop::mainRunLoop().performBlock([completion = std::move(completion), error = std::move(error)] {
      if (completion) completion(!error, error);
    });
  });
}

NSErrorOrNil ZRSessionVideoRecorder::openRecordingOnWriter(const ZRSessionVideoSettings& settings) {
  queue_->assertCurrent();
  if (writer_) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorAlreadyRecording,
                                "A recording is already running; stop it before starting another.");
  }
  std::string folder, encoderName;
  bool folderIsDefault = false;
  OutputFactory factory;
  ZRVideoEncoderFault encoderFault;
  {
    MutexLock lock(mutex_);
    folder = folder_;
    folderIsDefault = folderIsDefault_;
    factory = outputFactory_;
    encoderName = encoderName_;
    encoderFault = encoderFault_;
  }
  if (!factory) factory = ZRVideoOutputCreateFile;

  // Encoder first: a refused size or a missing encoder must leave no file behind.
  ZRVideoEncoderConfig config = settings.encoderConfig();
  config.encoderName = encoderName;
  const CGSize frame = settings.videoFrameSize();
  if (config.width <= 0 || config.height <= 0) {
    return ZRVideoRecorderError(
        ZRVideoRecorderErrorInvalidFrameSize,
        stringWithFormat("The video frame size %gx%g cannot be encoded: both sides must be at least one pixel.",
                         frame.width, frame.height));
  }
  auto created = ZRMp4VideoWriter::create(config);
  if (!created) return created.error();
  std::unique_ptr<ZRMp4VideoWriter> writer = std::move(*created);
  if (encoderFault) writer->setEncoderFault(std::move(encoderFault));

  std::error_code ec, made;
  if (folderIsDefault) fs::create_directories(folder, made);
  const fs::file_status status = fs::status(folder, ec);
  if (ec && ec != std::errc::no_such_file_or_directory && ec != std::errc::not_a_directory) {
    // It may well exist: a folder on the way that cannot be searched hides it.
    return folderNotWritable(ec.value(), folder);
  }
  if (!fs::exists(status)) {
    if (made && made != std::errc::no_such_file_or_directory && made != std::errc::not_a_directory) {
      return fileCreationError(made.value(), folder, folder);
    }
    return ZRVideoRecorderError(ZRVideoRecorderErrorFolderMissing,
                                "The recordings folder \"" + folder + "\" does not exist.", folder);
  }
  if (!fs::is_directory(status)) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorFolderMissing,
                                "The recordings folder \"" + folder + "\" is not a folder.", folder);
  }

  std::unique_ptr<ZRVideoOutput> output;
  std::string path;
  int err = EEXIST;
  for (int attempt = 0; !output && err == EEXIST && attempt < 100; ++attempt) {
    path = (fs::path(folder) / recordingFileName(attempt)).string();
    output = factory(path, &err);
  }
  if (!output) return fileCreationError(err, folder, path);

  if (NSErrorOrNil headerError = writer->startFile(std::move(output))) {
    writer.reset();
    fs::remove(path, ec);
    return headerError;
  }

  writer_ = std::move(writer);
  frameWidth_ = config.width;
  frameHeight_ = config.height;
  failure_.reset();
  const CGSize videoSize{static_cast<double>(writer_->encodedWidth()), static_cast<double>(writer_->encodedHeight())};
  {
    MutexLock lock(mutex_);
    file_ = std::make_shared<ZRRecordingFile>(path);
    videoSize_ = videoSize;
    lastAppendError_.reset();
  }
  started_ = true;
  if (writer_->encodedWidth() != frameWidth_ || writer_->encodedHeight() != frameHeight_) {
    NSLog(stringWithFormat("%@%dx%d frames are padded to %dx%d for the encoder (%@ repeated).", kLogPrefix,
                           frameWidth_, frameHeight_, writer_->encodedWidth(), writer_->encodedHeight(),
                           writer_->encodedWidth() != frameWidth_
                               ? (writer_->encodedHeight() != frameHeight_ ? "last column and last row" : "last column")
                               : "last row"));
  }
  return std::nullopt;
}

// --- Append ----------------------------------------------------------------------------------------

void ZRSessionVideoRecorder::appendImage(std::shared_ptr<UIImage> image, double time, AppendCompletion completion) {
  queue_->async([this, image = std::move(image), time, completion = std::move(completion)]() mutable {
    NSErrorOrNil error = appendOnWriter(image, time);
    image.reset();  // the pixels are no longer needed; free them before the caller runs
    {
      MutexLock lock(mutex_);
      lastAppendError_ = error;
    }
    if (completion) completion(!error);
  });
}

NSErrorOrNil ZRSessionVideoRecorder::appendOnWriter(const std::shared_ptr<UIImage>& image, double time) {
  queue_->assertCurrent();
  if (!writer_) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorNotRecording, "No recording is running; the frame was dropped.");
  }
  if (failure_) return failure_;
  if (!image) return ZRVideoRecorderError(ZRVideoRecorderErrorFrameRefused, "No image was given for the frame.");

  const CGSize points = image->size();
  if (std::abs(points.width - frameWidth_) > 0.01 || std::abs(points.height - frameHeight_) > 0.01) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorFrameRefused,
                                stringWithFormat("An image of %gx%g points does not fit the %dx%d video.",
                                                 points.width, points.height, frameWidth_, frameHeight_));
  }
  const CGImage& pixels = *image->CGImage();
  ZRBGRAFrame frame{static_cast<int>(pixels.width()), static_cast<int>(pixels.height()), pixels.bytesPerRow(),
                    pixels.data()};
  if (frame.width != frameWidth_ || frame.height != frameHeight_) {
    // Drawn at more (or fewer) pixels per point: bring it to one pixel per point.
    const std::size_t stride = static_cast<std::size_t>(frameWidth_) * 4;
    scaled_.resize(stride * static_cast<std::size_t>(frameHeight_));
    if (!frame.isValid() ||
        libyuv::ARGBScale(frame.pixels, static_cast<int>(frame.bytesPerRow), frame.width, frame.height,
                          scaled_.data(), static_cast<int>(stride), frameWidth_, frameHeight_, libyuv::kFilterBox) != 0) {
      return ZRVideoRecorderError(ZRVideoRecorderErrorFrameRefused, "The image's pixels could not be scaled.");
    }
    frame = {frameWidth_, frameHeight_, stride, scaled_.data()};
  }

  NSErrorOrNil error = writer_->encodeFrame(frame, time);
  if (error && error->code() != ZRVideoRecorderErrorFrameRefused) {
    // Written bytes are gone for good: the recording fails as a whole from here on.
    failure_ = error;
    NSLog(kLogPrefix + std::string("recording failed: ") + error->localizedDescription());
  }
  return error;
}

// --- Stop ------------------------------------------------------------------------------------------

void ZRSessionVideoRecorder::stopRecordingWithCompletionHandler(StopCompletion completion) {
  queue_->async([this, completion = std::move(completion)] {
    if (!writer_) {
      if (completion) {
        completion(nullptr, ZRVideoRecorderError(ZRVideoRecorderErrorNotRecording,
                                                 "No recording is running; there is nothing to stop."));
      }
      return;
    }
    NSErrorOrNil error = finishOnWriter();
    if (completion) completion(recordingFile(), error);
  });
}

NSErrorOrNil ZRSessionVideoRecorder::finishOnWriter() {
  queue_->assertCurrent();
  NSErrorOrNil error = writer_->finish();
  if (!error) error = failure_;
  writer_.reset();
  scaled_ = {};
  started_ = false;
  if (error) NSLog(kLogPrefix + std::string("the video file is incomplete: ") + error->localizedDescription());
  return error;
}

}  // namespace zerva
