#include "platform/ObjCClass.h"

#include <map>

#include "platform/Mutex.h"
#include "platform/MutexLock.h"
#include "platform/NSObject.h"
#include "platform/PlatformClasses.h"

namespace zerva {

namespace {

struct Registry {
  Mutex mutex;
  std::map<std::string, std::unique_ptr<ObjCClass>, std::less<>> classes GUARDED_BY(mutex);
};

Registry& registry() {
  static Registry r;
  return r;
}

}  // namespace

ObjCClass::ObjCClass(std::string name, Class superclass, Factory factory)
    : name_(std::move(name)), superclass_(superclass), factory_(std::move(factory)) {}

Class ObjCClass::registerBuiltin(const std::string& name, Class superclass, Factory factory) {
  Registry& r = registry();
  MutexLock lock(r.mutex);
  auto& slot = r.classes[name];
  if (!slot) slot = std::make_unique<ObjCClass>(name, superclass, std::move(factory));
  return slot.get();
}

Class ObjCClass::registerClass(const std::string& name, Class superclass) {
  if (!superclass || name.empty()) return nullptr;
  registerPlatformClasses();
  Registry& r = registry();
  MutexLock lock(r.mutex);
  auto& slot = r.classes[name];
  if (!slot) slot = std::make_unique<ObjCClass>(name, superclass, nullptr);
  return slot->superclass() == superclass ? slot.get() : nullptr;
}

bool ObjCClass::isSubclassOfClass(Class other) const {
  for (Class c = this; c; c = c->superclass()) {
    if (c == other) return true;
  }
  return false;
}

std::shared_ptr<NSObject> ObjCClass::createInstance() const {
  for (Class c = this; c; c = c->superclass()) {
    if (c->factory_) {
      auto obj = c->factory_();
      if (obj && c != this) obj->setRunTimeClass(this);
      return obj;
    }
  }
  return nullptr;
}

Class NSClassFromString(std::string_view name) {
  registerPlatformClasses();
  Registry& r = registry();
  MutexLock lock(r.mutex);
  auto it = r.classes.find(name);
  return it == r.classes.end() ? nullptr : it->second.get();
}

std::string NSStringFromClass(Class cls) { return cls ? cls->name() : std::string(); }

}  // namespace zerva
