// Placeholders for this folder's member functions while they are written; each goes as its
// real definition lands. Nothing of this file may remain when the folder is done.

#include "handler/ZRViewVideoHandler.h"

namespace zerva {

bool ZRViewVideoHandler::isRecording() const { return false; }
void ZRViewVideoHandler::startScreenRecording() {}
void ZRViewVideoHandler::setupAssetWriterWithCompletion(SetupCompletion) {}
void ZRViewVideoHandler::stopScreenRecording(unsigned long, StopCompletion) {}
double ZRViewVideoHandler::waitUntilScreenRecordingIsFinished(double) { return 0; }
void ZRViewVideoHandler::cleanupRecording() {}
void ZRViewVideoHandler::setEndOfSessionProperties() {}
void ZRViewVideoHandler::finalizeSessionRecording(unsigned long, StopCompletion) {}
void ZRViewVideoHandler::handleEndOfScreenRecordingForNonPausedState() {}
void ZRViewVideoHandler::completeRecordingSession(unsigned long, StopCompletion) {}
void ZRViewVideoHandler::handleVideoCompletionStateForStopReason(unsigned long, NSErrorOrNil, StopCompletion) {}
void ZRViewVideoHandler::handleRecordingStarted(bool, NSErrorOrNil) {}
void ZRViewVideoHandler::startScreenRecordingTimer() {}
void ZRViewVideoHandler::stopScreenRecordingTimer() {}
void ZRViewVideoHandler::captureFrameTimerCallback() {}
void ZRViewVideoHandler::pauseScreenRecordingForDuration(double) {}
void ZRViewVideoHandler::resumeScreenRecording() {}
double ZRViewVideoHandler::videoTimeElapsed() const { return 0; }
double ZRViewVideoHandler::processVideoFrameTime() const { return 0; }
bool ZRViewVideoHandler::screenRecordingIsPausedOrHidden() const { return false; }
bool ZRViewVideoHandler::fullScreenGestureCapturePausedOrHidden() const { return false; }
void ZRViewVideoHandler::setOrientationInProgressFlag(bool) {}
void ZRViewVideoHandler::setScreenChangeInProgressFlag(bool) {}
void ZRViewVideoHandler::captureScreenImageToVideo() {}
void ZRViewVideoHandler::screenImage(bool) {}
std::shared_ptr<UIWindow> ZRViewVideoHandler::keyWindowForFrameCapture(CGRect*) { return nullptr; }
bool ZRViewVideoHandler::canRecordVideo() const { return false; }
void ZRViewVideoHandler::enterSlowCapturePath() {}
void ZRViewVideoHandler::leaveSlowCapturePath() {}
void ZRViewVideoHandler::processScreenImageIntoVideo(std::shared_ptr<UIImage>, double) {}
void ZRViewVideoHandler::addBlankImageToVideo() {}
void ZRViewVideoHandler::addBlankScreenToVideo(const UIColor&) {}
void ZRViewVideoHandler::preserveLastVideoFrameTime() {}
void ZRViewVideoHandler::preserveLastVideoFrameTime(double) {}

}  // namespace zerva
