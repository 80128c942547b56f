// The handler itself: the singleton, its queues, init with its defaults and collaborators, the
// file-level statics, and the accessors of the state the monitor guards.
// Any thread.

#include "handler/ZRViewVideoHandler.h"

#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/CADisplayLink.h"
#include "platform/MutexLock.h"
#include "services/InternalZRConfiguration.h"
#include "services/ScreenImageProcessor.h"
#include "services/ZRAppUtil.h"
#include "services/ZRImageRenderer.h"
#include "services/ZRKeyboardUtility.h"
#include "services/ZROcclusionManager.h"
#include "services/ZRSessionVideoRecorder.h"
#include "services/ZRUtil.h"

namespace zerva {

double gZERVA_LastFrameTime = 0.0;

bool fs_PlatformCaptureSchematicView = true;
bool fs_CaptureSchematicView = true;
std::string fs_FrameCaptureType;
bool fs_DidSkipLastFrameCapture = false;
std::int64_t fs_NumSlowFrames = 0;
std::int64_t fs_NumQuickFrames = 0;
std::optional<NSDate> fs_LastCaptureTime;
CGSize fs_DeviceNativeSize;
bool fs_ClampVideoToAdjustedSize = false;
CGSize fs_CurrentVideoSize;
bool fs_ScaleVideoDown = false;
CGSize fs_DownscaledVideoSize;
bool fs_WindowFrameSizeAdjustedOnLastFrame = false;
std::optional<NSMutableParagraphStyle> fs_OutlineLabelParagraphStyle;

void ZRResetHandlerFileStatics() {
  gZERVA_LastFrameTime = 0.0;
  fs_PlatformCaptureSchematicView = true;
  fs_CaptureSchematicView = true;
  fs_FrameCaptureType.clear();
  fs_DidSkipLastFrameCapture = false;
  fs_NumSlowFrames = 0;
  fs_NumQuickFrames = 0;
  fs_LastCaptureTime.reset();
  fs_DeviceNativeSize = CGSizeZero;
  fs_ClampVideoToAdjustedSize = false;
  fs_CurrentVideoSize = CGSizeZero;
  fs_ScaleVideoDown = false;
  fs_DownscaledVideoSize = CGSizeZero;
  fs_WindowFrameSizeAdjustedOnLastFrame = false;
  fs_OutlineLabelParagraphStyle.reset();
}

namespace {
const std::string kQueueLabelPrefix = "com.zerva.screenvideo.";
}  // namespace

ZR_DEFINE_CLASS(ZRViewVideoHandler, NSObject, nullptr)

ZRViewVideoHandler::ZRViewVideoHandler() = default;

ZRViewVideoHandler::~ZRViewVideoHandler() {
  // The display link holds the handler while it runs, so a handler that goes has no timer left;
  // invalidate anyway, so a link never outlives its target.
  if (auto link = displayLink()) link->invalidate();
}

std::shared_ptr<ZRViewVideoHandler> ZRViewVideoHandler::sharedHandler() {
  static dispatch_once_t once;
  static std::shared_ptr<ZRViewVideoHandler> shared;
  dispatch_once(once, [] { shared = create(); });
  return shared;
}

std::shared_ptr<ZRViewVideoHandler> ZRViewVideoHandler::create() {
  auto handler = std::make_shared<ZRViewVideoHandler>();
  handler->init();
  return handler;
}

const dispatch_queue_t& ZRViewVideoHandler::GetMakeVideoFrameQueue() {
  static dispatch_once_t once;
  static dispatch_queue_t queue;
  dispatch_once(once, [] { queue = dispatch_queue_create(kQueueLabelPrefix + "makeVideoFrame", DISPATCH_QUEUE_SERIAL); });
  return queue;
}

const dispatch_queue_t& ZRViewVideoHandler::GetMakeVideoFrameQueuet() {
  static dispatch_once_t once;
  static dispatch_queue_t queue;
  dispatch_once(once,
                [] { queue = dispatch_queue_create(kQueueLabelPrefix + "makeVideoFramet", DISPATCH_QUEUE_CONCURRENT); });
  return queue;
}

void ZRViewVideoHandler::setPlatformSchematicCapture(bool capture) { fs_PlatformCaptureSchematicView = capture; }

void ZRViewVideoHandler::setSchematicCapture(bool capture) { fs_CaptureSchematicView = capture; }

void ZRViewVideoHandler::init() {
  setWantToStopVideoRecording(false);
  setStartedAt(0.0);
  setScreenRecordingIsPaused(false);
  setTimeToEndPause(0.0);
  setLastScreenImageSize(CGSizeZero);
  setHideFullScreen(false);
  setHideFullScreenGestures(false);
  setHideFullScreen_APICall(false);
  setHideFullScreenGestures_APICall(false);
  setEndOfSession_hideFullScreen(false);
  setEndOfSession_hideFullScreenGestures(false);
  setEndOfSession_hideFullScreen_APICall(false);
  setEndOfSession_hideFullScreenGestures_APICall(false);
  setOccludeAllTextFields(false);
  setOccludeAllTexts(false);
  setUserControlOfStopScrollCaptureOnStutterOS(true);
  setUserControlOfScrollCaptureInterval(0.0);
  setVerifyServerStoppedSlowPath(false);
  setStopScrollCaptureOnStutterOS(false);
  setSlowCapturePath(false);
  setTrackedScrollViews(nullptr);
  setNumFramesInVideo(0);
  setTotalSnapshots(0);

  setRunningOnIpadInPhoneMode(ZRAppUtil::iPadInPhoneMode());
  {
    MutexLock lock(visibleScreensMutex_);
    visibleScreens_.clear();
  }

  auto self = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());
  setOcclusionManager(std::make_shared<ZROcclusionManager>());
  occlusionManager()->setVideoHandler(self);

  auto configuration = InternalZRConfiguration::sharedConfiguration();
  configuration->setVideoHandler(self);
  occlusionManager()->setOcclusion(configuration->occlusion(), ZROcclusionSourceConfiguration);

  setKeyboardUtility(std::make_shared<ZRKeyboardUtility>());
  setImageRenderer(std::make_shared<ZRImageRenderer>());
  imageRenderer()->setUseImageRenderer(configuration->enableImprovedScreenCapture());
  {
    MutexLock lock(visibleScreensMutex_);
    screenNamesByControllerId_.clear();
  }
  setupWebViewParameters();
  setVideoRecorder(std::make_shared<ZRSessionVideoRecorder>());
  setImageProcessor(std::make_shared<ScreenImageProcessor>());
}

void ZRViewVideoHandler::setupWebViewParameters() {
  const long platformType = ZRUtil::getPlatformType();
  setIsWebScriptInjected(!(platformType == 1 || platformType == 7));
}

std::shared_ptr<UIGraphicsImageRenderer> ZRViewVideoHandler::imageRendererForSize(CGSize size) const {
  if (auto renderer = imageRenderer()) return renderer->rendererForSize(size);
  return ZRImageRenderer::imageRendererForSize(size);
}

// --- State the monitor guards -------------------------------------------------------------------

std::optional<ZRRectStringList> ZRViewVideoHandler::occlusionRects() const {
  std::lock_guard lock(monitor_);
  return occlusionRects_;
}

void ZRViewVideoHandler::setOcclusionRects(std::optional<ZRRectStringList> rects) {
  std::lock_guard lock(monitor_);
  occlusionRects_ = std::move(rects);
}

std::optional<ZRRectStringList> ZRViewVideoHandler::webViewRects() const {
  std::lock_guard lock(monitor_);
  return webViewRects_;
}

void ZRViewVideoHandler::setWebViewRects(std::optional<ZRRectStringList> rects) {
  std::lock_guard lock(monitor_);
  webViewRects_ = std::move(rects);
}

std::optional<ZRRectStringList> ZRViewVideoHandler::manualOcclusionRects() const {
  std::lock_guard lock(monitor_);
  return manualOcclusionRects_;
}

void ZRViewVideoHandler::setManualOcclusionRects(std::optional<ZRRectStringList> rects) {
  std::lock_guard lock(monitor_);
  manualOcclusionRects_ = std::move(rects);
}

std::optional<std::vector<ZRManualRectsIdentityEntry>> ZRViewVideoHandler::manualOcclusionRectsWithIdentity() const {
  std::lock_guard lock(monitor_);
  return manualOcclusionRectsWithIdentity_;
}

void ZRViewVideoHandler::setManualOcclusionRectsWithIdentity(
    std::optional<std::vector<ZRManualRectsIdentityEntry>> entries) {
  std::lock_guard lock(monitor_);
  manualOcclusionRectsWithIdentity_ = std::move(entries);
}

ZRViewVideoHandler::OnReceivedOcclusionRects ZRViewVideoHandler::onRecivedOcclusionRects() const {
  std::lock_guard lock(monitor_);
  return onRecivedOcclusionRects_;
}

void ZRViewVideoHandler::setOnRecivedOcclusionRects(OnReceivedOcclusionRects block) {
  std::lock_guard lock(monitor_);
  onRecivedOcclusionRects_ = std::move(block);
}

ZRViewVideoHandler::OnPausedRenderingStatus ZRViewVideoHandler::onPausedRenderingStatus() const {
  std::lock_guard lock(monitor_);
  return onPausedRenderingStatus_;
}

void ZRViewVideoHandler::setOnPausedRenderingStatus(OnPausedRenderingStatus block) {
  std::lock_guard lock(monitor_);
  onPausedRenderingStatus_ = std::move(block);
}

ZRViewVideoHandler::OnDemandRectForOcclusion ZRViewVideoHandler::onDemandRectForOcclision() const {
  std::lock_guard lock(monitor_);
  return onDemandRectForOcclision_;
}

void ZRViewVideoHandler::setOnDemandRectForOcclision(OnDemandRectForOcclusion block) {
  std::lock_guard lock(monitor_);
  onDemandRectForOcclision_ = std::move(block);
}

}  // namespace zerva
