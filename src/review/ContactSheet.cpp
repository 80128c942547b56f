#include "review/ContactSheet.h"

#include <algorithm>
#include <cmath>

#include "platform/CGContext.h"
#include "platform/NSStringDrawing.h"
#include "platform/StringWithFormat.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"
#include "review/VideoFrameReader.h"

namespace zerva {

namespace {
constexpr double kMargin = 10;
constexpr double kLabelHeight = 16;
constexpr double kLabelFontSize = 10;
}  // namespace

std::shared_ptr<UIImage> ContactSheet::draw(const DecodedVideo& video, double thumbnailWidth, int columns) {
  if (video.frames.empty() || video.width <= 0 || video.height <= 0) return nullptr;
  columns = std::clamp(columns, 1, static_cast<int>(video.frames.size()));
  const int rows = static_cast<int>((video.frames.size() + columns - 1) / columns);
  const CGSize thumbnail = CGSizeMake(thumbnailWidth, std::round(thumbnailWidth * video.height / video.width));
  const CGSize cell = CGSizeMake(thumbnail.width + kMargin, thumbnail.height + kLabelHeight + kMargin);
  const CGSize size = CGSizeMake(columns * cell.width + kMargin, rows * cell.height + kMargin);

  NSStringAttributes attributes;
  attributes.font = UIFont::systemFontOfSize(kLabelFontSize);
  attributes.foregroundColor = UIColor::blackColor();

  const UIGraphicsImageRenderer renderer(size);
  return renderer.imageWithActions([&](UIGraphicsImageRendererContext& rendererContext) {
    CGContextRef context = rendererContext.CGContext();
    CGContextSetFillColorWithColor(context, UIColor::colorWithWhite(0.85, 1).cgColor());
    CGContextFillRect(context, CGRect{CGPointZero, size});
    CGContextSetInterpolationQuality(context, kCGInterpolationMedium);
    for (std::size_t i = 0; i < video.frames.size(); ++i) {
      const auto& frame = video.frames[i];
      const double x = kMargin + static_cast<double>(i % columns) * cell.width;
      const double y = kMargin + static_cast<double>(i / columns) * cell.height;
      const CGRect box = CGRectMake(x, y, thumbnail.width, thumbnail.height);
      if (auto image = frame.image()) image->drawInRect(box);
      CGContextSetStrokeColorWithColor(context, UIColor::grayColor().cgColor());
      CGContextSetLineWidth(context, 1);
      CGContextStrokeRect(context, CGRectInset(box, -0.5, -0.5));
      drawWithRect(stringWithFormat("#%lu  %.3f s", static_cast<unsigned long>(i), frame.presentationTime),
                   CGRectMake(x, y + thumbnail.height + 2, thumbnail.width, kLabelHeight),
                   NSStringDrawingUsesLineFragmentOrigin, attributes);
    }
  });
}

}  // namespace zerva
