// Costs of the drawing stand-in on the frame path: the orientation redraw and downscale of a
// video frame, a schematic-style screen drawn directly with the context and text calls, text
// measuring, and (off the frame path) PNG writing and the per-thread text set-up.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdint>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "platform/CGContext.h"
#include "platform/NSStringDrawing.h"
#include "platform/UIBezierPath.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"

namespace zerva {
namespace {

constexpr double kScreenW = 400, kScreenH = 844;
constexpr NSStringDrawingOptions kLabelOptions = NSStringDrawingUsesLineFragmentOrigin |
                                                 NSStringDrawingUsesFontLeading |
                                                 NSStringDrawingTruncatesLastVisibleLine;

// Deterministic pseudo-random numbers, so every run draws the same screen.
struct Lcg {
  std::uint32_t state = 12345;
  double next(double lo, double hi) {
    state = state * 1664525u + 1013904223u;
    return lo + (hi - lo) * ((state >> 8) / double(1u << 24));
  }
};

std::shared_ptr<UIImage> frameImage(double w, double h) {
  UIGraphicsImageRenderer renderer(CGSizeMake(w, h));
  return renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
    CGContextRef c = ctx.CGContext();
    Lcg rng;
    CGContextSetRGBFillColor(c, 1, 1, 1, 1);
    CGContextFillRect(c, CGRectMake(0, 0, w, h));
    for (int i = 0; i < 200; ++i) {
      CGContextSetRGBFillColor(c, rng.next(0, 1), rng.next(0, 1), rng.next(0, 1), 1);
      CGContextFillRect(c, CGRectMake(rng.next(0, w - 60), rng.next(0, h - 30), rng.next(20, 120), rng.next(10, 60)));
    }
  });
}

// The landscape redraw: a 844 x 400 window turned a quarter into a 400 x 844 frame, no smoothing.
void BM_QuarterTurnNearest(benchmark::State& state) {
  const double W = kScreenH, H = kScreenW;
  auto source = frameImage(W, H);
  UIGraphicsImageRenderer renderer(CGSizeMake(kScreenW, kScreenH));
  for (auto _ : state) {
    auto frame = renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
      CGContextRef c = ctx.CGContext();
      CGContextSetInterpolationQuality(c, kCGInterpolationNone);
      CGAffineTransform t = CGAffineTransformIdentity;
      t = CGAffineTransformTranslate(t, 0, W);
      t = CGAffineTransformRotate(t, -std::numbers::pi / 2);
      t = CGAffineTransformTranslate(t, W, 0);
      t = CGAffineTransformScale(t, -1, 1);
      CGContextConcatCTM(c, t);
      CGContextDrawImage(c, CGRectMake(0, 0, W, H), source->CGImage());
    });
    benchmark::DoNotOptimize(frame);
  }
}
BENCHMARK(BM_QuarterTurnNearest)->Unit(benchmark::kMillisecond);

// The downscale stage: 400 x 844 to 200 x 422 at medium quality.
void BM_HalfSizeSmoothDownscale(benchmark::State& state) {
  auto source = frameImage(kScreenW, kScreenH);
  const CGSize D{kScreenW / 2, kScreenH / 2};
  UIGraphicsImageRenderer renderer(D);
  for (auto _ : state) {
    auto frame = renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
      CGContextRef c = ctx.CGContext();
      CGContextSetInterpolationQuality(c, kCGInterpolationMedium);
      CGAffineTransform t = CGAffineTransformIdentity;
      t = CGAffineTransformScale(t, D.width / kScreenW, -(D.height / kScreenH));
      t = CGAffineTransformTranslate(t, 0, -kScreenH);
      CGContextConcatCTM(c, t);
      CGContextDrawImage(c, CGRectMake(0, 0, kScreenW, kScreenH), source->CGImage());
    });
    benchmark::DoNotOptimize(frame);
  }
}
BENCHMARK(BM_HalfSizeSmoothDownscale)->Unit(benchmark::kMillisecond);

struct Screen {
  struct Box {
    CGRect rect;
    CGColor colour;
    double cornerRadius = 0;
    std::string label;
    bool image = false;
  };
  std::vector<Box> boxes;
  std::shared_ptr<UIImage> picture;
};

Screen makeScreen() {
  Screen s;
  Lcg rng;
  for (int i = 0; i < 200; ++i) {
    Screen::Box b;
    b.rect = CGRectMake(rng.next(0, kScreenW - 80), rng.next(0, kScreenH - 40), rng.next(40, 200), rng.next(20, 60));
    // View frames are whole points, as laid-out screens mostly are.
    b.rect = CGRectMake(std::round(b.rect.origin.x), std::round(b.rect.origin.y), std::round(b.rect.size.width),
                        std::round(b.rect.size.height));
    b.colour = {rng.next(0, 1), rng.next(0, 1), rng.next(0, 1), i % 5 == 0 ? 0.6 : 1.0};
    if (i % 20 == 0) b.cornerRadius = 8;                               // 10 rounded clips
    if (i % 10 < 3) {
      // 60 labels of ~20 characters; most fit their box, one in six wraps into a narrow one.
      b.label = "Label text number " + std::to_string(i);
      b.rect.size.width = i % 6 == 0 ? 70 : std::round(rng.next(150, 300));
      b.rect.size.height = std::max(b.rect.size.height, 20.0);
    }
    b.image = i % 50 == 7;                                             // 4 images
    s.boxes.push_back(b);
  }
  s.picture = frameImage(60, 60);
  return s;
}

// A schematic-style screen: per view a saved state, a clip, a box, and text or an image. A
// suffix makes every label a text not set before (a screen whose texts all changed).
void drawScreen(CGContextRef c, const Screen& screen, const std::string& labelSuffix = {}) {
  NSStringAttributes base;
  base.font = UIFont::systemFontOfSize(14);
  base.foregroundColor = UIColor::blackColor();
  NSStringAttributes full = base;
  NSMutableParagraphStyle centred;
  centred.setAlignment(NSTextAlignmentCenter);
  full.paragraphStyle = centred;
  CGContextSetRGBFillColor(c, 1, 1, 1, 1);
  CGContextFillRect(c, CGRectMake(0, 0, kScreenW, kScreenH));
  for (const Screen::Box& b : screen.boxes) {
    CGContextStateSaver saver(c);
    CGContextClipToRect(c, b.rect);
    if (b.cornerRadius > 0) {
      CGContextAddPath(c, UIBezierPath::bezierPathWithRoundedRect(b.rect, b.cornerRadius).CGPath());
      CGContextClip(c);
    }
    CGContextSetFillColorWithColor(c, b.colour);
    CGContextFillRect(c, b.rect);
    if (b.image) screen.picture->drawInRect(b.rect);
    if (!b.label.empty()) {
      const std::string label = labelSuffix.empty() ? b.label : b.label + labelSuffix;
      const CGRect measured = boundingRectWithSize(label, {b.rect.size.width, 1.7976931348623157e+308}, kLabelOptions, base);
      const double boxH = std::min(b.rect.size.height, std::ceil(measured.size.height) + 1);
      const CGRect textBox{{b.rect.origin.x, b.rect.origin.y + (b.rect.size.height - boxH) / 2}, {b.rect.size.width, boxH}};
      drawWithRect(label, textBox, kLabelOptions, full);
    }
  }
}

// Args: scale; whether the labels change every frame (cold) or stay (warm, the usual case of a
// screen redrawn a few times a second).
void BM_SchematicScreen(benchmark::State& state) {
  const Screen screen = makeScreen();
  UIGraphicsImageRendererFormat format;
  format.setScale(static_cast<double>(state.range(0)));
  const bool cold = state.range(1) != 0;
  UIGraphicsImageRenderer renderer(CGSizeMake(kScreenW, kScreenH), format);
  long frame = 0;
  for (auto _ : state) {
    const std::string suffix = cold ? " #" + std::to_string(++frame) : std::string();
    auto image = renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) { drawScreen(ctx.CGContext(), screen, suffix); });
    benchmark::DoNotOptimize(image);
  }
  if (state.range(0) == 2 && !cold) {
    auto image = renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) { drawScreen(ctx.CGContext(), screen); });
    (void)UIImageWritePNGToFile(*image, "/tmp/zerva_bench_screen_2x.png");
  }
}
BENCHMARK(BM_SchematicScreen)->ArgsProduct({{1, 2}, {0, 1}})->ArgNames({"scale", "cold"})->Unit(benchmark::kMillisecond);

// The same screen without its labels: what the boxes, clips and images cost.
void BM_SchematicScreenWithoutText(benchmark::State& state) {
  Screen screen = makeScreen();
  for (auto& b : screen.boxes) b.label.clear();
  UIGraphicsImageRendererFormat format;
  format.setScale(static_cast<double>(state.range(0)));
  UIGraphicsImageRenderer renderer(CGSizeMake(kScreenW, kScreenH), format);
  for (auto _ : state) {
    auto image = renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) { drawScreen(ctx.CGContext(), screen); });
    benchmark::DoNotOptimize(image);
  }
}
BENCHMARK(BM_SchematicScreenWithoutText)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// A 20-character label. Arg: whether it is a new text each time (cold) or one set before.
void BM_LabelMeasure(benchmark::State& state) {
  NSStringAttributes attributes;
  attributes.font = UIFont::systemFontOfSize(14);
  const bool cold = state.range(0) != 0;
  char label[32] = "Twenty chars l 00000";
  long i = 0;
  for (auto _ : state) {
    if (cold) std::snprintf(label + 15, 6, "%05ld", ++i % 100000);
    benchmark::DoNotOptimize(boundingRectWithSize(label, {200, 1e308}, kLabelOptions, attributes));
  }
}
BENCHMARK(BM_LabelMeasure)->ArgName("cold")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// Once per thread: the first text a thread measures loads its fonts.
void BM_TextSetUpOnNewThread(benchmark::State& state) {
  NSStringAttributes attributes;
  for (auto _ : state) {
    std::thread([&] { benchmark::DoNotOptimize(boundingRectWithSize("x", {100, 100}, kLabelOptions, attributes)); }).join();
  }
}
BENCHMARK(BM_TextSetUpOnNewThread)->Unit(benchmark::kMillisecond)->Iterations(20);

// Text at a scale not drawn before, so that every glyph's image is made: a screen's first
// frame, or a zoom. 62 letters and digits at 14 points, the context scaled a little more each
// time (the laid-out line is reused); time per line.
void BM_GlyphsAtANewScale(benchmark::State& state) {
  const std::string line = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  NSStringAttributes attributes;
  attributes.font = UIFont::systemFontOfSize(14);
  UIGraphicsImageRendererFormat format;
  format.setScale(1);
  UIGraphicsImageRenderer renderer(CGSizeMake(700, 40), format);
  double scale = 1;
  for (auto _ : state) {
    scale += 1e-6;
    benchmark::DoNotOptimize(renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
      CGContextScaleCTM(ctx.CGContext(), scale, scale);
      drawWithRect(line, CGRectMake(0, 0, 650, 30), kLabelOptions, attributes);
    }));
  }
}
BENCHMARK(BM_GlyphsAtANewScale)->Unit(benchmark::kMillisecond);

void BM_PNGWrite(benchmark::State& state) {
  auto image = frameImage(kScreenW, kScreenH);
  for (auto _ : state) benchmark::DoNotOptimize(UIImageWritePNGToFile(*image, "/tmp/zerva_bench_frame.png"));
}
BENCHMARK(BM_PNGWrite)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zerva

BENCHMARK_MAIN();
