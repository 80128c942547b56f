#pragma once
// Measuring and drawing plain strings with attributes (the platform's NSString drawing
// additions), with the one fixed font family DejaVu Sans.
//
// Options:
// - NSStringDrawingUsesLineFragmentOrigin: the rectangle's origin is the top-left of the first
//   line; lines wrap at the rectangle's width by the paragraph style's line-break mode, and lines
//   below the rectangle's height are not drawn (the first line always is). Without it the text is
//   one line whose BASELINE sits at the rectangle's origin, as on the platform.
// - NSStringDrawingTruncatesLastVisibleLine (with the former): when lines are left out, the last
//   drawn line ends in "…".
// - NSStringDrawingUsesFontLeading: accepted; DejaVu Sans has no extra leading.
// A width or height that is not a positive finite number means "no limit" on that side.
// The platform's NSStringDrawingContext argument, always nil in this code, is left out.
//
// Drawing goes to the current context (UIGraphicsGetCurrentContext) and does nothing without one.
// Any thread may measure and draw: each thread has its own text engine, set up on first use
// (loading fonts takes milliseconds once per thread).

#include <string_view>

#include "platform/CGGeometry.h"
#include "platform/NSStringAttributes.h"

namespace zerva {

using NSStringDrawingOptions = unsigned long;
inline constexpr NSStringDrawingOptions NSStringDrawingUsesLineFragmentOrigin = 1ul << 0;
inline constexpr NSStringDrawingOptions NSStringDrawingUsesFontLeading = 1ul << 1;
inline constexpr NSStringDrawingOptions NSStringDrawingUsesDeviceMetrics = 1ul << 3;
inline constexpr NSStringDrawingOptions NSStringDrawingTruncatesLastVisibleLine = 1ul << 5;

/// The rectangle the text would occupy when drawn with the same options into a rectangle of
/// the size: with NSStringDrawingUsesLineFragmentOrigin origin (0, 0), the widest line's width
/// and the lines' total height (one font line height per line); without it one line, its origin
/// (0, -ascender) relative to the baseline. CGRectZero for an empty text.
CGRect boundingRectWithSize(std::string_view text, CGSize size, NSStringDrawingOptions options,
                            const NSStringAttributes& attributes);

/// Draws the text into the rectangle, laid out as boundingRectWithSize measures it.
void drawWithRect(std::string_view text, CGRect rect, NSStringDrawingOptions options,
                  const NSStringAttributes& attributes);

}  // namespace zerva
