#include "platform/WebScriptContext.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>

#include "duktape.h"
#include "platform/NSLog.h"
#include "platform/WKError.h"
#include "platform/WebSelector.h"
#include "services/ZRWebViewTracker.h"

namespace zerva {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kMaxResultDepth = 64;
// Turning a thrown value into a message may run page script (a getter, a toString): it gets
// this long at most, past the evaluation's own time-out, and its text is cut to this length.
constexpr double kDescribeSeconds = 0.1;
constexpr size_t kMaxMessageBytes = 2000;

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

// ---- Memory

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

// ---- Helpers for the callbacks

ScriptState& stateOf(duk_context* ctx) {
  duk_memory_functions functions;
  duk_get_memory_functions(ctx, &functions);
  return *static_cast<ScriptState*>(functions.udata);
}

void pushElement(duk_context* ctx, const ScriptState& state, int index) {
  duk_push_heapptr(ctx, state.elements);
  duk_get_prop_index(ctx, -1, static_cast<duk_uarridx_t>(index));
  duk_remove(ctx, -2);
}

/// The node index an object stands for under `key`, or -1.
int indexUnder(duk_context* ctx, duk_idx_t idx, const char* key, const ScriptState& state) {
  if (!duk_is_object(ctx, idx)) return -1;
  duk_get_prop_string(ctx, idx, key);
  int index = duk_is_number(ctx, -1) ? duk_get_int(ctx, -1) : -1;
  duk_pop(ctx);
  return index >= 0 && index < static_cast<int>(state.nodes.size()) ? index : -1;
}

const char* const kElementKey = DUK_HIDDEN_SYMBOL("element");
const char* const kClassListKey = DUK_HIDDEN_SYMBOL("classListOf");

int thisIndex(duk_context* ctx, const char* key = kElementKey) {
  const ScriptState& state = stateOf(ctx);
  duk_push_this(ctx);
  int index = indexUnder(ctx, -1, key, state);
  duk_pop(ctx);
  if (index < 0) (void)duk_error(ctx, DUK_ERR_TYPE_ERROR, "Illegal invocation");
  return index;
}

int elementArgument(duk_context* ctx, duk_idx_t idx, const char* function) {
  int index = indexUnder(ctx, idx, kElementKey, stateOf(ctx));
  if (index < 0) (void)duk_error(ctx, DUK_ERR_TYPE_ERROR, "%s: parameter 1 is not of type 'Element'.", function);
  return index;
}

/// Stops a native function that has run past the time-out, as the engine stops bytecode.
void checkRunaway(duk_context* ctx) {
  if (stateOf(ctx).timedOutNow()) (void)duk_error(ctx, DUK_ERR_RANGE_ERROR, "execution timeout");
}

/// A copy of a script string outside the heap, which counts against the memory limit too.
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

std::string lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

std::string uppercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

void putString(duk_context* ctx, duk_idx_t object, const char* key, const std::string& value) {
  duk_push_lstring(ctx, value.data(), value.size());
  duk_put_prop_string(ctx, object, key);
}

void putNumber(duk_context* ctx, duk_idx_t object, const char* key, double value) {
  duk_push_number(ctx, value);
  duk_put_prop_string(ctx, object, key);
}

void pushDOMRect(duk_context* ctx, CGRect r) {
  duk_push_object(ctx);
  duk_idx_t o = duk_get_top_index(ctx);
  putNumber(ctx, o, "x", r.origin.x);
  putNumber(ctx, o, "y", r.origin.y);
  putNumber(ctx, o, "left", r.origin.x);
  putNumber(ctx, o, "top", r.origin.y);
  putNumber(ctx, o, "right", r.origin.x + r.size.width);
  putNumber(ctx, o, "bottom", r.origin.y + r.size.height);
  putNumber(ctx, o, "width", r.size.width);
  putNumber(ctx, o, "height", r.size.height);
}

/// The element's box relative to the viewport; all zeros when it is not rendered.
CGRect clientRect(const ScriptState& state, int index) {
  const Node& node = state.nodes[index];
  if (!node.rendered) return CGRectZero;
  CGRect r = CGRectStandardize(node.element->frame);
  return CGRectOffset(r, -state.viewport.scroll.x, -state.viewport.scroll.y);
}

std::string textContent(const WebElement& element) {
  std::string text = element.text;
  for (const auto& child : element.children) text += textContent(child);
  return text;
}

/// Matches among the nodes [begin, end); every match, or the first.
duk_ret_t pushMatches(duk_context* ctx, int begin, int end, bool firstOnly) {
  const ScriptState& state = stateOf(ctx);
  std::string text = stringArgument(ctx, 0);
  auto selector = WebSelector::parse(text);
  if (!selector) return duk_error(ctx, DUK_ERR_SYNTAX_ERROR, "'%s' is not a valid selector.", text.c_str());
  if (!firstOnly) duk_push_array(ctx);
  duk_uarridx_t found = 0;
  for (int i = begin; i < end; ++i) {
    if ((i & 255) == 0) checkRunaway(ctx);
    if (!selector->matches(*state.nodes[i].element)) continue;
    pushElement(ctx, state, i);
    if (firstOnly) return 1;
    duk_put_prop_index(ctx, -2, found++);
  }
  if (firstOnly) duk_push_null(ctx);
  return 1;
}

duk_ret_t pushByTagName(duk_context* ctx, int begin, int end) {
  const ScriptState& state = stateOf(ctx);
  std::string tag = lowercase(stringArgument(ctx, 0));
  duk_push_array(ctx);
  duk_uarridx_t found = 0;
  for (int i = begin; i < end; ++i) {
    if ((i & 255) == 0) checkRunaway(ctx);
    if (tag != "*" && state.nodes[i].element->tagName != tag) continue;
    pushElement(ctx, state, i);
    duk_put_prop_index(ctx, -2, found++);
  }
  return 1;
}

// ---- Element

duk_ret_t elementGetBoundingClientRect(duk_context* ctx) {
  pushDOMRect(ctx, clientRect(stateOf(ctx), thisIndex(ctx)));
  return 1;
}

duk_ret_t elementGetClientRects(duk_context* ctx) {
  const ScriptState& state = stateOf(ctx);
  int index = thisIndex(ctx);
  duk_push_array(ctx);
  if (state.nodes[index].rendered) {
    pushDOMRect(ctx, clientRect(state, index));
    duk_put_prop_index(ctx, -2, 0);
  }
  return 1;
}

duk_ret_t elementGetAttribute(duk_context* ctx) {
  const ScriptState& state = stateOf(ctx);
  int index = thisIndex(ctx);
  auto value = state.nodes[index].element->attribute(lowercase(stringArgument(ctx, 0)));
  if (value) {
    duk_push_lstring(ctx, value->data(), value->size());
  } else {
    duk_push_null(ctx);
  }
  return 1;
}

duk_ret_t elementHasAttribute(duk_context* ctx) {
  const ScriptState& state = stateOf(ctx);
  int index = thisIndex(ctx);
  duk_push_boolean(ctx, state.nodes[index].element->hasAttribute(lowercase(stringArgument(ctx, 0))));
  return 1;
}

duk_ret_t elementQuerySelectorAll(duk_context* ctx) {
  int index = thisIndex(ctx);
  return pushMatches(ctx, index + 1, stateOf(ctx).nodes[index].end, false);
}

duk_ret_t elementQuerySelector(duk_context* ctx) {
  int index = thisIndex(ctx);
  return pushMatches(ctx, index + 1, stateOf(ctx).nodes[index].end, true);
}

duk_ret_t elementGetElementsByTagName(duk_context* ctx) {
  int index = thisIndex(ctx);
  return pushByTagName(ctx, index + 1, stateOf(ctx).nodes[index].end);
}

duk_ret_t elementMatches(duk_context* ctx) {
  const ScriptState& state = stateOf(ctx);
  int index = thisIndex(ctx);
  std::string text = stringArgument(ctx, 0);
  auto selector = WebSelector::parse(text);
  if (!selector) return duk_error(ctx, DUK_ERR_SYNTAX_ERROR, "'%s' is not a valid selector.", text.c_str());
  duk_push_boolean(ctx, selector->matches(*state.nodes[index].element));
  return 1;
}

const duk_function_list_entry kElementMethods[] = {
    {"getBoundingClientRect", elementGetBoundingClientRect, 0},
    {"getClientRects", elementGetClientRects, 0},
    {"getAttribute", elementGetAttribute, 1},
    {"hasAttribute", elementHasAttribute, 1},
    {"querySelectorAll", elementQuerySelectorAll, 1},
    {"querySelector", elementQuerySelector, 1},
    {"getElementsByTagName", elementGetElementsByTagName, 1},
    {"matches", elementMatches, 1},
    {nullptr, nullptr, 0}};

duk_ret_t classListContains(duk_context* ctx) {
  const ScriptState& state = stateOf(ctx);
  int index = thisIndex(ctx, kClassListKey);
  duk_push_boolean(ctx, state.nodes[index].element->hasClass(stringArgument(ctx, 0)));
  return 1;
}

const duk_function_list_entry kClassListMethods[] = {{"contains", classListContains, 1}, {nullptr, nullptr, 0}};

duk_ret_t styleGetPropertyValue(duk_context* ctx) {
  std::string name = lowercase(stringArgument(ctx, 0));
  duk_push_this(ctx);
  duk_get_prop_string(ctx, -1, name.c_str());
  if (!duk_is_string(ctx, -1)) {
    duk_pop(ctx);
    duk_push_string(ctx, "");
  }
  return 1;
}

const duk_function_list_entry kStyleMethods[] = {{"getPropertyValue", styleGetPropertyValue, 1},
                                                 {nullptr, nullptr, 0}};

// ---- Document and window

duk_ret_t documentQuerySelectorAll(duk_context* ctx) {
  return pushMatches(ctx, 0, static_cast<int>(stateOf(ctx).nodes.size()), false);
}

duk_ret_t documentQuerySelector(duk_context* ctx) {
  return pushMatches(ctx, 0, static_cast<int>(stateOf(ctx).nodes.size()), true);
}

duk_ret_t documentGetElementsByTagName(duk_context* ctx) {
  return pushByTagName(ctx, 0, static_cast<int>(stateOf(ctx).nodes.size()));
}

duk_ret_t documentGetElementById(duk_context* ctx) {
  const ScriptState& state = stateOf(ctx);
  std::string id = stringArgument(ctx, 0);
  for (size_t i = 0; i < state.nodes.size(); ++i) {
    if ((i & 255) == 0) checkRunaway(ctx);
    if (state.nodes[i].element->attribute("id") == id) {
      pushElement(ctx, state, static_cast<int>(i));
      return 1;
    }
  }
  duk_push_null(ctx);
  return 1;
}

const duk_function_list_entry kDocumentMethods[] = {
    {"querySelectorAll", documentQuerySelectorAll, 1},
    {"querySelector", documentQuerySelector, 1},
    {"getElementsByTagName", documentGetElementsByTagName, 1},
    {"getElementById", documentGetElementById, 1},
    {nullptr, nullptr, 0}};

duk_ret_t windowGetComputedStyle(duk_context* ctx) {
  const ScriptState& state = stateOf(ctx);
  const Node& node = state.nodes[elementArgument(ctx, 0, "getComputedStyle")];
  duk_push_object(ctx);
  duk_idx_t style = duk_get_top_index(ctx);
  duk_push_heapptr(ctx, state.stylePrototype);
  duk_set_prototype(ctx, style);
  putString(ctx, style, "display", node.display);
  putString(ctx, style, "visibility", node.visibility);
  return 1;
}

enum WindowValue { InnerWidth, InnerHeight, ScrollX, ScrollY };

duk_ret_t windowGetter(duk_context* ctx) {
  const ScriptState& state = stateOf(ctx);
  switch (duk_get_current_magic(ctx)) {
    case InnerWidth: duk_push_number(ctx, state.viewport.size.width); break;
    case InnerHeight: duk_push_number(ctx, state.viewport.size.height); break;
    case ScrollX: duk_push_number(ctx, state.viewport.scroll.x); break;
    default: duk_push_number(ctx, state.viewport.scroll.y); break;
  }
  return 1;
}

duk_ret_t consoleLog(duk_context* ctx) {
  // The line is one copy out of the heap: all of it counts against the memory limit.
  size_t length = 0;
  for (duk_idx_t i = 0, n = duk_get_top(ctx); i < n; ++i) {
    duk_size_t part = 0;
    duk_to_lstring(ctx, i, &part);
    length += part + 1;
  }
  ScriptState& state = stateOf(ctx);
  if (length > state.memoryLeft()) {
    state.allocationRefused = true;
    return duk_error(ctx, DUK_ERR_RANGE_ERROR, "alloc failed");
  }
  std::string line = "WKWebView console:";
  for (duk_idx_t i = 0, n = duk_get_top(ctx); i < n; ++i) line += " " + stringArgument(ctx, i);
  NSLog(line);
  return 0;
}

void defineGetter(duk_context* ctx, duk_idx_t object, const char* name, duk_c_function getter, int magic) {
  duk_push_string(ctx, name);
  duk_push_c_function(ctx, getter, 0);
  duk_set_magic(ctx, -1, magic);
  duk_def_prop(ctx, object, DUK_DEFPROP_HAVE_GETTER | DUK_DEFPROP_SET_ENUMERABLE | DUK_DEFPROP_SET_CONFIGURABLE);
}

void* pushPrototype(duk_context* ctx, const duk_function_list_entry* methods) {
  duk_push_object(ctx);
  duk_put_function_list(ctx, -1, methods);
  return duk_get_heapptr(ctx, -1);
}

/// Makes the element objects, `document` and the window's members. Runs inside a safe call.
duk_ret_t installDocument(duk_context* ctx, void* udata) {
  ScriptState& state = *static_cast<ScriptState*>(udata);
  duk_push_global_stash(ctx);
  duk_idx_t stash = duk_get_top_index(ctx);

  state.elementPrototype = pushPrototype(ctx, kElementMethods);
  duk_put_prop_string(ctx, stash, "elementPrototype");
  state.classListPrototype = pushPrototype(ctx, kClassListMethods);
  duk_put_prop_string(ctx, stash, "classListPrototype");
  state.stylePrototype = pushPrototype(ctx, kStyleMethods);
  duk_put_prop_string(ctx, stash, "stylePrototype");

  duk_push_object(ctx);
  duk_idx_t document = duk_get_top_index(ctx);
  state.document = duk_get_heapptr(ctx, document);
  duk_put_function_list(ctx, document, kDocumentMethods);
  putNumber(ctx, document, "nodeType", 9);
  putString(ctx, document, "readyState", "complete");

  duk_push_array(ctx);
  duk_idx_t elements = duk_get_top_index(ctx);
  state.elements = duk_get_heapptr(ctx, elements);
  duk_dup(ctx, elements);
  duk_put_prop_string(ctx, stash, "elements");

  for (size_t i = 0; i < state.nodes.size(); ++i) {
    const Node& node = state.nodes[i];
    const WebElement& element = *node.element;
    duk_push_object(ctx);
    duk_idx_t o = duk_get_top_index(ctx);
    duk_push_heapptr(ctx, state.elementPrototype);
    duk_set_prototype(ctx, o);
    duk_push_int(ctx, static_cast<duk_int_t>(i));
    duk_put_prop_string(ctx, o, kElementKey);
    putString(ctx, o, "tagName", uppercase(element.tagName));
    putString(ctx, o, "nodeName", uppercase(element.tagName));
    putString(ctx, o, "localName", element.tagName);
    putNumber(ctx, o, "nodeType", 1);
    putString(ctx, o, "id", element.attribute("id").value_or(""));
    putString(ctx, o, "className", element.attribute("class").value_or(""));
    if (auto type = element.domType()) putString(ctx, o, "type", *type);
    if (element.tagName == "input" || element.tagName == "textarea" || element.tagName == "select") {
      putString(ctx, o, "value", element.value);
    }
    putString(ctx, o, "textContent", textContent(element));
    duk_push_boolean(ctx, element.hasAttribute("hidden"));
    duk_put_prop_string(ctx, o, "hidden");
    CGRect frame = CGRectStandardize(element.frame);
    putNumber(ctx, o, "offsetWidth", node.rendered ? std::round(frame.size.width) : 0);
    putNumber(ctx, o, "offsetHeight", node.rendered ? std::round(frame.size.height) : 0);

    duk_push_object(ctx);
    duk_idx_t classList = duk_get_top_index(ctx);
    duk_push_heapptr(ctx, state.classListPrototype);
    duk_set_prototype(ctx, classList);
    duk_push_int(ctx, static_cast<duk_int_t>(i));
    duk_put_prop_string(ctx, classList, kClassListKey);
    putNumber(ctx, classList, "length", static_cast<double>(element.classList().size()));
    duk_put_prop_string(ctx, o, "classList");

    duk_put_prop_index(ctx, elements, static_cast<duk_uarridx_t>(i));
  }

  // Links between elements, once they all exist.
  for (size_t i = 0; i < state.nodes.size(); ++i) {
    const Node& node = state.nodes[i];
    pushElement(ctx, state, static_cast<int>(i));
    duk_idx_t o = duk_get_top_index(ctx);
    if (node.parent >= 0) {
      pushElement(ctx, state, node.parent);
      duk_dup_top(ctx);
      duk_put_prop_string(ctx, o, "parentElement");
      duk_put_prop_string(ctx, o, "parentNode");
    } else {
      duk_push_null(ctx);
      duk_put_prop_string(ctx, o, "parentElement");
      duk_push_heapptr(ctx, state.document);
      duk_put_prop_string(ctx, o, "parentNode");
    }
    duk_push_array(ctx);
    for (size_t c = 0; c < node.children.size(); ++c) {
      pushElement(ctx, state, node.children[c]);
      duk_put_prop_index(ctx, -2, static_cast<duk_uarridx_t>(c));
    }
    duk_put_prop_string(ctx, o, "children");
    duk_push_heapptr(ctx, state.document);
    duk_put_prop_string(ctx, o, "ownerDocument");
    duk_pop(ctx);
  }
  pushElement(ctx, state, 0);
  duk_put_prop_string(ctx, document, "documentElement");
  pushElement(ctx, state, 1);
  duk_put_prop_string(ctx, document, "body");

  duk_push_global_object(ctx);
  duk_idx_t window = duk_get_top_index(ctx);
  for (const char* name : {"window", "self", "globalThis"}) {
    duk_dup(ctx, window);
    duk_put_prop_string(ctx, window, name);
  }
  duk_dup(ctx, document);
  duk_put_prop_string(ctx, window, "document");
  duk_dup(ctx, window);
  duk_put_prop_string(ctx, document, "defaultView");
  defineGetter(ctx, window, "innerWidth", windowGetter, InnerWidth);
  defineGetter(ctx, window, "innerHeight", windowGetter, InnerHeight);
  defineGetter(ctx, window, "scrollX", windowGetter, ScrollX);
  defineGetter(ctx, window, "pageXOffset", windowGetter, ScrollX);
  defineGetter(ctx, window, "scrollY", windowGetter, ScrollY);
  defineGetter(ctx, window, "pageYOffset", windowGetter, ScrollY);
  putNumber(ctx, window, "devicePixelRatio", 1);
  duk_push_c_function(ctx, windowGetComputedStyle, DUK_VARARGS);
  duk_put_prop_string(ctx, window, "getComputedStyle");
  duk_push_object(ctx);
  for (const char* level : {"log", "info", "warn", "error", "debug"}) {
    duk_push_c_function(ctx, consoleLog, DUK_VARARGS);
    duk_put_prop_string(ctx, -2, level);
  }
  duk_put_prop_string(ctx, window, "console");
  // A page sees a browser's globals, not the engine's own.
  duk_del_prop_string(ctx, window, "Duktape");
  return 0;
}

// ---- Results

/// The walk through a result: the objects above the current one (for cycles), and the room
/// its copy outside the heap may take, which the memory limit bounds too.
struct Conversion {
  std::vector<void*> path;
  size_t room = 0;
  bool tooLarge = false;

  bool take(size_t bytes) {
    if (bytes > room) {
      tooLarge = true;
      return false;
    }
    room -= bytes;
    return true;
  }
};

/// Converts the value at `idx`; false when it holds something JSON cannot, or too much.
bool convert(duk_context* ctx, duk_idx_t idx, nlohmann::json& out, Conversion& walk) {
  idx = duk_normalize_index(ctx, idx);
  duk_require_stack(ctx, 8);
  if (!walk.take(sizeof(nlohmann::json))) return false;
  switch (duk_get_type(ctx, idx)) {
    case DUK_TYPE_UNDEFINED:
    case DUK_TYPE_NULL: out = nullptr; return true;
    case DUK_TYPE_BOOLEAN: out = static_cast<bool>(duk_get_boolean(ctx, idx)); return true;
    case DUK_TYPE_NUMBER: {
      double v = duk_get_number(ctx, idx);
      if (std::trunc(v) == v && std::fabs(v) < 9007199254740992.0) {
        out = static_cast<std::int64_t>(v);
      } else {
        out = v;
      }
      return true;
    }
    case DUK_TYPE_STRING: {
      if (duk_is_symbol(ctx, idx)) return false;
      duk_size_t length = 0;
      const char* text = duk_get_lstring(ctx, idx, &length);
      if (!walk.take(length)) return false;
      out = std::string(text, length);
      return true;
    }
    case DUK_TYPE_OBJECT: break;
    default: return false;  // buffers, pointers, light functions
  }
  if (duk_is_function(ctx, idx) || duk_is_thread(ctx, idx) || duk_is_buffer_data(ctx, idx)) return false;
  void* self = duk_get_heapptr(ctx, idx);
  auto& path = walk.path;
  if (path.size() >= kMaxResultDepth || std::find(path.begin(), path.end(), self) != path.end()) return false;
  path.push_back(self);
  bool ok = true;
  if (duk_is_array(ctx, idx)) {
    out = nlohmann::json::array();
    duk_size_t length = duk_get_length(ctx, idx);
    for (duk_size_t i = 0; ok && i < length; ++i) {
      duk_get_prop_index(ctx, idx, static_cast<duk_uarridx_t>(i));
      nlohmann::json element;
      if ((i & 1023) == 0) checkRunaway(ctx);
      ok = convert(ctx, -1, element, walk);
      out.push_back(std::move(element));
      duk_pop(ctx);
    }
  } else {
    out = nlohmann::json::object();
    duk_enum(ctx, idx, DUK_ENUM_OWN_PROPERTIES_ONLY);
    while (ok && duk_next(ctx, -1, 1)) {
      if (!duk_is_undefined(ctx, -1)) {
        std::string key = stringArgument(ctx, -2);
        nlohmann::json member;
        ok = walk.take(key.size()) && convert(ctx, -1, member, walk);
        out[key] = std::move(member);
      }
      duk_pop_2(ctx);
    }
    duk_pop(ctx);
  }
  path.pop_back();
  return ok;
}

struct Evaluation {
  std::string_view script;
  std::optional<nlohmann::json> value;
  bool unsupported = false;
  bool tooLarge = false;
};

/// Runs the script and converts its value; inside a safe call, so that getters the conversion
/// meets may throw.
duk_ret_t evaluateUnsafe(duk_context* ctx, void* udata) {
  auto& evaluation = *static_cast<Evaluation*>(udata);
  duk_eval_lstring(ctx, evaluation.script.data(), evaluation.script.size());
  if (!duk_is_undefined(ctx, -1)) {
    nlohmann::json value;
    Conversion walk;
    walk.room = stateOf(ctx).memoryLeft();
    if (convert(ctx, -1, value, walk)) {
      evaluation.value = std::move(value);
    } else {
      evaluation.unsupported = !walk.tooLarge;
      evaluation.tooLarge = walk.tooLarge;
    }
  }
  return 0;
}

struct ThrownValue {
  std::string message;
  std::optional<long> line;
};

/// Runs armed: a getter or toString of the page's may loop or allocate without end.
duk_ret_t describeThrownValue(duk_context* ctx, void* udata) {
  auto& thrown = *static_cast<ThrownValue*>(udata);
  if (duk_is_error(ctx, 0)) {
    duk_get_prop_string(ctx, 0, "lineNumber");
    if (duk_is_number(ctx, -1)) thrown.line = duk_get_int(ctx, -1);
    duk_pop(ctx);
  }
  duk_dup(ctx, 0);
  duk_size_t length = 0;
  const char* text = duk_safe_to_lstring(ctx, -1, &length);
  if (length > kMaxMessageBytes) {
    length = kMaxMessageBytes;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;  // whole characters
    thrown.message.assign(text, length);
    thrown.message += "...";
  } else {
    thrown.message.assign(text, length);
  }
  return 0;
}

std::string formatNumber(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

}  // namespace

}  // namespace zerva

// The engine polls this while a script runs (its build is configured to; see duk_config.h.in).
duk_bool_t zerva_duk_exec_timeout_check(void* udata) {
  return static_cast<zerva::ScriptState*>(udata)->timedOutNow() ? 1 : 0;
}

namespace zerva {

struct WebScriptContext::Impl : ScriptState {
  ~Impl() {
    if (!ctx) return;
    // Finalizers may run script while the heap goes.
    ArmedGuards guards(*this);
    duk_destroy_heap(ctx);
  }

  Result run(std::string_view script) {
    if (!ctx) {
      return {std::nullopt, NSError::errorWithDomain(WKErrorDomain, WKErrorUnknown,
                                                     "The page's script environment could not be made")};
    }
    Evaluation evaluation{script, std::nullopt, false};
    duk_int_t rc;
    {
      ArmedGuards guards(*this);
      rc = duk_safe_call(ctx, evaluateUnsafe, &evaluation, 0, 1);
    }
    const bool ranOutOfTime = timedOut;
    const bool ranOutOfMemory = allocationRefused || evaluation.tooLarge;
    if (rc == DUK_EXEC_SUCCESS) {
      duk_pop(ctx);
      if (evaluation.tooLarge) {
        return {std::nullopt, NSError::errorWithDomain(WKErrorDomain, WKErrorJavaScriptExceptionOccurred,
                                                       "A JavaScript exception occurred: the result does not fit in "
                                                       "what is left of the page's " +
                                                           formatNumber(static_cast<double>(limits.memoryBytes) /
                                                                        (1 << 20)) +
                                                           " MiB of script memory")};
      }
      if (evaluation.unsupported) {
        return {std::nullopt, NSError::errorWithDomain(WKErrorDomain, WKErrorJavaScriptResultTypeIsUnsupported,
                                                       "JavaScript execution returned a result of an unsupported type")};
      }
      return {std::move(evaluation.value), std::nullopt};
    }
    ThrownValue thrown;
    duk_int_t described;
    {
      ArmedGuards guards(*this, std::min(limits.timeoutSeconds, kDescribeSeconds));
      described = duk_safe_call(ctx, describeThrownValue, &thrown, 1, 1);
    }
    // A description cut short by either limit says nothing true about the thrown value.
    if (described != DUK_EXEC_SUCCESS || timedOut || allocationRefused) {
      thrown = {};
      thrown.message = "an exception that could not be described";
    }
    duk_pop(ctx);
    std::string description = "A JavaScript exception occurred: " + thrown.message;
    if (ranOutOfTime) {
      description = "A JavaScript exception occurred: the script ran longer than " +
                    formatNumber(limits.timeoutSeconds) + " s and was stopped (" + thrown.message + ")";
    } else if (ranOutOfMemory) {
      description = "A JavaScript exception occurred: the page ran out of its " +
                    formatNumber(static_cast<double>(limits.memoryBytes) / (1 << 20)) + " MiB of script memory (" +
                    thrown.message + ")";
    }
    NSError error = NSError::errorWithDomain(WKErrorDomain, WKErrorJavaScriptExceptionOccurred, description)
                        .withUserInfo(WKJavaScriptExceptionMessageErrorKey, thrown.message);
    if (thrown.line) error = error.withUserInfo(WKJavaScriptExceptionLineNumberErrorKey, std::to_string(*thrown.line));
    return {std::nullopt, error};
  }

  void addNodes(const std::vector<WebElement>& elements, int parent) {
    for (const auto& element : elements) {
      const Node& up = nodes[parent];
      Node node;
      node.element = &element;
      node.parent = parent;
      node.display = element.computedDisplay();
      node.visibility = element.visibility.value_or(up.visibility);
      node.rendered = up.rendered && node.display != "none";
      int index = static_cast<int>(nodes.size());
      nodes[parent].children.push_back(index);
      nodes.push_back(std::move(node));
      addNodes(element.children, index);
      nodes[index].end = static_cast<int>(nodes.size());
    }
  }
};

WebScriptContext::WebScriptContext(std::shared_ptr<const WebPage> page, Limits limits, const Viewport& viewport)
    : impl_(std::make_unique<Impl>()) {
  Impl& state = *impl_;
  state.page = page ? std::move(page) : std::make_shared<const WebPage>();
  state.limits = limits;
  state.viewport = viewport;

  CGSize size = state.page->resolvedContentSize();
  state.html.tagName = "html";
  state.html.frame = CGRect{CGPointZero, size};
  state.body.tagName = "body";
  state.body.frame = state.html.frame;
  state.nodes.push_back({&state.html, -1, 0, {}, "block", "visible", true});
  state.nodes.push_back({&state.body, 0, 0, {}, "block", "visible", true});
  state.nodes[0].children.push_back(1);
  state.addNodes(state.page->body, 1);
  state.nodes[0].end = state.nodes[1].end = static_cast<int>(state.nodes.size());

  state.ctx = duk_create_heap(allocate, reallocate, release, &state, fatal);
  if (!state.ctx) {
    NSLog("WKWebView: the page's script environment could not be made");
    return;
  }
  // Building the document runs none of the page's code and takes as long as the page is
  // large: the memory limit holds, the script time-out does not.
  const duk_int_t rc = duk_safe_call(state.ctx, installDocument, &state, 0, 1);
  if (rc != DUK_EXEC_SUCCESS) {
    NSLog(std::string("WKWebView: the page's document could not be made: ") + duk_safe_to_string(state.ctx, -1));
    duk_pop(state.ctx);
    ArmedGuards guards(state);
    duk_destroy_heap(state.ctx);
    state.ctx = nullptr;
    return;
  }
  duk_pop(state.ctx);

  std::vector<std::string> scripts;
  // The SDK's web snippet, as a page that includes it runs it.
  if (state.page->definesOcclusionFunction) scripts.push_back("(" + ZRWebViewTracker::webViewOcclusionScript() + ")(false);");
  scripts.insert(scripts.end(), state.page->scripts.begin(), state.page->scripts.end());
  for (size_t i = 0; i < scripts.size(); ++i) {
    Result result = state.run(scripts[i]);
    if (result.error) NSLog("WKWebView: a page script failed: " + result.error->localizedDescription());
  }
}

WebScriptContext::~WebScriptContext() = default;

WebScriptContext::Result WebScriptContext::evaluate(std::string_view script, const Viewport& viewport) {
  impl_->viewport = viewport;
  return impl_->run(script);
}

const WebScriptContext::Limits& WebScriptContext::limits() const { return impl_->limits; }

void WebScriptContext::setTimeoutSeconds(double seconds) { impl_->limits.timeoutSeconds = seconds; }

void WebScriptContext::setMemoryLimit(size_t bytes) { impl_->limits.memoryBytes = bytes; }

}  // namespace zerva
