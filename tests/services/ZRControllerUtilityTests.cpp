#include <gtest/gtest.h>

#include "platform/UINavigationController.h"
#include "platform/UIScreen.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"
#include "services/ZRControllerUtility.h"
#include "services/ServicesTestSupport.h"

namespace zerva {
namespace {

using testing::ServicesTest;

TEST_F(ServicesTest, TopControllerFollowsPresentedNavigationAndChildControllers) {
  auto window = std::make_shared<UIWindow>(UIScreen::mainScreen()->bounds());
  window->makeKeyAndVisible();
  auto container = std::make_shared<UIViewController>();
  window->setRootViewController(container);
  auto hiddenChild = std::make_shared<UIViewController>();
  auto nav = std::make_shared<UINavigationController>();
  container->addChildViewController(nav);
  container->view()->addSubview(nav->view());
  container->addChildViewController(hiddenChild);  // later, but its view is not on screen
  auto list = std::make_shared<UIViewController>();
  auto detail = std::make_shared<UIViewController>();
  nav->pushViewController(list);
  nav->pushViewController(detail);
  EXPECT_EQ(ZRControllerUtility::topViewControllerWithRootViewController(container), detail);

  auto sheet = std::make_shared<UIViewController>();
  sheet->setModalPresentationStyle(UIModalPresentationFormSheet);
  detail->presentViewController(sheet);
  EXPECT_EQ(ZRControllerUtility::topViewControllerWithRootViewController(container), sheet);
  EXPECT_TRUE(ZRControllerUtility::isControllerPresentedInNonFullScreenMode(sheet));
  EXPECT_FALSE(ZRControllerUtility::isControllerPresentedInNonFullScreenMode(detail));  // not presented
  sheet->setModalPresentationStyle(UIModalPresentationFullScreen);
  EXPECT_FALSE(ZRControllerUtility::isControllerPresentedInNonFullScreenMode(sheet));
  EXPECT_EQ(ZRControllerUtility::topViewControllerWithRootViewController(nullptr), nullptr);
}

TEST_F(ServicesTest, WebViewSearchStopsAtItsDepthBound) {
  auto root = std::make_shared<UIView>();
  auto parent = root;
  for (int depth = 1; depth <= 3; ++depth) {
    auto next = std::make_shared<UIView>();
    parent->addSubview(next);
    parent = next;
  }
  auto web = std::make_shared<WKWebView>();
  parent->addSubview(web);  // at depth 4
  EXPECT_EQ(ZRControllerUtility::webViewinView(root, 4), web);
  EXPECT_EQ(ZRControllerUtility::webViewinView(root, 3), nullptr);
  EXPECT_EQ(ZRControllerUtility::webViewinView(root, 15), web);
  EXPECT_EQ(ZRControllerUtility::webViewinView(nullptr, 15), nullptr);
}

}  // namespace
}  // namespace zerva
