// The memory and time guards of a script heap: an allocator that counts what the heap holds
// and refuses past its limit or its time-out. Runs on the thread that owns the context.

#include "platform/WebScriptGuards.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

namespace zerva::webscript {

namespace {

// Each block carries the size asked for in front (the engine's realloc needs it); the heap's
// total counts what malloc really hands out for the block, and malloc's header before it.
constexpr size_t kHeader = alignof(std::max_align_t);
constexpr size_t kMallocHeader = sizeof(size_t);

size_t blockCost(void* block) { return malloc_usable_size(block) + kMallocHeader; }

/// What a new block of `size` will cost, before it exists: malloc's chunks are 16-byte
/// multiples of at least 32 bytes.
size_t expectedCost(size_t size) { return std::max<size_t>(32, (size + kHeader + kMallocHeader + 15) & ~size_t{15}); }

/// Whether the allocator may hand out `cost` more bytes now.
bool mayGrow(ScriptState& state, size_t cost) {
  if (state.armed && (state.timedOut || (++state.allocationTicks & 31U) == 0) && state.timedOutNow()) return false;
  if (cost > state.memoryLeft()) {
    state.allocationRefused = true;
    return false;
  }
  return true;
}

}  // namespace

void* allocate(void* udata, duk_size_t size) {
  auto& state = *static_cast<ScriptState*>(udata);
  if (size == 0 || size > state.limits.memoryBytes) {
    if (size != 0) state.allocationRefused = true;
    return nullptr;
  }
  if (!mayGrow(state, expectedCost(size))) return nullptr;
  auto* block = static_cast<unsigned char*>(std::malloc(size + kHeader));
  if (!block) return nullptr;
  std::memcpy(block, &size, sizeof size);
  state.allocated += blockCost(block);
  return block + kHeader;
}

void release(void* udata, void* ptr) {
  if (!ptr) return;
  auto& state = *static_cast<ScriptState*>(udata);
  auto* block = static_cast<unsigned char*>(ptr) - kHeader;
  state.allocated -= std::min(state.allocated, blockCost(block));
  std::free(block);
}

void* reallocate(void* udata, void* ptr, duk_size_t size) {
  if (!ptr) return allocate(udata, size);
  if (size == 0) {
    release(udata, ptr);
    return nullptr;
  }
  auto& state = *static_cast<ScriptState*>(udata);
  auto* block = static_cast<unsigned char*>(ptr) - kHeader;
  size_t old;
  std::memcpy(&old, block, sizeof old);
  const size_t oldCost = blockCost(block);
  if (size > state.limits.memoryBytes) {
    state.allocationRefused = true;
    return nullptr;
  }
  const size_t newCost = expectedCost(size);
  if (newCost > oldCost && !mayGrow(state, newCost - oldCost)) return nullptr;
  auto* grown = static_cast<unsigned char*>(std::realloc(block, size + kHeader));
  if (!grown) return nullptr;
  std::memcpy(grown, &size, sizeof size);
  state.allocated = state.allocated - std::min(state.allocated, oldCost) + blockCost(grown);
  return grown + kHeader;
}

[[noreturn]] void fatal(void*, const char* message) {
  std::fprintf(stderr, "WebScriptContext: fatal script engine error: %s\n", message ? message : "");
  std::abort();
}

}  // namespace zerva::webscript

// The engine polls this while a script runs (its build is configured to; see duk_config.h.in).
duk_bool_t zerva_duk_exec_timeout_check(void* udata) {
  return static_cast<zerva::webscript::ScriptState*>(udata)->timedOutNow() ? 1 : 0;
}
