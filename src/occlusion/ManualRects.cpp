// Hybrid frameworks' rectangles (pushed, grouped or on demand) and the frame via the pause hook.
// Adds on any thread; the frame route on the main thread, its rest where the hook replies.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <type_traits>
#include <unordered_set>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/NSLog.h"
#include "platform/StringWithFormat.h"
#include "platform/UIApplication.h"
#include "platform/UIImage.h"
#include "platform/UIWindow.h"
#include "services/ZRKeyboardUtility.h"
#include "services/ZRLogUtility.h"

namespace zerva {

namespace {

ZRRectStringList rectStringsFromQuadruples(const ZRRectQuadrupleList& rects) {
  ZRRectStringList strings;
  strings.reserve(rects.size());
  for (const auto& rect : rects) {
    if (rect.size() != 4) continue;
    // An infinite or NaN value would read back as the zero rectangle and hide nothing: malformed.
    const bool finite = std::all_of(rect.begin(), rect.end(), [](double v) { return std::isfinite(v); });
    if (finite && rect[2] > 0 && rect[3] > 0) {
      strings.push_back(NSStringFromCGRect(CGRectMake(rect[0], rect[1], rect[2], rect[3])));
    }
  }
  return strings;
}

// A host that answers twice must not produce the frame twice.
template <class... Args>
std::function<void(Args...)> calledOnce(std::type_identity_t<std::function<void(Args...)>> block) {
  auto called = std::make_shared<std::atomic<bool>>(false);
  return [called, block = std::move(block)](Args... args) {
    if (!called->exchange(true) && block) block(std::move(args)...);
  };
}

}  // namespace

void ZRViewVideoHandler::addRectsToOcclude(const ZRRectQuadrupleList& rects) { addRectsForManualOcclusion(rects); }

void ZRViewVideoHandler::addRectsForManualOcclusion(const ZRRectQuadrupleList& rects) {
  const ZRRectStringList added = rectStringsFromQuadruples(rects);
  inspectRects(added, ZRHiddenRectSource::Manual);
  std::lock_guard lock(monitor());
  // A set of rect strings; the order is kept only because a stable one costs nothing.
  ZRRectStringList stored;
  std::unordered_set<std::string> seen;
  const auto existing = manualOcclusionRects().value_or(ZRRectStringList{});
  for (const auto* list : {&existing, &added}) {
    for (const auto& rect : *list) {
      if (seen.insert(rect).second) stored.push_back(rect);
    }
  }
  setManualOcclusionRects(std::move(stored));
}

void ZRViewVideoHandler::addRectsToOcclude(const ZRRectQuadrupleList& rects, const std::string& identity) {
  addRectsForManualOcclusion(rects, identity);
}

void ZRViewVideoHandler::addRectsForManualOcclusion(const ZRRectQuadrupleList& rects, const std::string& identity) {
  if (identity.empty() || rects.empty()) {
    // No group can be built; the group of that identity (if any) stays as it was.
    if (ZRLogUtility::isVerboseLoggingEnabled()) {
      NSLog(stringWithFormat("Zerva: VVH: Manual occlusion rects need an identity and rects; ignored ('%@', %lu rects)",
                             identity, static_cast<unsigned long>(rects.size())));
    }
    return;
  }
  // Held from the read to the store, so that concurrent adds of two groups never lose one.
  std::lock_guard lock(monitor());
  auto groups = manualOcclusionRectsWithIdentity().value_or(std::vector<ZRManualRectsIdentityEntry>{});
  bool replaced = false;
  for (auto& group : groups) {
    if (group.identity == identity) {
      group.rects = rects;
      replaced = true;
      break;
    }
  }
  if (!replaced) groups.push_back({identity, rects});
  setManualOcclusionRectsWithIdentity(std::move(groups));
  mergeAllManualOcclusionRectsWithIdentity();
}

void ZRViewVideoHandler::mergeAllManualOcclusionRectsWithIdentity() {
  std::lock_guard lock(monitor());
  ZRRectStringList merged;
  for (const auto& group : manualOcclusionRectsWithIdentity().value_or(std::vector<ZRManualRectsIdentityEntry>{})) {
    const auto strings = rectStringsFromQuadruples(group.rects);
    merged.insert(merged.end(), strings.begin(), strings.end());
  }
  inspectRects(merged, ZRHiddenRectSource::Manual);
  setManualOcclusionRects(std::move(merged));
}

ZRRectStringList ZRViewVideoHandler::occlusionRectHelper(const ZRRectQuadrupleList& rects) const {
  return rectStringsFromQuadruples(rects);
}

void ZRViewVideoHandler::occludeRectsOnNextFrame(OnReceivedOcclusionRects block) {
  setOnRecivedOcclusionRects(std::move(block));
}

void ZRViewVideoHandler::pauseForOcclusionNextFrame(OnPausedRenderingStatus block) {
  setOnPausedRenderingStatus(std::move(block));
}

void ZRViewVideoHandler::callOnDemandRectForOcclusionBlock(RectStringsCompletion completion) {
  if (auto source = onRecivedOcclusionRects()) {
    source(calledOnce<ZRRectQuadrupleList>([inspector = frameInspector(),
                                            completion = std::move(completion)](ZRRectQuadrupleList rects) {
      auto strings = rectStringsFromQuadruples(rects);
      if (inspector) inspector->noteRects(strings, ZRHiddenRectSource::OnDemand);
      if (completion) completion(std::move(strings));
    }));
    return;
  }
  auto rects = copyAndResetOcclusionRects();
  if (completion) completion(std::move(rects));
}

void ZRViewVideoHandler::pauseRenderingDuringOcclusionFrameGeneration(PausedCompletion completion) {
  if (auto hook = onPausedRenderingStatus()) {
    hook(calledOnce<bool>(std::move(completion)));
    return;
  }
  if (completion) completion(false);
}

void ZRViewVideoHandler::fetchOcclusionRectAndProcessImage(CGRect screenFrame, bool hideFullScreen) {
  ZR_ASSERT_MAIN_THREAD();
  auto keyWindow = UIApplication::sharedApplication()->keyWindow();
  const CGRect windowFrame = keyWindow ? keyWindow->frame() : CGRectZero;
  auto keyboard = keyboardUtility();
  const CGRect keyboardFrame = keyboard ? keyboard->keyboardFrameInWindow(keyWindow) : CGRectZero;

  // The reply may come later on another thread: neither the handler nor the window is kept.
  std::weak_ptr<ZRViewVideoHandler> weakSelf = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());
  std::weak_ptr<UIWindow> weakWindow = keyWindow;

  std::lock_guard lock(monitor());
  pauseRenderingDuringOcclusionFrameGeneration([weakSelf, weakWindow, windowFrame, keyboardFrame, screenFrame,
                                                hideFullScreen](bool paused) {
    auto self = weakSelf.lock();
    if (!self) return;
    auto image = self->generateSnapShotForView(weakWindow.lock(), windowFrame, keyboardFrame);
    if (paused) {
      self->callOnDemandRectForOcclusionBlock([weakSelf, image, hideFullScreen, screenFrame](ZRRectStringList rects) {
        if (auto handler = weakSelf.lock()) {
          handler->processImageForOcclusionAndVideoConversion(image, std::move(rects), hideFullScreen, screenFrame);
        }
      });
    } else {
      self->processImageForOcclusionAndVideoConversion(image, hideFullScreen, screenFrame);
    }
  });
}

}  // namespace zerva
