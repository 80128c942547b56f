#pragma once
// Describes what the app's windows show, view by view, as hierarchy dictionaries
// (HVHierarchyDictionary.h) for schematic frames. Main thread.
//
// Content never leaks from a sensitive view: views in the sensitive list, secure text fields,
// and every text field when told to, are described as sensitive boxes with no text, attributed
// text, image or children. An alert is described by a picture of itself, unless something
// sensitive lies inside it.

#include <memory>
#include <unordered_set>
#include <vector>

#include "services/HVHierarchyDictionary.h"

namespace zerva {

class UIView;
class UIWindow;

class HVHierarchyScanner {
 public:
  static std::shared_ptr<HVHierarchyScanner> initAndOccludeAllTextFields(bool occludeAllTextFields);
  explicit HVHierarchyScanner(bool occludeAllTextFields) : occludeAllTextFields_(occludeAllTextFields) {}

  /// One root per window: the given one, or with none every visible window of the app in order,
  /// the first described as spanning the whole screen. Hidden and fully transparent views are
  /// left out, with their subviews.
  std::vector<HVHierarchyDictionary> hierarchySnapshotFromWindow(
      const std::shared_ptr<UIWindow>& window, const std::vector<std::shared_ptr<UIView>>& sensitiveViews) const;

 private:
  struct Scan {
    std::unordered_set<const UIView*> sensitive;
  };

  bool isSensitive(const UIView& view, const Scan& scan) const;
  bool containsSensitive(const UIView& view, const Scan& scan) const;
  /// nullopt for a view that shows nothing (hidden, transparent, clipped away).
  std::optional<HVHierarchyDictionary> describe(const std::shared_ptr<UIView>& view, CGRect clip, const Scan& scan,
                                                const CGRect* forcedRect) const;
  void describeContent(const std::shared_ptr<UIView>& view, HVHierarchyDictionary& d) const;

  bool occludeAllTextFields_;
};

}  // namespace zerva
