#include <gtest/gtest.h>

#include "platform/NSAttributedString.h"
#include "platform/ProcessClock.h"
#include "platform/UIAlertView.h"
#include "platform/UIApplication.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImageView.h"
#include "platform/UILabel.h"
#include "platform/UIScreen.h"
#include "platform/UIScrollView.h"
#include "platform/UITextField.h"
#include "platform/UIWindow.h"
#include "services/HVHierarchyScanner.h"

namespace zerva {
namespace {

std::shared_ptr<UIImage> smallImage() {
  return UIGraphicsImageRenderer({4, 4}).imageWithActions([](UIGraphicsImageRendererContext& c) {
    CGContextSetRGBFillColor(c.CGContext(), 1, 0, 0, 1);
    CGContextFillRect(c.CGContext(), CGRectMake(0, 0, 4, 4));
  });
}

// A phone screen with one of everything.
class ScannerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UIApplication::resetSharedApplication();
    window = std::make_shared<UIWindow>(UIScreen::mainScreen()->bounds());
    window->makeKeyAndVisible();
    window->setBackgroundColor(UIColor::whiteColor());
    label->setText("Balance");
    label->setAttributedText(std::make_shared<NSAttributedString>("Balance"));
    label->setTextColor(UIColor::blueColor());
    label->setNumberOfLines(2);
    password->setText("hunter2");
    password->setSecureTextEntry(true);
    email->setText("ann@example.com");
    image->setImage(smallImage());
    card->setClipsToBounds(true);
    card->layer()->setCornerRadius(12);
    card->setBackgroundColor(UIColor::lightGrayColor());
    card->addSubview(cardNumber);
    cardNumber->setText("4111 1111 1111 1111");
    hidden->setHidden(true);
    hidden->addSubview(std::make_shared<UILabel>(CGRectMake(0, 0, 10, 10)));
    transparent->setAlpha(0);
    for (auto v : std::vector<std::shared_ptr<UIView>>{label, password, email, image, card, hidden, transparent}) {
      window->addSubview(v);
    }
  }

  std::vector<HVHierarchyDictionary> scan(bool allTextFields, std::vector<std::shared_ptr<UIView>> sensitive = {}) {
    return HVHierarchyScanner(allTextFields).hierarchySnapshotFromWindow(nullptr, sensitive);
  }

  static const HVHierarchyDictionary& child(const HVHierarchyDictionary& d, size_t i) { return d.array(Zerva_HS_Key_Views)->at(i); }
  static CGRect rectOf(const HVHierarchyDictionary& d, const std::string& key) { return Zerva_rectFromFastStore(d.get(key)); }
  static bool carriesContent(const HVHierarchyDictionary& d) {
    auto title = d.dictionary(Zerva_HS_Key_ViewTitle);
    return d.contains(Zerva_HS_Key_DirectImage) || d.contains(Zerva_HS_Key_Views) ||
           (title && (title->contains(Zerva_HS_Key_ViewTitle_Text) || title->contains(Zerva_HS_Key_ViewTitle_AttrText)));
  }

  std::shared_ptr<UIWindow> window;
  std::shared_ptr<UILabel> label = std::make_shared<UILabel>(CGRectMake(10, 10, 200, 40));
  std::shared_ptr<UITextField> password = std::make_shared<UITextField>(CGRectMake(10, 60, 200, 40));
  std::shared_ptr<UITextField> email = std::make_shared<UITextField>(CGRectMake(10, 110, 200, 40));
  std::shared_ptr<UIImageView> image = std::make_shared<UIImageView>(CGRectMake(10, 160, 40, 40));
  std::shared_ptr<UIView> card = std::make_shared<UIView>(CGRectMake(10, 210, 300, 100));
  std::shared_ptr<UILabel> cardNumber = std::make_shared<UILabel>(CGRectMake(20, 80, 400, 40));
  std::shared_ptr<UIView> hidden = std::make_shared<UIView>(CGRectMake(0, 0, 50, 50));
  std::shared_ptr<UIView> transparent = std::make_shared<UIView>(CGRectMake(0, 0, 50, 50));
};

TEST_F(ScannerTest, DescribesWhatTheDrawingNeedsAndNothingOfSensitiveViews) {
  const auto roots = scan(false);
  ASSERT_EQ(roots.size(), 1u);
  const auto& root = roots[0];
  EXPECT_EQ(rectOf(root, Zerva_HS_Key_ScreenRect), UIScreen::mainScreen()->bounds());
  EXPECT_TRUE(root.typeTag(Zerva_HS_Key_IsTypeOf)->is(Zerva_HS_KeyTypeOf_Window));
  ASSERT_EQ(root.array(Zerva_HS_Key_Views)->size(), 5u);  // hidden and transparent views left out

  const auto& l = child(root, 0);
  EXPECT_TRUE(l.typeTag(Zerva_HS_Key_IsTypeOf)->is(Zerva_HS_KeyTypeOf_Label));
  EXPECT_FALSE(l.typeTag(Zerva_HS_Key_IsTypeOf)->is(Zerva_HS_KeyTypeOf_TextField));
  EXPECT_EQ(rectOf(l, Zerva_HS_Key_ScreenRect), CGRectMake(10, 10, 200, 40));
  EXPECT_EQ(l.color(Zerva_HS_Key_ForegroundColour), UIColor::blueColor());
  const auto title = l.dictionary(Zerva_HS_Key_ViewTitle);
  ASSERT_TRUE(title);
  EXPECT_EQ(title->string(Zerva_HS_Key_ViewTitle_Text), "Balance");
  EXPECT_TRUE(title->attributedString(Zerva_HS_Key_ViewTitle_AttrText));
  EXPECT_EQ(title->number(Zerva_HS_Key_ViewTitle_NumberOfTextLines), 2);
  EXPECT_EQ(title->font(Zerva_HS_Key_ViewTitle_Font), UIFont::systemFontOfSize(17));
  // A label without a background still gets an entry, but not a colour: its text is drawn, no box.
  ASSERT_TRUE(l.contains(Zerva_HS_Key_BackgroundColour));
  EXPECT_FALSE(l.color(Zerva_HS_Key_BackgroundColour));

  const auto& p = child(root, 1);
  EXPECT_TRUE(p.contains(Zerva_HS_Key_SensitiveView));
  EXPECT_FALSE(carriesContent(p));
  EXPECT_TRUE(p.contains(Zerva_HS_Key_BackgroundColour));  // so that its box is drawn

  const auto& e = child(root, 2);
  EXPECT_FALSE(e.contains(Zerva_HS_Key_SensitiveView));
  EXPECT_EQ(e.dictionary(Zerva_HS_Key_ViewTitle)->string(Zerva_HS_Key_ViewTitle_Text), "ann@example.com");

  const auto& i = child(root, 3);
  EXPECT_EQ(i.boolean(Zerva_HS_Key_ImageView), true);
  EXPECT_EQ(i.image(Zerva_HS_Key_DirectImage), image->image());

  const auto& c = child(root, 4);
  EXPECT_EQ(c.boolean(Zerva_HS_Key_LayerM2B), true);
  EXPECT_EQ(c.number(Zerva_HS_Key_CornerRadius), 12);
  // The card clips its overflowing child.
  const auto& number = child(c, 0);
  EXPECT_EQ(rectOf(number, Zerva_HS_Key_ScreenRect), CGRectMake(30, 290, 400, 40));
  EXPECT_EQ(rectOf(number, Zerva_HS_Key_ClipToRect), CGRectMake(10, 210, 300, 100));
}

TEST_F(ScannerTest, AllTextFieldsAndRegisteredViewsBecomeSensitiveWithTheirSubtrees) {
  auto roots = scan(true);
  EXPECT_TRUE(child(roots[0], 2).contains(Zerva_HS_Key_SensitiveView));  // the plain e-mail field
  EXPECT_FALSE(carriesContent(child(roots[0], 2)));

  roots = scan(false, {card, image});
  const auto& c = child(roots[0], 4);
  EXPECT_TRUE(c.contains(Zerva_HS_Key_SensitiveView));
  EXPECT_FALSE(carriesContent(c));  // the card number inside is not described at all
  EXPECT_EQ(c.color(Zerva_HS_Key_BackgroundColour), UIColor::lightGrayColor());
  EXPECT_FALSE(carriesContent(child(roots[0], 3)));  // the image is not handed over
}

TEST_F(ScannerTest, ZPositionsScrolledAndInFlightChildren) {
  ScopedManualClock clock;
  auto scroll = std::make_shared<UIScrollView>(CGRectMake(0, 400, 390, 300));
  auto row = std::make_shared<UIView>(CGRectMake(0, 500, 390, 44));
  row->setBackgroundColor(UIColor::greenColor());
  row->layer()->setZPosition(3);
  scroll->addSubview(row);
  window->addSubview(scroll);
  scroll->setContentOffset({0, 450});
  auto roots = scan(false);
  const auto& s = child(roots[0], 5);
  EXPECT_TRUE(s.typeTag(Zerva_HS_Key_IsTypeOf)->is(Zerva_HS_KeyTypeOf_ScrollView));
  EXPECT_EQ(rectOf(child(s, 0), Zerva_HS_Key_ScreenRect), CGRectMake(0, 450, 390, 44));
  EXPECT_EQ(child(s, 0).number(Zerva_HS_Key_ZPosition), 3);

  scroll->setContentOffset({0, 250}, 1.0);  // scrolling back over a second
  clock.advance(0.5);
  roots = scan(false);
  EXPECT_EQ(rectOf(child(child(roots[0], 5), 0), Zerva_HS_Key_ScreenRect), CGRectMake(0, 550, 390, 44));
}

TEST_F(ScannerTest, AlertsArePicturesUnlessSomethingSensitiveIsInside) {
  auto alert = std::make_shared<UIAlertView>(CGRectMake(45, 300, 300, 150));
  alert->setBackgroundColor(UIColor::whiteColor());
  auto message = std::make_shared<UILabel>(CGRectMake(10, 10, 280, 40));
  message->setText("Delete account?");
  alert->addSubview(message);
  auto overlay = std::make_shared<UIWindow>(UIScreen::mainScreen()->bounds());
  overlay->setHidden(false);
  overlay->addSubview(alert);
  UIApplication::sharedApplication()->addWindow(overlay);

  auto roots = scan(false);
  ASSERT_EQ(roots.size(), 2u);  // one root per visible window, in order
  const auto& a = child(roots[1], 0);
  EXPECT_EQ(a.boolean(Zerva_HS_Key_AlertView), true);
  ASSERT_TRUE(a.image(Zerva_HS_Key_DirectImage));
  EXPECT_FALSE(a.contains(Zerva_HS_Key_Views));

  auto pin = std::make_shared<UITextField>(CGRectMake(10, 60, 280, 40));
  pin->setSecureTextEntry(true);
  alert->addSubview(pin);
  roots = scan(false);
  const auto& guarded = child(roots[1], 0);
  EXPECT_FALSE(guarded.contains(Zerva_HS_Key_DirectImage));
  EXPECT_TRUE(child(guarded, 1).contains(Zerva_HS_Key_SensitiveView));
}

TEST(HierarchyDictionary, ValuesOfTheWrongKindReadAsAbsent) {
  HVHierarchyDictionary d;
  d.set(Zerva_HS_Key_BackgroundColour, HVOpaqueObject{"pattern"});
  d.set(Zerva_HS_Key_ScreenRect, std::string("{{0, 0}, {1, 1}}"));
  EXPECT_TRUE(d.contains(Zerva_HS_Key_BackgroundColour));
  EXPECT_FALSE(d.color(Zerva_HS_Key_BackgroundColour));
  EXPECT_EQ(Zerva_rectFromFastStore(d.get(Zerva_HS_Key_ScreenRect)), CGRectZero);
  EXPECT_EQ(Zerva_rectFromFastStore(nullptr), CGRectZero);
  const HVValue stored = Zerva_rectToFastStore(CGRectMake(1.5, 2, 3, 4));
  EXPECT_EQ(Zerva_rectFromFastStore(&stored), CGRectMake(1.5, 2, 3, 4));
}

}  // namespace
}  // namespace zerva
