// The timeline: what the user does, drawn step by step while the generator keeps track of what
// the app shows, so that every event names a screen or view that is there and every secret keeps
// a route by which the handler must hide it.

#include "scenegen/SceneGenerator.h"
#include "scenegen/SceneJson.h"

namespace zerva {

void SceneGenerator::playTimeline() {
  registerSensitiveViews();
  if (!current().webView.empty()) call(0, {{"method", "screenWebViewWillAppear"}, {"view", current().webView}});
  call(0, {{"method", "startScreenRecording"}});

  // The hybrid screen comes late and stays: its hooks, once set, are never taken away, since
  // an answer still owed then would find the rectangle list handed over by a frame in between
  // (tests/scenegen/leaks/).
  std::optional<std::size_t> hybrid;
  for (std::size_t i = 0; i < contentScreens_; ++i) {
    if (screens_[i].kind == ScreenKind::Hybrid) hybrid = i;
  }
  const long hybridAt = random_.between(end_ / 2, end_ * 4 / 5);
  long t = random_.between(50, 250);
  while (t < end_ - 150) {
    const long roll = random_.between(0, 99);
    if (hybrid && !hooksOn_ && t >= hybridAt) {
      if (presented_) {
        presentOrDismiss(t);
        t += 100;
      }
      showScreen(t, *hybrid);
    } else if (roll < 14) {
      std::size_t next = static_cast<std::size_t>(random_.between(0, static_cast<long>(contentScreens_) - 1));
      if (!presented_ && !hooksOn_ && next != current_ && next != hybrid) showScreen(t, next);
    } else if (roll < 24) {
      presentOrDismiss(t);
    } else if (roll < 44) {
      scrollSomething(t);
    } else if (roll < 52) {
      keyboardAndTyping(t);
    } else if (roll < 58) {
      rotate(t);
    } else if (roll < 64) {
      moveOrRemoveSensitiveView(t);
    } else if (roll < 68) {
      addSensitiveView(t);
    } else if (roll < 73) {
      pauseRecording(t);
    } else if (roll < 77) {
      hideScreenByAPI(t);
    } else if (roll < 82) {
      manualRectangles(t);
    } else if (roll < 86) {
      occlusionRule(t);
    } else if (roll < 89) {
      textRecognition(t);
    } else if (roll < 94) {
      gesture(t);
    } else {
      reloadPage(t);
    }
    t += random_.between(40, 220);
  }
  call(end_, {{"method", "stopScreenRecording"}, {"reason", random_.chance(0.8) ? 1 : 2}});
}

void SceneGenerator::showScreen(long at, std::size_t screen) {
  const ScreenPlan& previous = current();
  const ScreenPlan& next = screens_[screen];
  // The SDK hears of a web view or a hidden screen before the screen shows, and of their going
  // after the next one shows.
  const bool hideNext = hiddenBySettings_ && next.name == hiddenScreen_;
  const bool unhidePrevious = hiddenBySettings_ && previous.name == hiddenScreen_;
  if (!next.webView.empty()) call(at, {{"method", "screenWebViewWillAppear"}, {"view", next.webView}});
  if (hideNext) call(at, {{"method", "occludeScreen"}, {"occlude", true}, {"hideGestures", random_.chance(0.5)}});
  add(at, {{"do", "show"}, {"screen", next.name}});
  if (!previous.webView.empty()) call(at, {{"method", "screenWebViewDidDisappear"}, {"view", previous.webView}});
  if (unhidePrevious) call(at, {{"method", "occludeScreen"}, {"occlude", false}});
  current_ = screen;
  if (next.kind == ScreenKind::Hybrid) hybridHooks(at);
}

void SceneGenerator::keyboardAndTyping(long at) {
  const ScreenPlan* screen = top();
  if (!keyboardUp_ || random_.chance(0.3)) {
    add(at, {{"do", "keyboard"},
             {"show", !keyboardUp_},
             {"height", random_.pick(std::vector<int>{216, 291, 336})},
             {"duration", random_.pick(std::vector<double>{0, 0.25})}});
    keyboardUp_ = !keyboardUp_;
    if (!keyboardUp_) return;
    at += 30;
  }
  if (screen->textFields.empty()) return;
  add(at, {{"do", "type"},
           {"view", random_.pick(screen->textFields)},
           {"text", random_.pick(std::vector<std::string>{"ann@example.com", "4242 4242", "hunter2"})},
           {"duration", random_.pick(std::vector<double>{0.2, 0.6, 1.0})}});
}

void SceneGenerator::rotate(long at) {
  // The on-demand rectangles are measured for the hybrid screen as it stands.
  if (current().kind == ScreenKind::Hybrid) return;
  std::string to = landscape_ ? "portrait"
                              : random_.pick(std::vector<std::string>{"landscapeLeft", "landscapeRight", "portraitUpsideDown"});
  landscape_ = to != "portrait";
  add(at, {{"do", "rotate"}, {"orientation", to}});
}

void SceneGenerator::moveOrRemoveSensitiveView(long at) {
  std::vector<std::string> candidates;
  for (const auto& v : top()->movable) {
    if (std::find(gone_.begin(), gone_.end(), v) == gone_.end()) candidates.push_back(v);
  }
  if (candidates.empty()) return;
  const std::string view = random_.pick(candidates);
  // Often while something else moves, so that a frame is in flight as the view changes.
  if (random_.chance(0.4)) scrollSomething(at);
  if (random_.chance(0.4)) {
    add(at, {{"do", "remove"}, {"view", view}});
    gone_.push_back(view);
    return;
  }
  const double w = screen_.width, h = screen_.height;
  const double width = static_cast<double>(random_.between(100, static_cast<long>(w) - 32));
  const double height = static_cast<double>(random_.between(40, 120));
  add(at, {{"do", "set"},
           {"view", view},
           {"frame", sceneRect(static_cast<double>(random_.between(0, static_cast<long>(w - width))),
                               static_cast<double>(random_.between(0, static_cast<long>(h / 2))), width, height)}});
}

void SceneGenerator::addSensitiveView(long at) {
  if (current().kind == ScreenKind::Hybrid) return;
  ScreenPlan& screen = presented_ ? screens_[*presented_] : current();
  const std::string card = name("added");
  json view = sensitiveCard(card, CGRectMake(static_cast<double>(random_.between(0, 120)),
                                             static_cast<double>(random_.between(60, 300)), 220, 70));
  sensitive_.pop_back();  // registered here, not at the start
  // Added hidden, marked, then shown: as an app that registers a view before it appears.
  view["hidden"] = true;
  add(at, {{"do", "add"}, {"parent", screen.rootView}, {"view", std::move(view)}});
  call(at, {{"method", "addSensitiveView"}, {"view", card}, {"blockGestures", random_.chance(0.5)}});
  add(at + 50, {{"do", "set"}, {"view", card}, {"hidden", false}});
  screen.movable.push_back(card);
}

}  // namespace zerva
