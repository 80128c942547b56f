#include "scene/ScenePlayer.h"

#include <algorithm>

#include "platform/NSLog.h"
#include "platform/NSProcessInfo.h"
#include "platform/NSRunLoop.h"
#include "platform/NSTimer.h"
#include "platform/ProcessClock.h"
#include "platform/UIAlertView.h"
#include "platform/UIApplication.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImageView.h"
#include "platform/UILabel.h"
#include "platform/UIScreen.h"
#include "platform/UIScrollView.h"
#include "platform/UITextField.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"
#include "scene/SceneImages.h"
#include "services/ZRControllerUtility.h"

namespace zerva {

namespace {

// Room a sheet leaves above it, as the platform's page sheets do.
constexpr double kSheetTopInset = 54;

// Labels and text fields share their text settings.
template <class TextView>
void applyText(TextView& view, const SceneViewDescription& desc) {
  view.setText(desc.text);
  view.setFont(desc.bold ? UIFont::boldSystemFontOfSize(desc.fontSize) : UIFont::systemFontOfSize(desc.fontSize));
  if (desc.textColor) view.setTextColor(*desc.textColor);
  view.setTextAlignment(desc.alignment);
}

std::shared_ptr<UIView> makeView(const SceneViewDescription& desc) {
  switch (desc.kind) {
    case SceneViewKind::Label: {
      auto label = std::make_shared<UILabel>(desc.frame);
      applyText(*label, desc);
      label->setNumberOfLines(desc.lines);
      return label;
    }
    case SceneViewKind::TextField: {
      auto field = std::make_shared<UITextField>(desc.frame);
      applyText(*field, desc);
      field->setHint(desc.hint);
      field->setSecureTextEntry(desc.secure);
      return field;
    }
    case SceneViewKind::ImageView: {
      auto imageView = std::make_shared<UIImageView>(desc.frame);
      if (desc.image) imageView->setImage(SceneMakeImage(*desc.image));
      return imageView;
    }
    case SceneViewKind::ScrollView: {
      auto scroll = std::make_shared<UIScrollView>(desc.frame);
      scroll->setContentSize(desc.contentSize.value_or(desc.frame.size));
      scroll->setContentOffset(desc.contentOffset);
      return scroll;
    }
    case SceneViewKind::WebView: {
      auto web = std::make_shared<WKWebView>(desc.frame);
      if (desc.page) web->loadPage(*desc.page);
      return web;
    }
    case SceneViewKind::Alert:
      return std::make_shared<UIAlertView>(desc.frame);
    case SceneViewKind::View:
      break;
  }
  return std::make_shared<UIView>(desc.frame);
}

}  // namespace

ScenePlayer::ScenePlayer(Scene scene) : scene_(std::move(scene)) {}

ScenePlayer::~ScenePlayer() { stop(); }

std::shared_ptr<UIView> ScenePlayer::build(const SceneViewDescription& desc) {
  auto view = makeView(desc);
  if (desc.background) view->setBackgroundColor(*desc.background);
  view->setAlpha(desc.alpha);
  view->setHidden(desc.hidden);
  view->setClipsToBounds(desc.clips || desc.kind == SceneViewKind::ScrollView);
  view->layer()->setCornerRadius(desc.cornerRadius);
  view->layer()->setZPosition(desc.zPosition);
  if (!desc.name.empty()) views_[desc.name] = view;
  // A web view's page lives in its scroll view; other children go into the view itself.
  std::shared_ptr<UIView> container = view;
  if (auto web = std::dynamic_pointer_cast<WKWebView>(view)) container = web->scrollView();
  for (const auto& child : desc.children) container->addSubview(build(child));
  return view;
}

void ScenePlayer::start(NSRunLoop& runLoop) {
  stop();
  runLoop_ = &runLoop;
  UIApplication::resetSharedApplication();
  UIScreen::setMainScreen(std::make_shared<UIScreen>(scene_.device.screen, scene_.device.scale));
  NSProcessInfo::processInfo().setOperatingSystemVersion({scene_.device.osMajor, scene_.device.osMinor, 0});
  UIApplication::sharedApplication()->setStatusBarOrientation(scene_.device.orientation);
  views_.clear();
  screens_.clear();
  windows_.clear();

  for (const auto& [name, desc] : scene_.screens) {
    auto controller = std::make_shared<UIViewController>();
    controller->setTitle(name);
    controller->setView(build(desc.view));
    controller->setModalPresentationStyle(desc.presentation);
    controller->setPreferredContentSize(desc.preferredContentSize);
    screens_[name] = controller;
  }
  auto app = UIApplication::sharedApplication();
  const CGRect screenBounds = UIScreen::mainScreen()->bounds();
  std::shared_ptr<UIWindow> key;
  for (const auto& desc : scene_.windows) {
    auto window = std::make_shared<UIWindow>(desc.frame.value_or(screenBounds));
    window->setHidden(desc.hidden);
    window->setAlpha(desc.alpha);
    window->setOpaque(desc.opaque);
    if (desc.background) window->setBackgroundColor(*desc.background);
    if (!desc.root.empty()) {
      window->setRootViewController(screens_.at(desc.root));
      if (screenHandler_) screenHandler_(desc.root, true);
    }
    app->addWindow(window);
    windows_[desc.name] = window;
    if (desc.key || (!key && !desc.hidden)) key = window;
  }
  if (key) app->setKeyWindow(key);

  startTime_ = CACurrentMediaTime();
  for (const auto& event : scene_.timeline) {
    const SceneEvent* e = &event;
    after(event.at, [this, e] { apply(*e); });
  }
}

void ScenePlayer::stop() {
  for (auto& t : timers_) t->invalidate();
  timers_.clear();
}

void ScenePlayer::after(double seconds, std::function<void()> action) {
  if (!runLoop_) return;
  const double due = std::max(0.0, startTime_ + seconds - CACurrentMediaTime());
  auto timer = NSTimer::timerWithTimeInterval(due, false, [action = std::move(action)](NSTimer&) { action(); });
  runLoop_->addSource(timer, NSRunLoopCommonModes);
  timers_.push_back(timer);
}

std::shared_ptr<UIView> ScenePlayer::viewNamed(const std::string& name) const {
  auto it = views_.find(name);
  return it == views_.end() ? nullptr : it->second.lock();
}

std::shared_ptr<UIViewController> ScenePlayer::screenNamed(const std::string& name) const {
  auto it = screens_.find(name);
  return it == screens_.end() ? nullptr : it->second;
}

std::shared_ptr<UIWindow> ScenePlayer::windowNamed(const std::string& name) const {
  auto it = windows_.find(name);
  return it == windows_.end() ? nullptr : it->second;
}

std::shared_ptr<UIWindow> ScenePlayer::targetWindow(const std::string& name) const {
  if (!name.empty()) return windowNamed(name);
  return UIApplication::sharedApplication()->keyWindow();
}

void ScenePlayer::show(const SceneEvent& event) {
  auto window = targetWindow(event.window);
  auto controller = screenNamed(event.screen);
  if (!window || !controller) return;
  if (auto old = window->rootViewController()) {
    // What the old root presented goes with it, the topmost first.
    reportGone(presentedAbove(old));
    old->dismissViewController();
    if (screenHandler_ && old != controller) screenHandler_(old->title(), false);
  }
  window->setRootViewController(controller);
  if (screenHandler_) screenHandler_(event.screen, true);
}

std::vector<std::shared_ptr<UIViewController>> ScenePlayer::presentedAbove(
    const std::shared_ptr<UIViewController>& controller) {
  std::vector<std::shared_ptr<UIViewController>> chain;
  for (auto c = controller->presentedViewController(); c; c = c->presentedViewController()) chain.push_back(c);
  std::reverse(chain.begin(), chain.end());
  return chain;
}

void ScenePlayer::reportGone(const std::vector<std::shared_ptr<UIViewController>>& controllers) {
  if (!screenHandler_) return;
  for (const auto& c : controllers) screenHandler_(c->title(), false);
}

void ScenePlayer::present(const SceneEvent& event) {
  auto window = targetWindow(event.window);
  auto controller = screenNamed(event.screen);
  if (!window || !controller || controller->presentingViewController()) return;
  auto top = ZRControllerUtility::topViewControllerWithRootViewController(window->rootViewController());
  if (!top) return;
  const CGRect bounds = window->bounds();
  CGRect frame = bounds;
  const CGSize preferred = controller->preferredContentSize();
  switch (controller->modalPresentationStyle()) {
    case UIModalPresentationPageSheet:
    case UIModalPresentationFormSheet:
      frame = preferred.width > 0 ? CGRectMake(bounds.origin.x + (bounds.size.width - preferred.width) / 2,
                                               CGRectGetMaxY(bounds) - preferred.height, preferred.width, preferred.height)
                                  : CGRectMake(0, kSheetTopInset, bounds.size.width, bounds.size.height - kSheetTopInset);
      break;
    case UIModalPresentationPopover:
    case UIModalPresentationCustom:
      if (preferred.width > 0) {
        frame = CGRectMake((bounds.size.width - preferred.width) / 2, (bounds.size.height - preferred.height) / 2,
                           preferred.width, preferred.height);
      }
      break;
    default:
      break;
  }
  controller->view()->setFrame(frame);
  top->presentViewController(controller);
  if (screenHandler_) screenHandler_(event.screen, true);
}

void ScenePlayer::rotate(UIInterfaceOrientation orientation) {
  const CGRect before = UIScreen::mainScreen()->bounds();
  UIApplication::sharedApplication()->setStatusBarOrientation(orientation);
  const CGRect after = UIScreen::mainScreen()->bounds();
  for (const auto& window : UIApplication::sharedApplication()->windows()) {
    if (window->frame() != before) continue;  // only windows that fill the screen turn with it
    window->setFrame(after);
    if (auto root = window->rootViewController()) root->view()->setFrame(window->bounds());
    for (auto presented = window->rootViewController() ? window->rootViewController()->presentedViewController() : nullptr;
         presented; presented = presented->presentedViewController()) {
      if (presented->view()->frame() == before) presented->view()->setFrame(after);
    }
  }
}

void ScenePlayer::typeText(const std::shared_ptr<UIView>& view, const std::string& text, double duration) {
  auto field = std::dynamic_pointer_cast<UITextField>(view);
  if (!field) return;
  // One character at a time, spread over the duration.
  std::vector<std::string> characters;
  for (size_t i = 0; i < text.size();) {
    size_t n = 1;
    while (i + n < text.size() && (static_cast<unsigned char>(text[i + n]) & 0xC0) == 0x80) ++n;
    characters.push_back(text.substr(i, n));
    i += n;
  }
  if (characters.empty()) return;
  const double step = duration / characters.size();
  const double now = CACurrentMediaTime() - startTime_;
  std::weak_ptr<UITextField> weak = field;
  for (size_t i = 0; i < characters.size(); ++i) {
    auto add = [weak, c = characters[i]] {
      if (auto f = weak.lock()) f->setText(f->text() + c);
    };
    if (duration <= 0) {
      add();
    } else {
      after(now + step * i, add);
    }
  }
}

void ScenePlayer::apply(const SceneEvent& event) {
  auto view = viewNamed(event.view);
  switch (event.action) {
    case SceneAction::Show:
      show(event);
      break;
    case SceneAction::Present:
      present(event);
      break;
    case SceneAction::Dismiss:
      if (auto controller = screenNamed(event.screen); controller && controller->presentingViewController()) {
        // The named screen goes, with whatever it presented in turn; asked of the screen itself,
        // the platform would dismiss only what it presented.
        auto gone = presentedAbove(controller);
        gone.push_back(controller);
        controller->presentingViewController()->dismissViewController();
        reportGone(gone);
      }
      break;
    case SceneAction::Scroll: {
      auto scroll = std::dynamic_pointer_cast<UIScrollView>(view);
      if (auto web = std::dynamic_pointer_cast<WKWebView>(view)) scroll = web->scrollView();
      if (scroll) scroll->setContentOffset(*event.to, event.duration);
      break;
    }
    case SceneAction::Zoom: {
      auto scroll = std::dynamic_pointer_cast<UIScrollView>(view);
      if (auto web = std::dynamic_pointer_cast<WKWebView>(view)) scroll = web->scrollView();
      if (!scroll) break;
      if (event.duration <= 0) {
        scroll->setZoomScale(*event.scale);
        break;
      }
      scroll->setZooming(true);
      std::weak_ptr<UIScrollView> weak = scroll;
      after(event.at + event.duration, [weak, scale = *event.scale] {
        if (auto s = weak.lock()) {
          s->setZoomScale(scale);
          s->setZooming(false);
        }
      });
      break;
    }
    case SceneAction::Type:
      typeText(view, event.text, event.duration);
      break;
    case SceneAction::Keyboard: {
      auto& keyboard = UIApplication::sharedApplication()->keyboard();
      if (*event.show) {
        const CGRect screen = UIScreen::mainScreen()->bounds();
        keyboard.show(CGRectMake(0, screen.size.height - event.keyboardHeight, screen.size.width, event.keyboardHeight),
                      event.duration);
      } else {
        keyboard.hide(event.duration);
      }
      break;
    }
    case SceneAction::Rotate:
      rotate(event.orientation);
      break;
    case SceneAction::Set:
      if (!view) break;
      if (event.frame) view->setFrame(*event.frame);
      if (event.alpha) view->setAlpha(*event.alpha);
      if (event.hidden) view->setHidden(*event.hidden);
      if (event.background) view->setBackgroundColor(*event.background);
      if (event.newText) {
        if (auto label = std::dynamic_pointer_cast<UILabel>(view)) label->setText(*event.newText);
        if (auto field = std::dynamic_pointer_cast<UITextField>(view)) field->setText(*event.newText);
      }
      break;
    case SceneAction::Add:
      if (auto parent = viewNamed(event.parent); parent && event.addedView) {
        std::shared_ptr<UIView> container = parent;
        if (auto web = std::dynamic_pointer_cast<WKWebView>(parent)) container = web->scrollView();
        container->addSubview(build(*event.addedView));
      }
      break;
    case SceneAction::Remove:
      if (view) view->removeFromSuperview();
      break;
    case SceneAction::Page:
      if (auto web = std::dynamic_pointer_cast<WKWebView>(view); web && event.page) web->loadPage(*event.page);
      break;
    case SceneAction::Call:
      if (callHandler_ && event.call) callHandler_(*event.call);
      break;
  }
}

std::shared_ptr<UIImage> ScenePlayer::renderScreen(double scale) const {
  auto screen = UIScreen::mainScreen();
  UIGraphicsImageRendererFormat format;
  format.setScale(scale > 0 ? scale : screen->scale());
  format.setOpaque(true);
  const CGRect bounds = screen->bounds();
  return UIGraphicsImageRenderer(bounds.size, format).imageWithActions([&](UIGraphicsImageRendererContext& context) {
    CGContextRef c = context.CGContext();
    for (const auto& window : UIApplication::sharedApplication()->windows()) {
      if (window->isHidden() || !(window->alpha() > 0)) continue;
      window->drawViewHierarchyInRect(window->frame(), false);
    }
    const UIKeyboard& keyboard = UIApplication::sharedApplication()->keyboard();
    if (keyboard.isVisible() || keyboard.isAnimating()) {
      // The system keyboard: a grey panel with rows of keys.
      const CGRect k = keyboard.frame();
      CGContextSetRGBFillColor(c, 0.82, 0.83, 0.85, 1);
      CGContextFillRect(c, k);
      CGContextSetRGBFillColor(c, 1, 1, 1, 1);
      const double keyW = k.size.width / 10, keyH = std::min(42.0, k.size.height / 5);
      for (int row = 0; row < 4; ++row) {
        for (int col = 0; col < 10; ++col) {
          CGContextFillRect(c, CGRectMake(k.origin.x + col * keyW + 3, k.origin.y + 10 + row * (keyH + 12), keyW - 6, keyH));
        }
      }
    }
  });
}

}  // namespace zerva
