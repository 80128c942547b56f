#pragma once
// The screen-video component: one object through which the SDK records the session's screen
// video. It samples the app's screen on a display-synchronised clock, hides what must not be seen
// (sensitive views, secure and optionally all text fields, hidden screens, rectangles from hybrid
// frameworks and web pages, text found by text recognition) and appends the frames with their
// presentation times to the session video. It also answers whether a touch fell on something
// hidden.
//
// Declared once, here; the member functions are defined in one .cpp per topic in the folder of
// their subsystem (the section comments name it). Each section opens with the thread its
// functions run on; functions that must run on the main thread or the frame queue check it on
// entry in debug builds.
//
// Threads:
// - main thread: the frame clock and every synchronous step of a frame; UI objects are read
//   there only;
// - the frame queue, the serial queue "makeVideoFrame" (GetMakeVideoFrameQueue()): text
//   recognition hand-off, masking, conversion to a video frame, appends, and the stop sequence;
// - SDK calls (start, stop, pause, resume, registry, hiding, rectangles) may come on any thread.
//
// State: every field is read and written through its accessor. Scalars are std::atomic (a flag
// the SDK sets on one thread is read by the frame clock on another); object fields read on
// several threads sit behind their own small lock (ZRLockedValue). The object monitor, a
// re-entrant lock (monitor()), guards exactly:
//   - the contents of sensitiveViews (add, remove, refresh, list);
//   - the four per-frame rectangle lists occlusionRects, webViewRects, manualOcclusionRects and
//     manualOcclusionRectsWithIdentity, and the three hook blocks;
//   - the rectangle computation of a frame and isViewOccluded:;
// and is held around the call of the rendering-pause hook.
//
// Errors reach the SDK as NSError values in completion blocks; nothing is thrown to it. The two
// exception boundaries (each frame, and the delivery of a recording's outcome) live in
// src/recording/.

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "handler/ZRFrameInspector.h"
#include "handler/ZROcclusionRecords.h"
#include "handler/ZRTrackedScrollViewDetailsHolder.h"
#include "handler/ZRWeakReferenceViewHolder.h"
#include "platform/CGContext.h"
#include "platform/CGGeometry.h"
#include "platform/DispatchQueue.h"
#include "platform/Mutex.h"
#include "platform/NSError.h"
#include "platform/NSObject.h"
#include "platform/UIColor.h"
#include "services/HVHierarchyDictionary.h"
#include "services/ZRLockedValue.h"
#include "services/ZROcclusionSetting.h"

namespace zerva {

class CADisplayLink;
class CALayer;
class NSTextStorage;
class ScreenImageProcessor;
class UIGraphicsImageRenderer;
class UIImage;
class UIScrollView;
class UIView;
class UIViewController;
class UIWindow;
class WKWebView;
class ZRImageRenderer;
class ZRKeyboardUtility;
class ZROcclusionManager;
class ZRSessionVideoRecorder;

/// How long the last synchronous frame capture took, in seconds (not a point in time).
extern double gZERVA_LastFrameTime;

class ZRViewVideoHandler : public NSObject {
  ZR_DECLARE_CLASS(ZRViewVideoHandler)

 public:
  // --- Blocks ----------------------------------------------------------------------------------
  using SetupCompletion = std::function<void(bool success, NSErrorOrNil error)>;
  /// The finished file's path, or an error; both none after an exception at delivery.
  using StopCompletion = std::function<void(std::optional<std::string> path, NSErrorOrNil error)>;
  /// Given the on-demand rectangles of this frame (rect quadruples).
  using RectsReply = std::function<void(ZRRectQuadrupleList rects)>;
  using OnReceivedOcclusionRects = std::function<void(RectsReply reply)>;
  /// Given YES when the host paused its rendering for this frame.
  using PausedReply = std::function<void(bool paused)>;
  using OnPausedRenderingStatus = std::function<void(PausedReply reply)>;
  /// Settable by the SDK; nothing here calls it.
  using OnDemandRectForOcclusion = std::function<void()>;
  using RectStringsCompletion = std::function<void(ZRRectStringList rectStrings)>;
  using PausedCompletion = std::function<void(bool paused)>;
  /// The page answer: an array of rect quadruples (anything else counts as empty).
  using WebViewRectsCompletion = std::function<void(nlohmann::json answer)>;
  /// (image as handed in, its rectangles joined with the text-recognition ones, frame time).
  using PipelineCompletion =
      std::function<void(std::shared_ptr<UIImage> image, ZRRectStringList occlusionRects, double frameTime)>;
  using TextOcclusionCompletion = std::function<void(std::shared_ptr<UIImage> image, double frameTime)>;

  // --- Core: src/handler/ -----------------------------------------------------------------------
  // Any thread.

  /// The process-wide handler, made by create() on the first call (once, thread-safe).
  static std::shared_ptr<ZRViewVideoHandler> sharedHandler();
  /// A new handler with every field at its default and the real collaborators (init). Tests and
  /// tools make their own, so that no run depends on another's leftovers.
  static std::shared_ptr<ZRViewVideoHandler> create();
  /// The serial queue "makeVideoFrame" (once, process-wide).
  static const dispatch_queue_t& GetMakeVideoFrameQueue();
  /// The concurrent queue "makeVideoFramet", offered to the SDK; not used here.
  static const dispatch_queue_t& GetMakeVideoFrameQueuet();
  /// Schematic frames are drawn only while both switches are YES (and the screen is not hidden).
  static void setPlatformSchematicCapture(bool capture);
  static void setSchematicCapture(bool capture);

  ZRViewVideoHandler();
  ~ZRViewVideoHandler() override;

  /// Sets the defaults, creates the collaborators and hands the handler to the occlusion manager
  /// and the configuration. create() calls it once.
  void init();
  /// isWebScriptInjected = NO for platform types 1 and 7 (their pages need the script
  /// injected), YES otherwise.
  void setupWebViewParameters();

  /// The object monitor (see the file comment for what it guards).
  std::recursive_mutex& monitor() const { return monitor_; }

  // Collaborators: made by init; tests replace them before a recording starts.
  std::shared_ptr<ZROcclusionManager> occlusionManager() const { return occlusionManager_; }
  void setOcclusionManager(std::shared_ptr<ZROcclusionManager> manager) { occlusionManager_ = std::move(manager); }
  std::shared_ptr<ZRSessionVideoRecorder> videoRecorder() const { return videoRecorder_; }
  void setVideoRecorder(std::shared_ptr<ZRSessionVideoRecorder> recorder) { videoRecorder_ = std::move(recorder); }
  std::shared_ptr<ZRKeyboardUtility> keyboardUtility() const { return keyboardUtility_; }
  void setKeyboardUtility(std::shared_ptr<ZRKeyboardUtility> utility) { keyboardUtility_ = std::move(utility); }
  std::shared_ptr<ZRImageRenderer> imageRenderer() const { return imageRenderer_; }
  void setImageRenderer(std::shared_ptr<ZRImageRenderer> renderer) { imageRenderer_ = std::move(renderer); }
  std::shared_ptr<ScreenImageProcessor> imageProcessor() const { return imageProcessor_; }
  void setImageProcessor(std::shared_ptr<ScreenImageProcessor> processor) { imageProcessor_ = std::move(processor); }

  // Flags the SDK sets from outside.
  bool skipCaptureOfCurrentFrame() const { return skipCaptureOfCurrentFrame_; }
  void setSkipCaptureOfCurrentFrame(bool skip) { skipCaptureOfCurrentFrame_ = skip; }
  bool enteredNewScreen() const { return enteredNewScreen_; }
  void setEnteredNewScreen(bool entered) { enteredNewScreen_ = entered; }
  bool wasPreviousScreenHidden() const { return wasPreviousScreenHidden_; }
  void setWasPreviousScreenHidden(bool hidden) { wasPreviousScreenHidden_ = hidden; }
  bool userControlOfStopScrollCaptureOnStutterOS() const { return userControlOfStopScrollCaptureOnStutterOS_; }
  void setUserControlOfStopScrollCaptureOnStutterOS(bool allow) { userControlOfStopScrollCaptureOnStutterOS_ = allow; }
  bool verifyServerStoppedSlowPath() const { return verifyServerStoppedSlowPath_; }
  void setVerifyServerStoppedSlowPath(bool stopped) { verifyServerStoppedSlowPath_ = stopped; }
  double userControlOfScrollCaptureInterval() const { return userControlOfScrollCaptureInterval_; }
  void setUserControlOfScrollCaptureInterval(double seconds) { userControlOfScrollCaptureInterval_ = seconds; }
  bool skipRectsToOcclude() const { return skipRectsToOcclude_; }
  void setSkipRectsToOcclude(bool skip) { skipRectsToOcclude_ = skip; }
  bool runningOnIpadInPhoneMode() const { return runningOnIpadInPhoneMode_; }
  void setRunningOnIpadInPhoneMode(bool phoneMode) { runningOnIpadInPhoneMode_ = phoneMode; }
  bool captureWideGamut() const { return captureWideGamut_; }
  void setCaptureWideGamut(bool wide) { captureWideGamut_ = wide; }

  // --- Recording: src/recording/ ----------------------------------------------------------------
  // SessionLifecycle.cpp. start and the set-up run on the SDK's thread; the start completion
  // runs on the main thread (where the recorder posts it) and starts the frame clock there;
  // the stop sequence runs on the frame queue.

  bool isRecording() const;
  void startScreenRecording();
  /// The completion is called exactly once.
  void setupAssetWriterWithCompletion(SetupCompletion completion);
  /// Any thread. Stop reason 0 cancels (file deleted, "video-upload" 101), 1 delivers the path,
  /// 2 delivers it after a final blank frame; other reasons deliver nothing.
  void stopScreenRecording(unsigned long stopReason, StopCompletion completionHandler);
  /// Blocks the calling thread, polling every 0.1 s; returns the seconds waited. Not on the
  /// thread that must deliver the recorder's callbacks.
  double waitUntilScreenRecordingIsFinished(double timeout);
  void cleanupRecording();
  void setEndOfSessionProperties();
  // Frame queue:
  void finalizeSessionRecording(unsigned long stopReason, StopCompletion completionHandler);
  void handleEndOfScreenRecordingForNonPausedState();
  void completeRecordingSession(unsigned long stopReason, StopCompletion completionHandler);
  /// The second exception boundary: delivery of the outcome.
  void handleVideoCompletionStateForStopReason(unsigned long stopReason, NSErrorOrNil error,
                                               StopCompletion completionHandler);

  // FrameTimer.cpp. The timer and its tick run on the main thread; pause, resume and the
  // queries on any thread.

  void startScreenRecordingTimer();
  void stopScreenRecordingTimer();
  void captureFrameTimerCallback();
  /// 0, negative or not a number: until resumeScreenRecording.
  void pauseScreenRecordingForDuration(double duration);
  void resumeScreenRecording();
  double videoTimeElapsed() const;
  double processVideoFrameTime() const;
  bool screenRecordingIsPausedOrHidden() const;
  bool fullScreenGestureCapturePausedOrHidden() const;
  void setOrientationInProgressFlag(bool inProgress);
  void setScreenChangeInProgressFlag(bool inProgress);

  // CaptureDriver.cpp. Main thread. captureScreenImageToVideo is the first exception boundary.

  void captureScreenImageToVideo();
  void screenImage(bool hideFullScreen);
  /// The key window to capture and, through `frame` (may be null), the capture frame; nullptr
  /// when there is none or while paused (a blank frame is appended then).
  std::shared_ptr<UIWindow> keyWindowForFrameCapture(CGRect* frame);
  bool canRecordVideo() const;
  void enterSlowCapturePath();
  void leaveSlowCapturePath();

  // FrameAppend.cpp. processScreenImageIntoVideo runs on the frame queue; blank frames are made
  // on the calling thread and appended from the frame queue.

  void processScreenImageIntoVideo(std::shared_ptr<UIImage> image, double time);
  void addBlankImageToVideo();
  void addBlankScreenToVideo(const UIColor& color);
  void preserveLastVideoFrameTime();
  void preserveLastVideoFrameTime(double time);

  // --- Capture: src/capture/ --------------------------------------------------------------------
  // WindowRendering.cpp. Main thread.

  void recordScreenVideo(CGRect captureFrame, bool hideFullScreen);
  /// Layers of the windows that are not hidden and have non-empty bounds, in window order.
  std::vector<std::shared_ptr<CALayer>> availableWindowLayers() const;

  // Snapshots.cpp. Main thread (and the thread a hybrid framework's hook replies on).

  std::shared_ptr<UIImage> generateSnapShotForView(const std::shared_ptr<UIView>& view, CGRect frame,
                                                   CGRect keyboardFrame);
  void drawImageForView(const std::shared_ptr<UIView>& view, CGSize size);
  bool canUseOldLayerMethodToTakeSnapshotInController(const std::shared_ptr<UIViewController>& controller,
                                                      const std::shared_ptr<UIWindow>& window) const;
  std::shared_ptr<UIImage> generateSnapShotForLayers(const std::vector<std::shared_ptr<CALayer>>& layers,
                                                     CGSize windowSize, CGRect keyboardFrame);

  // ImageToVideoFrame.cpp. Frame queue.

  void processCapturedImageIntoVideo(std::shared_ptr<UIImage> image, long orientation, CGRect windowFrame,
                                     bool captureWideGamut, bool hideFullScreen);
  /// A new image of exactly `screenSize`, stretched.
  std::shared_ptr<UIImage> scaleImageToScreenSize(const std::shared_ptr<UIImage>& image, CGSize screenSize) const;

  // ScrollTracking.cpp. Main thread.

  bool anyViewScrollingInHierarchy(const std::shared_ptr<UIView>& view);
  bool svContentOffsetHasChanged(const std::shared_ptr<UIScrollView>& scrollView);
  void cleanupTrackedScrollviews();
  bool isScrollViewZooming(const std::shared_ptr<UIScrollView>& scrollView) const;

  // --- Occlusion: src/occlusion/ ----------------------------------------------------------------
  // SensitiveViewRegistry.cpp. Add and remove on any thread; the rest reads UI objects and runs
  // on the main thread. Everything here holds the monitor.

  void addSensitiveView(const std::shared_ptr<UIView>& view, bool blockGestures);
  void addSensitiveView(const std::shared_ptr<UIView>& view, bool autoAdded, bool blockGestures);
  void removeSensitiveView(const std::shared_ptr<UIView>& view);
  bool occludeAllTextFields() const { return occludeAllTextFields_; }
  void setOccludeAllTextFields(bool occlude);
  bool occludeAllTexts() const { return occludeAllTexts_; }
  void setOccludeAllTexts(bool occlude);
  void refreshAutoOccludedViews();
  void autoOccludeViewsInView(const std::shared_ptr<UIView>& view);
  void removeAutoAddedSensitiveViews();
  bool isViewVisible(const std::shared_ptr<UIView>& view) const;
  bool viewIsHidden(const std::shared_ptr<UIView>& view) const;
  bool canOccludeSensitiveView(const std::shared_ptr<UIView>& view) const;
  /// nullopt when the view is gone; isEmpty when it cannot be hidden now.
  std::optional<ZROccludedDictionary> occlusionInformationForView(const ZRSensitiveViewEntry& entry,
                                                                  bool onlyBlockGestures);
  std::vector<ZROccludedDictionary> listOfOccludedDictionaries(bool onlyBlockGestures);
  std::vector<std::shared_ptr<UIView>> listOfActiveSensitiveViews(bool onlyBlockGestures);
  std::vector<std::shared_ptr<UIView>> listOfActiveSensitiveViews();

  // ScreenHiding.cpp. Any thread; no lock (the visible-screen list has its own).

  void addVisibleScreens(const std::vector<std::string>& names);
  void addVisibleScreen(const std::optional<std::string>& name, const std::string& controllerId);
  void removeVisibleScreenForControllerId(const std::string& controllerId);
  void removeVisibleScreenForName(const std::string& name);
  void removeAllVisibleScreens();
  /// A snapshot of the visible screens, in order of appearance.
  std::vector<std::string> visibleScreenNames() const;
  /// The list used with the occlusion manager; its last element is the current screen.
  std::vector<std::string> currentVisibleScreens() const;
  void occludeScreen(bool occlude, bool hideGestures);
  void occludeScreenAPI(bool occlude, bool hideGestures);
  void hideScreenGestures(bool hide);
  bool screenIsHidden() const;
  bool screenGestureRecordingIsHidden() const;
  bool isCurrentScreenOccluded() const;
  void applyOcclusion(const ZROcclusionSetting& setting, const std::vector<std::string>& screens);
  void removeOcclusionOfType(long type);
  void removeOcclusion();
  long getManualOcclusionSourceForCategory(long category) const;
  void setOcclusionFromDashboardVerifyResult(const std::string& verifyResult, bool appendExisting);
  /// Frame queue: the image with the whole-screen rule of the screens applied, or lifted.
  std::shared_ptr<UIImage> occludeUsingNewAPI(const std::shared_ptr<UIImage>& image,
                                              const std::vector<std::string>& screens);

  // OcclusionRects.cpp. The computation runs on the main thread under the monitor; the merge
  // and hand-over take the monitor too (a hook may reply on another thread).

  /// nullopt ("none") when the screen is hidden without hidden gestures, or for no views.
  std::optional<ZRRectStringList> captureOcclusionRectsForViews(const std::vector<ZROccludedDictionary>& views,
                                                                const std::shared_ptr<UIViewController>& topController,
                                                                CGSize windowSize);
  /// CGRectNull for nothing to hide.
  CGRect occlusionRectForView(const ZROccludedDictionary& view, const std::shared_ptr<UIViewController>& topController,
                              CGSize windowSize);
  bool isPresentedControllerPartiallyVisible(const std::shared_ptr<UIViewController>& controller) const;
  /// Web, then view, then manual rectangles.
  ZRRectStringList viewOcclusionRects() const;
  void resetOcclusionRects();
  ZRRectStringList copyAndResetOcclusionRects();
  ZRRectStringList updateAndResetOcclusionRects(const ZRRectStringList& rects);

  // GestureBlocking.cpp. Main thread.

  /// `point` in the screen's fixed coordinate space; YES when the touch must be dropped.
  bool gestureBlockedBySensitiveView(CGPoint point, const std::shared_ptr<UIView>& view);
  bool isViewOccluded(const std::shared_ptr<UIView>& view);

  // ManualRects.cpp. The adds and hook registrations on any thread; the frame route on the main
  // thread, its continuation on the thread a hook replies on.

  void addRectsToOcclude(const ZRRectQuadrupleList& rects);
  void addRectsForManualOcclusion(const ZRRectQuadrupleList& rects);
  void addRectsToOcclude(const ZRRectQuadrupleList& rects, const std::string& identity);
  void addRectsForManualOcclusion(const ZRRectQuadrupleList& rects, const std::string& identity);
  void mergeAllManualOcclusionRectsWithIdentity();
  ZRRectStringList occlusionRectHelper(const ZRRectQuadrupleList& rects) const;
  void occludeRectsOnNextFrame(OnReceivedOcclusionRects block);
  void pauseForOcclusionNextFrame(OnPausedRenderingStatus block);
  void callOnDemandRectForOcclusionBlock(RectStringsCompletion completion);
  void pauseRenderingDuringOcclusionFrameGeneration(PausedCompletion completion);
  void fetchOcclusionRectAndProcessImage(CGRect screenFrame, bool hideFullScreen);

  // WebViewOcclusion.cpp. The two screen calls on any thread; the page query and conversion on
  // the main thread (pages answer there).

  void screenWebViewWillAppear(const std::shared_ptr<WKWebView>& webView);
  void screenWebViewDidDisappear(const std::shared_ptr<WKWebView>& webView);
  void occlusionRectsForWebView(const std::shared_ptr<WKWebView>& webView, WebViewRectsCompletion completionHandler);
  ZRRectStringList addWebViewOcclusionRects(const nlohmann::json& answer, const std::shared_ptr<WKWebView>& webView,
                                            CGSize windowSize) const;

  // --- Masking: src/masking/ --------------------------------------------------------------------
  // Masking.cpp. Frame queue.

  std::shared_ptr<UIImage> occludeSensitiveViewsIntoImage(const std::shared_ptr<UIImage>& image,
                                                          const std::vector<std::string>& screens,
                                                          const ZRRectStringList& occlusionRects, bool flipCoords,
                                                          bool hideFullScreen);
  std::shared_ptr<UIImage> drawOccludedImageForImage(const std::shared_ptr<UIImage>& image,
                                                     const ZRRectStringList& occlusionRects, bool hideFullScreen,
                                                     bool flipCoords);
  void occludePartialScreen(const ZRRectStringList& occlusionRects, CGContextRef context, bool flipCoords,
                            CGSize screenSize);

  // FrameInspection.cpp. An optional observer of each frame's rectangles, sources and images
  // (ZRFrameInspector.h), for tools; none by default. Set it before a recording starts, never
  // while frames flow: it is read without a lock on every thread.
  std::shared_ptr<ZRFrameInspector> frameInspector() const { return frameInspector_; }
  void setFrameInspector(std::shared_ptr<ZRFrameInspector> inspector) { frameInspector_ = std::move(inspector); }

  // OcclusionPipeline.cpp. The entries on the caller's thread (the main thread per frame); the
  // steps after them on the frame queue.

  void processImageForOcclusionAndVideoConversion(std::shared_ptr<UIImage> image, bool hideFullScreen,
                                                  CGRect screenFrame);
  void processImageForOcclusionAndVideoConversion(std::shared_ptr<UIImage> image, ZRRectStringList occlusionRects,
                                                  bool hideFullScreen, CGRect screenFrame);
  void processImageForAutoOcclusionAndVideoConversion(std::shared_ptr<UIImage> image, ZRRectStringList occlusionRects,
                                                      PipelineCompletion completion);
  void addImageToAITextOcclusionPipeline(std::shared_ptr<UIImage> image, TextOcclusionCompletion completion);

  // --- Schematic: src/schematic/ ----------------------------------------------------------------
  // SchematicCapture.cpp. Main thread (the completion on the frame queue).

  void schematicFrameScreenImage(bool hideFullScreen);
  std::shared_ptr<UIImage> renderSchematicFrame(const std::vector<HVHierarchyDictionary>& snapshot,
                                                CGRect keyboardFrame);
  void addKeyboardView(CGRect keyboardFrame, CGContextRef context);

  // HierarchyDrawing.cpp. Main thread, inside the renderer's drawing action.

  void drawViewHierarchy(const HVHierarchyDictionary& hierarchy, CGContextRef context, double parentAlpha);
  void drawViewsIntoContext(CGContextRef context, const HVHierarchyDictionary& hierarchy, CGRect screenRect,
                            bool isSensitive, const std::optional<UIColor>& viewColor);
  void applyMaskToBoundsForHierarchy(const HVHierarchyDictionary& hierarchy, CGContextRef context, CGRect screenRect);
  void strokeScreenIntoContext(CGContextRef context, CGRect screenRect);
  void renderReactNativeLayoutForScreen(CGRect screenRect, const std::shared_ptr<const NSTextStorage>& storage);

  // --- State accessors --------------------------------------------------------------------------
  // Recording state.
  bool wantToStopVideoRecording() const { return wantToStopVideoRecording_; }
  void setWantToStopVideoRecording(bool stop) { wantToStopVideoRecording_ = stop; }
  bool screenRecordingIsPaused() const { return screenRecordingIsPaused_; }
  void setScreenRecordingIsPaused(bool paused) { screenRecordingIsPaused_ = paused; }
  double startedAt() const { return startedAt_; }
  void setStartedAt(double time) { startedAt_ = time; }
  double timeToEndPause() const { return timeToEndPause_; }
  void setTimeToEndPause(double time) { timeToEndPause_ = time; }
  /// The frame interval in seconds, despite its name (1 / the recorder's frame rate).
  float videoFrameRate() const { return videoFrameRate_; }
  void setVideoFrameRate(float interval) { videoFrameRate_ = interval; }
  bool orientationChangeInProgress() const { return orientationChangeInProgress_; }
  bool screenChangeInProgress() const { return screenChangeInProgress_; }
  std::shared_ptr<CADisplayLink> displayLink() const { return displayLink_.get(); }
  void setDisplayLink(std::shared_ptr<CADisplayLink> link) { displayLink_.set(std::move(link)); }
  double timeOfLastScreenCapture() const { return timeOfLastScreenCapture_; }
  void setTimeOfLastScreenCapture(double time) { timeOfLastScreenCapture_ = time; }
  // Capture driver state.
  bool slowCapturePath() const { return slowCapturePath_; }
  void setSlowCapturePath(bool slow) { slowCapturePath_ = slow; }
  bool stopScrollCaptureOnStutterOS() const { return stopScrollCaptureOnStutterOS_; }
  void setStopScrollCaptureOnStutterOS(bool stop) { stopScrollCaptureOnStutterOS_ = stop; }
  // Frame append state.
  double lastVideoFrameTime() const { return lastVideoFrameTime_; }
  void setLastVideoFrameTime(double time) { lastVideoFrameTime_ = time; }
  double onCaptureVideoFrameTime() const { return onCaptureVideoFrameTime_; }
  void setOnCaptureVideoFrameTime(double time) { onCaptureVideoFrameTime_ = time; }
  std::shared_ptr<UIImage> lastVideoFrameImage() const { return lastVideoFrameImage_.get(); }
  void setLastVideoFrameImage(std::shared_ptr<UIImage> image) { lastVideoFrameImage_.set(std::move(image)); }
  std::int64_t numFramesInVideo() const { return numFramesInVideo_; }
  void setNumFramesInVideo(std::int64_t count) { numFramesInVideo_ = count; }
  std::int64_t totalSnapshots() const { return totalSnapshots_; }
  void setTotalSnapshots(std::int64_t count) { totalSnapshots_ = count; }
  CGSize lastScreenImageSize() const { return lastScreenImageSize_.get(); }
  void setLastScreenImageSize(CGSize size) { lastScreenImageSize_.set(size); }
  // Capture state.
  std::shared_ptr<UIGraphicsImageRenderer> currentScreenRenderer() const { return currentScreenRenderer_; }
  void setCurrentScreenRenderer(std::shared_ptr<UIGraphicsImageRenderer> renderer) {
    currentScreenRenderer_ = std::move(renderer);
  }
  CGSize currentWindowSize() const { return currentWindowSize_.get(); }
  void setCurrentWindowSize(CGSize size) { currentWindowSize_.set(size); }
  /// nullptr until the slow path is entered for the first time.
  std::shared_ptr<std::vector<std::shared_ptr<ZRTrackedScrollViewDetailsHolder>>> trackedScrollViews() const {
    return trackedScrollViews_.get();
  }
  void setTrackedScrollViews(std::shared_ptr<std::vector<std::shared_ptr<ZRTrackedScrollViewDetailsHolder>>> views) {
    trackedScrollViews_.set(std::move(views));
  }
  // Screen hiding state.
  bool hideFullScreen() const { return hideFullScreen_; }
  void setHideFullScreen(bool hide) { hideFullScreen_ = hide; }
  bool hideFullScreenGestures() const { return hideFullScreenGestures_; }
  void setHideFullScreenGestures(bool hide) { hideFullScreenGestures_ = hide; }
  bool hideFullScreen_APICall() const { return hideFullScreen_APICall_; }
  void setHideFullScreen_APICall(bool hide) { hideFullScreen_APICall_ = hide; }
  bool hideFullScreenGestures_APICall() const { return hideFullScreenGestures_APICall_; }
  void setHideFullScreenGestures_APICall(bool hide) { hideFullScreenGestures_APICall_ = hide; }
  bool endOfSession_hideFullScreen() const { return endOfSession_hideFullScreen_; }
  void setEndOfSession_hideFullScreen(bool hide) { endOfSession_hideFullScreen_ = hide; }
  bool endOfSession_hideFullScreenGestures() const { return endOfSession_hideFullScreenGestures_; }
  void setEndOfSession_hideFullScreenGestures(bool hide) { endOfSession_hideFullScreenGestures_ = hide; }
  bool endOfSession_hideFullScreen_APICall() const { return endOfSession_hideFullScreen_APICall_; }
  void setEndOfSession_hideFullScreen_APICall(bool hide) { endOfSession_hideFullScreen_APICall_ = hide; }
  bool endOfSession_hideFullScreenGestures_APICall() const { return endOfSession_hideFullScreenGestures_APICall_; }
  void setEndOfSession_hideFullScreenGestures_APICall(bool hide) { endOfSession_hideFullScreenGestures_APICall_ = hide; }
  // Sensitive views: the registry (its contents under the monitor); nullptr before the first add.
  std::shared_ptr<std::vector<ZRSensitiveViewEntry>> sensitiveViews() const { return sensitiveViews_.get(); }
  void setSensitiveViews(std::shared_ptr<std::vector<ZRSensitiveViewEntry>> views) {
    sensitiveViews_.set(std::move(views));
  }
  // Per-frame rectangle lists (under the monitor): nullopt is "none".
  std::optional<ZRRectStringList> occlusionRects() const;
  void setOcclusionRects(std::optional<ZRRectStringList> rects);
  std::optional<ZRRectStringList> webViewRects() const;
  void setWebViewRects(std::optional<ZRRectStringList> rects);
  std::optional<ZRRectStringList> manualOcclusionRects() const;
  void setManualOcclusionRects(std::optional<ZRRectStringList> rects);
  std::optional<std::vector<ZRManualRectsIdentityEntry>> manualOcclusionRectsWithIdentity() const;
  void setManualOcclusionRectsWithIdentity(std::optional<std::vector<ZRManualRectsIdentityEntry>> entries);
  // Hooks (under the monitor).
  OnReceivedOcclusionRects onRecivedOcclusionRects() const;
  void setOnRecivedOcclusionRects(OnReceivedOcclusionRects block);
  OnPausedRenderingStatus onPausedRenderingStatus() const;
  void setOnPausedRenderingStatus(OnPausedRenderingStatus block);
  OnDemandRectForOcclusion onDemandRectForOcclision() const;
  void setOnDemandRectForOcclision(OnDemandRectForOcclusion block);
  // Web views.
  std::shared_ptr<WKWebView> screenWebview() const { return screenWebview_.get().lock(); }
  void setScreenWebview(const std::shared_ptr<WKWebView>& webView) { screenWebview_.set(webView); }
  bool isWebScriptInjected() const { return isWebScriptInjected_; }
  void setIsWebScriptInjected(bool injected) { isWebScriptInjected_ = injected; }

 private:
  // Core helpers (src/handler/).
  /// A renderer from the image renderer (nullptr: the drawing is skipped).
  std::shared_ptr<UIGraphicsImageRenderer> imageRendererForSize(CGSize size) const;

  // Recording helpers (src/recording/).
  /// The start completion of startScreenRecording (main thread).
  void handleRecordingStarted(bool success, NSErrorOrNil error);
  /// One more frame confirmed by the recorder, as one atomic step (completions may overlap with
  /// each other and with the stop's reset); returns the new count.
  std::int64_t incrementNumFramesInVideo();

  // Masking helpers (src/masking/FrameInspection.cpp): each does nothing without an inspector.
  /// Any thread: the rectangles were made by `source`.
  void inspectRects(const ZRRectStringList& rects, ZRHiddenRectSource source) const;
  /// Main thread, at the end of a driver run that took `realSeconds` on the real clock.
  void inspectFrameCapture(bool schematic, double realSeconds, std::int64_t snapshotsBefore) const;
  /// Frame queue: the frame after masking (`recorded`; nullptr when it is not masked, as blank
  /// frames are not), before its conversion.
  void inspectMaskedFrame(ZRInspectedFrameKind kind, double frameTime, const std::shared_ptr<UIImage>& captured,
                          const std::vector<std::string>& screens, const ZRRectStringList& occlusionRects,
                          bool hideFullScreen, const std::shared_ptr<UIImage>& recorded) const;

  mutable std::recursive_mutex monitor_;

  // Collaborators: set by init (or by tests before recording), then only read.
  std::shared_ptr<ZROcclusionManager> occlusionManager_;
  std::shared_ptr<ZRSessionVideoRecorder> videoRecorder_;
  std::shared_ptr<ZRKeyboardUtility> keyboardUtility_;
  std::shared_ptr<ZRImageRenderer> imageRenderer_;
  std::shared_ptr<ScreenImageProcessor> imageProcessor_;
  std::shared_ptr<ZRFrameInspector> frameInspector_;

  // Recording control: atomics, written by SDK calls, the frame clock and the frame queue.
  std::atomic<bool> slowCapturePath_{false};
  std::atomic<bool> skipCaptureOfCurrentFrame_{false};
  std::atomic<bool> enteredNewScreen_{false};
  std::atomic<bool> wasPreviousScreenHidden_{false};
  std::atomic<bool> userControlOfStopScrollCaptureOnStutterOS_{true};
  std::atomic<bool> verifyServerStoppedSlowPath_{false};
  std::atomic<bool> skipRectsToOcclude_{false};
  std::atomic<bool> wantToStopVideoRecording_{false};
  std::atomic<bool> screenRecordingIsPaused_{false};
  std::atomic<bool> stopScrollCaptureOnStutterOS_{false};
  std::atomic<bool> captureWideGamut_{false};
  std::atomic<bool> runningOnIpadInPhoneMode_{false};
  std::atomic<bool> orientationChangeInProgress_{false};
  std::atomic<bool> screenChangeInProgress_{false};
  std::atomic<float> videoFrameRate_{0.0f};
  std::atomic<double> userControlOfScrollCaptureInterval_{0.0};
  std::atomic<double> startedAt_{0.0};
  std::atomic<double> timeToEndPause_{0.0};
  std::atomic<double> timeOfLastScreenCapture_{0.0};
  ZRLockedValue<std::shared_ptr<CADisplayLink>> displayLink_;

  // Frame append: the frame queue writes, the main thread and recorder callbacks read.
  std::atomic<double> lastVideoFrameTime_{0.0};
  std::atomic<double> onCaptureVideoFrameTime_{0.0};
  ZRLockedValue<std::shared_ptr<UIImage>> lastVideoFrameImage_;
  std::atomic<std::int64_t> numFramesInVideo_{0};
  std::atomic<std::int64_t> totalSnapshots_{0};
  ZRLockedValue<CGSize> lastScreenImageSize_;

  // Capture: main thread, but for currentWindowSize (atomic: read from other threads).
  std::shared_ptr<UIGraphicsImageRenderer> currentScreenRenderer_;
  ZRLockedValue<CGSize> currentWindowSize_;
  ZRLockedValue<std::shared_ptr<std::vector<std::shared_ptr<ZRTrackedScrollViewDetailsHolder>>>> trackedScrollViews_;

  // Screen hiding: single flags written by SDK calls on any thread.
  std::atomic<bool> hideFullScreen_{false};
  std::atomic<bool> hideFullScreenGestures_{false};
  std::atomic<bool> hideFullScreen_APICall_{false};
  std::atomic<bool> hideFullScreenGestures_APICall_{false};
  std::atomic<bool> endOfSession_hideFullScreen_{false};
  std::atomic<bool> endOfSession_hideFullScreenGestures_{false};
  std::atomic<bool> endOfSession_hideFullScreen_APICall_{false};
  std::atomic<bool> endOfSession_hideFullScreenGestures_APICall_{false};
  // Visible screens, under their own lock: SDK calls change them on any thread.
  mutable Mutex visibleScreensMutex_;
  std::vector<std::string> visibleScreens_ GUARDED_BY(visibleScreensMutex_);
  std::map<std::string, std::string> screenNamesByControllerId_ GUARDED_BY(visibleScreensMutex_);

  // Sensitive views.
  ZRLockedValue<std::shared_ptr<std::vector<ZRSensitiveViewEntry>>> sensitiveViews_;  // contents by monitor_
  std::atomic<bool> occludeAllTextFields_{false};
  std::atomic<bool> occludeAllTexts_{false};

  // Per-frame rectangle lists and hooks: by monitor_.
  std::optional<ZRRectStringList> occlusionRects_;
  std::optional<ZRRectStringList> webViewRects_;
  std::optional<ZRRectStringList> manualOcclusionRects_;
  std::optional<std::vector<ZRManualRectsIdentityEntry>> manualOcclusionRectsWithIdentity_;
  OnReceivedOcclusionRects onRecivedOcclusionRects_;
  OnPausedRenderingStatus onPausedRenderingStatus_;
  OnDemandRectForOcclusion onDemandRectForOcclision_;

  // Web views.
  ZRLockedValue<std::weak_ptr<WKWebView>> screenWebview_;
  std::atomic<bool> isWebScriptInjected_{true};
};

}  // namespace zerva
