#pragma once
// What a failed thread check does: names the function and the thread it must run on, and aborts.
// The checks themselves (NSThread::assertMainThread, DispatchQueue::assertCurrent) run in debug
// builds only, so that a wrong thread fails loudly under the tests and costs nothing in release.

#include <string>

namespace zerva {

[[noreturn]] void ZRThreadCheckFailed(const char* function, const std::string& expectedThread);

}  // namespace zerva
