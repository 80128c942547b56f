#include "review/MaskPreview.h"

#include <algorithm>

#include "platform/CGContext.h"
#include "platform/NSStringDrawing.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"

namespace zerva {

namespace {

constexpr double kTitleHeight = 28;
constexpr double kPanelGap = 12;
constexpr double kCaptionHeight = 18;
constexpr double kLabelFontSize = 10;
constexpr double kOutlineWidth = 2;

void drawText(const std::string& text, CGPoint topLeft, double size, const UIColor& colour, bool bold) {
  NSStringAttributes attributes;
  attributes.font = bold ? UIFont::boldSystemFontOfSize(size) : UIFont::systemFontOfSize(size);
  attributes.foregroundColor = colour;
  drawWithRect(text, CGRectMake(topLeft.x, topLeft.y, 0, 0), NSStringDrawingUsesLineFragmentOrigin, attributes);
}

/// The outlines, and on the left panel a tag with the source's name at each rectangle's corner.
void drawRects(CGContextRef context, const std::vector<ZRInspectedRect>& rects, CGPoint origin, bool labelled) {
  for (const auto& hidden : rects) {
    const UIColor colour = MaskPreview::colourForSource(hidden.source);
    const CGRect rect = CGRectOffset(hidden.rect, origin.x, origin.y);
    CGContextSetStrokeColorWithColor(context, colour.cgColor());
    CGContextSetLineWidth(context, kOutlineWidth);
    CGContextStrokeRect(context, CGRectInset(rect, kOutlineWidth / 2, kOutlineWidth / 2));
    if (!labelled) continue;
    NSStringAttributes attributes;
    attributes.font = UIFont::boldSystemFontOfSize(kLabelFontSize);
    const std::string name = ZRHiddenRectSourceName(hidden.source);
    const CGRect measured = boundingRectWithSize(name, CGSizeMake(0, 0), NSStringDrawingUsesLineFragmentOrigin, attributes);
    const CGRect tag = CGRectMake(rect.origin.x, rect.origin.y, measured.size.width + 6, measured.size.height + 2);
    CGContextSetFillColorWithColor(context, colour.cgColor());
    CGContextFillRect(context, tag);
    drawText(name, CGPointMake(tag.origin.x + 3, tag.origin.y + 1), kLabelFontSize, UIColor::whiteColor(), true);
  }
}

}  // namespace

UIColor MaskPreview::colourForSource(ZRHiddenRectSource source) {
  switch (source) {
    case ZRHiddenRectSource::SensitiveView:
      return UIColor::colorWithRed(0.90, 0.10, 0.10, 1);
    case ZRHiddenRectSource::AutomaticTextField:
      return UIColor::colorWithRed(0.95, 0.50, 0.00, 1);
    case ZRHiddenRectSource::WebPage:
      return UIColor::colorWithRed(0.10, 0.45, 0.95, 1);
    case ZRHiddenRectSource::Manual:
      return UIColor::colorWithRed(0.55, 0.20, 0.80, 1);
    case ZRHiddenRectSource::OnDemand:
      return UIColor::colorWithRed(0.85, 0.15, 0.60, 1);
    case ZRHiddenRectSource::TextRecognition:
      return UIColor::colorWithRed(0.00, 0.60, 0.35, 1);
    case ZRHiddenRectSource::WholeScreen:
      return UIColor::colorWithRed(0.10, 0.10, 0.10, 1);
    case ZRHiddenRectSource::Unknown:
      break;
  }
  return UIColor::colorWithRed(0.5, 0.5, 0.5, 1);
}

std::shared_ptr<UIImage> MaskPreview::draw(const ZRFrameInspection& frame, const std::shared_ptr<UIImage>& shown,
                                           const std::string& title) {
  const auto& left = shown ? shown : frame.captured;
  if (!frame.captured || !left) return nullptr;
  const CGSize panel = frame.captured->size();
  const CGSize size = CGSizeMake(panel.width * 2 + kPanelGap * 3, panel.height + kTitleHeight + kCaptionHeight + kPanelGap);
  const CGPoint leftOrigin = CGPointMake(kPanelGap, kTitleHeight + kCaptionHeight);
  const CGPoint rightOrigin = CGPointMake(kPanelGap * 2 + panel.width, leftOrigin.y);

  const UIGraphicsImageRenderer renderer(size);
  return renderer.imageWithActions([&](UIGraphicsImageRendererContext& rendererContext) {
    CGContextRef context = rendererContext.CGContext();
    CGContextSetFillColorWithColor(context, UIColor::colorWithWhite(0.92, 1).cgColor());
    CGContextFillRect(context, CGRect{CGPointZero, size});
    drawText(title, CGPointMake(kPanelGap, 6), 14, UIColor::blackColor(), true);
    drawText("as the app showed it", CGPointMake(leftOrigin.x, kTitleHeight), 11, UIColor::darkGrayColor(), false);
    drawText("as recorded", CGPointMake(rightOrigin.x, kTitleHeight), 11, UIColor::darkGrayColor(), false);

    left->drawInRect(CGRect{leftOrigin, panel});
    if (frame.recorded) frame.recorded->drawInRect(CGRect{rightOrigin, panel});
    // Outside the panels nothing is drawn over.
    CGContextSaveGState(context);
    CGContextClipToRect(context, CGRect{rightOrigin, panel});
    drawRects(context, frame.hidden, rightOrigin, false);
    CGContextRestoreGState(context);
    CGContextSaveGState(context);
    CGContextClipToRect(context, CGRect{leftOrigin, panel});
    drawRects(context, frame.hidden, leftOrigin, true);
    CGContextRestoreGState(context);
  });
}

}  // namespace zerva
