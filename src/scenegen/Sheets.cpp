// Sheets: full, partial, see-through, popover and custom presentations with fields and sensitive
// views of their own, presented over the current screen and dismissed again.

#include "scenegen/SceneGenerator.h"
#include "scenegen/SceneJson.h"

namespace zerva {

SceneGenerator::json SceneGenerator::sheetScreen(ScreenPlan& plan) {
  const double w = screen_.width, h = screen_.height;
  const std::string presentation =
      random_.pick(std::vector<std::string>{"pageSheet", "formSheet", "overFullScreen", "popover", "custom", "fullScreen"});
  std::optional<CGSize> size;
  if (presentation == "formSheet" || presentation == "popover" || presentation == "custom") {
    size = CGSize{w - 60, std::round(h / 2)};
  } else if (presentation == "pageSheet" && random_.chance(0.5)) {
    size = CGSize{w, std::round(h * 0.6)};
  }
  const CGSize area = size ? *size : presentation == "pageSheet" ? CGSize{w, h - 54} : CGSize{w, h};

  json root = sceneBox("view", sceneRect(0, 0, area.width, area.height), std::nullopt);
  root["name"] = plan.rootView = name("sheetRoot");
  // Opaque, without a background, see-through, or faded: the last three never hide what is behind.
  const long look = random_.between(0, 9);
  if (presentation == "overFullScreen") {
    root["background"] = "#00000066";
  } else if (look < 6) {
    root["background"] = "#FFFFFF";
  } else if (look < 7) {
    // No background at all.
  } else if (look < 9) {
    root["background"] = "#FFFFFFCC";
  } else {
    root["background"] = "#FFFFFF";
    root["alpha"] = 0.9;
  }
  const double cw = area.width;
  json content = sceneBox("view", sceneRect(0, 0, cw, std::min(area.height, 330.0)), "#FFFFFF");
  json children = json::array({label(CGRectMake(16, 16, cw - 32, 28), "Transfer", 22)});
  children.push_back(textField(plan, name("sheetEmail"), CGRectMake(16, 60, cw - 32, 44), false));
  if (random_.chance(0.5)) children.push_back(textField(plan, name("sheetPin"), CGRectMake(16, 112, cw - 32, 44), true));
  if (random_.chance(0.6)) {
    const std::string card = name("sheetCard");
    plan.movable.push_back(card);
    children.push_back(sensitiveCard(card, CGRectMake(16, 170, cw - 32, 80)));
  }
  content["children"] = std::move(children);
  root["children"] = json::array({std::move(content)});

  json screen = {{"presentation", presentation}};
  if (size) screen["preferredSize"] = scenePair(size->width, size->height);
  screen["view"] = std::move(root);
  return screen;
}

void SceneGenerator::presentOrDismiss(long at) {
  if (presented_) {
    add(at, {{"do", "dismiss"}, {"screen", screens_[*presented_].name}});
    presented_.reset();
    return;
  }
  // The hooks' rectangles describe the hybrid screen alone.
  if (current().kind == ScreenKind::Hybrid) return;
  const std::size_t sheet = static_cast<std::size_t>(random_.between(static_cast<long>(contentScreens_),
                                                                     static_cast<long>(screens_.size()) - 1));
  add(at, {{"do", "present"}, {"screen", screens_[sheet].name}});
  presented_ = sheet;
}

}  // namespace zerva
