// Calls into the handler that the SDK around it makes: sensitive views, pauses, screen hiding,
// manual rectangles, the hybrid-framework hooks, occlusion rules, text recognition and gestures.

#include <algorithm>

#include "scenegen/SceneGenerator.h"
#include "scenegen/SceneJson.h"

namespace zerva {

void SceneGenerator::call(long at, json c) { add(at, {{"do", "call"}, {"call", std::move(c)}}); }

void SceneGenerator::registerSensitiveViews() {
  for (const auto& view : sensitive_) {
    call(0, {{"method", "addSensitiveView"}, {"view", view}, {"blockGestures", random_.chance(0.5)}});
  }
}

void SceneGenerator::pauseRecording(long at) {
  if (random_.chance(0.6)) {
    call(at, {{"method", "pauseScreenRecordingForDuration"}, {"duration", random_.pick(std::vector<double>{0.1, 0.3, 0.6})}});
    return;
  }
  call(at, {{"method", "pauseScreenRecordingForDuration"}, {"duration", 0}});
  call(at + random_.between(100, 500), {{"method", "resumeScreenRecording"}});
}

void SceneGenerator::hideScreenByAPI(long at) {
  // The public call only: the SDK's own screen hiding belongs to the hidden screen's visits.
  call(at, {{"method", "occludeScreenAPI"}, {"occlude", true}, {"hideGestures", random_.chance(0.5)}});
  call(at + random_.between(150, 600), {{"method", "occludeScreenAPI"}, {"occlude", false}});
}

void SceneGenerator::manualRectangles(long at) {
  // The on-demand source's answer replaces the manual rectangles while the hooks are on, so a
  // scene has either; and an identity group replaces the plain rectangles, so a scene hands them
  // in one way only.
  if (hasHybrid_) return;
  const double w = screen_.width, h = screen_.height;
  const double x = static_cast<double>(random_.between(0, static_cast<long>(w) - 120));
  const double y = static_cast<double>(random_.between(90, static_cast<long>(h) - 200));
  json rects = json::array({sceneRect(x, y, static_cast<double>(random_.between(60, 200)), 80.0)});
  // The handler drops quadruples of another count or without area; the rest still count.
  if (random_.chance(0.3)) {
    rects.push_back(json::array({0, 0, 0, 10}));
    rects.push_back(json::array({1, 2, 3}));
  }
  const std::string method = random_.chance(0.5) ? "addRectsToOcclude" : "addRectsForManualOcclusion";
  const bool identity = manualIdentity_;
  // Each frame takes the manual rectangles once, so a framework hands them in again and again.
  const long until = at + random_.between(150, 600);
  for (long t = at; t <= until; t += 50) {
    json c = {{"method", method}, {"rects", rects}};
    if (identity) c["identity"] = "framework";
    call(t, std::move(c));
  }
}

void SceneGenerator::hybridHooks(long at) {
  const ScreenPlan& screen = current();
  // The pause hook answers within a frame interval: a later answer takes the rectangle list at
  // its own time, which a frame in between may have handed over (tests/scenegen/leaks/). The
  // source's answer carries its own rectangles and may come as late as it likes.
  json pauseReply = json::object({{"paused", random_.chance(0.8)}, {"after", random_.pick(std::vector<double>{0, 0, 0.03})}});
  json sourceReply = json::object({{"rects", json::array({sceneRect(*screen.hybridWidget)})},
                                   {"after", random_.pick(std::vector<double>{0, 0, 0.03, 0.15, 0.4})}});
  // Sometimes a hook never answers: those frames are never made.
  if (random_.chance(0.15)) pauseReply = "never";
  if (random_.chance(0.15)) sourceReply = "never";
  call(at, {{"method", "pauseForOcclusionNextFrame"}, {"reply", pauseReply}});
  call(at, {{"method", "occludeRectsOnNextFrame"}, {"reply", sourceReply}});
  hooksOn_ = true;
}

void SceneGenerator::occlusionRule(long at) {
  // Not the hidden screen: a rule from a higher source would replace its cover.
  std::vector<std::string> names;
  for (const auto& s : screens_) {
    if (s.name != hiddenScreen_) names.push_back(s.name);
  }
  const std::string screen = random_.pick(names);
  switch (random_.between(0, 3)) {
    case 0:
      call(at, {{"method", "applyOcclusion"},
                {"rule", {{"type", "coverScreen"}, {"screens", json::array({screen})}, {"color", "#1E1E1E"}}}});
      call(at + random_.between(200, 800), {{"method", "removeOcclusionOfType"}, {"type", "coverScreen"}});
      break;
    case 1:
      call(at, {{"method", "applyOcclusion"}, {"rule", {{"type", "blurScreen"}, {"screens", json::array({screen})}}}});
      call(at + random_.between(200, 800), {{"method", "removeOcclusionOfType"}, {"type", "blurScreen"}});
      break;
    case 2:
      call(at, {{"method", "setOcclusionFromDashboardVerifyResult"},
                {"verifyResult", {{"occlusionRules", json::array({{{"type", "allTextFields"}, {"screens", json::array({screen})}}})}}},
                {"appendExisting", random_.chance(0.5)}});
      break;
    default:
      call(at, {{"method", "setOccludeAllTextFields"}, {"value", random_.chance(0.5)}});
      break;
  }
}

void SceneGenerator::textRecognition(long at) {
  if (!textRecognition_) return;
  if (random_.chance(0.5)) {
    call(at, {{"method", "addImageToAITextOcclusionPipeline"}});
    return;
  }
  // A dashboard rule for every screen puts the dashboard in force for in-screen rules, so it
  // carries the configuration's text-field rule along.
  json rules = json::array({{{"type", "textRecognition"}, {"customWords", json::array({customWord_, "Acme Gold"})}}});
  if (allTextFields_) rules.push_back({{"type", "allTextFields"}});
  call(at, {{"method", "setOcclusionFromDashboardVerifyResult"},
            {"verifyResult", {{"occlusionRules", std::move(rules)}}},
            {"appendExisting", true}});
}

void SceneGenerator::gesture(long at) {
  json c = {{"method", "gestureBlockedBySensitiveView"},
            {"point", {random_.between(0, static_cast<long>(screen_.width)), random_.between(0, static_cast<long>(screen_.height))}}};
  call(at, std::move(c));
}

}  // namespace zerva
