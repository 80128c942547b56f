// Placeholders for this folder's member functions while they are written; each goes as its
// real definition lands. Nothing of this file may remain when the folder is done.

#include "handler/ZRViewVideoHandler.h"

namespace zerva {

void ZRViewVideoHandler::addSensitiveView(const std::shared_ptr<UIView>&, bool) {}
void ZRViewVideoHandler::addSensitiveView(const std::shared_ptr<UIView>&, bool, bool) {}
void ZRViewVideoHandler::removeSensitiveView(const std::shared_ptr<UIView>&) {}
void ZRViewVideoHandler::setOccludeAllTextFields(bool occlude) { occludeAllTextFields_ = occlude; }
void ZRViewVideoHandler::setOccludeAllTexts(bool occlude) { occludeAllTexts_ = occlude; }
void ZRViewVideoHandler::refreshAutoOccludedViews() {}
void ZRViewVideoHandler::autoOccludeViewsInView(const std::shared_ptr<UIView>&) {}
void ZRViewVideoHandler::removeAutoAddedSensitiveViews() {}
bool ZRViewVideoHandler::isViewVisible(const std::shared_ptr<UIView>&) const { return false; }
bool ZRViewVideoHandler::viewIsHidden(const std::shared_ptr<UIView>&) const { return false; }
bool ZRViewVideoHandler::canOccludeSensitiveView(const std::shared_ptr<UIView>&) const { return false; }
std::optional<ZROccludedDictionary> ZRViewVideoHandler::occlusionInformationForView(const ZRSensitiveViewEntry&, bool) { return std::nullopt; }
std::vector<ZROccludedDictionary> ZRViewVideoHandler::listOfOccludedDictionaries(bool) { return {}; }
std::vector<std::shared_ptr<UIView>> ZRViewVideoHandler::listOfActiveSensitiveViews(bool) { return {}; }
std::vector<std::shared_ptr<UIView>> ZRViewVideoHandler::listOfActiveSensitiveViews() { return {}; }
void ZRViewVideoHandler::addVisibleScreens(const std::vector<std::string>&) {}
void ZRViewVideoHandler::addVisibleScreen(const std::optional<std::string>&, const std::string&) {}
void ZRViewVideoHandler::removeVisibleScreenForControllerId(const std::string&) {}
void ZRViewVideoHandler::removeVisibleScreenForName(const std::string&) {}
void ZRViewVideoHandler::removeAllVisibleScreens() {}
std::vector<std::string> ZRViewVideoHandler::visibleScreenNames() const { return {}; }
std::vector<std::string> ZRViewVideoHandler::currentVisibleScreens() const { return {}; }
void ZRViewVideoHandler::occludeScreen(bool, bool) {}
void ZRViewVideoHandler::occludeScreenAPI(bool, bool) {}
void ZRViewVideoHandler::hideScreenGestures(bool) {}
bool ZRViewVideoHandler::screenIsHidden() const { return false; }
bool ZRViewVideoHandler::screenGestureRecordingIsHidden() const { return false; }
bool ZRViewVideoHandler::isCurrentScreenOccluded() const { return false; }
void ZRViewVideoHandler::applyOcclusion(const ZROcclusionSetting&, const std::vector<std::string>&) {}
void ZRViewVideoHandler::removeOcclusionOfType(long) {}
void ZRViewVideoHandler::removeOcclusion() {}
long ZRViewVideoHandler::getManualOcclusionSourceForCategory(long) const { return 2; }
void ZRViewVideoHandler::setOcclusionFromDashboardVerifyResult(const std::string&, bool) {}
std::shared_ptr<UIImage> ZRViewVideoHandler::occludeUsingNewAPI(const std::shared_ptr<UIImage>& image, const std::vector<std::string>&) { return image; }
std::optional<ZRRectStringList> ZRViewVideoHandler::captureOcclusionRectsForViews(const std::vector<ZROccludedDictionary>&, const std::shared_ptr<UIViewController>&, CGSize) { return std::nullopt; }
CGRect ZRViewVideoHandler::occlusionRectForView(const ZROccludedDictionary&, const std::shared_ptr<UIViewController>&, CGSize) { return CGRectNull; }
bool ZRViewVideoHandler::isPresentedControllerPartiallyVisible(const std::shared_ptr<UIViewController>&) const { return true; }
ZRRectStringList ZRViewVideoHandler::viewOcclusionRects() const { return {}; }
void ZRViewVideoHandler::resetOcclusionRects() {}
ZRRectStringList ZRViewVideoHandler::copyAndResetOcclusionRects() { return {}; }
ZRRectStringList ZRViewVideoHandler::updateAndResetOcclusionRects(const ZRRectStringList& rects) { return rects; }
bool ZRViewVideoHandler::gestureBlockedBySensitiveView(CGPoint, const std::shared_ptr<UIView>&) { return false; }
bool ZRViewVideoHandler::isViewOccluded(const std::shared_ptr<UIView>&) { return false; }
void ZRViewVideoHandler::addRectsToOcclude(const ZRRectQuadrupleList&) {}
void ZRViewVideoHandler::addRectsForManualOcclusion(const ZRRectQuadrupleList&) {}
void ZRViewVideoHandler::addRectsToOcclude(const ZRRectQuadrupleList&, const std::string&) {}
void ZRViewVideoHandler::addRectsForManualOcclusion(const ZRRectQuadrupleList&, const std::string&) {}
void ZRViewVideoHandler::mergeAllManualOcclusionRectsWithIdentity() {}
ZRRectStringList ZRViewVideoHandler::occlusionRectHelper(const ZRRectQuadrupleList&) const { return {}; }
void ZRViewVideoHandler::occludeRectsOnNextFrame(OnReceivedOcclusionRects) {}
void ZRViewVideoHandler::pauseForOcclusionNextFrame(OnPausedRenderingStatus) {}
void ZRViewVideoHandler::callOnDemandRectForOcclusionBlock(RectStringsCompletion) {}
void ZRViewVideoHandler::pauseRenderingDuringOcclusionFrameGeneration(PausedCompletion) {}
void ZRViewVideoHandler::fetchOcclusionRectAndProcessImage(CGRect, bool) {}
void ZRViewVideoHandler::screenWebViewWillAppear(const std::shared_ptr<WKWebView>&) {}
void ZRViewVideoHandler::screenWebViewDidDisappear(const std::shared_ptr<WKWebView>&) {}
void ZRViewVideoHandler::occlusionRectsForWebView(const std::shared_ptr<WKWebView>&, WebViewRectsCompletion) {}
ZRRectStringList ZRViewVideoHandler::addWebViewOcclusionRects(const nlohmann::json&, const std::shared_ptr<WKWebView>&, CGSize) const { return {}; }

}  // namespace zerva
