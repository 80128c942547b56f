#include "platform/UIImage.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "platform/CGContext.h"
#include "platform/CairoHandles.h"

namespace zerva {

namespace {

const std::string kNSCocoaErrorDomain = "NSCocoaErrorDomain";
constexpr long kFileReadCorruptFile = 259;
constexpr long kFileReadNoSuchFile = 260;
constexpr long kFileWriteUnknown = 512;

NSError fileError(long code, const std::string& description, const std::string& path) {
  return NSError::errorWithDomain(kNSCocoaErrorDomain, code, description).withUserInfo("NSFilePath", path);
}

// Brings a loaded PNG to the one pixel format images have.
CairoUniquePtr<cairo_surface_t> toARGB32(CairoUniquePtr<cairo_surface_t> loaded) {
  if (cairo_image_surface_get_format(loaded.get()) == CAIRO_FORMAT_ARGB32) return loaded;
  auto converted = makeBitmapSurface(cairo_image_surface_get_width(loaded.get()),
                                     cairo_image_surface_get_height(loaded.get()), false);
  if (!converted) return nullptr;
  CairoUniquePtr<cairo_t> cr(cairo_create(converted.get()));
  cairo_set_source_surface(cr.get(), loaded.get(), 0, 0);
  cairo_set_operator(cr.get(), CAIRO_OPERATOR_SOURCE);
  cairo_paint(cr.get());
  return converted;
}

}  // namespace

ZR_DEFINE_CLASS(UIImage, NSObject, nullptr)

UIImage::UIImage(CGImageRef image, double scale)
    : image_(image ? std::move(image) : CGImageCreateWithPixels(0, 0, 0, nullptr)),
      scale_(std::isfinite(scale) && scale > 0 ? scale : 1.0) {}

std::shared_ptr<UIImage> UIImage::imageWithCGImage(CGImageRef image, double scale) {
  if (!image) return nullptr;
  return std::make_shared<UIImage>(std::move(image), scale);
}

CGSize UIImage::size() const {
  return {static_cast<double>(image_->width()) / scale_, static_cast<double>(image_->height()) / scale_};
}

void UIImage::drawInRect(CGRect rect) const {
  if (CGContextRef c = UIGraphicsGetCurrentContext()) drawImageInRect(*c, rect, *image_, /*upright=*/true);
}

void UIImage::drawAtPoint(CGPoint point) const { drawInRect(CGRect{point, size()}); }

NSResult<std::shared_ptr<UIImage>> UIImage::imageWithContentsOfFile(const std::string& path) {
  std::error_code ec;
  if (!std::filesystem::is_regular_file(path, ec)) {
    return fileError(kFileReadNoSuchFile, "The file \"" + path + "\" couldn't be opened because there is no such file.",
                     path);
  }
  CairoUniquePtr<cairo_surface_t> loaded(cairo_image_surface_create_from_png(path.c_str()));
  const cairo_status_t status = cairo_surface_status(loaded.get());
  CairoUniquePtr<cairo_surface_t> surface;
  if (status == CAIRO_STATUS_SUCCESS) surface = toARGB32(std::move(loaded));
  if (!surface) {
    return fileError(kFileReadCorruptFile,
                     "The file \"" + path + "\" couldn't be opened because it isn't a readable PNG image (" +
                         cairo_status_to_string(status) + ").",
                     path);
  }
  return std::make_shared<UIImage>(makeImage(std::move(surface)), 1.0);
}

NSErrorOrNil UIImageWritePNGToFile(const UIImage& image, const std::string& path) {
  const CGImage& cg = *image.CGImage();
  if (cg.width() == 0 || cg.height() == 0) {
    return fileError(kFileWriteUnknown, "The file \"" + path + "\" couldn't be saved: the image has no pixels.", path);
  }
  errno = 0;
  const cairo_status_t status = cairo_surface_write_to_png(surfaceOf(cg), path.c_str());
  if (status != CAIRO_STATUS_SUCCESS) {
    std::string reason = cairo_status_to_string(status);
    if (errno != 0) reason += std::string(": ") + std::strerror(errno);
    return fileError(kFileWriteUnknown, "The file \"" + path + "\" couldn't be saved (" + reason + ").", path);
  }
  return std::nullopt;
}

}  // namespace zerva
