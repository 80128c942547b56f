#include "platform/WebScriptContext.h"

#include <algorithm>
#include <cstdio>

#include "platform/NSLog.h"
#include "platform/WKError.h"
#include "platform/WebScriptDOM.h"
#include "platform/WebScriptGuards.h"
#include "platform/WebScriptValues.h"

namespace zerva {

namespace {

using namespace webscript;

// Turning a thrown value into a message may run page script (a getter, a toString): it gets
// this long at most, past the evaluation's own time-out (its text is cut short as well).
constexpr double kDescribeSeconds = 0.1;

struct Evaluation {
  std::string_view script;
  ConvertedValue converted;
};

/// Runs the script and converts its value; inside a safe call, so that getters the conversion
/// meets may throw.
duk_ret_t evaluateUnsafe(duk_context* ctx, void* udata) {
  auto& evaluation = *static_cast<Evaluation*>(udata);
  duk_eval_lstring(ctx, evaluation.script.data(), evaluation.script.size());
  if (!duk_is_undefined(ctx, -1)) evaluation.converted = convertValue(ctx, -1, stateOf(ctx).memoryLeft());
  return 0;
}

std::string formatNumber(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

}  // namespace

struct WebScriptContext::Impl : webscript::ScriptState {
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
    Evaluation evaluation{script, {}};
    duk_int_t rc;
    {
      ArmedGuards guards(*this);
      rc = duk_safe_call(ctx, evaluateUnsafe, &evaluation, 0, 1);
    }
    const bool ranOutOfTime = timedOut;
    const bool ranOutOfMemory = allocationRefused || evaluation.converted.tooLarge;
    if (rc == DUK_EXEC_SUCCESS) {
      duk_pop(ctx);
      if (evaluation.converted.tooLarge) {
        return {std::nullopt, NSError::errorWithDomain(WKErrorDomain, WKErrorJavaScriptExceptionOccurred,
                                                       "A JavaScript exception occurred: the result does not fit in "
                                                       "what is left of the page's " +
                                                           formatNumber(static_cast<double>(limits.memoryBytes) /
                                                                        (1 << 20)) +
                                                           " MiB of script memory")};
      }
      if (evaluation.converted.unsupported) {
        return {std::nullopt, NSError::errorWithDomain(WKErrorDomain, WKErrorJavaScriptResultTypeIsUnsupported,
                                                       "JavaScript execution returned a result of an unsupported type")};
      }
      return {std::move(evaluation.converted.value), std::nullopt};
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

WebScriptContext::WebScriptContext(std::shared_ptr<const WebPage> page, const std::vector<std::string>& userScripts,
                                   Limits limits, const Viewport& viewport)
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

  std::vector<std::string> scripts = userScripts;
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
