// The weak-reference record of the sensitive-view registry.
// Any thread.

#include "handler/ZRWeakReferenceViewHolder.h"

#include <functional>

#include "platform/StringWithFormat.h"

namespace zerva {

ZR_DEFINE_CLASS(ZRWeakReferenceViewHolder, NSObject, nullptr)

std::shared_ptr<ZRWeakReferenceViewHolder> ZRWeakReferenceViewHolder::weakReferenceWithObject(
    const std::shared_ptr<NSObject>& object) {
  return std::make_shared<ZRWeakReferenceViewHolder>(object);
}

ZRWeakReferenceViewHolder::ZRWeakReferenceViewHolder(const std::shared_ptr<NSObject>& object)
    : weakReference_(object) {}

std::size_t ZRWeakReferenceViewHolder::hash() const {
  auto object = weakReference();
  return object ? std::hash<const NSObject*>{}(object.get()) : 0;
}

bool ZRWeakReferenceViewHolder::isEqual(const ZRWeakReferenceViewHolder& other) const {
  return weakReference() == other.weakReference();
}

std::string ZRWeakReferenceViewHolder::description() const {
  auto object = weakReference();
  const void* self = this;
  const void* referenced = object.get();
  return stringWithFormat("Self: %p containing: %p <%@>", self, referenced,
                          object ? NSStringFromClass(object->getClass()) : std::string("(null)"));
}

}  // namespace zerva
