// The scene's full screens and their views: forms with fields and sensitive cards, the hybrid
// widget the on-demand source covers, the screen hidden by a rule and the blurred one.

#include <algorithm>
#include <cmath>

#include "scenegen/SceneGenerator.h"
#include "scenegen/SceneJson.h"

namespace zerva {

void SceneGenerator::planScreens() {
  const bool web = random_.chance(options_.webShare);
  // The handler calls the page's own occludeZervaElements unless the platform type is 1 or 7,
  // when it sends the whole script: an app of another platform type puts the function in its pages.
  pagesDefineFunction_ = (platformType_ != 1 && platformType_ != 7) || random_.chance(0.5);
  // The hooks are asked for real frames taken without layer rendering only.
  const bool hybrid = improvedCapture_ && !schematic_ && random_.chance(0.7);
  std::vector<ScreenKind> kinds = {ScreenKind::Form, ScreenKind::Feed};
  if (web) kinds.push_back(ScreenKind::Web);
  if (hybrid) kinds.push_back(ScreenKind::Hybrid);
  hasHybrid_ = hybrid;
  const int count = static_cast<int>(random_.between(2, options_.contentScreens));
  while (static_cast<int>(kinds.size()) < count) {
    kinds.push_back(random_.pick(std::vector<ScreenKind>{ScreenKind::Form, ScreenKind::Feed, ScreenKind::Zoom}));
  }
  for (std::size_t i = kinds.size() - 1; i > 0; --i) {
    std::swap(kinds[i], kinds[static_cast<std::size_t>(random_.between(0, static_cast<long>(i)))]);
  }
  // The hooks are set once the hybrid screen shows, so the app starts elsewhere.
  if (kinds.front() == ScreenKind::Hybrid) std::swap(kinds.front(), kinds.back());

  const char* const kKindNames[] = {"Form", "Feed", "Web", "Zoom", "Hybrid"};
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    ScreenPlan plan;
    plan.kind = kinds[i];
    plan.name = kKindNames[static_cast<int>(kinds[i])] + std::to_string(i + 1);
    screens_.push_back(plan);
  }
  // Whole-screen rules on screens that carry no web page or hooks (their own routes differ).
  std::vector<std::string> ruled;
  for (std::size_t i = 1; i < screens_.size(); ++i) {
    if (screens_[i].kind != ScreenKind::Web && screens_[i].kind != ScreenKind::Hybrid) ruled.push_back(screens_[i].name);
  }
  if (!ruled.empty() && random_.chance(0.4)) hiddenScreen_ = random_.pick(ruled);
  std::erase(ruled, hiddenScreen_);
  if (!ruled.empty() && random_.chance(0.25)) blurredScreen_ = random_.pick(ruled);

  for (auto& plan : screens_) {
    json view;
    switch (plan.kind) {
      case ScreenKind::Form: view = formScreen(plan); break;
      case ScreenKind::Feed: view = feedScreen(plan); break;
      case ScreenKind::Web: view = webScreen(plan); break;
      case ScreenKind::Zoom: view = zoomScreen(plan); break;
      case ScreenKind::Hybrid: view = hybridScreen(plan); break;
    }
    if (plan.name == hiddenScreen_) {
      // Nothing marks these sensitive: only the rule that hides the whole screen keeps them out.
      json secret = sceneBox("view", sceneRect(24, screen_.height - 220, screen_.width - 48, 120), "#3A6EA5");
      secret["name"] = name("private");
      if (options_.markSecrets) secret["secret"] = true;
      secret["children"] = json::array({label(CGRectMake(12, 12, screen_.width - 72, 30), "Salary 8,450.00", 20)});
      view["children"].push_back(std::move(secret));
    }
    screenViews_[plan.name] = {{"view", std::move(view)}};
  }
  contentScreens_ = screens_.size();
  const long sheets = random_.between(1, 2);
  for (long i = 0; i < sheets; ++i) {
    ScreenPlan plan;
    plan.sheet = true;
    plan.name = "Sheet" + std::to_string(i + 1);
    json screen = sheetScreen(plan);
    screenViews_[plan.name] = std::move(screen);
    screens_.push_back(plan);
  }
}

SceneGenerator::json SceneGenerator::header(const std::string& title) const {
  json bar = sceneBox("view", sceneRect(0, 0, screen_.width, 90), "#F9F9F9");
  bar["children"] = json::array({label(CGRectMake(16, 48, screen_.width - 32, 34), title, 28)});
  return bar;
}

SceneGenerator::json SceneGenerator::label(const CGRect& frame, const std::string& text, double size) const {
  json l = {{"type", "label"}, {"frame", sceneRect(frame)}, {"text", text}, {"font", {{"size", size}, {"bold", size >= 20}}}};
  return l;
}

SceneGenerator::json SceneGenerator::sensitiveCard(const std::string& cardName, const CGRect& frame) {
  json card = sceneBox("view", sceneRect(frame), random_.pick(std::vector<std::string>{"#2E7D32", "#3A6EA5", "#6D4C41"}));
  card["name"] = cardName;
  card["cornerRadius"] = random_.chance(0.5) ? 10 : 0;
  card["clips"] = true;
  // Now and then half see-through: still drawn, so still hidden.
  if (random_.chance(0.15)) card["alpha"] = 0.6;
  if (options_.markSecrets) card["secret"] = true;
  card["children"] = json::array({label(CGRectMake(12, 10, frame.size.width - 24, 24), "4111 1111 1111 1111", 18)});
  sensitive_.push_back(cardName);
  return card;
}

SceneGenerator::json SceneGenerator::textField(ScreenPlan& plan, const std::string& fieldName, const CGRect& frame,
                                               bool secure) {
  json field = {{"type", "textField"}, {"name", fieldName}, {"frame", sceneRect(frame)}, {"background", "#F2F2F7"}};
  field["hint"] = secure ? "Password" : "E-mail address";
  if (random_.chance(0.5)) field["text"] = secure ? "hunter2" : "ann@example.com";
  if (secure) field["secure"] = true;
  // Every text field is hidden while the configuration's rule covers all of them.
  if (allTextFields_ && options_.markSecrets && !secure) field["secret"] = true;
  plan.textFields.push_back(fieldName);
  return field;
}

SceneGenerator::json SceneGenerator::formScreen(ScreenPlan& plan) {
  const double w = screen_.width;
  json root = sceneBox("view", sceneRect(0, 0, w, screen_.height), random_.pick(std::vector<std::string>{"#FFFFFF", "#F2F2F7", "#FFF4E0"}));
  root["name"] = plan.rootView = name("form");
  json children = json::array({header(plan.name)});
  children.push_back(textField(plan, name("email"), CGRectMake(16, 110, w - 32, 44), false));
  children.push_back(textField(plan, name("password"), CGRectMake(16, 166, w - 32, 44), true));
  const std::string card = name("card");
  plan.movable.push_back(card);
  children.push_back(sensitiveCard(card, CGRectMake(16, 230, w - 32, 90)));
  if (textRecognition_ && plan.name != blurredScreen_) {
    children.push_back(label(CGRectMake(16, 340, w - 32, 28), "Project " + customWord_ + " starts Monday", 20));
  }
  json picture = sceneBox("imageView", sceneRect(16, 390, w - 32, 160), std::nullopt);
  picture["name"] = name("picture");
  picture["image"] = {{"pattern", random_.pick(std::vector<std::string>{"photo", "checker", "stripes", "gradient"})},
                      {"size", {160, 90}}};
  children.push_back(std::move(picture));
  root["children"] = std::move(children);
  return root;
}

SceneGenerator::json SceneGenerator::hybridScreen(ScreenPlan& plan) {
  const double w = screen_.width;
  json root = sceneBox("view", sceneRect(0, 0, w, screen_.height), "#FFFFFF");
  root["name"] = plan.rootView = name("hybrid");
  // One native view that a hybrid framework draws into: registered sensitive, and what the
  // on-demand source answers while the hooks are on, so it stays hidden on both routes.
  const CGRect widget = CGRectMake(16, 130, w - 32, 180);
  plan.hybridWidget = widget;
  json children = json::array({header(plan.name), sensitiveCard(name("widget"), widget)});
  children.push_back(label(CGRectMake(16, 340, w - 32, 28), "Rendered by the framework", 17));
  root["children"] = std::move(children);
  return root;
}

}  // namespace zerva
