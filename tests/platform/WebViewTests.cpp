#include <gtest/gtest.h>

#include <malloc.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "platform/NSLog.h"
#include "platform/NSRunLoop.h"
#include "platform/WKWebView.h"
#include "platform/WebPage.h"
#include "platform/WebSelector.h"
#include "scene/ScenePageReader.h"

namespace zerva {
namespace {

using nlohmann::json;

struct Evaluated {
  std::optional<json> result;
  NSErrorOrNil error;
  std::thread::id thread;
};

/// Evaluates and runs the main run loop until the completion arrives.
Evaluated evaluate(const std::shared_ptr<WKWebView>& view, const std::string& script) {
  std::optional<Evaluated> out;
  int calls = 0;
  view->evaluateJavaScript(script, [&](std::optional<json> result, NSErrorOrNil error) {
    ++calls;
    out = Evaluated{std::move(result), std::move(error), std::this_thread::get_id()};
  });
  EXPECT_FALSE(out) << "the completion ran inside evaluateJavaScript";
  EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return out.has_value(); }));
  NSRunLoop::mainRunLoop().runPending();
  EXPECT_EQ(calls, 1);
  return out.value_or(Evaluated{});
}

WebPage pageFromJSON(std::string_view text) {
  auto page = ScenePageReader::pageWithJSON(text);
  EXPECT_TRUE(page) << (page ? "" : page.error().localizedDescription());
  return page ? *page : WebPage{};
}

std::shared_ptr<WKWebView> webViewWithPage(std::string_view pageJSON) {
  auto view = std::make_shared<WKWebView>(CGRectMake(0, 0, 390, 700));
  view->loadPage(pageFromJSON(pageJSON));
  return view;
}

WebElement element(std::string tag, std::map<std::string, std::string> attributes = {}) {
  WebElement e;
  e.tagName = std::move(tag);
  e.attributes = std::move(attributes);
  return e;
}

TEST(WebElement, DOMTypeAndDisplayFollowTheBrowsersDefaults) {
  auto input = [](std::optional<std::string> type) {
    return type ? element("input", {{"type", *type}}) : element("input");
  };
  EXPECT_EQ(input(std::nullopt).domType(), "text");
  EXPECT_EQ(input("PassWord").domType(), "password");
  EXPECT_EQ(input("fancy").domType(), "text");  // unknown types read as text
  EXPECT_EQ(element("textarea").domType(), "textarea");
  EXPECT_EQ(element("div").domType(), std::nullopt);

  EXPECT_EQ(input("hidden").computedDisplay(), "none");
  EXPECT_EQ(input("text").computedDisplay(), "inline-block");
  EXPECT_EQ(element("div", {{"hidden", ""}}).computedDisplay(), "none");
  EXPECT_EQ(element("span").computedDisplay(), "inline");
}

TEST(WebSelector, MatchesCompoundSelectorListsAndRefusesTheRest) {
  WebElement password = element("input", {{"type", "password"}, {"id", "pw"}, {"class", "field zerva-sensitive"},
                                          {"data-zerva-sensitive", ""}});
  WebElement div = element("div", {{"class", "zerva-sensitive-not"}});
  struct Case {
    const char* selector;
    bool password;
    bool div;
  };
  const Case cases[] = {
      {"input", true, false},
      {"INPUT", true, false},
      {"*", true, true},
      {"#pw", true, false},
      {".zerva-sensitive", true, false},  // whole class names only
      {"input.field.zerva-sensitive", true, false},
      {"[data-zerva-sensitive]", true, false},
      {"input[type=password]", true, false},
      {"input[type = \"password\"]", true, false},
      {"[class~='field']", true, false},
      {"[type=text]", false, false},
      {"textarea, div", false, true},
      {" input , [data-zerva-sensitive] ", true, false},
  };
  for (const auto& c : cases) {
    auto selector = WebSelector::parse(c.selector);
    ASSERT_TRUE(selector) << c.selector;
    EXPECT_EQ(selector->matches(password), c.password) << c.selector;
    EXPECT_EQ(selector->matches(div), c.div) << c.selector;
  }
  for (const char* bad : {"", "div p", "a > b", "input:focus", "[x=", "a,", ",a", "#", "[='x']"}) {
    EXPECT_FALSE(WebSelector::parse(bad)) << bad;
  }
}

// ---- Evaluation

TEST(WebViewScript, RunsLaterOnTheMainThreadAndConvertsValues) {
  auto view = webViewWithPage("{}");
  EXPECT_FALSE(view->hasScriptContext());  // made by the first evaluation

  Evaluated e = evaluate(view, "var o = {n: 2, f: 1.5, s: 'x\\u00e9', b: [true, null, , 'y'], u: undefined}; o");
  EXPECT_EQ(e.thread, NSRunLoop::mainRunLoop().thread());
  EXPECT_FALSE(e.error);
  EXPECT_EQ(e.result, json::parse(R"({"n": 2, "f": 1.5, "s": "x\u00e9", "b": [true, null, null, "y"]})"));
  EXPECT_TRUE(view->hasScriptContext());

  e = evaluate(view, "undefined");
  EXPECT_FALSE(e.result);
  EXPECT_FALSE(e.error);

  for (const char* unsupported : {"(function () {})", "({f: function () {}})", "var a = [1]; a.push(a); a"}) {
    e = evaluate(view, unsupported);
    EXPECT_FALSE(e.result) << unsupported;
    ASSERT_TRUE(e.error) << unsupported;
    EXPECT_EQ(e.error->code(), WKErrorJavaScriptResultTypeIsUnsupported) << unsupported;
  }
  // A getter that throws while the value is read is the script's exception, not a crash.
  e = evaluate(view, "({get x() { throw new Error('no'); }})");
  ASSERT_TRUE(e.error);
  EXPECT_EQ(e.error->code(), WKErrorJavaScriptExceptionOccurred);
}

TEST(WebViewScript, GlobalsLastUntilThePageIsReplaced) {
  auto view = webViewWithPage("{}");
  EXPECT_FALSE(evaluate(view, "function twice(x) { return 2 * x; } var count = 1;").error);
  EXPECT_EQ(evaluate(view, "count += 1; twice(count)").result, json(4));

  view->loadPage(WebPage{});
  EXPECT_FALSE(view->hasScriptContext());
  Evaluated e = evaluate(view, "twice(1)");
  ASSERT_TRUE(e.error);
  EXPECT_EQ(e.error->domain(), WKErrorDomain);
  EXPECT_EQ(e.error->code(), WKErrorJavaScriptExceptionOccurred);
  const std::string& message = e.error->userInfo().at(WKJavaScriptExceptionMessageErrorKey);
  EXPECT_NE(message.find("ReferenceError"), std::string::npos) << message;
  EXPECT_NE(message.find("twice"), std::string::npos) << message;
  EXPECT_NE(e.error->localizedDescription().find(message), std::string::npos);

  e = evaluate(view, "\n\nthrow 'plain';");
  ASSERT_TRUE(e.error);
  EXPECT_EQ(e.error->userInfo().at(WKJavaScriptExceptionMessageErrorKey), "plain");
}

TEST(WebViewScript, RunawayScriptsAreStoppedAndThePageLivesOn) {
  auto view = webViewWithPage(R"({"scripts": ["function ready() { return 'ready'; }"]})");
  view->setScriptTimeout(0.05);

  Evaluated e = evaluate(view, "while (true) {}");
  ASSERT_TRUE(e.error);
  EXPECT_EQ(e.error->code(), WKErrorJavaScriptExceptionOccurred);
  EXPECT_NE(e.error->localizedDescription().find("ran longer than 0.05 s"), std::string::npos)
      << e.error->localizedDescription();
  // The regular-expression matcher is stopped as well, inside one long match.
  e = evaluate(view, "/(a+)+b/.test('aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa')");
  ASSERT_TRUE(e.error);
  EXPECT_NE(e.error->localizedDescription().find("ran longer than 0.05 s"), std::string::npos)
      << e.error->localizedDescription();
  // A try/catch in the page cannot swallow the stop.
  e = evaluate(view, "for (;;) { try { while (true) {} } catch (x) {} }");
  ASSERT_TRUE(e.error);
  EXPECT_NE(e.error->localizedDescription().find("ran longer"), std::string::npos);

  view->setScriptMemoryLimit(size_t{4} << 20);
  view->setScriptTimeout(30);  // the memory limit must answer first, on a loaded machine too
  e = evaluate(view, "var s = 'x'; while (true) { s = s + s; }");
  ASSERT_TRUE(e.error);
  EXPECT_NE(e.error->localizedDescription().find("ran out of its 4 MiB of script memory"), std::string::npos)
      << e.error->localizedDescription();

  EXPECT_EQ(evaluate(view, "ready()").result, json("ready"));
}

TEST(WebViewScript, NumbersKeepTheirValueAndWholeOnesStayWhole) {
  auto view = webViewWithPage("{}");
  Evaluated e = evaluate(view, "[0 / 0, 1 / 0, -1 / 0, -0, 2147483648, 9007199254740991, -9007199254740991, "
                               "9007199254740992, 1e308, 5e-324, 0.1 + 0.2]");
  ASSERT_FALSE(e.error) << e.error->localizedDescription();
  ASSERT_TRUE(e.result && e.result->is_array() && e.result->size() == 11);
  const json& n = *e.result;
  EXPECT_TRUE(n[0].is_number_float() && std::isnan(n[0].get<double>()));
  EXPECT_EQ(n[1].get<double>(), HUGE_VAL);
  EXPECT_EQ(n[2].get<double>(), -HUGE_VAL);
  EXPECT_TRUE(n[3].is_number_integer());
  EXPECT_EQ(n[3], 0);
  // Whole numbers a double holds exactly come back as integers, past 32 bits too.
  EXPECT_TRUE(n[4].is_number_integer());
  EXPECT_EQ(n[4].get<std::int64_t>(), 2147483648);
  EXPECT_EQ(n[5].get<std::int64_t>(), 9007199254740991);
  EXPECT_EQ(n[6].get<std::int64_t>(), -9007199254740991);
  EXPECT_TRUE(n[7].is_number_float());
  EXPECT_EQ(n[7].get<double>(), 9007199254740992.0);
  EXPECT_EQ(n[8].get<double>(), 1e308);
  EXPECT_EQ(n[9].get<double>(), 5e-324);
  EXPECT_EQ(n[10].get<double>(), 0.1 + 0.2);
}

int depthOf(const json& value) {
  int depth = 0;
  for (const json* v = &value; v->is_array() && !v->empty(); v = &(*v)[0]) ++depth;
  return depth;
}

TEST(WebViewScript, SharedValuesConvertWhileCyclesAndTooDeepNestingAreRefused) {
  auto view = webViewWithPage("{}");
  view->setScriptTimeout(30);  // a hundred thousand nested arrays take a while under the sanitizers
  // One object reached twice is not a cycle.
  Evaluated e = evaluate(view, "var o = {x: 1}; ({a: o, b: [o, o], c: {d: o}})");
  ASSERT_FALSE(e.error) << e.error->localizedDescription();
  EXPECT_EQ(e.result, json::parse(R"({"a": {"x": 1}, "b": [{"x": 1}, {"x": 1}], "c": {"d": {"x": 1}}})"));

  const std::string nest = "function nest(n) { var a = 1; for (var i = 0; i < n; i++) a = [a]; return a; } ";
  e = evaluate(view, nest + "nest(64)");
  ASSERT_FALSE(e.error) << e.error->localizedDescription();
  EXPECT_EQ(depthOf(*e.result), 64);

  for (const std::string& script :
       {nest + "nest(65)", nest + "nest(100000)", std::string("var p = {n: {m: {}}}; p.n.m.back = p; p"),
        std::string("var q = {}; q.list = [1, {up: q}]; q"), std::string("Symbol('s')"),
        std::string("({s: Symbol('s')})"), std::string("[1, function () {}]")}) {
    e = evaluate(view, script);
    EXPECT_FALSE(e.result) << script;
    ASSERT_TRUE(e.error) << script;
    EXPECT_EQ(e.error->domain(), WKErrorDomain);
    EXPECT_EQ(e.error->code(), WKErrorJavaScriptResultTypeIsUnsupported) << script;
  }
  // The page is untouched by a refused value.
  EXPECT_EQ(evaluate(view, "o.x").result, json(1));
}

// Real seconds an evaluation took: the guards promise an upper bound, and a broken guard shows
// as minutes (or no end), so a generous bound does not flake.
double secondsToEvaluate(const std::shared_ptr<WKWebView>& view, const std::string& script, Evaluated* out) {
  const auto start = std::chrono::steady_clock::now();
  *out = evaluate(view, script);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(WebViewScript, TheTimeOutHoldsInsideNativeCallsAndWhileAnErrorIsDescribed) {
  std::string body;
  for (int i = 0; i < 20000; ++i) body += std::string(i ? "," : "") + R"({"tag": "div", "frame": [0, 0, 10, 10]})";
  auto view = webViewWithPage(R"({"body": [)" + body + "]}");
  view->setScriptTimeout(60);  // one query is quick, even under the sanitizers
  EXPECT_EQ(evaluate(view, "document.querySelectorAll('div').length").result, json(20000));
  view->setScriptTimeout(0.05);

  const char* const runaways[] = {
      // Nearly all the time goes into native calls, few bytecode instructions between them.
      "for (;;) document.querySelectorAll('p.none');",
      "for (;;) document.getElementById('none');",
      "var a = []; for (var i = 0; i < 200000; i++) a.push('ab'); for (;;) a.join(',');",
      // The thrown value's own code runs while it is turned into a message.
      "throw {toString: function () { for (;;) {} }};",
      "var e = new Error('x'); Object.defineProperty(e, 'lineNumber', {get: function () { for (;;) {} }}); throw e;",
      "var e = new Error('x'); Object.defineProperty(e, 'message', {get: function () { for (;;) {} }}); throw e;",
      "throw {toString: function () { var s = 'x'; for (;;) s += s; }};",
  };
  for (const char* script : runaways) {
    Evaluated e;
    EXPECT_LT(secondsToEvaluate(view, script, &e), 5.0) << script;
    ASSERT_TRUE(e.error) << script;
    EXPECT_EQ(e.error->code(), WKErrorJavaScriptExceptionOccurred) << script;
  }
  Evaluated e;
  secondsToEvaluate(view, "throw {toString: function () { for (;;) {} }};", &e);
  EXPECT_EQ(e.error->userInfo().at(WKJavaScriptExceptionMessageErrorKey), "an exception that could not be described");
  // A message of any length comes back cut.
  e = evaluate(view, "throw 'y'.repeat(100000);");
  EXPECT_LE(e.error->userInfo().at(WKJavaScriptExceptionMessageErrorKey).size(), 2003u);
  EXPECT_EQ(evaluate(view, "1 + 1").result, json(2));
}

TEST(WebViewScript, TheMemoryLimitCountsWhatTheHeapReallyGrowsBy) {
  // Copies out of the heap count as well: a log line, the result.
  auto view = webViewWithPage("{}");
  view->setScriptMemoryLimit(size_t{4} << 20);
  view->setScriptTimeout(30);  // the memory limit must answer first, on a loaded machine too
  EXPECT_FALSE(evaluate(view, "var s = 'x'.repeat(1500000); s.length").error);
  for (const char* script : {"console.log(s, s, s);", "[s, s, s]"}) {
    NSLogCapture log;
    Evaluated e = evaluate(view, script);
    ASSERT_TRUE(e.error) << script;
    EXPECT_NE(e.error->localizedDescription().find("4 MiB of script memory"), std::string::npos)
        << e.error->localizedDescription();
    EXPECT_EQ(log.count("WKWebView console"), 0u);
  }

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers' allocators keep their own books";
#else
  // A stream of small objects: what malloc holds grows by no more than the limit.
  constexpr size_t kLimit = size_t{32} << 20;
  auto objects = webViewWithPage("{}");
  objects->setScriptMemoryLimit(kLimit);
  objects->setScriptTimeout(30);
  const struct mallinfo2 before = mallinfo2();
  Evaluated e = evaluate(objects, "var kept = []; for (;;) kept.push({a: 1});");
  const struct mallinfo2 after = mallinfo2();
  ASSERT_TRUE(e.error);
  EXPECT_NE(e.error->localizedDescription().find("32 MiB of script memory"), std::string::npos);
  const double grownMiB = (static_cast<double>(after.uordblks + after.hblkhd) -
                           static_cast<double>(before.uordblks + before.hblkhd)) / (1 << 20);
  EXPECT_LT(grownMiB, 32.5);
  EXPECT_GT(grownMiB, 24.0);  // the limit answered near itself, not far below
  RecordProperty("heapGrowthMiBFor32MiBLimit", std::to_string(grownMiB));
#endif
}

TEST(WebViewScript, ALimitLoweredBelowWhatIsHeldRefusesGrowthAndKeepsWhatIsHeld) {
  auto view = webViewWithPage("{}");
  view->setScriptTimeout(30);
  EXPECT_EQ(evaluate(view, "var big = 'x'.repeat(3000000); big.length").result, json(3000000));
  view->setScriptMemoryLimit(size_t{1} << 20);
  Evaluated e = evaluate(view, "var more = 'y'.repeat(100000); more.length");
  ASSERT_TRUE(e.error);
  EXPECT_NE(e.error->localizedDescription().find("ran out of its 1 MiB of script memory"), std::string::npos)
      << e.error->localizedDescription();
  view->setScriptMemoryLimit(size_t{64} << 20);
  EXPECT_EQ(evaluate(view, "[big.length, big.charAt(2999999)]").result, json::parse(R"([3000000, "x"])"));
}

TEST(WebViewScript, AViewGoneBeforeItsTurnReportsInvalidation) {
  auto view = webViewWithPage("{}");
  std::optional<NSErrorOrNil> error;
  view->evaluateJavaScript("1", [&](std::optional<json> result, NSErrorOrNil e) {
    EXPECT_FALSE(result);
    error = e;
  });
  view.reset();
  ASSERT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return error.has_value(); }));
  ASSERT_TRUE(*error);
  EXPECT_EQ((*error)->code(), WKErrorWebViewInvalidated);
}

// ---- The page's DOM

constexpr std::string_view kFormPage = R"({
  "body": [
    {"tag": "form", "id": "login", "frame": [0, 100, 390, 400], "visibility": "hidden", "children": [
      {"tag": "input", "type": "Email", "id": "email", "classes": ["field"], "frame": [20, 120, 350, 40]},
      {"tag": "input", "type": "password", "frame": [20, 180, 350, 40], "visibility": "visible",
       "attributes": {"data-zerva-sensitive": "yes"}}
    ]},
    {"tag": "div", "hidden": true, "frame": [0, 600, 390, 100], "children": [
      {"tag": "textarea", "id": "notes", "frame": [10, 610, 300, 80]}
    ]}
  ]})";

TEST(WebViewDOM, AnswersThePartsOfTheDOMPageScriptsUse) {
  auto view = webViewWithPage(kFormPage);
  Evaluated e = evaluate(view, R"(
    var email = document.getElementById('email');
    var inputs = document.querySelectorAll('input');
    var style = getComputedStyle(email);
    ({
      count: inputs.length,
      tags: [email.tagName, email.type, inputs[1].type, document.getElementById('notes').type],
      attrs: [email.getAttribute('TYPE'), email.getAttribute('missing'), inputs[1].getAttribute('data-zerva-sensitive'),
              inputs[1].hasAttribute('data-zerva-sensitive')],
      classes: [email.classList.contains('field'), email.classList.contains('fie')],
      parent: email.parentElement.id + '/' + email.parentElement.parentElement.tagName,
      scoped: document.getElementById('login').querySelectorAll('[data-zerva-sensitive], .field').length,
      visibility: [style.visibility, getComputedStyle(inputs[1]).getPropertyValue('visibility')],
      display: [style.display, getComputedStyle(document.getElementById('notes')).display,
                getComputedStyle(document.querySelector('div')).display],
      same: document.querySelector('#email') === email
    }))");
  ASSERT_FALSE(e.error) << e.error->localizedDescription();
  EXPECT_EQ(e.result, json::parse(R"({
    "count": 2,
    "tags": ["INPUT", "email", "password", "textarea"],
    "attrs": ["Email", null, "yes", true],
    "classes": [true, false],
    "parent": "login/BODY",
    "scoped": 2,
    "visibility": ["hidden", "visible"],
    "display": ["inline-block", "inline-block", "none"],
    "same": true
  })"));

  e = evaluate(view, "document.querySelectorAll('form input')");
  ASSERT_TRUE(e.error);
  EXPECT_NE(e.error->localizedDescription().find("SyntaxError"), std::string::npos);
}

TEST(WebViewDOM, TheDocumentTreeTextAndAbsentPartsReadAsInABrowser) {
  auto view = webViewWithPage(R"({
    "body": [
      {"tag": "section", "id": "card", "frame": [0, 0, 390.6, 200.4], "children": [
        {"tag": "label", "text": "Card ", "frame": [0, 0, 100, 20], "children": [{"tag": "b", "text": "number"}]},
        {"tag": "input", "id": "pan", "value": "4111", "classes": ["a", "b"], "frame": [0, 30, 200, 40]},
        {"tag": "div", "display": "none", "frame": [0, 80, 100, 20], "children": [{"tag": "span", "id": "deep"}]}]},
      {"tag": "span", "id": "after", "hidden": true}]})");
  Evaluated e = evaluate(view, R"(
    var card = document.getElementById('card');
    var pan = document.getElementById('pan');
    ({
      order: document.querySelectorAll('*').map(function (el) { return el.localName; }).join(' '),
      scoped: card.querySelectorAll('span, section').map(function (el) { return el.id; }),
      byTag: [document.getElementsByTagName('SPAN').length, card.getElementsByTagName('*').length],
      children: card.children.length + ' ' + card.children[0].children[0].tagName,
      text: card.children[0].textContent,
      value: pan.value,
      className: pan.className,
      matches: [pan.matches('input.b#pan'), pan.matches('.c'), document.getElementById('deep').matches('span')],
      none: [document.querySelector('table'), document.getElementById('nope'), pan.getAttribute('value')],
      offset: [card.offsetWidth, card.offsetHeight, document.getElementById('deep').offsetWidth],
      hidden: [document.getElementById('after').hidden, pan.hidden],
      roots: [document.documentElement.tagName, document.body.tagName, card.parentNode === document.body,
              document.documentElement.parentElement, pan.ownerDocument === document, document.defaultView === window],
      state: [document.readyState, document.nodeType, pan.nodeType, devicePixelRatio],
      absent: [typeof document.createElement, typeof document.cookie, typeof XMLHttpRequest, typeof pan.innerHTML]
    }))");
  ASSERT_FALSE(e.error) << e.error->localizedDescription();
  EXPECT_EQ(e.result, json::parse(R"({
    "order": "html body section label b input div span span",
    "scoped": ["deep"],
    "byTag": [2, 5],
    "children": "3 B",
    "text": "Card number",
    "value": "4111",
    "className": "a b",
    "matches": [true, false, true],
    "none": [null, null, null],
    "offset": [391, 200, 0],
    "hidden": [true, false],
    "roots": ["HTML", "BODY", true, null, true, true],
    "state": ["complete", 9, 1, 1],
    "absent": ["undefined", "undefined", "undefined", "undefined"]
  })"));
}

TEST(WebViewDOM, RectanglesAreViewportRelativeAndZeroWhenNotRendered) {
  auto view = webViewWithPage(kFormPage);
  view->setSafeAreaInsets(UIEdgeInsetsMake(20, 5, 30, 5));
  view->scrollView()->setContentOffset(CGPointMake(3, 150));
  const char* script = R"(
    function box(el) { var r = el.getBoundingClientRect(); return [r.left, r.top, r.width, r.height, r.right, r.bottom]; }
    [box(document.getElementById('email')), box(document.getElementById('notes')),
     document.getElementById('notes').getClientRects().length,
     [scrollX, scrollY, pageYOffset, innerWidth, innerHeight]])";
  EXPECT_EQ(evaluate(view, script).result, json::parse(R"([
    [17, -30, 350, 40, 367, 10],
    [0, 0, 0, 0, 0, 0],
    0,
    [3, 150, 150, 380, 650]])"));

  view->scrollView()->setContentOffset(CGPointZero);
  EXPECT_EQ(evaluate(view, "box(document.getElementById('email')).slice(0, 2)").result, json::parse("[20, 120]"));
}

TEST(WebViewDOM, PageScriptsRunWhenThePageLoads) {
  NSLogCapture log;
  auto view = webViewWithPage(R"({
    "scripts": ["var first = document.querySelectorAll('*').length;", "throw new Error('broken');",
                "var third = typeof Duktape;"]})");
  // A failing script does not keep the later ones from running; the page sees no engine globals.
  EXPECT_EQ(evaluate(view, "[first, third]").result, json::parse(R"([2, "undefined"])"));
  EXPECT_EQ(log.count("a page script failed: A JavaScript exception occurred: Error: broken"), 1u);
}

TEST(WebViewDOM, UserScriptsRunBeforeEveryPagesOwnUntilRemoved) {
  auto view = std::make_shared<WKWebView>(CGRectMake(0, 0, 390, 700));
  view->addUserScript("var order = ['user'];");
  view->addUserScript("order.push('second user');");
  view->loadPage(pageFromJSON(R"({"scripts": ["order.push('page');"]})"));
  EXPECT_EQ(evaluate(view, "order").result, json::parse(R"(["user", "second user", "page"])"));

  view->loadPage(pageFromJSON(R"({"scripts": ["order.push('next page');"]})"));
  EXPECT_EQ(evaluate(view, "order").result, json::parse(R"(["user", "second user", "next page"])"));

  view->removeAllUserScripts();
  view->loadPage(pageFromJSON("{}"));
  EXPECT_EQ(evaluate(view, "typeof order").result, json("undefined"));
}

}  // namespace
}  // namespace zerva
