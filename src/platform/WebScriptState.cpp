// The helpers every callback of a page's script heap uses. Runs on the thread that owns the
// context.

#include "platform/WebScriptState.h"

namespace zerva::webscript {

ScriptState& stateOf(duk_context* ctx) {
  duk_memory_functions functions;
  duk_get_memory_functions(ctx, &functions);
  return *static_cast<ScriptState*>(functions.udata);
}

void checkRunaway(duk_context* ctx) {
  if (stateOf(ctx).timedOutNow()) (void)duk_error(ctx, DUK_ERR_RANGE_ERROR, "execution timeout");
}

std::string stringArgument(duk_context* ctx, duk_idx_t idx) {
  duk_size_t length = 0;
  const char* text = duk_to_lstring(ctx, idx, &length);
  ScriptState& state = stateOf(ctx);
  if (length > state.memoryLeft()) {
    state.allocationRefused = true;
    (void)duk_error(ctx, DUK_ERR_RANGE_ERROR, "alloc failed");
  }
  return std::string(text, length);
}

}  // namespace zerva::webscript
