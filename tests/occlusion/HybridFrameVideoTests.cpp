// A hybrid framework's content hidden through the pause hook and the on-demand source, read back
// from the recorded video.

#include "occlusion/OcclusionTestSupport.h"
#include "services/ZervaHandler.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

using HybridFrameVideo = OcclusionTest;

bool isMagenta(const CGPixel& p) { return p.red > 170 && p.green < 110 && p.blue > 170; }

TEST_F(HybridFrameVideo, TheOnDemandRectanglesOfAPausedFrameAreMasked) {
  ZervaHandler::shared()->sessionSettings()->setRecordingQuality(2);
  ZervaHandler::shared()->sessionSettings()->setSensitiveViewColor(UIColor::colorWithRed(0, 0.5, 0.25, 1));
  ZRViewVideoHandler::setSchematicCapture(false);
  // The improved capture refuses the layer method, so frames take the hybrid route.
  InternalZRConfiguration::sharedConfiguration()->setEnableImprovedScreenCapture(true);

  // What the framework draws inside its one native view; only it knows where the secret is.
  auto secret = addView(CGRectMake(40, 200, 200, 100));
  secret->setBackgroundColor(UIColor::colorWithRed(1, 0, 1, 1));
  int pauses = 0;
  handler_->pauseForOcclusionNextFrame([&](ZRViewVideoHandler::PausedReply reply) {
    ++pauses;
    reply(true);
  });
  handler_->occludeRectsOnNextFrame([](ZRViewVideoHandler::RectsReply reply) { reply({{40, 200, 200, 100}}); });

  ASSERT_TRUE(startRecording());
  for (int step = 0; step < 10; ++step) {
    runFor(0.1);
    settle();
  }
  const StopOutcome outcome = stopRecording(1);
  ASSERT_TRUE(outcome.path);
  EXPECT_GT(pauses, 2);

  const ProbedVideo probe = probeVideo(*outcome.path);
  const DecodedFrames frames = decodeFrames(*outcome.path, probe.width, probe.height);
  ASSERT_GE(frames.frames.size(), 3u);
  const double sx = probe.width / 390.0;
  const double sy = probe.height / 844.0;
  for (size_t f = 0; f < frames.frames.size(); ++f) {
    for (double x = 45; x < 240; x += 10) {
      for (double y = 205; y < 300; y += 10) {
        const CGPixel p = frames.pixelAt(f, static_cast<int>(x * sx), static_cast<int>(y * sy));
        ASSERT_FALSE(isMagenta(p)) << "frame " << f << " at " << x << ", " << y;
        ASSERT_LE(colourDistance(p, CGPixel{0, 128, 64, 255}), 24) << "frame " << f << " at " << x << ", " << y;
      }
    }
  }
}

}  // namespace
}  // namespace zerva::testing
