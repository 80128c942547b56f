// Web pages: sign-in and card forms with password and text inputs, sensitive blocks and hidden
// fields, taller than the screen so that they scroll, reloaded with another layout now and then.

#include "scenegen/SceneGenerator.h"
#include "scenegen/SceneJson.h"

namespace zerva {

SceneGenerator::json SceneGenerator::page(bool definesFunction) {
  const double w = screen_.width, h = screen_.height;
  const double top = static_cast<double>(random_.between(20, 200));
  auto input = [&](const std::string& type, double y, const std::string& value) {
    json e = {{"tag", "input"}, {"type", type}, {"frame", sceneRect(16, y, w - 32, 44)}, {"background", "#F2F2F7"}};
    if (!value.empty()) e["value"] = value;
    return e;
  };
  json form = {{"tag", "form"}, {"frame", sceneRect(0, top, w, h * 1.5)}};
  json fields = json::array({input("email", top + 20, "ann@example.com"), input("password", top + 76, "hunter2")});
  fields.push_back({{"tag", "div"},
                    {"classes", json::array({"card", "zerva-sensitive"})},
                    {"frame", sceneRect(16, top + 140, w - 32, 80)},
                    {"background", "#3A6EA5"},
                    {"text", "Visa ending in 4242"}});
  fields.push_back({{"tag", "textarea"}, {"frame", sceneRect(16, top + 240, w - 32, 90)}, {"value", "Leave at the door"}});
  fields.push_back({{"tag", "input"},
                    {"attributes", {{"name", "pin"}, {"data-zerva-sensitive", ""}}},
                    {"hidden", true},
                    {"frame", sceneRect(16, top + 340, 100, 44)}});
  // A second password far down: only a scroll brings it into view.
  fields.push_back(input("password", top + h * 1.1, "correct horse"));
  form["children"] = std::move(fields);
  json p = json::object();
  if (definesFunction) p["definesOcclusionFunction"] = true;
  p["contentSize"] = scenePair(w, h * 2);
  p["body"] = json::array({{{"tag", "h1"}, {"frame", sceneRect(16, 0, w - 32, 40)}, {"text", "Checkout"}}, std::move(form)});
  return p;
}

SceneGenerator::json SceneGenerator::webScreen(ScreenPlan& plan) {
  const double w = screen_.width, h = screen_.height;
  json root = sceneBox("view", sceneRect(0, 0, w, h), "#FFFFFF");
  root["name"] = plan.rootView = name("webRoot");
  plan.webView = name("checkout");
  json web = sceneBox("webView", sceneRect(0, 90, w, h - 90), "#FFFFFF");
  web["name"] = plan.webView;
  web["page"] = page(pagesDefineFunction_);
  plan.scrollViews.push_back({plan.webView, CGPointMake(0, h * 2 - (h - 90))});
  root["children"] = json::array({header(plan.name), std::move(web)});
  return root;
}

void SceneGenerator::reloadPage(long at) {
  const ScreenPlan* screen = top();
  if (screen->webView.empty()) return;
  add(at, {{"do", "page"}, {"view", screen->webView}, {"page", page(pagesDefineFunction_)}});
}

}  // namespace zerva
