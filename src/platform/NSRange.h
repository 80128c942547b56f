#pragma once
// A range of a string: location and length, counted in UTF-8 bytes of the std::string the text
// is held in (the platform counts UTF-16 units; the stand-in's texts are UTF-8).

#include <cstddef>
#include <iosfwd>

namespace zerva {

struct NSRange {
  std::size_t location = 0;
  std::size_t length = 0;
  friend bool operator==(const NSRange&, const NSRange&) = default;
};

constexpr NSRange NSMakeRange(std::size_t location, std::size_t length) { return {location, length}; }
constexpr std::size_t NSMaxRange(NSRange r) { return r.location + r.length; }

void PrintTo(const NSRange& r, std::ostream* os);

}  // namespace zerva
