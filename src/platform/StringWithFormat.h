#pragma once
// printf-style formatting with the platform's %@ for objects and strings, so log lines and
// descriptions keep the SDK's own format texts ("... %@ ... %p ... %.1f").

#include <concepts>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace zerva {

namespace format_detail {

struct Arg {
  enum class Kind { Signed, Unsigned, Floating, Pointer, Text } kind = Kind::Text;
  long long i = 0;
  unsigned long long u = 0;
  double d = 0;
  const void* p = nullptr;
  std::string s;
};

template <class T>
concept Describable = requires(const T& t) {
  { t.description() } -> std::convertible_to<std::string>;
};

template <class T>
Arg toArg(const T& v) {
  Arg a;
  if constexpr (std::is_same_v<T, bool>) {
    a.kind = Arg::Kind::Signed;
    a.i = v ? 1 : 0;
  } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
    a.kind = Arg::Kind::Signed;
    a.i = v;
  } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
    a.kind = Arg::Kind::Unsigned;
    a.u = static_cast<unsigned long long>(v);
  } else if constexpr (std::is_floating_point_v<T>) {
    a.kind = Arg::Kind::Floating;
    a.d = v;
  } else if constexpr (std::is_convertible_v<const T&, std::string_view>) {
    a.s = std::string(std::string_view(v));
  } else if constexpr (std::is_pointer_v<T>) {
    a.kind = Arg::Kind::Pointer;
    a.p = static_cast<const void*>(v);
  } else if constexpr (Describable<T>) {
    a.s = v.description();
    a.p = &v;
  } else {
    static_assert(sizeof(T) == 0, "stringWithFormat: unsupported argument type");
  }
  return a;
}

template <class T>
Arg toArg(const std::shared_ptr<T>& v) {
  Arg a;
  a.kind = Arg::Kind::Pointer;
  a.p = v.get();
  a.s = v ? v->description() : "(null)";
  return a;
}

std::string format(std::string_view fmt, const std::vector<Arg>& args);

}  // namespace format_detail

template <class... Args>
std::string stringWithFormat(std::string_view fmt, const Args&... args) {
  return format_detail::format(fmt, {format_detail::toArg(args)...});
}

}  // namespace zerva
