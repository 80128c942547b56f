// The registry: entries by view identity and flags, automatic text fields, and which views can
// be hidden now.

#include "occlusion/OcclusionTestSupport.h"
#include "platform/ObjCClass.h"

namespace zerva::testing {
namespace {

using SensitiveViewRegistry = OcclusionTest;

TEST_F(SensitiveViewRegistry, OneEntryPerViewAndFlagsAndARepeatIsOnlyLogged) {
  ZRLogUtility::setVerboseLoggingEnabled(true);
  auto view = addView(CGRectMake(0, 0, 10, 10));
  EXPECT_EQ(handler_->sensitiveViews(), nullptr) << "the registry is made by the first add";

  handler_->addSensitiveView(view, false);
  handler_->addSensitiveView(view, false);
  EXPECT_EQ(entryCount(), 1u);
  EXPECT_EQ(log_.count("Zerva: VVH: Already have a view"), 1u);

  handler_->addSensitiveView(view, true);
  handler_->addSensitiveView(view, true, false);
  EXPECT_EQ(entryCount(), 3u);

  // Remove takes every entry of the view, and every entry whose view has gone.
  auto other = addView(CGRectMake(0, 0, 10, 10));
  handler_->addSensitiveView(other, true);
  auto keeper = addView(CGRectMake(0, 0, 10, 10));
  handler_->addSensitiveView(keeper, false);
  other->removeFromSuperview();
  other.reset();
  handler_->removeSensitiveView(view);
  ASSERT_EQ(entryCount(), 1u);
  EXPECT_EQ(handler_->sensitiveViews()->front().viewRef->weakReference(), keeper);
}

TEST_F(SensitiveViewRegistry, TextFieldsAreRegisteredByThemselvesOnlyWhereTheyShow) {
  auto secure = addView<UITextField>(CGRectMake(0, 0, 100, 30));
  secure->setSecureTextEntry(true);
  auto plain = addView<UITextField>(CGRectMake(0, 40, 100, 30));
  auto hiddenParent = addView(CGRectMake(0, 80, 100, 100));
  hiddenParent->setHidden(true);
  auto hiddenSecure = addView<UITextField>(CGRectMake(0, 0, 100, 30), hiddenParent);
  hiddenSecure->setSecureTextEntry(true);

  handler_->refreshAutoOccludedViews();
  auto active = handler_->listOfActiveSensitiveViews();
  EXPECT_TRUE(contains(active, secure));
  EXPECT_FALSE(contains(active, plain)) << "plain fields only while all text fields are hidden";
  EXPECT_EQ(entryCount(), 1u) << "a field under a hidden ancestor is not registered";
  EXPECT_TRUE(handler_->listOfActiveSensitiveViews(true).empty()) << "automatic entries never block gestures";

  handler_->setOccludeAllTextFields(true);
  handler_->refreshAutoOccludedViews();
  EXPECT_TRUE(contains(handler_->listOfActiveSensitiveViews(), plain));

  // A manual entry of an automatic view survives the refresh; the automatic ones follow the flag.
  handler_->addSensitiveView(plain, true);
  handler_->setOccludeAllTextFields(false);
  handler_->refreshAutoOccludedViews();
  EXPECT_EQ(entryCount(), 2u);
  EXPECT_TRUE(contains(handler_->listOfActiveSensitiveViews(true), plain));

  // Nothing from a window that is transparent or not opaque.
  for (int variant = 0; variant < 2; ++variant) {
    window_->setAlpha(variant == 0 ? 0.0 : 1.0);
    window_->setOpaque(variant == 0);
    handler_->refreshAutoOccludedViews();
    EXPECT_EQ(entryCount(), 1u) << "variant " << variant;
  }
}

TEST_F(SensitiveViewRegistry, OnlyViewsThatCanBeHiddenNowAreActiveAndStayRegistered) {
  EXPECT_TRUE(handler_->listOfActiveSensitiveViews().empty());
  EXPECT_TRUE(handler_->listOfOccludedDictionaries(false).empty());

  auto view = addView(CGRectMake(10, 10, 50, 50));
  handler_->addSensitiveView(view, false);
  view->setAlpha(0);
  EXPECT_TRUE(handler_->listOfActiveSensitiveViews().empty());
  view->setAlpha(0.5);
  view->removeFromSuperview();
  EXPECT_TRUE(handler_->listOfActiveSensitiveViews().empty());
  EXPECT_EQ(entryCount(), 1u);
  root_->view()->addSubview(view);
  EXPECT_TRUE(contains(handler_->listOfActiveSensitiveViews(), view));

  auto dictionaries = handler_->listOfOccludedDictionaries(false);
  ASSERT_EQ(dictionaries.size(), 1u);
  EXPECT_EQ(dictionaries[0].viewWindow->weakReference(), window_);

  // Hidden counts, except for the SwiftUI host view class (known only by name at run time).
  view->setHidden(true);
  EXPECT_TRUE(handler_->listOfActiveSensitiveViews().empty());
  Class hostClass = ObjCClass::registerClass("ZervaSwiftUI.ZervaOccludedUIView", UIView::class_());
  ASSERT_NE(hostClass, nullptr);
  auto host = std::static_pointer_cast<UIView>(hostClass->createInstance());
  root_->view()->addSubview(host);
  host->setHidden(true);
  handler_->addSensitiveView(host, false);
  EXPECT_TRUE(contains(handler_->listOfActiveSensitiveViews(), host));

  // A listing prunes entries whose view has gone.
  host->removeFromSuperview();
  host.reset();
  handler_->listOfOccludedDictionaries(false);
  EXPECT_EQ(entryCount(), 1u);
}

}  // namespace
}  // namespace zerva::testing
