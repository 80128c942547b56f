// Values leaving a page's script heap: completion values as JSON, thrown values as messages.
// Runs on the thread that owns the context.

#include "platform/WebScriptValues.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace zerva::webscript {

namespace {

constexpr int kMaxResultDepth = 64;
constexpr size_t kMaxMessageBytes = 2000;

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

}  // namespace

ConvertedValue convertValue(duk_context* ctx, duk_idx_t idx, size_t room) {
  ConvertedValue converted;
  nlohmann::json value;
  Conversion walk;
  walk.room = room;
  if (convert(ctx, idx, value, walk)) {
    converted.value = std::move(value);
  } else {
    converted.unsupported = !walk.tooLarge;
    converted.tooLarge = walk.tooLarge;
  }
  return converted;
}

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

}  // namespace zerva::webscript
