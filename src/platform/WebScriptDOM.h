#pragma once
// Private to the script sources of src/platform: the DOM a page's scripts see (docs/web-pages.md
// lists it), built over the ScriptState's nodes.

#include "platform/WebScriptState.h"

namespace zerva::webscript {

/// Makes the element objects, `document` and the window's members. Runs inside a safe call
/// with the heap's ScriptState as `udata`.
duk_ret_t installDocument(duk_context* ctx, void* udata);

}  // namespace zerva::webscript
