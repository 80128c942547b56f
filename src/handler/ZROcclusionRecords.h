#pragma once
// The plain records of the occlusion model. They never leave the component, so they are structs
// whose fields carry the meaning of the SDK's dictionary keys (named in the comments).

#include <memory>
#include <string>
#include <vector>

#include "handler/ZRWeakReferenceViewHolder.h"

namespace zerva {

/// A rectangle in the platform's text form (NSStringFromCGRect), key-window points.
using ZRRectString = std::string;
using ZRRectStringList = std::vector<ZRRectString>;

/// x, y, width, height as a hybrid framework or a web page hands them in. Any other element
/// count is ignored, and a width or height not above 0 is dropped, where a list is read.
using ZRRectQuadruple = std::vector<double>;
using ZRRectQuadrupleList = std::vector<ZRRectQuadruple>;

/// One registration of the sensitive-view registry. Equal when all three fields are equal
/// (the view by identity), so one view has at most four entries.
struct ZRSensitiveViewEntry {
  std::shared_ptr<ZRWeakReferenceViewHolder> viewRef;  // "kViewRef"
  bool autoAdded = false;                              // "kAutoAdded"
  bool blockGestures = false;                          // "kBlockGestures"

  friend bool operator==(const ZRSensitiveViewEntry& a, const ZRSensitiveViewEntry& b) {
    return a.autoAdded == b.autoAdded && a.blockGestures == b.blockGestures && a.viewRef && b.viewRef &&
           a.viewRef->isEqual(*b.viewRef);
  }
};

/// An entry that can be hidden in this frame, with the view's window at the time of the query.
/// An "empty dictionary" (the view exists but cannot be hidden now) has isEmpty set.
struct ZROccludedDictionary {
  bool isEmpty = false;
  ZRSensitiveViewEntry entry;
  std::shared_ptr<ZRWeakReferenceViewHolder> viewWindow;  // "kViewWindow"; nullptr when not set
};

/// A group of manual rectangles that a later call with the same identity replaces.
struct ZRManualRectsIdentityEntry {
  std::string identity;    // "identity"
  ZRRectQuadrupleList rects;  // "rects", as handed in
};

}  // namespace zerva
