// Drawing one tree of the screen's description: boxes, clips and rounded masks, texts, images
// and placeholders, "Sensitive View" covers, children by z-position. Main thread, inside the
// renderer's drawing action.

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/NSAttributedString.h"
#include "platform/NSStringDrawing.h"
#include "platform/NSTextStorage.h"
#include "platform/UIBezierPath.h"
#include "platform/UIImage.h"
#include "services/ZRLogUtility.h"
#include "services/ZervaHandler.h"

namespace zerva {

namespace {

// Uses line-fragment origin, uses font leading, truncates the last visible line.
constexpr NSStringDrawingOptions kTextDrawingOptions = 0x23;
constexpr double kMinContentSide = 4.0;
constexpr double kSensitiveLabelFontSize = 16.0;
const std::string kSensitiveViewText = "Sensitive View";

/// Makes the context the current one for the drawing calls that take none (images, paths,
/// strings) while in scope, unless it is already.
class CurrentContextScope {
 public:
  explicit CurrentContextScope(CGContextRef context) : pushed_(context && UIGraphicsGetCurrentContext() != context) {
    if (pushed_) UIGraphicsPushContext(context);
  }
  ~CurrentContextScope() {
    if (pushed_) UIGraphicsPopContext();
  }
  CurrentContextScope(const CurrentContextScope&) = delete;
  CurrentContextScope& operator=(const CurrentContextScope&) = delete;

 private:
  bool pushed_;
};

/// The session's sensitive-view colour with its own alpha; opaque dark grey without settings.
UIColor sensitiveBoxColour() {
  if (auto settings = ZervaHandler::shared()->sessionSettings()) return settings->sensitiveViewColor();
  return UIColor::darkGrayColor();
}

void fillRect(CGContextRef context, CGRect rect, const UIColor& colour) {
  CGContextSetFillColorWithColor(context, colour.cgColor());
  CGContextFillRect(context, rect);
}

long zPositionOf(const HVHierarchyDictionary& view) {
  return static_cast<long>(view.number(Zerva_HS_Key_ZPosition).value_or(0.0));
}

/// The keys of `full` that the first character of `text` has no value for, with full's values.
/// An exception while reading is recorded and the keys gathered so far are kept.
NSStringAttributes missingAttributes(const NSAttributedString& text, const NSStringAttributes& full) {
  NSStringAttributes missing;
  try {
    const NSStringAttributes first = text.attributesAtIndex(0, nullptr);
    for (auto key : NSStringAttributes::allKeys) {
      if (full.hasValueForKey(key) && !first.hasValueForKey(key)) missing.setValueForKey(key, full);
    }
  } catch (const std::out_of_range&) {
    ZRLogUtility::addInternalErrorTag("HierarchyRender-attributesAtIndex-error");
  }
  return missing;
}

}  // namespace

void ZRViewVideoHandler::drawViewHierarchy(const HVHierarchyDictionary& hierarchy, CGContextRef context,
                                           double parentAlpha) {
  ZR_ASSERT_MAIN_THREAD();
  const CGRect screenRect = Zerva_rectFromFastStore(hierarchy.get(Zerva_HS_Key_ScreenRect));
  const CGRect clipRect = Zerva_rectFromFastStore(hierarchy.get(Zerva_HS_Key_ClipToRect));

  // The clip and mask apply to this view and its subtree only.
  CGContextStateSaver state(context);
  CGContextClipToRect(context, clipRect);
  applyMaskToBoundsForHierarchy(hierarchy, context, screenRect);

  const double alpha = parentAlpha * hierarchy.number(Zerva_HS_Key_Alpha).value_or(1.0);
  const bool sensitive = hierarchy.contains(Zerva_HS_Key_SensitiveView);

  // Without a background entry a view draws nothing of its own, sensitive or not.
  if (hierarchy.contains(Zerva_HS_Key_BackgroundColour)) {
    std::optional<UIColor> boxColour;
    if (sensitive) {
      boxColour = sensitiveBoxColour();
    } else if (auto background = hierarchy.color(Zerva_HS_Key_BackgroundColour)) {
      boxColour = background->colorWithAlphaComponent(background->alpha() * alpha);
    }
    if (boxColour) fillRect(context, screenRect, *boxColour);
    if (screenRect.size.width > kMinContentSide && screenRect.size.height > kMinContentSide) {
      drawViewsIntoContext(context, hierarchy, screenRect, sensitive, boxColour);
    }
  }

  if (auto children = hierarchy.array(Zerva_HS_Key_Views)) {
    std::vector<const HVHierarchyDictionary*> ordered;
    ordered.reserve(children->size());
    for (const auto& child : *children) ordered.push_back(&child);
    // Lowest z-position first; equal ones keep the scanner's order.
    std::stable_sort(ordered.begin(), ordered.end(), [](const HVHierarchyDictionary* a, const HVHierarchyDictionary* b) {
      return zPositionOf(*a) < zPositionOf(*b);
    });
    for (const auto* child : ordered) drawViewHierarchy(*child, context, alpha);
  }
}

void ZRViewVideoHandler::applyMaskToBoundsForHierarchy(const HVHierarchyDictionary& hierarchy, CGContextRef context,
                                                       CGRect screenRect) {
  const auto masksToBounds = hierarchy.boolean(Zerva_HS_Key_LayerM2B);
  const auto cornerRadius = hierarchy.number(Zerva_HS_Key_CornerRadius);
  if (!masksToBounds || !*masksToBounds || !cornerRadius || *cornerRadius <= 0.0) return;
  const UIBezierPath rounded = UIBezierPath::bezierPathWithRoundedRect(screenRect, *cornerRadius);
  CGContextAddPath(context, rounded.CGPath());
  CGContextClip(context);
}

void ZRViewVideoHandler::drawViewsIntoContext(CGContextRef context, const HVHierarchyDictionary& hierarchy,
                                              CGRect screenRect, bool isSensitive,
                                              const std::optional<UIColor>& viewColor) {
  const CurrentContextScope current(context);
  const double X = screenRect.origin.x, Y = screenRect.origin.y;
  const double W = screenRect.size.width, H = screenRect.size.height;

  const auto typeTag = hierarchy.typeTag(Zerva_HS_Key_IsTypeOf);
  const bool alert = hierarchy.boolean(Zerva_HS_Key_AlertView).value_or(false);
  const bool imageView = hierarchy.boolean(Zerva_HS_Key_ImageView).value_or(false);
  const auto foreground = hierarchy.color(Zerva_HS_Key_ForegroundColour);
  const auto title = hierarchy.dictionary(Zerva_HS_Key_ViewTitle);

  std::optional<std::string> text;
  std::shared_ptr<const NSAttributedString> attributedText;
  std::optional<UIFont> font;
  long alignment = NSTextAlignmentLeft;
  std::shared_ptr<const NSTextStorage> storage;
  if (isSensitive) {
    text = kSensitiveViewText;
    font = UIFont::systemFontOfSize(kSensitiveLabelFontSize);
    alignment = NSTextAlignmentCenter;
  } else {
    storage = hierarchy.textStorage(Zerva_HS_KeyTypeOf_RNTextView);
    if (title && !storage) {
      text = title->string(Zerva_HS_Key_ViewTitle_Text);
      attributedText = title->attributedString(Zerva_HS_Key_ViewTitle_AttrText);
      font = title->font(Zerva_HS_Key_ViewTitle_Font);
      alignment = static_cast<long>(title->number(Zerva_HS_Key_ViewTitle_Align).value_or(0.0));
    }
  }

  const auto directImage = hierarchy.image(Zerva_HS_Key_DirectImage);
  if (alert) {
    if (!viewColor) fillRect(context, screenRect, UIColor::colorWithWhite(0.85, 0.97));
    if (directImage) directImage->drawInRect(screenRect);
  } else if (imageView) {
    if (directImage) {
      directImage->drawInRect(screenRect);
    } else {
      if (!viewColor) fillRect(context, screenRect, UIColor::lightGrayColor());
      strokeScreenIntoContext(context, screenRect);
    }
  }

  if (storage) {
    renderReactNativeLayoutForScreen(screenRect, storage);
    return;
  }
  if (!text && !attributedText) return;

  NSStringAttributes base;
  if (font) base.font = *font;
  if (foreground) base.foregroundColor = *foreground;
  // Frames always set the shared style first; a direct call without one starts from the default.
  NSMutableParagraphStyle paragraph = fs_OutlineLabelParagraphStyle
                                          ? NSMutableParagraphStyle(*fs_OutlineLabelParagraphStyle)
                                          : NSMutableParagraphStyle();
  paragraph.setAlignment(static_cast<NSTextAlignment>(alignment));
  const long lineBreak =
      title ? static_cast<long>(title->number(Zerva_HS_Key_ViewTitle_LineBreak).value_or(0.0)) : 0;
  paragraph.setLineBreakMode(static_cast<NSLineBreakMode>(lineBreak));
  NSStringAttributes full = base;
  full.paragraphStyle = paragraph;
  const std::optional<double> lineLimit =
      title ? title->number(Zerva_HS_Key_ViewTitle_NumberOfTextLines) : std::nullopt;

  double measuredWidth = 0, measuredHeight = 0;
  if (text) {
    const CGRect bounds = boundingRectWithSize(*text, CGSizeMake(W, std::numeric_limits<double>::max()),
                                               kTextDrawingOptions, base);
    measuredWidth = bounds.size.width;
    measuredHeight = bounds.size.height - bounds.origin.y;
  }
  const double textW = std::ceil(measuredWidth) + 1.0;
  const double textH = std::ceil(measuredHeight) + 1.0;
  double boxH = std::min(H, textH);
  if (lineLimit) {
    const long lines = static_cast<long>(*lineLimit);
    const double lineHeight = font ? font->lineHeight() : 0.0;
    if (lines > 0 && boxH / lineHeight > static_cast<double>(lines)) boxH = lineHeight * static_cast<double>(lines);
  }
  const double off = (H - boxH) * 0.5;
  const CGRect textBox = isSensitive ? CGRectMake(X, off > 0 ? Y + off : Y, W, H)
                                     : CGRectMake(X, Y + off, std::max(W, textW), boxH);
  const bool textKind =
      typeTag && (typeTag->is(Zerva_HS_KeyTypeOf_TextField) || typeTag->is(Zerva_HS_KeyTypeOf_Label));
  CGRect drawRect = textKind ? textBox : screenRect;

  if (!attributedText || attributedText->length() == 0) {
    if (text) drawWithRect(*text, drawRect, kTextDrawingOptions, full);
    return;
  }

  NSStringAttributes missing = missingAttributes(*attributedText, full);
  if (missing.empty() && !lineLimit) {
    attributedText->drawWithRect(drawRect, kTextDrawingOptions);
    return;
  }
  auto merged = attributedText->mutableCopy();
  const NSRange whole = NSMakeRange(0, merged->length());
  if (lineLimit) {
    // A label with a line limit is placed by the box above, not by its own paragraph style.
    merged->removeAttribute(NSParagraphStyleAttributeName, whole);
    missing.removeValueForKey(NSParagraphStyleAttributeName);
    const double slack = textBox.size.width - textW;
    if (alignment != NSTextAlignmentLeft && slack > 0) {
      std::optional<double> shift;
      if (alignment == NSTextAlignmentRight) shift = slack;
      if (alignment == NSTextAlignmentCenter) shift = slack * 0.5;
      if (shift) drawRect = CGRectMake(X + *shift, textBox.origin.y, textBox.size.width - *shift, textBox.size.height);
    }
  }
  if (!missing.empty()) merged->addAttributes(missing, whole);
  merged->drawWithRect(drawRect, kTextDrawingOptions);
}

void ZRViewVideoHandler::strokeScreenIntoContext(CGContextRef context, CGRect screenRect) {
  const CurrentContextScope current(context);
  CGContextSetStrokeColorWithColor(context, UIColor::grayColor().cgColor());
  CGContextStrokeRect(context, screenRect);
  const double x = screenRect.origin.x, y = screenRect.origin.y;
  const double w = screenRect.size.width, h = screenRect.size.height;
  UIBezierPath cross = UIBezierPath::bezierPath();
  cross.moveToPoint(CGPointMake(x, y));
  cross.addLineToPoint(CGPointMake(x + w, y + h));
  cross.moveToPoint(CGPointMake(x + w, y));
  cross.addLineToPoint(CGPointMake(x, y + h));
  cross.setLineWidth(1.0);
  cross.stroke();
}

void ZRViewVideoHandler::renderReactNativeLayoutForScreen(CGRect screenRect,
                                                          const std::shared_ptr<const NSTextStorage>& storage) {
  if (!storage || storage->layoutManagers().empty()) return;
  const auto& layoutManager = storage->layoutManagers().front();
  if (!layoutManager || layoutManager->textContainers().empty()) return;
  const NSRange glyphs = layoutManager->glyphRangeForTextContainer(layoutManager->textContainers().front());
  layoutManager->drawBackgroundForGlyphRange(glyphs, screenRect.origin);
  layoutManager->drawGlyphsForGlyphRange(glyphs, screenRect.origin);
}

}  // namespace zerva
