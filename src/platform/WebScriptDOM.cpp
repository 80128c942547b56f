// The DOM bindings of a page's script heap: element, class list, style, document and window
// objects over the page's elements. Runs on the thread that owns the context.

#include "platform/WebScriptDOM.h"

#include <cmath>
#include <string>

#include "platform/ASCIICase.h"
#include "platform/NSLog.h"
#include "platform/WebSelector.h"

namespace zerva::webscript {

namespace {

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

}  // namespace

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

}  // namespace zerva::webscript
