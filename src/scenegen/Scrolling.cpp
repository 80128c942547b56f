// Scroll and zoom views: a feed with sensitive rows and a nested carousel, a zooming picture with
// a sensitive card on it, and the fast, bouncing scrolls and zooms the timeline plays on them.

#include "scenegen/SceneGenerator.h"
#include "scenegen/SceneJson.h"

namespace zerva {

namespace {
constexpr double kRowHeight = 110;
}

SceneGenerator::json SceneGenerator::feedRow(ScreenPlan& plan, double y, bool sensitive) {
  const double w = screen_.width;
  json row = sceneBox("view", sceneRect(0, y, w, kRowHeight), "#FFFFFF");
  json children = json::array();
  json picture = sceneBox("imageView", sceneRect(16, 10, 90, 90), std::nullopt);
  picture["image"] = {{"pattern", random_.pick(std::vector<std::string>{"photo", "checker", "gradient"})}, {"size", {90, 90}}};
  children.push_back(std::move(picture));
  children.push_back(label(CGRectMake(120, 16, w - 136, 24), "Payment received", 17));
  if (sensitive) {
    const std::string balance = name("balance");
    plan.movable.push_back(balance);
    children.push_back(sensitiveCard(balance, CGRectMake(120, 48, w - 136, 48)));
  }
  row["children"] = std::move(children);
  return row;
}

SceneGenerator::json SceneGenerator::feedScreen(ScreenPlan& plan) {
  const double w = screen_.width, h = screen_.height;
  json root = sceneBox("view", sceneRect(0, 0, w, h), "#FFFFFF");
  root["name"] = plan.rootView = name("feedRoot");
  const long rows = random_.between(8, 16);
  const long carouselRow = random_.between(0, rows - 1);
  json rowViews = json::array();
  std::string carouselName;
  for (long i = 0; i < rows; ++i) {
    if (i != carouselRow) {
      rowViews.push_back(feedRow(plan, static_cast<double>(i) * kRowHeight, random_.chance(0.3)));
      continue;
    }
    // A horizontal carousel inside the vertical feed: both move, often at once.
    carouselName = name("carousel");
    json carousel = sceneBox("scrollView", sceneRect(0, static_cast<double>(i) * kRowHeight, w, kRowHeight), "#F2F2F7");
    carousel["name"] = carouselName;
    carousel["contentSize"] = scenePair(w * 3, kRowHeight);
    json tiles = json::array();
    const long secretTile = random_.between(0, 5);
    for (long t = 0; t < 6; ++t) {
      const CGRect tile = CGRectMake(8 + static_cast<double>(t) * w / 2, 8, w / 2 - 16, kRowHeight - 16);
      tiles.push_back(t == secretTile ? sensitiveCard(name("tile"), tile) : sceneBox("view", sceneRect(tile), color()));
    }
    carousel["children"] = std::move(tiles);
    rowViews.push_back(std::move(carousel));
  }
  const double frameHeight = h - 90, contentHeight = static_cast<double>(rows) * kRowHeight;
  json feed = sceneBox("scrollView", sceneRect(0, 90, w, frameHeight), "#FFFFFF");
  const std::string feedName = name("feed");
  feed["name"] = feedName;
  feed["contentSize"] = scenePair(w, contentHeight);
  feed["children"] = std::move(rowViews);
  plan.scrollViews.push_back({feedName, CGPointMake(0, std::max(0.0, contentHeight - frameHeight))});
  plan.scrollViews.push_back({carouselName, CGPointMake(w * 2, 0)});
  root["children"] = json::array({header(plan.name), std::move(feed)});
  return root;
}

SceneGenerator::json SceneGenerator::zoomScreen(ScreenPlan& plan) {
  const double w = screen_.width, h = screen_.height, frameHeight = h - 180;
  json root = sceneBox("view", sceneRect(0, 0, w, h), "#FFFFFF");
  root["name"] = plan.rootView = name("zoomRoot");
  json zoom = sceneBox("scrollView", sceneRect(0, 90, w, frameHeight), "#1C1C1E");
  plan.zoomView = name("zoom");
  zoom["name"] = plan.zoomView;
  zoom["contentSize"] = scenePair(w * 2, frameHeight * 2);
  json picture = sceneBox("imageView", sceneRect(0, 0, w * 2, frameHeight * 2), std::nullopt);
  picture["image"] = {{"pattern", "photo"}, {"size", {200, 200}}};
  const std::string card = name("document");
  plan.movable.push_back(card);
  zoom["children"] = json::array({std::move(picture), sensitiveCard(card, CGRectMake(40, 60, w - 80, 120))});
  plan.scrollViews.push_back({plan.zoomView, CGPointMake(w, frameHeight)});
  root["children"] = json::array({header(plan.name), std::move(zoom)});
  return root;
}

void SceneGenerator::scrollSomething(long at) {
  const ScreenPlan* screen = top();
  const bool canZoom = !screen->zoomView.empty() || !screen->webView.empty();
  if (canZoom && random_.chance(0.3)) {
    const std::string target = !screen->zoomView.empty() ? screen->zoomView : screen->webView;
    add(at, {{"do", "zoom"},
             {"view", target},
             {"scale", random_.pick(std::vector<double>{0.5, 1, 1.5, 2.5})},
             {"duration", random_.pick(std::vector<double>{0, 0.2, 0.4})}});
    return;
  }
  if (screen->scrollViews.empty()) return;
  // Several scrolls at once now and then: the feed and its carousel, flung together.
  const long flings = random_.chance(0.3) ? 2 : 1;
  for (long i = 0; i < flings; ++i) {
    const ScrollPlan& scroll = random_.pick(screen->scrollViews);
    // Past either end at times, as a bounce would go.
    auto offset = [&](double farthest) {
      if (farthest <= 0) return 0.0;
      if (random_.chance(0.15)) return random_.chance(0.5) ? -40.0 : farthest + 40;
      return static_cast<double>(random_.between(0, static_cast<long>(farthest)));
    };
    // Layer rendering draws where a scroll ends while the masks follow it in flight
    // (tests/scenegen/leaks/): animated scrolls only where frames are not taken that way. A web
    // view's screen always goes through the web route.
    const bool animated = animatedScrolls_ || scroll.view == screen->webView;
    add(at, {{"do", "scroll"},
             {"view", scroll.view},
             {"to", scenePair(offset(scroll.farthest.x), offset(scroll.farthest.y))},
             {"duration", animated ? random_.pick(std::vector<double>{0, 0.05, 0.12, 0.3, 0.6}) : 0.0}});
  }
}

}  // namespace zerva
