// Boxes painted into frame images: where they go, their colour, and when no image is drawn.

#include <gtest/gtest.h>

#include <atomic>

#include "platform/UIImage.h"
#include "services/ZRImageRenderer.h"
#include "services/ZROcclusionManager.h"
#include "support/HandlerTestSupport.h"
#include "support/RecorderTestSupport.h"

namespace zerva::testing {
namespace {

constexpr CGPixel kMagenta{255, 0, 255, 255}, kGreen{0, 255, 0, 255}, kBlue{0, 0, 255, 255};

/// Counts the renderers asked for; answers none when told to.
class CountingRenderer : public ZRImageRenderer {
 public:
  std::shared_ptr<UIGraphicsImageRenderer> rendererForSize(CGSize size) const override {
    ++asked;
    return answerNil ? nullptr : ZRImageRenderer::rendererForSize(size);
  }
  mutable std::atomic<int> asked{0};
  bool answerNil = false;
};

class MaskingTest : public HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    handler_->setImageRenderer(renderer_);
    ZervaHandler::shared()->sessionSettings()->setSensitiveViewColor(UIColor::colorWithRed(1, 0, 1, 0.5));
  }

  /// Masks on the frame queue, where the pipeline does it.
  std::shared_ptr<UIImage> occlude(const std::shared_ptr<UIImage>& image, const ZRRectStringList& rects,
                                   bool hideFullScreen, bool flipCoords = false) {
    std::shared_ptr<UIImage> out;
    dispatch_sync(ZRViewVideoHandler::GetMakeVideoFrameQueue(), [&] {
      out = handler_->occludeSensitiveViewsIntoImage(image, {"Home"}, rects, flipCoords, hideFullScreen);
    });
    return out;
  }

  std::shared_ptr<CountingRenderer> renderer_ = std::make_shared<CountingRenderer>();
  const std::shared_ptr<UIImage> green_ = solidImage({200, 800}, UIColor::greenColor());
};

TEST_F(MaskingTest, BoxesArePaintedOpaqueWhereGivenOrFlippedInOneImage) {
  EXPECT_EQ(occlude(green_, {}, false), green_);  // nothing to paint: nothing drawn
  EXPECT_EQ(renderer_->asked, 0);

  const ZRRectStringList rects{NSStringFromCGRect(CGRectMake(10, 20, 100, 50)), "not a rectangle",
                               NSStringFromCGRect(CGRectMake(150, 700, 100, 200))};  // reaches out of the image
  auto plain = occlude(green_, rects, false);
  ASSERT_TRUE(plain);
  EXPECT_EQ(renderer_->asked, 1);  // one image however many rectangles
  EXPECT_EQ(plain->size().width, 200);
  EXPECT_EQ(plain->pixelAt(10, 20), kMagenta);  // colour alpha 0.5, painted opaque
  EXPECT_EQ(plain->pixelAt(109, 69), kMagenta);
  EXPECT_EQ(plain->pixelAt(110, 70), kGreen);
  EXPECT_EQ(plain->pixelAt(9, 20), kGreen);
  EXPECT_EQ(plain->pixelAt(199, 799), kMagenta);
  EXPECT_EQ(plain->pixelAt(149, 799), kGreen);
  EXPECT_EQ(plain->pixelAt(5, 5), kGreen);  // the bad entry painted nothing

  // Bottom-left origin: y becomes 800 - 20 - 50 = 730.
  auto flipped = occlude(green_, rects, false, true);
  EXPECT_EQ(flipped->pixelAt(10, 730), kMagenta);
  EXPECT_EQ(flipped->pixelAt(109, 779), kMagenta);
  EXPECT_EQ(flipped->pixelAt(10, 729), kGreen);
  EXPECT_EQ(flipped->pixelAt(50, 40), kGreen);
}

TEST_F(MaskingTest, ScreenRulesComeAfterTheBoxesUnlessEverythingIsCovered) {
  ZROcclusionSetting cover(ZROcclusionTypeCoverScreen);  // for every screen: blue over everything
  cover.setColor(UIColor::blueColor());
  handler_->occlusionManager()->applyOcclusionSetting(cover, ZROcclusionSourceManual, {});
  EXPECT_EQ(occlude(green_, {}, false)->pixelAt(150, 400), kBlue);
  EXPECT_EQ(occlude(green_, {NSStringFromCGRect(CGRectMake(0, 0, 20, 20))}, false)->pixelAt(5, 5), kBlue);

  // Covered in the sensitive colour, read afresh for each frame; the rule is not consulted.
  auto covered = occlude(green_, {NSStringFromCGRect(CGRectMake(0, 0, 20, 20))}, true);
  for (auto [x, y] : {std::pair{0, 0}, {199, 799}, {150, 400}}) EXPECT_EQ(covered->pixelAt(x, y), kMagenta);
  ZervaHandler::shared()->sessionSettings()->setSensitiveViewColor(UIColor::colorWithRed(1, 1, 0, 1));
  EXPECT_EQ(occlude(green_, {}, true)->pixelAt(150, 400), (CGPixel{255, 255, 0, 255}));
}

TEST_F(MaskingTest, WithoutARendererTheImageGoesOnAsItIs) {
  renderer_->answerNil = true;
  EXPECT_EQ(occlude(green_, {NSStringFromCGRect(CGRectMake(0, 0, 20, 20))}, false), green_);
  EXPECT_EQ(occlude(green_, {}, true), green_);
  EXPECT_EQ(occlude(nullptr, {}, true), nullptr);
}

}  // namespace
}  // namespace zerva::testing
