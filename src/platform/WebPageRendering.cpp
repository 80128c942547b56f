// What a web view's page looks like: boxes for form controls and buttons, text for the rest.

#include <algorithm>

#include "platform/CGContext.h"
#include "platform/NSStringDrawing.h"
#include "platform/WKWebView.h"

namespace zerva {

namespace {

const NSStringDrawingOptions kTextOptions =
    NSStringDrawingUsesLineFragmentOrigin | NSStringDrawingUsesFontLeading | NSStringDrawingTruncatesLastVisibleLine;

bool isHeading(const std::string& tag) { return tag.size() == 2 && tag[0] == 'h' && tag[1] >= '1' && tag[1] <= '6'; }

void drawText(const std::string& text, CGRect box, double size, bool bold, UIColor color, NSTextAlignment alignment,
              bool centreVertically) {
  if (text.empty() || CGRectIsEmpty(box)) return;
  NSStringAttributes attributes;
  attributes.font = bold ? UIFont::boldSystemFontOfSize(size) : UIFont::systemFontOfSize(size);
  attributes.foregroundColor = color;
  NSMutableParagraphStyle style;
  style.setAlignment(alignment);
  attributes.paragraphStyle = style;
  if (centreVertically) {
    const double line = attributes.font->lineHeight();
    box = CGRectMake(box.origin.x, box.origin.y + std::max(0.0, (box.size.height - line) / 2), box.size.width, line);
  }
  drawWithRect(text, box, kTextOptions, attributes);
}

void drawElement(CGContextRef c, const WebElement& e, bool parentVisible) {
  if (e.computedDisplay() == "none") return;  // with its whole subtree
  const bool visible = e.visibility ? *e.visibility == "visible" : parentVisible;
  const std::string& tag = e.tagName;
  const auto type = e.domType();
  if (visible && !CGRectIsEmpty(e.frame)) {
    const CGRect box = e.frame;
    const UIColor textColor = e.color.value_or(UIColor::colorWithWhite(0.1, 1));
    if (e.background && tag != "input" && tag != "textarea" && tag != "button") {
      CGContextSetFillColorWithColor(c, e.background->cgColor());
      CGContextFillRect(c, box);
    }
    if (tag == "input" && type != "hidden" && type != "checkbox" && type != "radio") {
      CGContextSetFillColorWithColor(c, e.background.value_or(UIColor::whiteColor()).cgColor());
      CGContextFillRect(c, box);
      CGContextSetRGBStrokeColor(c, 0.75, 0.75, 0.78, 1);
      CGContextSetLineWidth(c, 1);
      CGContextStrokeRect(c, CGRectInset(box, 0.5, 0.5));
      std::string shown = e.value;
      if (type == "password") {
        const auto n = std::count_if(shown.begin(), shown.end(), [](char ch) { return (ch & 0xC0) != 0x80; });
        shown.clear();
        for (long i = 0; i < n; ++i) shown += "\u2022";
      }
      // An empty field shows its "hint" attribute in light grey.
      const bool showsHint = shown.empty();
      if (showsHint) shown = e.attribute("hint").value_or("");
      drawText(shown, CGRectInset(box, 8, 0), 16, false, showsHint ? UIColor::colorWithWhite(0.65, 1) : textColor,
               NSTextAlignmentLeft, true);
    } else if (tag == "textarea") {
      CGContextSetFillColorWithColor(c, e.background.value_or(UIColor::whiteColor()).cgColor());
      CGContextFillRect(c, box);
      CGContextSetRGBStrokeColor(c, 0.75, 0.75, 0.78, 1);
      CGContextStrokeRect(c, CGRectInset(box, 0.5, 0.5));
      drawText(e.value, CGRectInset(box, 8, 6), 16, false, textColor, NSTextAlignmentLeft, false);
    } else if (tag == "button" || (tag == "input" && (type == "submit" || type == "button"))) {
      CGContextSetRGBFillColor(c, 0.0, 0.48, 1.0, 1);
      CGContextFillRect(c, box);
      drawText(e.text.empty() ? e.value : e.text, box, 16, true, UIColor::whiteColor(), NSTextAlignmentCenter, true);
    } else if (!e.text.empty()) {
      const bool heading = isHeading(tag);
      drawText(e.text, box, heading ? 22 - 2 * (tag[1] - '1') : 15, heading || tag == "b" || tag == "strong",
               textColor, NSTextAlignmentLeft, false);
    }
  }
  for (const auto& child : e.children) drawElement(c, child, visible);
}

}  // namespace

void WKWebView::drawRect(CGRect) const {
  CGContextRef c = UIGraphicsGetCurrentContext();
  if (!c || page_->body.empty()) return;
  // The page scrolls under the viewport: page point p shows at viewport origin + p - scroll.
  const CGRect viewport = viewportRect();
  const CGPoint scroll = scrollView()->contentOffset();
  CGContextStateSaver saver(c);
  CGContextClipToRect(c, viewport);
  CGContextTranslateCTM(c, viewport.origin.x - scroll.x, viewport.origin.y - scroll.y);
  for (const auto& element : page_->body) drawElement(c, element, true);
}

}  // namespace zerva
