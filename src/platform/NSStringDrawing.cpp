#include "platform/NSStringDrawing.h"

#include "platform/TextLayout.h"

namespace zerva {

namespace {
// A plain string is one run carrying all the attributes.
NSAttributedString::Run wholeRun(std::string_view text, const NSStringAttributes& attributes) {
  return {NSMakeRange(0, text.size()), attributes};
}
}  // namespace

CGRect boundingRectWithSize(std::string_view text, CGSize size, NSStringDrawingOptions options,
                            const NSStringAttributes& attributes) {
  const NSAttributedString::Run run = wholeRun(text, attributes);
  return measureText(text, {&run, 1}, TextFrame::forOptions(size, options)).usedRect;
}

void drawWithRect(std::string_view text, CGRect rect, NSStringDrawingOptions options, const NSStringAttributes& attributes) {
  CGContextRef c = UIGraphicsGetCurrentContext();
  if (!c) return;
  const NSAttributedString::Run run = wholeRun(text, attributes);
  const CGRect r = CGRectStandardize(rect);
  drawText(*c, r.origin, text, {&run, 1}, TextFrame::forOptions(r.size, options));
}

}  // namespace zerva
