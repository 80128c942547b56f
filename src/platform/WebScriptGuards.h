#pragma once
// Private to the script sources of src/platform: the runaway and memory guards of a script
// heap. The allocator functions go to duk_create_heap with the heap's ScriptState as user data.

#include <algorithm>
#include <chrono>

#include "platform/WebScriptState.h"

namespace zerva::webscript {

/// Arms the guards for one stretch of script work of at most `seconds`.
class ArmedGuards {
 public:
  ArmedGuards(ScriptState& state, double seconds) : state_(state) {
    state_.armed = true;
    state_.timedOut = false;
    state_.allocationRefused = false;
    state_.deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                         std::chrono::duration<double>(std::clamp(seconds, 0.0, 1e6)));
  }
  explicit ArmedGuards(ScriptState& state) : ArmedGuards(state, state.limits.timeoutSeconds) {}
  ~ArmedGuards() { state_.armed = false; }
  ArmedGuards(const ArmedGuards&) = delete;
  ArmedGuards& operator=(const ArmedGuards&) = delete;

 private:
  ScriptState& state_;
};

void* allocate(void* udata, duk_size_t size);
void* reallocate(void* udata, void* ptr, duk_size_t size);
void release(void* udata, void* ptr);
[[noreturn]] void fatal(void* udata, const char* message);

}  // namespace zerva::webscript
