#pragma once
// Private to the script sources of src/platform: what the engine's callbacks reach through the
// heap's user data, and the helpers every callback uses. Not thread-safe: the thread that owns
// the WebScriptContext is the only one that touches it.

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "duktape.h"
#include "platform/WebElement.h"
#include "platform/WebPage.h"
#include "platform/WebScriptContext.h"

namespace zerva::webscript {

using Clock = std::chrono::steady_clock;

/// One element of the document in document order, with what its ancestors decide for it.
struct Node {
  const WebElement* element = nullptr;
  int parent = -1;               // -1 for <html>
  int end = 0;                   // one past its last descendant
  std::vector<int> children;
  std::string display;           // its own computed display
  std::string visibility;        // computed, inherited
  bool rendered = false;         // neither it nor an ancestor is display: none
};

/// Everything the engine's callbacks reach through the heap's user data.
struct ScriptState {
  std::shared_ptr<const WebPage> page;
  WebElement html;
  WebElement body;
  std::vector<Node> nodes;  // [0] <html>, [1] <body>, then the page's elements
  WebScriptContext::Limits limits;
  WebScriptContext::Viewport viewport;

  duk_context* ctx = nullptr;
  void* elements = nullptr;           // the array of element objects, by node index
  void* elementPrototype = nullptr;
  void* classListPrototype = nullptr;
  void* stylePrototype = nullptr;
  void* document = nullptr;

  // Runaway guard, while armed: the engine polls timedOutNow() between bytecode instructions,
  // the page's native functions as they loop, and the allocator on every 32nd allocation (so
  // that the engine's own long native calls end at their next allocation).
  bool armed = false;
  bool timedOut = false;
  Clock::time_point deadline;
  unsigned allocationTicks = 0;

  // Memory guard: allocations past the limit fail, which the engine reports as a RangeError.
  // `allocated` is what the heap really holds: each block's usable size and malloc's own header.
  size_t allocated = 0;
  bool allocationRefused = false;

  bool timedOutNow() {
    if (armed && !timedOut && Clock::now() >= deadline) timedOut = true;
    return armed && timedOut;
  }

  /// Room left under the memory limit.
  size_t memoryLeft() const { return allocated < limits.memoryBytes ? limits.memoryBytes - allocated : 0; }
};

/// The state of the heap a callback runs in.
ScriptState& stateOf(duk_context* ctx);

/// Stops a native function that has run past the time-out, as the engine stops bytecode.
void checkRunaway(duk_context* ctx);

/// A copy of a script string outside the heap, which counts against the memory limit too.
std::string stringArgument(duk_context* ctx, duk_idx_t idx);

}  // namespace zerva::webscript
