// The frame inspector: each hidden rectangle of a frame reported with the source that made it,
// the frame before and after masking, and each driver run timed on the real clock.

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>

#include "capture/CaptureTestSupport.h"
#include "handler/ZRFrameInspector.h"
#include "platform/UILabel.h"
#include "platform/UIScreen.h"
#include "platform/UITextField.h"
#include "services/ZROcclusionManager.h"
#include "support/HandlerTestSupport.h"

namespace zerva::testing {
namespace {

constexpr CGSize kScreen{200, 300};
const UIColor kMagenta = UIColor::colorWithRed(1, 0, 1, 1);

class FrameInspectionTest : public HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    ZRViewVideoHandler::setSchematicCapture(false);
    UIScreen::setMainScreen(std::make_shared<UIScreen>(kScreen, 1.0));
    handler_->setFrameInspector(std::make_shared<ZRFrameInspector>(
        [this](const ZRFrameCaptureRun& run) {
          std::lock_guard lock(mutex_);
          runs_.push_back(run);
        },
        [this](const ZRFrameInspection& frame) {
          std::lock_guard lock(mutex_);
          frames_.push_back(frame);
        }));
    window_ = windowWithController(CGRect{CGPointZero, kScreen}, UIColor::whiteColor());
    root_ = window_->rootViewController()->view();
  }

  /// The sources reported for `rect` in the frame (several when two sources made it).
  static std::vector<ZRHiddenRectSource> sourcesAt(const ZRFrameInspection& frame, CGRect rect) {
    std::vector<ZRHiddenRectSource> sources;
    for (const auto& hidden : frame.hidden) {
      if (CGRectEqualToRect(hidden.rect, rect)) sources.push_back(hidden.source);
    }
    return sources;
  }

  std::mutex mutex_;
  std::vector<ZRFrameCaptureRun> runs_;
  std::vector<ZRFrameInspection> frames_;
  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<UIView> root_;
};

TEST_F(FrameInspectionTest, EachHiddenRectangleComesWithTheSourceThatMadeIt) {
  const CGRect secretFrame = CGRectMake(20, 20, 160, 40);
  auto secret = colouredView(secretFrame, kMagenta);
  root_->addSubview(secret);
  handler_->addSensitiveView(secret, false);
  const CGRect pinFrame = CGRectMake(20, 80, 160, 30);
  auto pin = std::make_shared<UITextField>(pinFrame);
  pin->setSecureTextEntry(true);
  root_->addSubview(pin);
  auto email = std::make_shared<UILabel>(CGRectMake(10, 200, 190, 30));
  email->setText("ann@example.com");
  email->setFont(UIFont::systemFontOfSize(18));
  root_->addSubview(email);
  handler_->occlusionManager()->applyOcclusionSetting(ZROcclusionSetting(ZROcclusionTypeTextRecognition),
                                                      ZROcclusionSourceManual, {});
  handler_->addRectsToOcclude(ZRRectQuadrupleList{{10, 250, 50, 20}});

  ASSERT_TRUE(startRecording());
  runFor(0.1);
  settle();
  stopRecording(1);

  std::lock_guard lock(mutex_);
  ASSERT_FALSE(frames_.empty());
  const auto& first = frames_.front();
  EXPECT_EQ(first.kind, ZRInspectedFrameKind::Real);
  EXPECT_EQ(sourcesAt(first, secretFrame), std::vector{ZRHiddenRectSource::SensitiveView});
  EXPECT_EQ(sourcesAt(first, pinFrame), std::vector{ZRHiddenRectSource::AutomaticTextField});
  EXPECT_EQ(sourcesAt(first, CGRectMake(10, 250, 50, 20)), std::vector{ZRHiddenRectSource::Manual});
  const bool foundText = std::any_of(first.hidden.begin(), first.hidden.end(), [](const ZRInspectedRect& hidden) {
    return hidden.source == ZRHiddenRectSource::TextRecognition && hidden.rect.origin.y >= 195 &&
           CGRectGetMaxY(hidden.rect) <= 235;
  });
  EXPECT_TRUE(foundText) << "no text-recognition rectangle over the e-mail address";
  for (const auto& hidden : first.hidden) EXPECT_NE(hidden.source, ZRHiddenRectSource::Unknown);

  // Before masking the secret shows; after, it is covered.
  ASSERT_TRUE(first.captured && first.recorded);
  EXPECT_TRUE(nearPixel(first.captured->pixelAt(100, 40), CGPixel{255, 0, 255, 255}));
  EXPECT_FALSE(nearPixel(first.recorded->pixelAt(100, 40), CGPixel{255, 0, 255, 255}, 40));
  EXPECT_GE(first.presentationTime, 0.0);

  ASSERT_FALSE(runs_.empty());
  EXPECT_EQ(runs_.front().kind, ZRInspectedFrameKind::Real);
  EXPECT_TRUE(runs_.front().tookPicture);
  // The process clock is manual and stands still during a capture; the inspector's is real.
  EXPECT_GT(runs_.front().realSeconds, 0.0);
}

TEST_F(FrameInspectionTest, AHiddenScreenIsOneWholeScreenRectangleAndPausesAreBlankFrames) {
  root_->addSubview(colouredView(CGRectMake(20, 20, 160, 40), kMagenta));
  handler_->occludeScreen(true, false);
  ASSERT_TRUE(startRecording());
  runFor(0.25);
  handler_->occludeScreen(false, false);
  handler_->pauseScreenRecordingForDuration(0.5);
  runFor(0.3);
  settle();
  stopRecording(1);

  std::lock_guard lock(mutex_);
  ASSERT_FALSE(frames_.empty());
  const auto& hiddenFrame = frames_.front();
  ASSERT_EQ(hiddenFrame.hidden.size(), 1u);
  EXPECT_EQ(hiddenFrame.hidden[0].source, ZRHiddenRectSource::WholeScreen);
  EXPECT_TRUE(CGRectEqualToRect(hiddenFrame.hidden[0].rect, CGRect{CGPointZero, kScreen}));

  const auto blank = std::find_if(frames_.begin(), frames_.end(),
                                  [](const auto& frame) { return frame.kind == ZRInspectedFrameKind::Blank; });
  ASSERT_NE(blank, frames_.end()) << "no blank frame for the pause";
  EXPECT_TRUE(blank->hidden.empty());
  EXPECT_DOUBLE_EQ(blank->presentationTime, blank->frameTime);
  const auto blankRun = std::find_if(runs_.begin(), runs_.end(),
                                     [](const auto& run) { return run.kind == ZRInspectedFrameKind::Blank; });
  ASSERT_NE(blankRun, runs_.end());
  EXPECT_TRUE(blankRun->tookPicture);
}

}  // namespace
// A long scrolling recording notes a new rect string at every position: recent ones keep their
// source, old ones are let go.
TEST(FrameInspectorSources, RecentRectanglesKeepTheirSourceAndOldOnesAreLetGo) {
  ZRFrameInspector inspector(nullptr, nullptr);
  auto rectAt = [](int y) { return NSStringFromCGRect(CGRectMake(0, y, 10, 10)); };
  for (int y = 0; y < 20000; ++y) inspector.noteRects({rectAt(y)}, ZRHiddenRectSource::SensitiveView);
  inspector.noteRects({rectAt(-1)}, ZRHiddenRectSource::WebPage);
  const auto found = inspector.inspectedRects({rectAt(-1), rectAt(19999), rectAt(19999 - 4096), rectAt(0)});
  EXPECT_EQ(found[0].source, ZRHiddenRectSource::WebPage);
  EXPECT_EQ(found[1].source, ZRHiddenRectSource::SensitiveView);
  EXPECT_EQ(found[2].source, ZRHiddenRectSource::SensitiveView);
  EXPECT_EQ(found[3].source, ZRHiddenRectSource::Unknown);
}

}  // namespace zerva::testing
