#include "review/FrameInspectionLog.h"

#include <filesystem>

#include "platform/MutexLock.h"
#include "platform/StringWithFormat.h"
#include "platform/UIImage.h"
#include "review/MaskPreview.h"

namespace zerva {

std::shared_ptr<FrameInspectionLog> FrameInspectionLog::create(std::string masksFolder, int maskEvery,
                                                               ScreenPicture screen) {
  return std::shared_ptr<FrameInspectionLog>(new FrameInspectionLog(std::move(masksFolder), maskEvery, std::move(screen)));
}

FrameInspectionLog::FrameInspectionLog(std::string masksFolder, int maskEvery, ScreenPicture screen)
    : masksFolder_(std::move(masksFolder)), maskEvery_(maskEvery > 0 ? maskEvery : 1), screen_(std::move(screen)) {}

std::shared_ptr<ZRFrameInspector> FrameInspectionLog::makeInspector() {
  std::weak_ptr<FrameInspectionLog> weakSelf = shared_from_this();
  return std::make_shared<ZRFrameInspector>(
      [weakSelf](const ZRFrameCaptureRun& run) {
        if (auto self = weakSelf.lock()) {
          self->runDidEnd(run);
          if (self->runObserver_) self->runObserver_(run);
        }
      },
      [weakSelf](const ZRFrameInspection& frame) {
        if (auto self = weakSelf.lock()) self->frameWasMasked(frame);
      });
}

void FrameInspectionLog::runDidEnd(const ZRFrameCaptureRun& run) {
  bool wantPicture = false;
  {
    MutexLock lock(mutex_);
    runs_.push_back(run);
    if (!run.tookPicture) return;
    // Real frames are pictures of the screen already; the others need one beside them. The
    // index is a guess (frames come in the order pictures are taken); a wrong one costs a
    // preview its screen picture, not the preview.
    wantPicture = !masksFolder_.empty() && run.kind != ZRInspectedFrameKind::Real && screen_ &&
                  picturesTaken_ % static_cast<std::size_t>(maskEvery_) == 0;
    ++picturesTaken_;
  }
  if (!wantPicture) return;
  auto picture = screen_();

  std::optional<std::pair<std::size_t, ZRFrameInspection>> ready;
  {
    MutexLock lock(mutex_);
    if (auto it = waiting_.find(run.frameTime); it != waiting_.end()) {
      ready = std::move(it->second);
      waiting_.erase(it);
    } else {
      screenPictures_[run.frameTime] = picture;
    }
  }
  if (ready) writePreview(ready->first, ready->second, picture);
}

void FrameInspectionLog::frameWasMasked(const ZRFrameInspection& frame) {
  std::size_t index = 0;
  std::shared_ptr<UIImage> shown;
  {
    MutexLock lock(mutex_);
    index = frames_.size();
    frames_.push_back({frame.kind, frame.frameTime, frame.presentationTime, frame.hidden});
    auto picture = screenPictures_.find(frame.frameTime);
    if (picture != screenPictures_.end()) {
      shown = picture->second;
      screenPictures_.erase(picture);
    }
    if (masksFolder_.empty() || index % static_cast<std::size_t>(maskEvery_) != 0) return;
    if (!shown && frame.kind != ZRInspectedFrameKind::Real) {
      waiting_.emplace(frame.frameTime, std::make_pair(index, frame));
      return;
    }
  }
  writePreview(index, frame, shown);
}

void FrameInspectionLog::writePreview(std::size_t index, const ZRFrameInspection& frame,
                                      const std::shared_ptr<UIImage>& shown) {
  const std::string title = stringWithFormat("frame %lu  at %.3f s  %@  %lu hidden", static_cast<unsigned long>(index),
                                             frame.presentationTime, std::string(ZRInspectedFrameKindName(frame.kind)),
                                             static_cast<unsigned long>(frame.hidden.size()));
  auto preview = MaskPreview::draw(frame, shown, title);
  const std::string path =
      (std::filesystem::path(masksFolder_) / stringWithFormat("%04lu.png", static_cast<unsigned long>(index))).string();
  NSErrorOrNil error;
  if (!preview) {
    error = NSError::errorWithDomain("FrameInspectionLog", 1, "Cannot draw the mask preview " + path);
  } else {
    error = UIImageWritePNGToFile(*preview, path);
  }
  MutexLock lock(mutex_);
  if (!error) {
    ++masksWritten_;
  } else if (!firstError_) {
    firstError_ = error;
  }
}

std::vector<ZRFrameCaptureRun> FrameInspectionLog::runs() const {
  MutexLock lock(mutex_);
  return runs_;
}

std::vector<FrameInspectionLog::Frame> FrameInspectionLog::frames() const {
  MutexLock lock(mutex_);
  return frames_;
}

std::size_t FrameInspectionLog::frameCount() const {
  MutexLock lock(mutex_);
  return frames_.size();
}

std::size_t FrameInspectionLog::masksWritten() const {
  MutexLock lock(mutex_);
  return masksWritten_;
}

NSErrorOrNil FrameInspectionLog::finish() {
  std::map<double, std::pair<std::size_t, ZRFrameInspection>> waiting;
  {
    MutexLock lock(mutex_);
    waiting.swap(waiting_);
    screenPictures_.clear();
  }
  for (const auto& [stamp, entry] : waiting) writePreview(entry.first, entry.second, nullptr);
  MutexLock lock(mutex_);
  return firstError_;
}

}  // namespace zerva
