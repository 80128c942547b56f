#include "platform/ThreadCheck.h"

#include <cstdio>
#include <cstdlib>

namespace zerva {

void ZRThreadCheckFailed(const char* function, const std::string& expectedThread) {
  std::fprintf(stderr, "zerva: thread check failed: %s must run on %s\n", function ? function : "(unknown)",
               expectedThread.c_str());
  std::fflush(stderr);
  std::abort();
}

}  // namespace zerva
