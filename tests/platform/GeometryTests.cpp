#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <cstring>

#include "platform/CGAffineTransform.h"
#include "platform/CGGeometry.h"

namespace zerva {
namespace {

double randomFinite(std::mt19937_64& rng) {
  // Any bit pattern that is a finite double: covers tiny, huge, negative and fractional values.
  std::uniform_int_distribution<uint64_t> bits;
  while (true) {
    const uint64_t b = bits(rng);
    double d;
    std::memcpy(&d, &b, sizeof d);
    if (std::isfinite(d)) return d;
  }
}

TEST(RectString, EveryFiniteDoubleRoundTripsExactly) {
  std::mt19937_64 rng(42);
  std::uniform_real_distribution<double> ordinary(-5000, 5000);
  for (int i = 0; i < 20000; ++i) {
    const bool wild = i % 2 == 0;
    const CGRect r = wild ? CGRectMake(randomFinite(rng), randomFinite(rng), randomFinite(rng), randomFinite(rng))
                          : CGRectMake(ordinary(rng), ordinary(rng), ordinary(rng) / 7, ordinary(rng) / 3);
    const std::string text = NSStringFromCGRect(r);
    const CGRect back = CGRectFromString(text);
    ASSERT_EQ(std::memcmp(&back, &r, sizeof r), 0) << text;
  }
  for (double v : {0.0, -0.0, 5e-324, -5e-324, std::numeric_limits<double>::max(), 0.1, 1.0 / 3}) {
    const CGRect r = CGRectMake(v, -v, v, v);
    const CGRect back = CGRectFromString(NSStringFromCGRect(r));
    EXPECT_EQ(std::memcmp(&back, &r, sizeof r), 0) << NSStringFromCGRect(r);
  }
}

TEST(RectString, WritesThePlatformFormWithShortestNumbers) {
  EXPECT_EQ(NSStringFromCGRect(CGRectMake(20, 300, 100, 40)), "{{20, 300}, {100, 40}}");
  EXPECT_EQ(NSStringFromCGRect(CGRectMake(0.5, -1.25, 0.1, 1e-7)), "{{0.5, -1.25}, {0.1, 1e-07}}");
}

TEST(RectString, ReadsLooseSpacingAndRefusesEverythingElse) {
  EXPECT_EQ(CGRectFromString("{{1,2},{3,4}}"), CGRectMake(1, 2, 3, 4));
  EXPECT_EQ(CGRectFromString("  { { 1 , 2 } , { +3 , 4e1 } }  "), CGRectMake(1, 2, 3, 40));
  for (const char* bad : {"", "{", "{{1, 2}, {3, 4}", "{{1, 2}, {3}}", "{{a, 2}, {3, 4}}", "{{1, 2}, {3, 4}}x",
                          "1, 2, 3, 4", "{{1, 2} {3, 4}}", "{{--1, 2}, {3, 4}}", "{{1, 2}, {3, 4}}}"}) {
    EXPECT_EQ(CGRectFromString(bad), CGRectZero) << '"' << bad << '"';
  }
}

TEST(RectString, NumbersOutsideTheWrittenFormGiveTheZeroRectangle) {
  // Each of these once read as a rectangle with a NaN, an infinity, -1 or a silent 0 in it.
  for (const char* bad : {"{{nan, 2}, {3, 4}}", "{{1, NaN}, {3, 4}}", "{{1, 2}, {inf, 4}}", "{{1, 2}, {3, -infinity}}",
                          "{{+-1, 2}, {3, 4}}", "{{1, +-2}, {3, 4}}", "{{1e999, 2}, {3, 4}}", "{{1, -1e400}, {3, 4}}",
                          "{{1, 2}, {1e-400, 4}}", "{{0x10, 2}, {3, 4}}", "{{1, 2}, {3, ++4}}", "{{1, 2}, {3, -}}"}) {
    const CGRect r = CGRectFromString(bad);
    EXPECT_EQ(std::memcmp(&r, &CGRectZero, sizeof r), 0) << '"' << bad << "\" read as " << NSStringFromCGRect(r);
  }
  EXPECT_EQ(CGPointFromString("{nan, 1}"), CGPointZero);
  EXPECT_EQ(CGSizeFromString("{1, +-1}"), CGSizeZero);
  // The null rectangle writes as infinities, which do not read back as a rectangle.
  EXPECT_EQ(CGRectFromString(NSStringFromCGRect(CGRectNull)), CGRectZero);
  EXPECT_EQ(CGRectFromString("{{-1.5, .5}, {+3, 1e308}}"), CGRectMake(-1.5, 0.5, 3, 1e308));
}

TEST(RectHelpers, NullEmptyUnionIntersectionAndContainment) {
  EXPECT_TRUE(CGRectIsNull(CGRectNull));
  EXPECT_TRUE(CGRectIsEmpty(CGRectNull));
  EXPECT_TRUE(CGRectIsEmpty(CGRectMake(5, 5, 0, 10)));
  EXPECT_TRUE(CGRectIsEmpty(CGRectMake(5, 5, 10, -1)));
  EXPECT_FALSE(CGRectIsEmpty(CGRectMake(5, 5, 1, 1)));

  const CGRect a = CGRectMake(0, 0, 10, 10), b = CGRectMake(5, 5, 10, 10);
  EXPECT_EQ(CGRectUnion(a, b), CGRectMake(0, 0, 15, 15));
  EXPECT_EQ(CGRectUnion(CGRectNull, b), b);
  EXPECT_EQ(CGRectUnion(CGRectMake(10, 10, -5, -5), CGRectNull), CGRectMake(5, 5, 5, 5));
  EXPECT_EQ(CGRectIntersection(a, b), CGRectMake(5, 5, 5, 5));
  EXPECT_TRUE(CGRectIsNull(CGRectIntersection(a, CGRectMake(20, 20, 1, 1))));
  EXPECT_TRUE(CGRectEqualToRect(CGRectNull, CGRectNull));
  EXPECT_TRUE(CGRectEqualToRect(CGRectMake(10, 10, -5, -5), CGRectMake(5, 5, 5, 5)));
  EXPECT_FALSE(CGRectEqualToRect(CGRectNull, CGRectZero));

  // Minimum edges inside, maximum edges outside.
  EXPECT_TRUE(CGRectContainsPoint(a, {0, 0}));
  EXPECT_TRUE(CGRectContainsPoint(a, {9.999, 9.999}));
  EXPECT_FALSE(CGRectContainsPoint(a, {10, 5}));
  EXPECT_FALSE(CGRectContainsPoint(a, {5, 10}));
  EXPECT_FALSE(CGRectContainsPoint(CGRectNull, {0, 0}));
}

CGPoint apply(const CGAffineTransform& t, double x, double y) { return CGPointApplyAffineTransform({x, y}, t); }

void expectNear(CGPoint actual, CGPoint expected) {
  EXPECT_NEAR(actual.x, expected.x, 1e-9);
  EXPECT_NEAR(actual.y, expected.y, 1e-9);
}

TEST(AffineTransform, EachCallPutsItsOperationInFront) {
  // translate then scale: a point is scaled first, then translated.
  const auto t = CGAffineTransformScale(CGAffineTransformTranslate(CGAffineTransformIdentity, 10, 0), 2, 2);
  expectNear(apply(t, 1, 1), {12, 2});
  // The other order translates first.
  const auto u = CGAffineTransformTranslate(CGAffineTransformScale(CGAffineTransformIdentity, 2, 2), 10, 0);
  expectNear(apply(u, 1, 1), {22, 2});
}

TEST(AffineTransform, VideoFrameTurnsMapImagePointsAsIntended) {
  const double W = 844, H = 390;  // a landscape window
  // Landscape: a quarter turn, (u, v) -> (H - v, u) after the image's own upside-down placement.
  auto t = CGAffineTransformTranslate(CGAffineTransformIdentity, 0, W);
  t = CGAffineTransformRotate(t, -std::numbers::pi / 2);
  t = CGAffineTransformTranslate(t, W, 0);
  t = CGAffineTransformScale(t, -1.0, 1.0);
  // The drawing call puts image row v at y = H - v in the target rectangle (0, 0, W, H).
  for (auto [u, v] : {std::pair{0.0, 0.0}, {844.0, 0.0}, {100.0, 200.0}, {844.0, 390.0}}) {
    expectNear(apply(t, u, H - v), {H - v, u});
  }
  // Upside down: (u, v) -> (W - u, H - v) for a portrait window W x H.
  const double w = 390, h = 844;
  auto s = CGAffineTransformTranslate(CGAffineTransformIdentity, w, h);
  s = CGAffineTransformRotate(s, std::numbers::pi);
  s = CGAffineTransformTranslate(s, 0, h);
  s = CGAffineTransformScale(s, 1.0, -1.0);
  for (auto [u, v] : {std::pair{0.0, 0.0}, {390.0, 844.0}, {10.0, 20.0}}) expectNear(apply(s, u, h - v), {w - u, h - v});
}

TEST(AffineTransform, InvertUndoesAndRectsTakeTheBoundingBox) {
  auto t = CGAffineTransformRotate(CGAffineTransformMakeTranslation(3, 4), 0.7);
  t = CGAffineTransformScale(t, 2, -3);
  const auto inv = CGAffineTransformInvert(t);
  expectNear(CGPointApplyAffineTransform(CGPointApplyAffineTransform({5, -7}, t), inv), {5, -7});
  const CGRect r = CGRectApplyAffineTransform(CGRectMake(0, 0, 10, 20), CGAffineTransformMakeRotation(std::numbers::pi / 2));
  EXPECT_NEAR(r.origin.x, -20, 1e-9);
  EXPECT_NEAR(r.size.width, 20, 1e-9);
  EXPECT_NEAR(r.size.height, 10, 1e-9);
}

}  // namespace
}  // namespace zerva
