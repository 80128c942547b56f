#include <gtest/gtest.h>

#include "platform/NSDate.h"
#include "platform/NSError.h"
#include "platform/NSLog.h"
#include "platform/ProcessClock.h"
#include "platform/StringWithFormat.h"
#include "platform/UIApplication.h"
#include "platform/UIColor.h"
#include "platform/UIFont.h"
#include "platform/UIView.h"

namespace zerva {
namespace {

TEST(StringWithFormat, FillsTheSdkFormatTexts) {
  EXPECT_EQ(stringWithFormat("Paused for %.1f seconds", 2.25), "Paused for 2.2 seconds");
  EXPECT_EQ(stringWithFormat("reset at %d frames due to frame time of %.2f", int64_t{6}, 19.456),
            "reset at 6 frames due to frame time of 19.46");
  EXPECT_EQ(stringWithFormat("error: %@ (%@)", std::string("disk full"), "write"), "error: disk full (write)");
  EXPECT_EQ(stringWithFormat("(%@)(%@)", "function(a){}", "false"), "(function(a){})(false)");
  EXPECT_EQ(stringWithFormat("100%% of %u", 3u), "100% of 3");
  auto view = std::make_shared<UIView>();
  EXPECT_EQ(stringWithFormat("%@", view), view->description());
  EXPECT_EQ(stringWithFormat("view %p", view.get()), stringWithFormat("view %p", static_cast<const void*>(view.get())));
  EXPECT_EQ(stringWithFormat("missing %@ and %d"), "missing  and ");  // too few arguments: no crash
}

TEST(NSLog, CaptureCollectsLinesAndRestoresTheSink) {
  {
    NSLogCapture outer;
    {
      NSLogCapture inner;
      NSLog("Zerva: VVH: one");
      EXPECT_EQ(inner.count("VVH"), 1u);
    }
    NSLog("Zerva: two");
    EXPECT_EQ(outer.lines(), std::vector<std::string>{"Zerva: two"});
  }
}

TEST(NSDate, RunsWithTheManualClock) {
  ScopedManualClock clock;
  const NSDate start = NSDate::date();
  clock.advance(1.5);
  EXPECT_NEAR(start.timeIntervalSinceNow(), -1.5, 1e-6);
  EXPECT_EQ(NSDate::dateWithTimeIntervalSince1970(0).description(), "1970-01-01 00:00:00 +0000");
}

TEST(NSError, CarriesDomainCodeAndDescription) {
  const NSError e = NSError::errorWithDomain("ZervaRecordingError", 300, "Recording is started when app is in background mode");
  EXPECT_EQ(e.description(), "Error Domain=ZervaRecordingError Code=300 \"Recording is started when app is in background mode\"");
  EXPECT_EQ(e.withUserInfo("path", "/tmp/x").userInfo().at("path"), "/tmp/x");
}

TEST(UIColorAndFont, ComponentsClampAndLineHeightFollowsTheFont) {
  double r, g, b, a;
  UIColor::colorWithRed(1.5, -1, 0.25, 2).getRed(&r, &g, &b, &a);
  EXPECT_EQ(r, 1);
  EXPECT_EQ(g, 0);
  EXPECT_EQ(b, 0.25);
  EXPECT_EQ(a, 1);
  EXPECT_EQ(UIColor::blackColor().colorWithAlphaComponent(0.3).alpha(), 0.3);
  EXPECT_NEAR(UIFont::systemFontOfSize(20).lineHeight(), 2 * UIFont::systemFontOfSize(10).lineHeight(), 1e-12);
  EXPECT_GT(UIFont::systemFontOfSize(17).lineHeight(), 17);
}

TEST(Keyboard, FrameSlidesWhileItAnimates) {
  ScopedManualClock clock;
  UIApplication::resetSharedApplication();
  UIKeyboard& keyboard = UIApplication::sharedApplication()->keyboard();
  EXPECT_FALSE(keyboard.isVisible());
  keyboard.show(CGRectMake(0, 500, 390, 344), 0.25);
  EXPECT_TRUE(keyboard.isVisible());
  EXPECT_TRUE(keyboard.isAnimating());
  EXPECT_EQ(keyboard.frame().origin.y, 844);  // starts just below its resting place
  clock.advance(0.125);
  EXPECT_NEAR(keyboard.frame().origin.y, 672, 1e-9);
  clock.advance(0.125);
  EXPECT_FALSE(keyboard.isAnimating());
  EXPECT_EQ(keyboard.frame(), CGRectMake(0, 500, 390, 344));
  keyboard.hide(0.25);
  EXPECT_FALSE(keyboard.isVisible());
  EXPECT_TRUE(keyboard.isAnimating());
  clock.advance(0.3);
  EXPECT_EQ(keyboard.frame().origin.y, 844);
}

}  // namespace
}  // namespace zerva
