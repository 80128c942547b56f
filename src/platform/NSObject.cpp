#include "platform/NSObject.h"

#include <cstdio>

namespace zerva {

Class NSObject::class_() {
  static const Class cls = ObjCClass::registerBuiltin("NSObject", nullptr, [] { return std::make_shared<NSObject>(); });
  return cls;
}

bool NSObject::isKindOfClass(Class cls) const { return cls && getClass()->isSubclassOfClass(cls); }

bool NSObject::respondsToSelector(std::string_view) const { return false; }

std::optional<NSNumber> NSObject::valueForKey(std::string_view) const { return std::nullopt; }

std::string NSObject::description() const {
  char buf[64];
  std::snprintf(buf, sizeof buf, ": %p>", static_cast<const void*>(this));
  return "<" + getClass()->name() + buf;
}

}  // namespace zerva
