#include <gtest/gtest.h>

#include "platform/ProcessClock.h"
#include "services/ZRHeatTimeHandler.h"
#include "services/ServicesTestSupport.h"

namespace zerva {
namespace {

using testing::ServicesTest;

TEST_F(ServicesTest, ScreenTrackerCountsHeatTimeAndManualTags) {
  ScopedManualClock clock;
  auto tracker = std::make_shared<ZRHeatTimeHandler>();
  tracker->setCurrentScreenName("Home");
  clock.advance(2);
  tracker->setCurrentScreenName("Detail");
  clock.advance(1);
  EXPECT_DOUBLE_EQ(tracker->heatTimeForScreen("Home"), 2);
  EXPECT_DOUBLE_EQ(tracker->heatTimeForScreen("Detail"), 1);
  tracker->reset();
  EXPECT_DOUBLE_EQ(tracker->heatTimeForScreen("Home"), 0);
  EXPECT_EQ(tracker->currentScreenName(), "Detail");

  auto detail = tracker->vcDetail();
  detail->tagScreenManually("Cart");
  detail->tagScreenManually("Pay");
  EXPECT_EQ(detail->manualTaggedScreenName(), "Pay");
  EXPECT_EQ(detail->manualTaggedPreviousScreen(), "Cart");
}

}  // namespace
}  // namespace zerva
