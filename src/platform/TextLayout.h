#pragma once
// Private to the text sources of src/platform: lays text out with Pango, measures and draws it.
// Every string-drawing call (plain strings, attributed strings, the layout manager) comes here,
// so that measuring and drawing always agree.

#include <span>
#include <string_view>

#include "platform/CGContext.h"
#include "platform/NSAttributedString.h"

namespace zerva {

/// Where and how a text is set.
struct TextFrame {
  double width = 0;   // not a positive finite number: no limit
  double height = 0;  // likewise; only with lineFragmentOrigin
  std::size_t maximumNumberOfLines = 0;  // 0: no limit
  bool lineFragmentOrigin = true;        // false: one line, its baseline at the origin
  bool truncateLastVisibleLine = false;  // "…" ends the last line when lines are left out

  static TextFrame forOptions(CGSize size, NSStringDrawingOptions options);
};

struct TextMetrics {
  CGRect usedRect = CGRectZero;    // relative to the frame's origin
  std::size_t visibleLength = 0;   // bytes of the text up to the end of the last drawn line
};

using TextRuns = std::span<const NSAttributedString::Run>;

TextMetrics measureText(std::string_view text, TextRuns runs, const TextFrame& frame);
void drawText(CGContext& context, CGPoint origin, std::string_view text, TextRuns runs, const TextFrame& frame);

}  // namespace zerva
