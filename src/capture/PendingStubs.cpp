// Placeholders for this folder's member functions while they are written; each goes as its
// real definition lands. Nothing of this file may remain when the folder is done.

#include "handler/ZRViewVideoHandler.h"

namespace zerva {

void ZRViewVideoHandler::recordScreenVideo(CGRect, bool) {}
std::vector<std::shared_ptr<CALayer>> ZRViewVideoHandler::availableWindowLayers() const { return {}; }
std::shared_ptr<UIImage> ZRViewVideoHandler::generateSnapShotForView(const std::shared_ptr<UIView>&, CGRect, CGRect) { return nullptr; }
void ZRViewVideoHandler::drawImageForView(const std::shared_ptr<UIView>&, CGSize) {}
bool ZRViewVideoHandler::canUseOldLayerMethodToTakeSnapshotInController(const std::shared_ptr<UIViewController>&, const std::shared_ptr<UIWindow>&) const { return false; }
std::shared_ptr<UIImage> ZRViewVideoHandler::generateSnapShotForLayers(const std::vector<std::shared_ptr<CALayer>>&, CGSize, CGRect) { return nullptr; }
void ZRViewVideoHandler::processCapturedImageIntoVideo(std::shared_ptr<UIImage>, long, CGRect, bool, bool) {}
std::shared_ptr<UIImage> ZRViewVideoHandler::scaleImageToScreenSize(const std::shared_ptr<UIImage>&, CGSize) const { return nullptr; }
bool ZRViewVideoHandler::anyViewScrollingInHierarchy(const std::shared_ptr<UIView>&) { return false; }
bool ZRViewVideoHandler::svContentOffsetHasChanged(const std::shared_ptr<UIScrollView>&) { return false; }
void ZRViewVideoHandler::cleanupTrackedScrollviews() {}
bool ZRViewVideoHandler::isScrollViewZooming(const std::shared_ptr<UIScrollView>&) const { return false; }

}  // namespace zerva
