// Placeholders for this folder's member functions while they are written; each goes as its
// real definition lands. Nothing of this file may remain when the folder is done.

#include "handler/ZRViewVideoHandler.h"

namespace zerva {

std::shared_ptr<UIImage> ZRViewVideoHandler::occludeSensitiveViewsIntoImage(const std::shared_ptr<UIImage>& image, const std::vector<std::string>&, const ZRRectStringList&, bool, bool) { return image; }
std::shared_ptr<UIImage> ZRViewVideoHandler::drawOccludedImageForImage(const std::shared_ptr<UIImage>& image, const ZRRectStringList&, bool, bool) { return image; }
void ZRViewVideoHandler::occludePartialScreen(const ZRRectStringList&, CGContextRef, bool, CGSize) {}
void ZRViewVideoHandler::processImageForOcclusionAndVideoConversion(std::shared_ptr<UIImage>, bool, CGRect) {}
void ZRViewVideoHandler::processImageForOcclusionAndVideoConversion(std::shared_ptr<UIImage>, ZRRectStringList, bool, CGRect) {}
void ZRViewVideoHandler::processImageForAutoOcclusionAndVideoConversion(std::shared_ptr<UIImage>, ZRRectStringList, PipelineCompletion) {}
void ZRViewVideoHandler::addImageToAITextOcclusionPipeline(std::shared_ptr<UIImage>, TextOcclusionCompletion) {}

}  // namespace zerva
