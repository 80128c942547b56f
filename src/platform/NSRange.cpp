#include "platform/NSRange.h"

#include <ostream>

namespace zerva {

void PrintTo(const NSRange& r, std::ostream* os) { *os << "{" << r.location << ", " << r.length << "}"; }

}  // namespace zerva
