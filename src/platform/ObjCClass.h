#pragma once
// Classes as run-time values, so that code can test an object's kind against a class it only
// knows by name (NSClassFromString) and apps can declare classes at run time.
//
// Every platform class registers itself with its name and superclass. A class declared at run
// time (registerClass) makes instances of its nearest built-in ancestor, carrying the new class.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace zerva {

class NSObject;
class ObjCClass;
using Class = const ObjCClass*;

class ObjCClass {
 public:
  using Factory = std::function<std::shared_ptr<NSObject>()>;

  /// Declares a class at run time. Returns the existing class when the name is taken by a class
  /// with the same superclass, and nullptr when it is taken by another or the superclass is null.
  static Class registerClass(const std::string& name, Class superclass);

  /// Used by the platform's own classes (see ZR_DEFINE_CLASS).
  static Class registerBuiltin(const std::string& name, Class superclass, Factory factory);

  const std::string& name() const { return name_; }
  Class superclass() const { return superclass_; }
  /// This class or one of its ancestors is `other`.
  bool isSubclassOfClass(Class other) const;
  /// A new instance; nullptr when no ancestor can make one.
  std::shared_ptr<NSObject> createInstance() const;

  ObjCClass(std::string name, Class superclass, Factory factory);

 private:
  std::string name_;
  Class superclass_;
  Factory factory_;
};

/// The class registered under the name, or nullptr.
Class NSClassFromString(std::string_view name);
std::string NSStringFromClass(Class cls);

}  // namespace zerva

// In a class body: the class object and the override that reports it.
#define ZR_DECLARE_CLASS(Name)                        \
 public:                                              \
  static ::zerva::Class class_();                     \
  ::zerva::Class staticClass() const override { return class_(); }

// In the class's .cpp file. Factory is an expression making a std::shared_ptr<NSObject>, or nullptr.
#define ZR_DEFINE_CLASS(Name, Super, Factory)                                               \
  ::zerva::Class Name::class_() {                                                           \
    static const ::zerva::Class cls = ::zerva::ObjCClass::registerBuiltin(#Name, Super::class_(), Factory); \
    return cls;                                                                             \
  }
