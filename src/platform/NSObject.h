#pragma once
// Root of the platform's object classes. Objects are held by std::shared_ptr and linked weakly
// by std::weak_ptr; the class of an object is a run-time value (see ObjCClass).

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/NSNumber.h"
#include "platform/ObjCClass.h"

namespace zerva {

class NSObject : public std::enable_shared_from_this<NSObject> {
 public:
  static Class class_();
  virtual Class staticClass() const { return class_(); }

  NSObject() = default;
  virtual ~NSObject() = default;
  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;

  /// The object's class: the run-time class it was made as, else its C++ class.
  Class getClass() const { return isa_ ? isa_ : staticClass(); }
  /// Kind-of test: subclasses count.
  bool isKindOfClass(Class cls) const;
  bool isMemberOfClass(Class cls) const { return cls && getClass() == cls; }
  virtual bool respondsToSelector(std::string_view selector) const;
  /// Key-value read; nullopt for a key the object does not have.
  virtual std::optional<NSNumber> valueForKey(std::string_view key) const;
  /// "<ClassName: 0x...>".
  virtual std::string description() const;

  /// Used by ObjCClass when it makes an instance of a class declared at run time.
  void setRunTimeClass(Class cls) { isa_ = cls; }

 private:
  Class isa_ = nullptr;
};

}  // namespace zerva
