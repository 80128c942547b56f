#include <gtest/gtest.h>

#include "DrawingTestSupport.h"
#include "platform/CALayer.h"
#include "platform/ProcessClock.h"
#include "platform/UIImageView.h"
#include "platform/UILabel.h"
#include "platform/UIScrollView.h"
#include "platform/UITextField.h"
#include "platform/UIWindow.h"

namespace zerva {
namespace {

using testing::kBlack;
using testing::kBlue;
using testing::kGreen;
using testing::kRed;
using testing::kWhite;
using testing::near;

// Counts pixels in the rectangle (points at scale 1) that are darker than mid grey.
int darkPixels(const UIImage& image, CGRect r) {
  int n = 0;
  for (auto y = size_t(r.origin.y); y < size_t(CGRectGetMaxY(r)); ++y) {
    for (auto x = size_t(r.origin.x); x < size_t(CGRectGetMaxX(r)); ++x) {
      const CGPixel p = image.pixelAt(x, y);
      n += p.alpha > 128 && p.red + p.green + p.blue < 3 * 100;
    }
  }
  return n;
}

struct Screen {
  std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRectMake(0, 0, 200, 300));
  std::shared_ptr<UILabel> label = std::make_shared<UILabel>(CGRectMake(10, 10, 180, 30));
  std::shared_ptr<UITextField> password = std::make_shared<UITextField>(CGRectMake(10, 50, 180, 30));
  std::shared_ptr<UIImageView> image = std::make_shared<UIImageView>(CGRectMake(10, 90, 40, 40));
  std::shared_ptr<UIScrollView> scroll = std::make_shared<UIScrollView>(CGRectMake(0, 150, 200, 100));
  std::shared_ptr<UIView> cell = std::make_shared<UIView>(CGRectMake(20, 120, 60, 20));

  Screen() {
    window->setHidden(false);  // windows start hidden
    window->setBackgroundColor(UIColor::whiteColor());
    label->setText("Balance 1,234.56");
    password->setText("hunter2");
    password->setSecureTextEntry(true);
    password->setBackgroundColor(UIColor::colorWithWhite(0.9, 1));
    image->setImage(testing::redOverBlue(40, 40));
    scroll->setClipsToBounds(true);
    scroll->setContentOffset({0, 100});  // the cell at y 120 of the content shows at 20 in the scroll view
    cell->setBackgroundColor(UIColor::greenColor());
    window->addSubview(label);
    window->addSubview(password);
    window->addSubview(image);
    window->addSubview(scroll);
    scroll->addSubview(cell);
  }

  std::shared_ptr<UIImage> drawHierarchy() const {
    return testing::render({200, 300}, [&](CGContextRef) { window->drawViewHierarchyInRect(window->bounds(), false); });
  }
};

TEST(TreeDrawing, PartsLandWhereTheirFramesSay) {
  Screen s;
  const auto image = s.drawHierarchy();
  testing::keepForViewing(*image, "view_tree");
  EXPECT_GT(darkPixels(*image, CGRectMake(10, 10, 180, 30)), 50);  // the label's text
  EXPECT_EQ(image->pixelAt(100, 2), kWhite);                      // window background
  EXPECT_TRUE(near(image->pixelAt(30, 95), kRed));                 // top of the image, upright
  EXPECT_TRUE(near(image->pixelAt(30, 125), kBlue));
  EXPECT_EQ(image->pixelAt(50, 180), kGreen);  // the scrolled cell: 150 + 120 - 100 = 170...190
  EXPECT_EQ(image->pixelAt(50, 165), kWhite);
  EXPECT_EQ(image->pixelAt(50, 195), kWhite);
}

TEST(TreeDrawing, SecureFieldsDrawBulletsAndNeverTheirCharacters) {
  Screen s;
  s.password->setSecureTextEntry(false);
  const auto plain = s.drawHierarchy();
  s.password->setSecureTextEntry(true);
  const auto secure = s.drawHierarchy();
  EXPECT_EQ(s.password->displayedText(), "\u2022\u2022\u2022\u2022\u2022\u2022\u2022");
  const CGRect field = CGRectMake(10, 50, 180, 30);
  // Bullets are small dots: far less ink than the letters, but not none.
  EXPECT_GT(darkPixels(*secure, field), 10);
  EXPECT_LT(darkPixels(*secure, field), darkPixels(*plain, field));
  s.password->setText("");
  s.password->setHint("Password");
  EXPECT_EQ(s.password->displayedText(), "Password");
}

TEST(TreeDrawing, HiddenTransparentClippedAndRoundedViews) {
  auto root = std::make_shared<UIView>(CGRectMake(0, 0, 100, 100));
  root->setBackgroundColor(UIColor::whiteColor());
  auto hidden = std::make_shared<UIView>(CGRectMake(0, 0, 50, 50));
  hidden->setBackgroundColor(UIColor::blackColor());
  hidden->setHidden(true);
  auto clear = std::make_shared<UIView>(CGRectMake(50, 0, 50, 50));
  clear->setBackgroundColor(UIColor::blackColor());
  clear->setAlpha(0);
  auto rounded = std::make_shared<UIView>(CGRectMake(0, 50, 50, 50));
  rounded->setBackgroundColor(UIColor::redColor());
  rounded->layer()->setCornerRadius(20);
  rounded->setClipsToBounds(true);
  auto overflow = std::make_shared<UIView>(CGRectMake(25, 25, 100, 100));  // runs past its clipping parent
  overflow->setBackgroundColor(UIColor::blueColor());
  rounded->addSubview(overflow);
  // Half-transparent group: the overlapping children must not show through each other.
  auto group = std::make_shared<UIView>(CGRectMake(50, 50, 50, 50));
  group->setAlpha(0.5);
  auto under = std::make_shared<UIView>(CGRectMake(0, 0, 50, 50));
  under->setBackgroundColor(UIColor::redColor());
  auto over = std::make_shared<UIView>(CGRectMake(0, 0, 50, 50));
  over->setBackgroundColor(UIColor::blueColor());
  group->addSubview(under);
  group->addSubview(over);
  for (auto v : {hidden, clear, rounded, group}) root->addSubview(v);

  const auto image = testing::render({100, 100}, [&](CGContextRef c) { root->layer()->renderInContext(c); });
  testing::keepForViewing(*image, "clips");
  EXPECT_EQ(image->pixelAt(25, 25), kWhite);  // hidden
  EXPECT_EQ(image->pixelAt(75, 25), kWhite);  // alpha 0
  EXPECT_EQ(image->pixelAt(2, 52), kWhite);   // outside the rounded corner
  EXPECT_EQ(image->pixelAt(10, 60), kRed);    // inside it, away from the child
  EXPECT_EQ(image->pixelAt(40, 90), kBlue);   // the child, inside the clip
  EXPECT_EQ(image->pixelAt(60, 60).red, 127);  // half blue over white: red shows nowhere
  EXPECT_EQ(image->pixelAt(60, 60).green, 127);
}

TEST(TreeDrawing, LayersFollowZPositionAndHierarchyDrawingShowsAnimationsInFlight) {
  ScopedManualClock clock;
  auto root = std::make_shared<UIView>(CGRectMake(0, 0, 100, 100));
  auto back = std::make_shared<UIView>(CGRectMake(0, 0, 100, 100));
  back->setBackgroundColor(UIColor::redColor());
  back->layer()->setZPosition(1);
  auto front = std::make_shared<UIView>(CGRectMake(0, 0, 100, 100));
  front->setBackgroundColor(UIColor::blueColor());
  root->addSubview(back);
  root->addSubview(front);  // added later, but lower z-position
  auto image = testing::render({100, 100}, [&](CGContextRef c) { root->layer()->renderInContext(c); });
  EXPECT_EQ(image->pixelAt(50, 50), kRed);

  auto scroll = std::make_shared<UIScrollView>(CGRectMake(0, 0, 100, 100));
  auto box = std::make_shared<UIView>(CGRectMake(0, 100, 100, 100));
  box->setBackgroundColor(UIColor::blackColor());
  scroll->addSubview(box);
  scroll->setContentOffset({0, 100}, 1.0);
  clock.advance(0.5);
  // In flight: the box is half way up, so the top half is empty and the bottom half black.
  image = testing::render({100, 100}, [&](CGContextRef) { scroll->drawViewHierarchyInRect(CGRectMake(0, 0, 100, 100), false); });
  EXPECT_EQ(image->pixelAt(50, 25), testing::kClear);
  EXPECT_EQ(image->pixelAt(50, 75), kBlack);
  // The model has arrived already.
  image = testing::render({100, 100}, [&](CGContextRef c) { scroll->layer()->renderInContext(c); });
  EXPECT_EQ(image->pixelAt(50, 25), kBlack);
}

}  // namespace
}  // namespace zerva
