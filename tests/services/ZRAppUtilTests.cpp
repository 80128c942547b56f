#include <gtest/gtest.h>

#include "platform/UIScreen.h"
#include "platform/UIWindow.h"
#include "services/ZRAppUtil.h"
#include "services/ServicesTestSupport.h"

namespace zerva {
namespace {

using testing::ServicesTest;

TEST_F(ServicesTest, PhoneAppOnATabletIsKnownByItsWindow) {
  EXPECT_FALSE(ZRAppUtil::iPadInPhoneMode());  // a phone
  UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSizeMake(820, 1180), 2.0));
  auto window = std::make_shared<UIWindow>(CGRectMake(0, 0, 390, 844));
  window->makeKeyAndVisible();
  EXPECT_TRUE(ZRAppUtil::iPadInPhoneMode());
  window->setFrame(CGRectMake(0, 0, 820, 1180));
  EXPECT_FALSE(ZRAppUtil::iPadInPhoneMode());
}

}  // namespace
}  // namespace zerva
