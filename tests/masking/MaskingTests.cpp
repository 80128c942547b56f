// Boxes painted into frame images: where they go, their colour, and when no image is drawn.

#include <gtest/gtest.h>

#include <atomic>

#include "support/HandlerTestSupport.h"
#include "support/RecorderTestSupport.h"
#include "platform/UIImage.h"
#include "services/ZRImageRenderer.h"
#include "services/ZROcclusionManager.h"

namespace zerva::testing {
namespace {

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
    renderer_ = std::make_shared<CountingRenderer>();
    handler_->setImageRenderer(renderer_);
    settings()->setSensitiveViewColor(UIColor::colorWithRed(1, 0, 1, 1));
  }

  std::shared_ptr<ZRSessionSettings> settings() { return ZervaHandler::shared()->sessionSettings(); }

  /// Masks on the frame queue, where the pipeline does it.
  std::shared_ptr<UIImage> occlude(const std::shared_ptr<UIImage>& image, const ZRRectStringList& rects,
                                   bool hideFullScreen, bool flipCoords = false,
                                   const std::vector<std::string>& screens = {}) {
    std::shared_ptr<UIImage> out;
    dispatch_sync(ZRViewVideoHandler::GetMakeVideoFrameQueue(),
                  [&] { out = handler_->occludeSensitiveViewsIntoImage(image, screens, rects, flipCoords, hideFullScreen); });
    return out;
  }

  std::shared_ptr<CountingRenderer> renderer_;
  const std::shared_ptr<UIImage> green_ = solidImage({200, 800}, UIColor::greenColor());
};

constexpr CGPixel kMagenta{255, 0, 255, 255};
constexpr CGPixel kGreen{0, 255, 0, 255};

TEST_F(MaskingTest, NothingToPaintDrawsNoImage) {
  auto out = occlude(green_, {}, false);
  EXPECT_EQ(out, green_);
  EXPECT_EQ(renderer_->asked, 0);
}

TEST_F(MaskingTest, RectanglesArePaintedWhereGivenOrFlipped) {
  const ZRRectStringList rects{NSStringFromCGRect(CGRectMake(10, 20, 100, 50))};

  auto plain = occlude(green_, rects, false, false);
  ASSERT_TRUE(plain);
  EXPECT_EQ(plain->pixelAt(10, 20), kMagenta);
  EXPECT_EQ(plain->pixelAt(109, 69), kMagenta);
  EXPECT_EQ(plain->pixelAt(110, 70), kGreen);
  EXPECT_EQ(plain->pixelAt(9, 20), kGreen);
  EXPECT_EQ(plain->pixelAt(50, 740), kGreen);

  // Bottom-left origin: y becomes 800 - 20 - 50 = 730.
  auto flipped = occlude(green_, rects, false, true);
  ASSERT_TRUE(flipped);
  EXPECT_EQ(flipped->pixelAt(10, 730), kMagenta);
  EXPECT_EQ(flipped->pixelAt(109, 779), kMagenta);
  EXPECT_EQ(flipped->pixelAt(10, 729), kGreen);
  EXPECT_EQ(flipped->pixelAt(50, 40), kGreen);
}

TEST_F(MaskingTest, BadAndOverhangingRectanglesPaintWhatTheyCan) {
  const ZRRectStringList rects{"not a rectangle", NSStringFromCGRect(CGRectMake(150, 700, 100, 200)),
                               NSStringFromCGRect(CGRectMake(0, 0, 10, 10)),
                               NSStringFromCGRect(CGRectMake(0, 0, 10, 10))};  // overlaps paint twice, no harm
  auto out = occlude(green_, rects, false);
  ASSERT_TRUE(out);
  EXPECT_EQ(out->size().width, 200);  // never rescaled
  EXPECT_EQ(out->size().height, 800);
  EXPECT_EQ(out->pixelAt(199, 799), kMagenta);
  EXPECT_EQ(out->pixelAt(150, 700), kMagenta);
  EXPECT_EQ(out->pixelAt(149, 799), kGreen);
  EXPECT_EQ(out->pixelAt(5, 5), kMagenta);
  EXPECT_EQ(out->pixelAt(50, 50), kGreen);  // the unparsable entry painted nothing
  EXPECT_EQ(renderer_->asked, 1);           // one image, however many rectangles
}

TEST_F(MaskingTest, FullScreenCoverIsOneOpaqueBoxWhateverTheList) {
  // Half-transparent colour: still fully opaque boxes.
  settings()->setSensitiveViewColor(UIColor::colorWithRed(0, 0, 1, 0.5));
  auto out = occlude(green_, {NSStringFromCGRect(CGRectMake(0, 0, 5, 5))}, true);
  ASSERT_TRUE(out);
  for (auto [x, y] : {std::pair{0, 0}, {199, 799}, {100, 400}, {3, 3}}) {
    EXPECT_EQ(out->pixelAt(x, y), (CGPixel{0, 0, 255, 255})) << x << "," << y;
  }
  auto boxes = occlude(green_, {NSStringFromCGRect(CGRectMake(0, 0, 5, 5))}, false);
  EXPECT_EQ(boxes->pixelAt(2, 2), (CGPixel{0, 0, 255, 255}));
}

TEST_F(MaskingTest, ColourIsReadForEveryFrame) {
  const ZRRectStringList rects{NSStringFromCGRect(CGRectMake(0, 0, 20, 20))};
  EXPECT_EQ(occlude(green_, rects, false)->pixelAt(5, 5), kMagenta);
  settings()->setSensitiveViewColor(UIColor::colorWithRed(1, 1, 0, 1));
  EXPECT_EQ(occlude(green_, rects, false)->pixelAt(5, 5), (CGPixel{255, 255, 0, 255}));
}

TEST_F(MaskingTest, NoRendererLeavesTheImageAsItIs) {
  renderer_->answerNil = true;
  auto out = occlude(green_, {NSStringFromCGRect(CGRectMake(0, 0, 20, 20))}, false);
  EXPECT_EQ(out, green_);
  EXPECT_EQ(occlude(green_, {}, true), green_);
  EXPECT_EQ(occlude(nullptr, {NSStringFromCGRect(CGRectMake(0, 0, 20, 20))}, true), nullptr);
}

TEST_F(MaskingTest, ScreenRulesApplyAfterTheBoxesUnlessAllIsCovered) {
  // A cover rule for every screen paints blue over whatever it is given.
  ZROcclusionSetting cover(ZROcclusionTypeCoverScreen);
  cover.setColor(UIColor::blueColor());
  handler_->occlusionManager()->applyOcclusionSetting(cover, ZROcclusionSourceManual, {});
  const std::vector<std::string> screens{"Home"};
  constexpr CGPixel kBlue{0, 0, 255, 255};

  EXPECT_EQ(occlude(green_, {}, false, false, screens)->pixelAt(150, 400), kBlue);
  auto boxed = occlude(green_, {NSStringFromCGRect(CGRectMake(0, 0, 20, 20))}, false, false, screens);
  EXPECT_EQ(boxed->pixelAt(150, 400), kBlue);
  // Covered in the sensitive colour: the screen rule is not consulted.
  auto covered = occlude(green_, {}, true, false, screens);
  EXPECT_EQ(covered->pixelAt(150, 400), kMagenta);
}

}  // namespace
}  // namespace zerva::testing
