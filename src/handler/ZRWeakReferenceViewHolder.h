#pragma once
// A weak reference to a view or window, compared by the identity of what it refers to: the key of
// the sensitive-view registry, which must never keep a view alive. Immutable; any thread.

#include <cstddef>
#include <memory>
#include <string>

#include "platform/NSObject.h"

namespace zerva {

class ZRWeakReferenceViewHolder : public NSObject {
  ZR_DECLARE_CLASS(ZRWeakReferenceViewHolder)

 public:
  /// weakReferenceWithObject:
  static std::shared_ptr<ZRWeakReferenceViewHolder> weakReferenceWithObject(const std::shared_ptr<NSObject>& object);
  /// initWithObject:
  explicit ZRWeakReferenceViewHolder(const std::shared_ptr<NSObject>& object);

  /// The object, or nullptr once it is gone.
  std::shared_ptr<NSObject> weakReference() const { return weakReference_.lock(); }
  /// The object's identity hash; 0 once it is gone.
  std::size_t hash() const;
  /// Same object (identity); two holders whose objects are both gone are equal.
  bool isEqual(const ZRWeakReferenceViewHolder& other) const;
  /// "Self: %p containing: %p <%@>".
  std::string description() const override;

 private:
  std::weak_ptr<NSObject> weakReference_;
};

}  // namespace zerva
