#include <gtest/gtest.h>

#include "platform/ProcessClock.h"
#include "platform/UIApplication.h"
#include "platform/UIWindow.h"
#include "services/ZRKeyboardUtility.h"
#include "services/ServicesTestSupport.h"

namespace zerva {
namespace {

using testing::ServicesTest;

TEST_F(ServicesTest, KeyboardFrameLandsInAWindowAwayFromTheScreenOrigin) {
  ScopedManualClock clock;
  auto window = std::make_shared<UIWindow>(CGRectMake(0, 100, 390, 744));  // below a 100-point banner
  ZRKeyboardUtility keyboard;
  EXPECT_EQ(keyboard.keyboardFrameInWindow(window), CGRectZero);
  UIApplication::sharedApplication()->keyboard().show(CGRectMake(0, 508, 390, 336), 0.25);
  EXPECT_TRUE(keyboard.isKeyboardVisible());
  EXPECT_TRUE(keyboard.isKeyboardFrameChanging());
  clock.advance(0.3);
  EXPECT_FALSE(keyboard.isKeyboardFrameChanging());
  EXPECT_EQ(keyboard.keyboardFrameInWindow(window), CGRectMake(0, 408, 390, 336));
  EXPECT_EQ(keyboard.keyboardFrameInWindow(nullptr), CGRectZero);
}

}  // namespace
}  // namespace zerva
