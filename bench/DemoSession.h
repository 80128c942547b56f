#pragma once
// The demo app held still on one of its screens, at 1 or 3 pixels per point, with a handler
// recording it at medium quality; frames are taken by hand. What bench_handler measures runs on.

#include <time.h>

#include <filesystem>
#include <memory>
#include <string>

#include "handler/ZRViewVideoHandler.h"
#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/NSLog.h"
#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"
#include "services/ZRImageRenderer.h"
#include "services/ZRPlistHandler.h"
#include "services/ZRSessionVideoRecorder.h"
#include "services/ZervaHandler.h"

namespace zerva::bench {

inline double cpuSeconds(clockid_t clock) {
  timespec ts{};
  clock_gettime(clock, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

/// The demo's screens: where in scenes/demo-app.json each is shown, and its name for the SDK.
struct DemoMoment {
  const char* name;
  double at;
  const char* screen;
};
inline constexpr DemoMoment kDemoMoments[] = {
    {"feed", 3.6, "Feed"},                   // about 80 views, 36 labels, 12 pictures
    {"login-keyboard", 1.5, "Login"},        // keyboard up, e-mail being typed
    {"payment-web", 7.6, "Payment"},         // checkout web page with card fields
    {"landscape", 10.2, "Payment"},          // the same turned a quarter
};

/// What the capture driver takes: the schematic drawing, or the screen's real pixels.
enum class DemoCapture { schematic, realPixels };

/// The device's scale is the scene's and the renderer format's, as on a phone, where renderers
/// default to the screen's scale.
class DemoSession {
 public:
  DemoSession(const DemoMoment& moment, double pixelsPerPoint, DemoCapture capture = DemoCapture::schematic) {
    std::filesystem::create_directories(folder_);
    ZRPlistHandler::sharedHandler()->setStorePath((folder_ / "state.json").string());
    // The reset switches schematic capture back on, so the kind of capture is set after it.
    ZRResetHandlerFileStatics();
    ZRViewVideoHandler::setSchematicCapture(capture == DemoCapture::schematic);
    setRendererScale(pixelsPerPoint);
    auto scene = SceneLoader::loadFile(ZERVA_SOURCE_DIR "/scenes/demo-app.json");
    scene->device.scale = pixelsPerPoint;
    player_ = std::make_unique<ScenePlayer>(std::move(*scene));
    player_->start(NSRunLoop::mainRunLoop());
    NSRunLoop::mainRunLoop().runUntilDate(player_->startTime() + moment.at);
    player_->stop();  // the screen stays as it is while frames are taken
    ZervaHandler::shared()->sessionSettings()->setRecordingQuality(1);
    handler_ = ZRViewVideoHandler::create();
    handler_->videoRecorder()->setRecordingsFolder(folder_.string());
    handler_->addVisibleScreen(std::string(moment.screen), moment.screen);
    handler_->startScreenRecording();
    NSRunLoop::mainRunLoop().runUntil([&] { return handler_->isRecording(); });
    handler_->stopScreenRecordingTimer();  // frames are taken by hand
  }

  ~DemoSession() {
    handler_->stopScreenRecording(0, [](std::optional<std::string>, NSErrorOrNil) {});
    settle();
    NSRunLoop::mainRunLoop().runUntil([&] { return !handler_->isRecording(); });
    settle();
    setRendererScale(1);
    ZRViewVideoHandler::setSchematicCapture(true);
    std::error_code ec;
    std::filesystem::remove_all(folder_, ec);
  }

  ZRViewVideoHandler& handler() { return *handler_; }
  ScenePlayer& player() { return *player_; }

  /// Bytes of video written so far: the recording's file grows a fragment (about a second of
  /// video) at a time.
  std::uintmax_t videoBytes() const {
    std::uintmax_t bytes = 0;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(folder_, ec)) {
      if (entry.path().extension() == ".mp4") bytes += entry.file_size(ec);
    }
    return bytes;
  }

  /// One frame through the capture driver, the clock a frame interval on first so that the
  /// recorder takes every frame.
  void captureOne() {
    clock_.advance(0.1);
    handler_->captureScreenImageToVideo();
  }

  /// Until the frame is in the video: a web page's answer on the main run loop, then the frame
  /// queue and the recorder's thread. Frames the driver did not take are not waited for.
  void settle() {
    NSRunLoop::mainRunLoop().runPending();
    ZRViewVideoHandler::GetMakeVideoFrameQueue()->drain();
    handler_->videoRecorder()->writerQueue()->drain();
    ZRViewVideoHandler::GetMakeVideoFrameQueue()->drain();
  }

 private:
  static void setRendererScale(double scale) {
    UIGraphicsImageRendererFormat format = ZRImageRenderer::rendererFormat();
    format.setScale(scale);
    ZRImageRenderer::setRendererFormat(format);
  }

  ScopedManualClock clock_;
  NSLogCapture quiet_;
  std::filesystem::path folder_ = std::filesystem::temp_directory_path() / "zr-bench-handler";
  std::unique_ptr<ScenePlayer> player_;
  std::shared_ptr<ZRViewVideoHandler> handler_;
};

}  // namespace zerva::bench
