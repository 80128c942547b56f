#pragma once
// Private to the script sources of src/platform: script values turned into what leaves the heap,
// a completion value as JSON and a thrown value as a message.

#include <cstddef>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "platform/WebScriptState.h"

namespace zerva::webscript {

/// A completion value converted, or why it could not be.
struct ConvertedValue {
  std::optional<nlohmann::json> value;
  bool unsupported = false;  // a function, a cycle or another value JSON cannot hold
  bool tooLarge = false;     // its copy would not fit in `room`
};

/// Converts the value at `idx` (see WebScriptContext::evaluate); its copy may take `room` bytes.
/// Getters it meets may throw: call it inside a safe call.
ConvertedValue convertValue(duk_context* ctx, duk_idx_t idx, size_t room);

struct ThrownValue {
  std::string message;
  std::optional<long> line;
};

/// Fills the ThrownValue at `udata` from the value at index 0. Runs page script (a getter, a
/// toString): call it inside a safe call, with the guards armed.
duk_ret_t describeThrownValue(duk_context* ctx, void* udata);

}  // namespace zerva::webscript
