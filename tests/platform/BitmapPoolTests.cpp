#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/BitmapPool.h"
#include "platform/DrawingTestSupport.h"

namespace zerva {
namespace {

using namespace zerva::testing;

TEST(BitmapPoolTests, KeepsWithinItsBoundsAndHandsBackTheLatestOfASize) {
  BitmapPool pool(2, 1000);
  unsigned char* a = pool.take(100);
  unsigned char* b = pool.take(100);
  unsigned char* c = pool.take(100);
  unsigned char* other = pool.take(300);
  ASSERT_TRUE(a && b && c && other);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(a) % 64, 0u);

  pool.giveBack(a, 100);
  pool.giveBack(b, 100);
  pool.giveBack(c, 100);  // a, the longest waiting, goes
  EXPECT_EQ(pool.waitingBuffers(), 2u);
  EXPECT_EQ(pool.waitingBytes(), 200u);
  EXPECT_EQ(pool.take(100), c);
  EXPECT_EQ(pool.take(100), b);
  EXPECT_EQ(pool.waitingBuffers(), 0u);

  // Another size is new memory; a buffer beyond the byte bound is not kept.
  pool.giveBack(other, 300);
  unsigned char* fresh = pool.take(200);
  EXPECT_NE(fresh, other);
  unsigned char* huge = pool.take(2000);
  pool.giveBack(huge, 2000);
  EXPECT_EQ(pool.waitingBytes(), 300u);
  EXPECT_EQ(pool.take(0), nullptr);
  pool.giveBack(fresh, 200);
  pool.giveBack(b, 100);
  pool.giveBack(c, 100);  // over the byte bound: the 300 and the 200 go
  EXPECT_EQ(pool.waitingBuffers(), 2u);
  EXPECT_LE(pool.waitingBytes(), 1000u);
}

TEST(BitmapPoolTests, LiveImagesNeverShareABitmapAndReusedOnesStartAfresh) {
  for (bool opaque : {false, true}) {
    UIGraphicsImageRendererFormat format;
    format.setOpaque(opaque);
    UIGraphicsImageRenderer renderer(CGSizeMake(31, 17), format);
    auto fill = [&](CGPixel colour) {
      return renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
        CGContextSetRGBFillColor(ctx.CGContext(), colour.red / 255.0, colour.green / 255.0, colour.blue / 255.0, 1);
        CGContextFillRect(ctx.CGContext(), CGRectMake(0, 0, 31, 17));
      });
    };
    auto red = fill(kRed);
    auto green = fill(kGreen);
    EXPECT_NE(red->CGImage()->data(), green->CGImage()->data());
    EXPECT_EQ(red->pixelAt(30, 16), kRed);

    // A dropped image's bitmap comes back for the next one, which must not show its pixels.
    const std::uint8_t* redPixels = red->CGImage()->data();
    red.reset();
    auto blank = renderer.imageWithActions([](UIGraphicsImageRendererContext&) {});
    EXPECT_EQ(blank->CGImage()->data(), redPixels) << "the pool kept nothing";
    const CGPixel start = opaque ? kBlack : kClear;
    EXPECT_EQ(blank->pixelAt(0, 0), start) << opaque;
    EXPECT_EQ(blank->pixelAt(30, 16), start) << opaque;
    EXPECT_EQ(green->pixelAt(15, 8), kGreen);

    // A partial drawing over a reused bitmap leaves the rest at the start.
    blank.reset();
    auto corner = renderer.imageWithActions([](UIGraphicsImageRendererContext& ctx) {
      CGContextSetRGBFillColor(ctx.CGContext(), 0, 0, 1, 1);
      CGContextFillRect(ctx.CGContext(), CGRectMake(0, 0, 2, 2));
    });
    EXPECT_EQ(corner->pixelAt(1, 1), kBlue);
    EXPECT_EQ(corner->pixelAt(2, 2), start) << opaque;
  }
}

TEST(BitmapPoolTests, ThreadsMakingAndDroppingImagesKeepTheirOwnPixels) {
  // The main thread and the frame queue draw frames of the same sizes at the same time.
  auto worker = [](CGPixel colour, int* wrong) {
    UIGraphicsImageRenderer renderer(CGSizeMake(64, 48));
    for (int i = 0; i < 200; ++i) {
      auto image = renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
        CGContextSetRGBFillColor(ctx.CGContext(), colour.red / 255.0, colour.green / 255.0, colour.blue / 255.0, 1);
        CGContextFillRect(ctx.CGContext(), CGRectMake(0, 0, 64, 24));
      });
      *wrong += image->pixelAt(63, 23) != colour || image->pixelAt(0, 24) != kClear;
    }
  };
  int wrongRed = 0, wrongGreen = 0;
  std::thread a(worker, kRed, &wrongRed);
  std::thread b(worker, kGreen, &wrongGreen);
  a.join();
  b.join();
  EXPECT_EQ(wrongRed, 0);
  EXPECT_EQ(wrongGreen, 0);
  EXPECT_LE(BitmapPool::shared().waitingBuffers(), BitmapPool::kDefaultMaxBuffers);
}

}  // namespace
}  // namespace zerva
