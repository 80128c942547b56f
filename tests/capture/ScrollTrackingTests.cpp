// Scroll tracking: movement found between checks, records made and dropped, zooming.

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/CALayer.h"
#include "platform/UIScrollView.h"
#include "platform/UIWindow.h"
#include "support/HandlerTestSupport.h"

namespace zerva::testing {
namespace {

using Records = std::vector<std::shared_ptr<ZRTrackedScrollViewDetailsHolder>>;

class ScrollTrackingTest : public HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    window_ = std::make_shared<UIWindow>(CGRectMake(0, 0, 390, 844));
    window_->makeKeyAndVisible();
  }

  void startTracking() { handler_->setTrackedScrollViews(std::make_shared<Records>()); }

  std::shared_ptr<UIScrollView> addScrollView(const std::shared_ptr<UIView>& parent, CGRect frame) {
    auto scrollView = std::make_shared<UIScrollView>(frame);
    parent->addSubview(scrollView);
    return scrollView;
  }

  const ZRTrackedScrollViewDetailsHolder* recordFor(const std::shared_ptr<UIScrollView>& scrollView) const {
    for (const auto& record : *handler_->trackedScrollViews()) {
      if (record->scrollView() == scrollView) return record.get();
    }
    return nullptr;
  }

  std::shared_ptr<UIWindow> window_;
};

TEST_F(ScrollTrackingTest, BeforeTrackingStartsNothingMovesAndNothingIsRecorded) {
  auto table = addScrollView(window_, CGRectMake(0, 0, 390, 600));
  EXPECT_FALSE(handler_->anyViewScrollingInHierarchy(window_));
  table->setContentOffset({0, 300});
  EXPECT_FALSE(handler_->anyViewScrollingInHierarchy(window_));
  EXPECT_FALSE(handler_->svContentOffsetHasChanged(table));
  EXPECT_EQ(handler_->trackedScrollViews(), nullptr);
  handler_->cleanupTrackedScrollviews();  // no set: nothing to do, nothing made
  EXPECT_EQ(handler_->trackedScrollViews(), nullptr);
}

TEST_F(ScrollTrackingTest, FirstSightIsTheReferenceThenOnlyRealMovesCount) {
  startTracking();
  auto table = addScrollView(window_, CGRectMake(0, 0, 390, 600));
  table->setContentOffset({0, 300});
  table->setZoomScale(1.25);

  EXPECT_FALSE(handler_->anyViewScrollingInHierarchy(window_));
  ASSERT_EQ(handler_->trackedScrollViews()->size(), 1u);
  const auto* record = recordFor(table);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->previousContentOffset(), (CGPoint{0, 300}));
  EXPECT_EQ(record->previousZoomScale(), 1.25);

  EXPECT_FALSE(handler_->anyViewScrollingInHierarchy(window_));
  table->setContentOffset({0, 310});
  EXPECT_TRUE(handler_->anyViewScrollingInHierarchy(window_));
  EXPECT_EQ(record->previousContentOffset(), (CGPoint{0, 310}));
  EXPECT_FALSE(handler_->anyViewScrollingInHierarchy(window_));

  // Zoom alone is a move; so is a sideways shift.
  table->setZoomScale(1.5);
  EXPECT_TRUE(handler_->anyViewScrollingInHierarchy(window_));
  EXPECT_EQ(record->previousZoomScale(), 1.5);
  table->setContentOffset({0.5, 310});
  EXPECT_TRUE(handler_->anyViewScrollingInHierarchy(window_));
  EXPECT_FALSE(handler_->anyViewScrollingInHierarchy(window_));
  EXPECT_EQ(handler_->trackedScrollViews()->size(), 1u);  // found again, never recorded twice
}

TEST_F(ScrollTrackingTest, WalkStopsAtTheFirstMoverAndReachesNestedScrollViews) {
  startTracking();
  auto container = std::make_shared<UIView>(CGRectMake(0, 0, 390, 844));
  window_->addSubview(container);
  auto outer = addScrollView(container, CGRectMake(0, 0, 390, 400));
  auto inner = addScrollView(outer, CGRectMake(0, 0, 390, 100));  // a carousel inside a list
  auto later = addScrollView(container, CGRectMake(0, 400, 390, 400));

  EXPECT_FALSE(handler_->anyViewScrollingInHierarchy(window_));
  ASSERT_EQ(handler_->trackedScrollViews()->size(), 3u);

  inner->setContentOffset({120, 0});
  later->setContentOffset({0, 50});
  EXPECT_TRUE(handler_->anyViewScrollingInHierarchy(window_));
  EXPECT_EQ(recordFor(inner)->previousContentOffset(), (CGPoint{120, 0}));
  EXPECT_EQ(recordFor(later)->previousContentOffset(), (CGPoint{0, 0}));  // not reached yet
  EXPECT_TRUE(handler_->anyViewScrollingInHierarchy(window_));              // now the later one
  EXPECT_EQ(recordFor(later)->previousContentOffset(), (CGPoint{0, 50}));
  EXPECT_FALSE(handler_->anyViewScrollingInHierarchy(window_));
}

TEST_F(ScrollTrackingTest, CleanupDropsOnlyRecordsOfScrollViewsThatAreGone) {
  startTracking();
  auto kept = addScrollView(window_, CGRectMake(0, 0, 390, 400));
  auto gone = addScrollView(window_, CGRectMake(0, 400, 390, 400));
  EXPECT_FALSE(handler_->anyViewScrollingInHierarchy(window_));
  ASSERT_EQ(handler_->trackedScrollViews()->size(), 2u);

  handler_->cleanupTrackedScrollviews();
  EXPECT_EQ(handler_->trackedScrollViews()->size(), 2u);

  // The record holds nothing strongly: the scroll view goes with its screen.
  gone->removeFromSuperview();
  std::weak_ptr<UIScrollView> weakGone = gone;
  gone.reset();
  ASSERT_TRUE(weakGone.expired());
  handler_->cleanupTrackedScrollviews();
  ASSERT_EQ(handler_->trackedScrollViews()->size(), 1u);
  EXPECT_EQ(handler_->trackedScrollViews()->front()->scrollView(), kept);

  // A layer whose view is gone counts as gone, even while the layer itself lives on.
  auto layerKeptAlive = kept->layer();
  kept->removeFromSuperview();
  kept.reset();
  handler_->cleanupTrackedScrollviews();
  EXPECT_TRUE(handler_->trackedScrollViews()->empty());
}

TEST_F(ScrollTrackingTest, ZoomingWhileAnyOfTheThreeSignalsIsOn) {
  EXPECT_FALSE(handler_->isScrollViewZooming(nullptr));
  auto scrollView = std::make_shared<UIScrollView>(CGRectMake(0, 0, 100, 100));
  EXPECT_FALSE(handler_->isScrollViewZooming(scrollView));
  scrollView->setZooming(true);  // mid-pinch
  EXPECT_TRUE(handler_->isScrollViewZooming(scrollView));
  scrollView->setZooming(false);
  scrollView->setZoomBouncing(true);
  EXPECT_TRUE(handler_->isScrollViewZooming(scrollView));
  scrollView->setZoomBouncing(false);
  scrollView->setZoomAnimating(true);
  EXPECT_TRUE(handler_->isScrollViewZooming(scrollView));
  scrollView->setZoomAnimating(false);
  EXPECT_FALSE(handler_->isScrollViewZooming(scrollView));
}

}  // namespace
}  // namespace zerva::testing
