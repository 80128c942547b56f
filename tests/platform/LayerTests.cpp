#include <gtest/gtest.h>

#include "platform/AVCaptureVideoPreviewLayer.h"
#include "platform/AVPlayerLayer.h"
#include "platform/CALayer.h"
#include "platform/CAMetalLayer.h"
#include "platform/ProcessClock.h"
#include "platform/UIScrollView.h"
#include "platform/UIView.h"
#include "platform/UIWindow.h"

namespace zerva {
namespace {

// window (screen origin 0,0) > scroll view at (0, 100) scrolled by (0, 300) > cell at (20, 400)
struct ScrolledTree {
  std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRectMake(0, 0, 390, 844));
  std::shared_ptr<UIScrollView> scroll = std::make_shared<UIScrollView>(CGRectMake(0, 100, 390, 600));
  std::shared_ptr<UIView> cell = std::make_shared<UIView>(CGRectMake(20, 400, 100, 40));

  ScrolledTree() {
    window->addSubview(scroll);
    scroll->addSubview(cell);
    scroll->setContentOffset({0, 300});
  }
};

TEST(LayerGeometry, FrameFollowsPositionAndBoundsAroundTheCentre) {
  CALayer layer;
  layer.setFrame(CGRectMake(10, 20, 100, 50));
  EXPECT_EQ(layer.position(), CGPointMake(60, 45));
  EXPECT_EQ(layer.bounds(), CGRectMake(0, 0, 100, 50));
  layer.setBounds(CGRectMake(5, 5, 200, 50));  // growing about the centre
  EXPECT_EQ(layer.frame(), CGRectMake(-40, 20, 200, 50));
}

TEST(LayerConversion, ScrollOffsetMovesSublayersAndWindowsMeetInScreenSpace) {
  ScrolledTree t;
  const auto windowLayer = t.window->layer();
  EXPECT_EQ(t.cell->layer()->convertRect(t.cell->bounds(), windowLayer), CGRectMake(20, 200, 100, 40));
  // And back.
  EXPECT_EQ(windowLayer->convertRect(CGRectMake(20, 200, 100, 40), t.cell->layer()), CGRectMake(0, 0, 100, 40));

  // A second window lower on the screen: the cell lies 500 points above its origin.
  auto other = std::make_shared<UIWindow>(CGRectMake(0, 500, 390, 344));
  EXPECT_EQ(t.cell->layer()->convertRect(t.cell->bounds(), other->layer()), CGRectMake(20, -300, 100, 40));
  // A layer's own bounds origin offsets its own content.
  EXPECT_EQ(t.scroll->layer()->convertRect(CGRectMake(0, 300, 10, 10), windowLayer), CGRectMake(0, 100, 10, 10));
}

TEST(PresentationLayer, ShowsTheInFlightPositionOnlyWhileAnAnimationRuns) {
  ScopedManualClock clock;
  ScrolledTree t;
  EXPECT_EQ(t.cell->layer()->presentationLayer(), nullptr);
  EXPECT_TRUE(t.scroll->layer()->animationKeys().empty());

  t.scroll->setContentOffset({0, 500}, 0.5);  // model jumps to 500, screen travels from 300
  ASSERT_EQ(t.scroll->layer()->animationKeys(), std::vector<std::string>{"bounds.origin"});
  EXPECT_EQ(t.cell->layer()->convertRect(t.cell->bounds(), t.window->layer()).origin.y, 0);

  clock.advance(0.25);
  // The cell itself is not animating, but its superlayer is: its presentation copy is in flight.
  auto p = t.cell->layer()->presentationLayer();
  ASSERT_NE(p, nullptr);
  EXPECT_NEAR(p->convertRect(t.cell->bounds(), t.window->layer()).origin.y, 100, 1e-9);
  EXPECT_EQ(p->modelLayer(), t.cell->layer());
  EXPECT_EQ(p->delegate(), t.cell);

  clock.advance(0.25);
  EXPECT_EQ(t.cell->layer()->presentationLayer(), nullptr);
  EXPECT_TRUE(t.scroll->layer()->animationKeys().empty());
}

TEST(PresentationLayer, AnimatesPositionAndOpacityOfTheLayerItself) {
  ScopedManualClock clock;
  auto layer = std::make_shared<CALayer>();
  layer->setFrame(CGRectMake(0, 0, 10, 10));
  auto move = CABasicAnimation::animationWithKeyPath("position");
  move.setFromValue(CGPointMake(5, 5));
  move.setToValue(CGPointMake(105, 5));
  move.setDuration(1.0);
  layer->addAnimation(move, "move");
  auto fade = CABasicAnimation::animationWithKeyPath("opacity");
  fade.setFromValue(1.0);
  fade.setToValue(0.0);
  fade.setDuration(2.0);
  layer->addAnimation(fade, "fade");
  clock.advance(0.5);
  auto p = layer->presentationLayer();
  ASSERT_NE(p, nullptr);
  EXPECT_NEAR(p->frame().origin.x, 50, 1e-9);
  EXPECT_NEAR(p->opacity(), 0.75, 1e-6);
  EXPECT_EQ(layer->position(), CGPointMake(5, 5));  // the model is untouched
  clock.advance(1.0);
  EXPECT_EQ(layer->animationKeys(), std::vector<std::string>{"fade"});
}

TEST(LayerKinds, KindTestsCountSubclassesAndRunTimeClasses) {
  auto player = std::make_shared<AVPlayerLayer>();
  EXPECT_TRUE(player->isKindOfClass(AVPlayerLayer::class_()));
  EXPECT_TRUE(player->isKindOfClass(CALayer::class_()));
  EXPECT_FALSE(player->isKindOfClass(AVCaptureVideoPreviewLayer::class_()));
  EXPECT_FALSE(std::make_shared<CALayer>()->isKindOfClass(CAMetalLayer::class_()));

  // A player layer subclass declared at run time is still a player layer.
  Class custom = ObjCClass::registerClass("AppVideoLayer", AVPlayerLayer::class_());
  ASSERT_NE(custom, nullptr);
  auto view = std::make_shared<UIView>(CGRectMake(0, 0, 10, 10), custom);
  EXPECT_TRUE(view->layer()->isKindOfClass(AVPlayerLayer::class_()));
  EXPECT_TRUE(view->layer()->isMemberOfClass(custom));
  EXPECT_EQ(NSStringFromClass(view->layer()->getClass()), "AppVideoLayer");
  EXPECT_EQ(view->layer()->delegate(), view);
}

}  // namespace
}  // namespace zerva
