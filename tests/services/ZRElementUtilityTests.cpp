#include <gtest/gtest.h>

#include "platform/UITextField.h"
#include "services/ZRElementUtility.h"
#include "services/ServicesTestSupport.h"

namespace zerva {
namespace {

using testing::ServicesTest;

TEST_F(ServicesTest, SecureTextInputIsKnownByItsField) {
  auto field = std::make_shared<UITextField>();
  EXPECT_FALSE(ZRElementUtility::isTextInputSecure(field));
  field->setSecureTextEntry(true);
  EXPECT_TRUE(ZRElementUtility::isTextInputSecure(field));
  EXPECT_FALSE(ZRElementUtility::isTextInputSecure(nullptr));
}

}  // namespace
}  // namespace zerva
