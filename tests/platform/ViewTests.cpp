#include <gtest/gtest.h>

#include "platform/ObjCClass.h"
#include "platform/UIApplication.h"
#include "platform/UILabel.h"
#include "platform/UIScreen.h"
#include "platform/UIScrollView.h"
#include "platform/UITextField.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"

namespace zerva {
namespace {

class ViewTest : public ::testing::Test {
 protected:
  void SetUp() override { UIApplication::resetSharedApplication(); }
};

TEST_F(ViewTest, WeakLinksReadAsNoneOnceTheObjectIsGone) {
  auto parent = std::make_shared<UIView>(CGRectMake(0, 0, 100, 100));
  auto child = std::make_shared<UIView>(CGRectMake(10, 10, 10, 10));
  parent->addSubview(child);
  std::weak_ptr<UIView> weakParent = parent;
  std::weak_ptr<CALayer> weakLayer = child->layer();
  ASSERT_EQ(child->superview(), parent);
  ASSERT_EQ(child->layer()->superlayer(), parent->layer());

  parent.reset();
  EXPECT_TRUE(weakParent.expired());
  EXPECT_EQ(child->superview(), nullptr);  // the child outlived its parent

  auto layer = child->layer();
  child.reset();
  EXPECT_EQ(layer->delegate(), nullptr);  // the layer outlived its view
  layer.reset();
  EXPECT_TRUE(weakLayer.expired());
}

TEST_F(ViewTest, HierarchyKeepsViewsAndLayersInTheSameOrder) {
  auto window = std::make_shared<UIWindow>(CGRectMake(0, 0, 390, 844));
  auto a = std::make_shared<UIView>(), b = std::make_shared<UIView>(), c = std::make_shared<UIView>();
  window->addSubview(a);
  window->addSubview(c);
  window->insertSubview(b, 1);
  ASSERT_EQ(window->subviews(), (std::vector<std::shared_ptr<UIView>>{a, b, c}));
  EXPECT_EQ(window->layer()->sublayers(), (std::vector<std::shared_ptr<CALayer>>{a->layer(), b->layer(), c->layer()}));
  EXPECT_EQ(c->window(), window);
  EXPECT_EQ(window->window(), window);

  b->addSubview(c);  // moving a view takes it out of its old superview
  EXPECT_EQ(window->subviews().size(), 2u);
  EXPECT_TRUE(c->isDescendantOfView(window));
  EXPECT_TRUE(c->isDescendantOfView(c));
  EXPECT_FALSE(a->isDescendantOfView(b));
  c->removeFromSuperview();
  EXPECT_EQ(c->window(), nullptr);
  EXPECT_TRUE(b->layer()->sublayers().empty());
}

TEST_F(ViewTest, ApplicationWindowsKeyWindowAndRootController) {
  auto app = UIApplication::sharedApplication();
  auto back = std::make_shared<UIWindow>(UIScreen::mainScreen()->bounds());
  auto front = std::make_shared<UIWindow>(UIScreen::mainScreen()->bounds());
  EXPECT_TRUE(back->isHidden());  // windows start hidden, as on the device
  back->makeKeyAndVisible();
  front->makeKeyAndVisible();
  EXPECT_EQ(app->windows(), (std::vector<std::shared_ptr<UIWindow>>{back, front}));
  EXPECT_TRUE(front->isKeyWindow());
  EXPECT_FALSE(back->isKeyWindow());

  auto home = std::make_shared<UIViewController>();
  EXPECT_EQ(home->viewIfLoaded(), nullptr);
  front->setRootViewController(home);
  ASSERT_NE(home->viewIfLoaded(), nullptr);
  EXPECT_EQ(home->view()->window(), front);
  EXPECT_EQ(home->view()->frame(), front->bounds());

  app->removeWindow(front);
  EXPECT_EQ(app->keyWindow(), nullptr);
}

TEST_F(ViewTest, PresentedControllersJoinTheWindowAndLeaveOnDismiss) {
  auto window = std::make_shared<UIWindow>(UIScreen::mainScreen()->bounds());
  window->makeKeyAndVisible();
  auto root = std::make_shared<UIViewController>();
  window->setRootViewController(root);
  auto sheet = std::make_shared<UIViewController>();
  sheet->setModalPresentationStyle(UIModalPresentationFormSheet);
  auto alert = std::make_shared<UIViewController>();

  root->presentViewController(sheet);
  sheet->presentViewController(alert);
  EXPECT_EQ(root->presentedViewController(), sheet);
  EXPECT_EQ(alert->presentingViewController(), sheet);
  EXPECT_EQ(sheet->view()->window(), window);
  EXPECT_EQ(window->subviews().back(), alert->view());

  sheet->dismissViewController();  // dismisses the alert it presents
  EXPECT_EQ(sheet->presentedViewController(), nullptr);
  EXPECT_EQ(root->presentedViewController(), sheet);
  root->dismissViewController();
  EXPECT_EQ(root->presentedViewController(), nullptr);
  EXPECT_EQ(sheet->presentingViewController(), nullptr);
  EXPECT_EQ(sheet->view()->window(), nullptr);
  EXPECT_EQ(window->subviews().size(), 1u);
}

TEST_F(ViewTest, ClassesAreFoundByNameAndCanBeDeclaredAtRunTime) {
  EXPECT_EQ(NSClassFromString("UITextField"), UITextField::class_());
  EXPECT_EQ(NSClassFromString("AVPlayerLayer")->superclass(), CALayer::class_());
  EXPECT_EQ(NSClassFromString("ZervaSwiftUI.ZervaOccludedUIView"), nullptr);

  Class occluded = ObjCClass::registerClass("ZervaSwiftUI.ZervaOccludedUIView", UIView::class_());
  ASSERT_NE(occluded, nullptr);
  EXPECT_EQ(NSClassFromString("ZervaSwiftUI.ZervaOccludedUIView"), occluded);
  EXPECT_EQ(ObjCClass::registerClass("ZervaSwiftUI.ZervaOccludedUIView", UIView::class_()), occluded);
  EXPECT_EQ(ObjCClass::registerClass("ZervaSwiftUI.ZervaOccludedUIView", UILabel::class_()), nullptr);

  auto view = std::dynamic_pointer_cast<UIView>(occluded->createInstance());
  ASSERT_NE(view, nullptr);
  EXPECT_TRUE(view->isKindOfClass(occluded));
  EXPECT_TRUE(view->isKindOfClass(UIView::class_()));
  EXPECT_FALSE(std::make_shared<UIView>()->isKindOfClass(occluded));
  EXPECT_EQ(view->description().rfind("<ZervaSwiftUI.ZervaOccludedUIView: 0x", 0), 0u);
}

TEST_F(ViewTest, ScrollAndWebViewsExposeWhatTheCaptureCodeReads) {
  auto scroll = std::make_shared<UIScrollView>(CGRectMake(0, 0, 100, 100));
  EXPECT_FALSE(scroll->valueForKey("zoomAnimating")->boolValue());
  scroll->setZoomAnimating(true);
  EXPECT_TRUE(scroll->valueForKey("zoomAnimating")->boolValue());
  EXPECT_FALSE(scroll->valueForKey("noSuchKey").has_value());

  auto container = std::make_shared<UIView>(CGRectMake(0, 0, 390, 844));
  auto web = std::make_shared<WKWebView>(CGRectMake(0, 100, 390, 600));
  container->addSubview(web);
  ASSERT_EQ(web->subviews().size(), 1u);
  EXPECT_EQ(web->subviews()[0], web->scrollView());
  EXPECT_EQ(web->scrollView()->superview(), web);
  EXPECT_EQ(web->scrollView()->frame(), CGRectMake(0, 0, 390, 600));

  auto field = std::make_shared<UITextField>();
  EXPECT_FALSE(field->isSecureTextEntry());
  EXPECT_FALSE(field->isOpaque());
  EXPECT_TRUE(std::make_shared<UIView>()->isOpaque());
}

}  // namespace
}  // namespace zerva
