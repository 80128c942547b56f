// Placeholders for this folder's member functions while they are written; each goes as its
// real definition lands. Nothing of this file may remain when the folder is done.

#include "handler/ZRViewVideoHandler.h"

namespace zerva {

void ZRViewVideoHandler::schematicFrameScreenImage(bool) {}
std::shared_ptr<UIImage> ZRViewVideoHandler::renderSchematicFrame(const std::vector<HVHierarchyDictionary>&, CGRect) { return nullptr; }
void ZRViewVideoHandler::addKeyboardView(CGRect, CGContextRef) {}
void ZRViewVideoHandler::drawViewHierarchy(const HVHierarchyDictionary&, CGContextRef, double) {}
void ZRViewVideoHandler::drawViewsIntoContext(CGContextRef, const HVHierarchyDictionary&, CGRect, bool, const std::optional<UIColor>&) {}
void ZRViewVideoHandler::applyMaskToBoundsForHierarchy(const HVHierarchyDictionary&, CGContextRef, CGRect) {}
void ZRViewVideoHandler::strokeScreenIntoContext(CGContextRef, CGRect) {}
void ZRViewVideoHandler::renderReactNativeLayoutForScreen(CGRect, const std::shared_ptr<const NSTextStorage>&) {}

}  // namespace zerva
