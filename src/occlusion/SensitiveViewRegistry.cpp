// The sensitive-view registry: manual and automatic entries, the visibility tests, and the lists
// of entries that can be hidden now. Add and remove on any thread; the rest on the main thread.

#include <algorithm>
#include <mutex>
#include <unordered_set>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/NSLog.h"
#include "platform/StringWithFormat.h"
#include "platform/UIApplication.h"
#include "platform/UITextField.h"
#include "platform/UIView.h"
#include "platform/UIWindow.h"
#include "services/ZRElementUtility.h"
#include "services/ZRLogUtility.h"

namespace zerva {

namespace {

const char* const kOccludedUIViewClassName = "ZervaSwiftUI.ZervaOccludedUIView";

std::shared_ptr<UIView> viewOfEntry(const ZRSensitiveViewEntry& entry) {
  return entry.viewRef ? std::dynamic_pointer_cast<UIView>(entry.viewRef->weakReference()) : nullptr;
}

bool entryRefersTo(const ZRSensitiveViewEntry& entry, const std::shared_ptr<UIView>& view) {
  return entry.viewRef && entry.viewRef->weakReference() == view;
}

}  // namespace

void ZRViewVideoHandler::addSensitiveView(const std::shared_ptr<UIView>& view, bool blockGestures) {
  addSensitiveView(view, false, blockGestures);
}

void ZRViewVideoHandler::addSensitiveView(const std::shared_ptr<UIView>& view, bool autoAdded, bool blockGestures) {
  // An entry without a view could never hide anything; it would only wait to be pruned.
  if (!view) return;
  std::lock_guard lock(monitor());
  auto views = sensitiveViews();
  if (!views) {
    views = std::make_shared<std::vector<ZRSensitiveViewEntry>>();
    setSensitiveViews(views);
  } else {
    for (const auto& entry : *views) {
      if (entryRefersTo(entry, view) && entry.autoAdded == autoAdded && entry.blockGestures == blockGestures) {
        if (ZRLogUtility::isVerboseLoggingEnabled()) {
          NSLog(stringWithFormat("Zerva: VVH: Already have a view %p in the occlusion list",
                                 static_cast<const void*>(view.get())));
        }
        return;
      }
    }
  }
  views->push_back({ZRWeakReferenceViewHolder::weakReferenceWithObject(view), autoAdded, blockGestures});
}

void ZRViewVideoHandler::removeSensitiveView(const std::shared_ptr<UIView>& view) {
  std::lock_guard lock(monitor());
  auto views = sensitiveViews();
  if (!views || views->empty()) return;
  // Every entry of the view, whatever its flags, and every entry whose view has gone.
  std::erase_if(*views, [&](const ZRSensitiveViewEntry& entry) {
    auto referenced = entry.viewRef ? entry.viewRef->weakReference() : nullptr;
    return !referenced || referenced == view;
  });
}

void ZRViewVideoHandler::setOccludeAllTextFields(bool occlude) {
  if (occludeAllTextFields_ != occlude) occludeAllTextFields_ = occlude;
}

void ZRViewVideoHandler::setOccludeAllTexts(bool occlude) {
  if (occludeAllTexts_ != occlude) occludeAllTexts_ = occlude;
}

void ZRViewVideoHandler::refreshAutoOccludedViews() {
  ZR_ASSERT_MAIN_THREAD();
  std::lock_guard lock(monitor());
  removeAutoAddedSensitiveViews();
  // A copy: the window list is the application's, and registering must not see it change.
  const auto windows = UIApplication::sharedApplication()->windows();
  for (const auto& window : windows) {
    if (isViewVisible(window)) autoOccludeViewsInView(window);
  }
}

void ZRViewVideoHandler::autoOccludeViewsInView(const std::shared_ptr<UIView>& view) {
  ZR_ASSERT_MAIN_THREAD();
  if (!view) return;
  std::lock_guard lock(monitor());
  const auto subviews = view->subviews();
  for (const auto& subview : subviews) {
    if (auto textField = std::dynamic_pointer_cast<UITextField>(subview)) {
      if ((ZRElementUtility::isTextInputSecure(textField) || occludeAllTextFields()) && !viewIsHidden(textField)) {
        addSensitiveView(textField, true, false);
      }
    }
    autoOccludeViewsInView(subview);
  }
}

void ZRViewVideoHandler::removeAutoAddedSensitiveViews() {
  std::lock_guard lock(monitor());
  auto views = sensitiveViews();
  if (!views || views->empty()) return;
  std::erase_if(*views, [](const ZRSensitiveViewEntry& entry) { return entry.autoAdded; });
}

bool ZRViewVideoHandler::isViewVisible(const std::shared_ptr<UIView>& view) const {
  return view && view->isOpaque() && !view->isHidden() && view->alpha() > 0.0;
}

bool ZRViewVideoHandler::viewIsHidden(const std::shared_ptr<UIView>& view) const {
  for (auto current = view; current; current = current->superview()) {
    if (current->isHidden()) return true;
  }
  return false;
}

bool ZRViewVideoHandler::canOccludeSensitiveView(const std::shared_ptr<UIView>& view) const {
  if (!view || !view->window() || !(view->alpha() > 0.0)) return false;
  if (!view->isHidden()) return true;
  // The SDK's SwiftUI occlusion view counts even while it is hidden.
  return view->isKindOfClass(NSClassFromString(kOccludedUIViewClassName));
}

std::optional<ZROccludedDictionary> ZRViewVideoHandler::occlusionInformationForView(const ZRSensitiveViewEntry& entry,
                                                                                    bool onlyBlockGestures) {
  auto view = viewOfEntry(entry);
  if (!view) return std::nullopt;
  ZROccludedDictionary information;
  information.entry = entry;
  if (!canOccludeSensitiveView(view)) {
    ZROccludedDictionary empty;
    empty.isEmpty = true;
    return empty;
  }
  if (onlyBlockGestures && !entry.blockGestures) return information;
  information.viewWindow = ZRWeakReferenceViewHolder::weakReferenceWithObject(view->window());
  return information;
}

std::vector<ZROccludedDictionary> ZRViewVideoHandler::listOfOccludedDictionaries(bool onlyBlockGestures) {
  ZR_ASSERT_MAIN_THREAD();
  std::lock_guard lock(monitor());
  std::vector<ZROccludedDictionary> result;
  auto views = sensitiveViews();
  if (!views || views->empty()) return result;

  std::unordered_set<const ZRWeakReferenceViewHolder*> dead;
  const auto entries = *views;
  for (const auto& entry : entries) {
    auto information = occlusionInformationForView(entry, onlyBlockGestures);
    if (!information) {
      dead.insert(entry.viewRef.get());
      continue;
    }
    if (information->isEmpty) continue;
    if (information->viewWindow && information->viewWindow->weakReference()) result.push_back(*information);
  }
  if (!dead.empty()) {
    std::erase_if(*views, [&](const ZRSensitiveViewEntry& entry) { return dead.contains(entry.viewRef.get()); });
  }
  return result;
}

std::vector<std::shared_ptr<UIView>> ZRViewVideoHandler::listOfActiveSensitiveViews(bool onlyBlockGestures) {
  std::vector<std::shared_ptr<UIView>> result;
  for (const auto& information : listOfOccludedDictionaries(onlyBlockGestures)) {
    if (auto view = viewOfEntry(information.entry)) result.push_back(std::move(view));
  }
  return result;
}

std::vector<std::shared_ptr<UIView>> ZRViewVideoHandler::listOfActiveSensitiveViews() {
  return listOfActiveSensitiveViews(false);
}

}  // namespace zerva
