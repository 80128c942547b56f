// Reading the calls of "call" events into typed values: each method's keys, their types and
// ranges, and that the views and screens they name exist by the time of the call.

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include "scene/SceneSdkReader.h"

namespace zerva {

namespace {

using json = nlohmann::json;
using M = SceneCallMethod;

struct CallSignature {
  const char* name;
  SceneCallMethod method;
  std::vector<std::string_view> keys;  // besides "method"
};

const CallSignature kCalls[] = {
    {"startScreenRecording", M::StartScreenRecording, {}},
    {"stopScreenRecording", M::StopScreenRecording, {"reason"}},
    {"waitUntilScreenRecordingIsFinished", M::WaitUntilScreenRecordingIsFinished, {"timeout"}},
    {"pauseScreenRecordingForDuration", M::PauseScreenRecordingForDuration, {"duration"}},
    {"resumeScreenRecording", M::ResumeScreenRecording, {}},
    {"setOrientationInProgressFlag", M::SetOrientationInProgressFlag, {"value"}},
    {"setScreenChangeInProgressFlag", M::SetScreenChangeInProgressFlag, {"value"}},
    {"addSensitiveView", M::AddSensitiveView, {"view", "blockGestures"}},
    {"removeSensitiveView", M::RemoveSensitiveView, {"view"}},
    {"setOccludeAllTextFields", M::SetOccludeAllTextFields, {"value"}},
    {"setOccludeAllTexts", M::SetOccludeAllTexts, {"value"}},
    {"addVisibleScreens", M::AddVisibleScreens, {"screens"}},
    {"addVisibleScreen", M::AddVisibleScreen, {"screen", "controller"}},
    {"removeVisibleScreenForControllerId", M::RemoveVisibleScreenForControllerId, {"controller"}},
    {"removeVisibleScreenForName", M::RemoveVisibleScreenForName, {"screen"}},
    {"removeAllVisibleScreens", M::RemoveAllVisibleScreens, {}},
    {"occludeScreen", M::OccludeScreen, {"occlude", "hideGestures"}},
    {"occludeScreenAPI", M::OccludeScreenAPI, {"occlude", "hideGestures"}},
    {"hideScreenGestures", M::HideScreenGestures, {"hide"}},
    {"applyOcclusion", M::ApplyOcclusion, {"rule", "screens"}},
    {"removeOcclusionOfType", M::RemoveOcclusionOfType, {"type"}},
    {"removeOcclusion", M::RemoveOcclusion, {}},
    {"setOcclusionFromDashboardVerifyResult", M::SetOcclusionFromDashboardVerifyResult, {"verifyResult", "appendExisting"}},
    {"gestureBlockedBySensitiveView", M::GestureBlockedBySensitiveView, {"point", "view"}},
    {"addRectsToOcclude", M::AddRectsToOcclude, {"rects", "identity"}},
    {"addRectsForManualOcclusion", M::AddRectsForManualOcclusion, {"rects", "identity"}},
    {"occludeRectsOnNextFrame", M::OccludeRectsOnNextFrame, {"reply"}},
    {"pauseForOcclusionNextFrame", M::PauseForOcclusionNextFrame, {"reply"}},
    {"screenWebViewWillAppear", M::ScreenWebViewWillAppear, {"view"}},
    {"screenWebViewDidDisappear", M::ScreenWebViewDidDisappear, {"view"}},
    {"setEnteredNewScreen", M::SetEnteredNewScreen, {"value"}},
    {"setSkipCaptureOfCurrentFrame", M::SetSkipCaptureOfCurrentFrame, {"value"}},
    {"setWasPreviousScreenHidden", M::SetWasPreviousScreenHidden, {"value"}},
    {"setUserControlOfStopScrollCaptureOnStutterOS", M::SetUserControlOfStopScrollCaptureOnStutterOS, {"value"}},
    {"setUserControlOfScrollCaptureInterval", M::SetUserControlOfScrollCaptureInterval, {"value"}},
    {"setVerifyServerStoppedSlowPath", M::SetVerifyServerStoppedSlowPath, {"value"}},
    {"addImageToAITextOcclusionPipeline", M::AddImageToAITextOcclusionPipeline, {"image"}},
};

// Reads one call's arguments; every check records the first problem in the reader.
class CallReader {
 public:
  CallReader(SceneReader& r, const json& value, const std::string& path, const Scene& scene)
      : r_(r), j_(r.reader()), value_(value), path_(path), scene_(scene) {}

  std::string at(const std::string& key) const { return ZRJSONReader::member(path_, key); }

  void missing(const std::string& key, const std::string& what) {
    if (r_.ok()) j_.fail(at(key), what + " (missing)");
  }

  bool requiredBool(const std::string& key, const std::string& what) {
    auto v = j_.readBool(value_, key, path_);
    if (!v) missing(key, what);
    return v.value_or(false);
  }

  double requiredNumber(const std::string& key, const std::string& what) {
    auto v = j_.readNumber(value_, key, path_);
    if (!v) missing(key, what);
    return v.value_or(0);
  }

  std::string view(const std::string& key, bool required, bool webView) {
    auto name = j_.readString(value_, key, path_);
    if (!name) {
      if (required) missing(key, webView ? "a web view's name" : "a view's name");
      return "";
    }
    if (!r_.ok()) return "";
    auto kind = r_.viewKind(*name);
    if (!kind) {
      j_.fail(at(key), "the name of a view that exists by then; there is no view \"" + *name + "\"");
    } else if (webView && *kind != SceneViewKind::WebView) {
      j_.fail(at(key), "the name of a web view; \"" + *name + "\" is not one");
    }
    return *name;
  }

  void checkScreen(const std::string& where, const std::string& name) {
    if (r_.ok() && !scene_.screens.count(name)) {
      j_.fail(where, "the name of a screen of the scene; there is no screen \"" + name + "\"");
    }
  }

  std::optional<std::string> screen(const std::string& key, bool required, const std::string& what) {
    auto name = j_.readString(value_, key, path_);
    if (!name) {
      if (required) missing(key, what);
      return std::nullopt;
    }
    checkScreen(at(key), *name);
    return name;
  }

  std::vector<std::string> screens(const std::string& key, bool required) {
    auto names = j_.readStrings(value_, key, path_);
    if (!names) {
      if (required) missing(key, "an array of screen names");
      return {};
    }
    for (size_t i = 0; i < names->size(); ++i) checkScreen(ZRJSONReader::element(at(key), i), (*names)[i]);
    return *names;
  }

  /// Arrays of finite numbers; the handler itself drops those that are not x, y, width, height
  /// with a positive size, so a scene may hand such ones in.
  ZRRectQuadrupleList rects(const json& list, const std::string& where) {
    ZRRectQuadrupleList out;
    if (!j_.expectArray(list, where)) return out;
    for (size_t i = 0; i < list.size(); ++i) {
      const json& rect = list[i];
      const bool numbers = rect.is_array() && std::all_of(rect.begin(), rect.end(), [](const json& v) {
                             return v.is_number() && std::isfinite(v.get<double>());
                           });
      if (!numbers) {
        j_.fail(ZRJSONReader::element(where, i), "a rectangle [x, y, width, height]");
        return {};
      }
      out.push_back(rect.get<std::vector<double>>());
    }
    return out;
  }

  /// null removes the hook; "never" keeps each request unanswered; an object answers it.
  std::optional<SceneHookReply> reply(bool rectsSource) {
    auto it = value_.find("reply");
    const std::string where = at("reply");
    if (it == value_.end()) {
      missing("reply", "the hook's reply: null, \"never\" or an object");
      return std::nullopt;
    }
    if (it->is_null()) return std::nullopt;
    SceneHookReply reply;
    if (it->is_string() && it->get<std::string>() == "never") {
      reply.never = true;
      return reply;
    }
    const char* answer = rectsSource ? "rects" : "paused";
    if (!it->is_object()) {
      j_.fail(where, std::string("null, \"never\" or an object with \"") + answer + "\" and \"after\"");
      return std::nullopt;
    }
    if (!j_.expectObject(*it, where, {answer, "after"})) return std::nullopt;
    if (auto after = j_.readNumber(*it, "after", where)) {
      if (*after < 0) j_.fail(where + ".after", "a delay in seconds, 0 or more");
      reply.after = *after;
    }
    if (rectsSource) {
      auto rectsIt = it->find("rects");
      if (rectsIt == it->end()) {
        if (r_.ok()) j_.fail(where + ".rects", "the rectangles to answer with (missing)");
      } else {
        reply.rects = rects(*rectsIt, where + ".rects");
      }
    } else {
      auto paused = j_.readBool(*it, "paused", where);
      if (!paused && r_.ok()) j_.fail(where + ".paused", "true or false (missing)");
      reply.paused = paused.value_or(false);
    }
    return reply;
  }

  void read(SceneCall& call) {
    switch (call.method) {
      case M::StartScreenRecording:
      case M::ResumeScreenRecording:
      case M::RemoveAllVisibleScreens:
      case M::RemoveOcclusion:
        break;
      case M::StopScreenRecording: {
        const double reason = requiredNumber("reason", "a stop reason: 0 cancel, 1 deliver, 2 deliver after a blank frame");
        if (r_.ok() && (reason < 0 || std::floor(reason) != reason || reason > 1e9)) {
          j_.fail(at("reason"), "a stop reason, a whole number 0 or more");
        }
        call.stopReason = static_cast<unsigned long>(std::max(0.0, reason));
        break;
      }
      case M::WaitUntilScreenRecordingIsFinished:
        call.seconds = requiredNumber("timeout", "the longest wait in seconds");
        if (r_.ok() && !(call.seconds >= 0)) j_.fail(at("timeout"), "a timeout in seconds, 0 or more");
        break;
      case M::PauseScreenRecordingForDuration:
        call.seconds = requiredNumber("duration", "the pause in seconds (0 or less: until resumed)");
        break;
      case M::SetUserControlOfScrollCaptureInterval:
        call.seconds = requiredNumber("value", "an interval in seconds");
        if (r_.ok() && call.seconds < 0) j_.fail(at("value"), "an interval in seconds, 0 or more");
        break;
      case M::SetOrientationInProgressFlag:
      case M::SetScreenChangeInProgressFlag:
      case M::SetOccludeAllTextFields:
      case M::SetOccludeAllTexts:
      case M::SetEnteredNewScreen:
      case M::SetSkipCaptureOfCurrentFrame:
      case M::SetWasPreviousScreenHidden:
      case M::SetUserControlOfStopScrollCaptureOnStutterOS:
      case M::SetVerifyServerStoppedSlowPath:
        call.value = requiredBool("value", "true or false");
        break;
      case M::AddSensitiveView:
        call.view = view("view", true, false);
        call.blockGestures = j_.readBool(value_, "blockGestures", path_).value_or(false);
        break;
      case M::RemoveSensitiveView:
        call.view = view("view", true, false);
        break;
      case M::AddVisibleScreens:
        call.screens = screens("screens", true);
        break;
      case M::AddVisibleScreen:
        call.screen = screen("screen", false, "");
        call.controller = screen("controller", true, "the screen whose controller shows it").value_or("");
        break;
      case M::RemoveVisibleScreenForControllerId:
        call.controller = screen("controller", true, "the screen whose controller goes").value_or("");
        break;
      case M::RemoveVisibleScreenForName:
        call.screen = screen("screen", true, "a screen name");
        break;
      case M::OccludeScreen:
      case M::OccludeScreenAPI:
        call.value = requiredBool("occlude", "true to hide the screen, false to show it");
        call.hideGestures = j_.readBool(value_, "hideGestures", path_).value_or(false);
        break;
      case M::HideScreenGestures:
        call.value = requiredBool("hide", "true to hide the screen's gestures, false to show them");
        break;
      case M::ApplyOcclusion:
        if (auto it = value_.find("rule"); it != value_.end()) {
          call.rule = ZROcclusionSetting::fromJSON(*it, j_, at("rule"));
        } else {
          missing("rule", "an occlusion rule (docs/occlusion-rules.md)");
        }
        call.screens = screens("screens", false);
        break;
      case M::RemoveOcclusionOfType:
        if (auto it = value_.find("type"); it != value_.end()) {
          // Read as a rule of that type, so that names and numbers are the rules' own.
          if (auto rule = ZROcclusionSetting::fromJSON(json{{"type", *it}}, j_, path_)) call.occlusionType = rule->type();
        } else {
          missing("type", "an occlusion rule type");
        }
        break;
      case M::SetOcclusionFromDashboardVerifyResult:
        if (auto it = value_.find("verifyResult"); it == value_.end()) {
          missing("verifyResult", "the dashboard's verify result (an object, or its JSON text)");
        } else if (it->is_string()) {
          call.verifyResult = it->get<std::string>();
        } else if (it->is_object()) {
          call.verifyResult = it->dump();
        } else {
          j_.fail(at("verifyResult"), "the dashboard's verify result (an object, or its JSON text)");
        }
        call.appendExisting = j_.readBool(value_, "appendExisting", path_).value_or(false);
        break;
      case M::GestureBlockedBySensitiveView:
        if (auto p = r_.point(value_, "point", path_)) {
          call.point = *p;
        } else {
          missing("point", "the touch point [x, y] in screen points");
        }
        call.view = view("view", false, false);
        break;
      case M::AddRectsToOcclude:
      case M::AddRectsForManualOcclusion:
        if (auto it = value_.find("rects"); it != value_.end()) {
          call.rects = rects(*it, at("rects"));
        } else {
          missing("rects", "an array of rectangles [x, y, width, height]");
        }
        call.identity = j_.readString(value_, "identity", path_);
        break;
      case M::OccludeRectsOnNextFrame:
      case M::PauseForOcclusionNextFrame:
        call.reply = reply(call.method == M::OccludeRectsOnNextFrame);
        break;
      case M::ScreenWebViewWillAppear:
      case M::ScreenWebViewDidDisappear:
        call.view = view("view", true, true);
        break;
      case M::AddImageToAITextOcclusionPipeline:
        if (auto it = value_.find("image"); it != value_.end()) call.image = r_.image(*it, at("image"));
        break;
    }
  }

 private:
  SceneReader& r_;
  ZRJSONReader& j_;
  const json& value_;
  const std::string& path_;
  const Scene& scene_;
};

}  // namespace

std::optional<SceneCall> SceneReadCall(SceneReader& r, const json& value, const std::string& path, double at,
                                       const Scene& scene) {
  auto& j = r.reader();
  if (!value.is_object()) {
    j.fail(path, "the call to make (an object)");
    return std::nullopt;
  }
  auto name = j.readString(value, "method", path);
  if (!name) {
    if (r.ok()) j.fail(path + ".method", "the handler operation to call (missing)");
    return std::nullopt;
  }
  const auto signature = std::find_if(std::begin(kCalls), std::end(kCalls), [&](const CallSignature& c) { return *name == c.name; });
  if (signature == std::end(kCalls)) {
    j.fail(path + ".method", "a handler operation that scenes can call (docs/scenes.md), found \"" + *name + "\"");
    return std::nullopt;
  }
  for (const auto& [key, member] : value.items()) {
    if (key == "method" || std::find(signature->keys.begin(), signature->keys.end(), key) != signature->keys.end()) continue;
    std::string known = "method";
    for (auto k : signature->keys) known += ", " + std::string(k);
    j.fail(ZRJSONReader::member(path, key), "no such key for " + *name + " (known keys: " + known + ")");
    return std::nullopt;
  }
  SceneCall call;
  call.method = signature->method;
  call.name = *name;
  call.path = path;
  call.at = at;
  CallReader(r, value, path, scene).read(call);
  if (!r.ok()) return std::nullopt;
  return call;
}

}  // namespace zerva
