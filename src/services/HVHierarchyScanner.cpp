#include "services/HVHierarchyScanner.h"

#include <algorithm>

#include "platform/NSAttributedString.h"
#include "platform/UIAlertView.h"
#include "platform/UIApplication.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImageView.h"
#include "platform/UILabel.h"
#include "platform/UIScreen.h"
#include "platform/UIScrollView.h"
#include "platform/UITextField.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"

namespace zerva {

namespace {

// Pictures of alerts are made at no more than this scale: they are redrawn into small frames.
constexpr double kMaxAlertPictureScale = 2.0;

HVValue tag(const std::string& constant) { return HVTypeTag{&constant}; }

const std::string& kindOf(const UIView& view) {
  if (dynamic_cast<const UILabel*>(&view)) return Zerva_HS_KeyTypeOf_Label;
  if (dynamic_cast<const UITextField*>(&view)) return Zerva_HS_KeyTypeOf_TextField;
  if (dynamic_cast<const UIImageView*>(&view)) return Zerva_HS_KeyTypeOf_ImageView;
  if (dynamic_cast<const UIAlertView*>(&view)) return Zerva_HS_KeyTypeOf_AlertView;
  if (dynamic_cast<const WKWebView*>(&view)) return Zerva_HS_KeyTypeOf_WebView;
  if (dynamic_cast<const UIScrollView*>(&view)) return Zerva_HS_KeyTypeOf_ScrollView;
  if (dynamic_cast<const UIWindow*>(&view)) return Zerva_HS_KeyTypeOf_Window;
  return Zerva_HS_KeyTypeOf_View;
}

std::shared_ptr<const UIImage> pictureOf(const UIView& view) {
  UIGraphicsImageRendererFormat format;
  format.setScale(std::min(UIScreen::mainScreen()->scale(), kMaxAlertPictureScale));
  const CGSize size = view.bounds().size;
  return UIGraphicsImageRenderer(size, format).imageWithActions([&](UIGraphicsImageRendererContext&) {
    view.drawViewHierarchyInRect({CGPointZero, size}, false);
  });
}

}  // namespace

std::shared_ptr<HVHierarchyScanner> HVHierarchyScanner::initAndOccludeAllTextFields(bool occludeAllTextFields) {
  return std::make_shared<HVHierarchyScanner>(occludeAllTextFields);
}

bool HVHierarchyScanner::isSensitive(const UIView& view, const Scan& scan) const {
  if (scan.sensitive.count(&view)) return true;
  if (auto field = dynamic_cast<const UITextField*>(&view)) return field->isSecureTextEntry() || occludeAllTextFields_;
  return false;
}

bool HVHierarchyScanner::containsSensitive(const UIView& view, const Scan& scan) const {
  if (isSensitive(view, scan)) return true;
  return std::any_of(view.subviews().begin(), view.subviews().end(),
                     [&](const auto& sub) { return containsSensitive(*sub, scan); });
}

std::vector<HVHierarchyDictionary> HVHierarchyScanner::hierarchySnapshotFromWindow(
    const std::shared_ptr<UIWindow>& window, const std::vector<std::shared_ptr<UIView>>& sensitiveViews) const {
  Scan scan;
  for (const auto& v : sensitiveViews) {
    if (v) scan.sensitive.insert(v.get());
  }
  std::vector<HVHierarchyDictionary> roots;
  if (window) {
    if (auto d = describe(window, window->layer()->convertRect(window->bounds(), nullptr), scan, nullptr)) {
      roots.push_back(std::move(*d));
    }
    return roots;
  }
  const CGRect screen = UIScreen::mainScreen()->bounds();
  for (const auto& w : UIApplication::sharedApplication()->windows()) {
    if (!w || w->isHidden() || !(w->alpha() > 0) || CGRectIsEmpty(w->bounds())) continue;
    const bool first = roots.empty();
    auto d = describe(w, first ? screen : w->layer()->convertRect(w->bounds(), nullptr), scan, first ? &screen : nullptr);
    if (d) roots.push_back(std::move(*d));
  }
  return roots;
}

std::optional<HVHierarchyDictionary> HVHierarchyScanner::describe(const std::shared_ptr<UIView>& view, CGRect clip,
                                                                  const Scan& scan, const CGRect* forcedRect) const {
  if (view->isHidden()) return std::nullopt;
  const auto model = view->layer();
  const auto inFlight = model->presentationLayer();
  const CALayer& layer = inFlight ? *inFlight : *model;
  if (!(layer.opacity() > 0) || CGRectIsEmpty(clip)) return std::nullopt;

  const CGRect rect = forcedRect ? *forcedRect : layer.convertRect(layer.bounds(), nullptr);
  HVHierarchyDictionary d;
  d.set(Zerva_HS_Key_ScreenRect, Zerva_rectToFastStore(rect));
  d.set(Zerva_HS_Key_ClipToRect, Zerva_rectToFastStore(clip));
  d.set(Zerva_HS_Key_Alpha, static_cast<double>(layer.opacity()));
  d.set(Zerva_HS_Key_ZPosition, layer.zPosition());
  d.set(Zerva_HS_Key_IsTypeOf, tag(kindOf(*view)));
  if (layer.masksToBounds()) d.set(Zerva_HS_Key_LayerM2B, true);
  if (layer.cornerRadius() > 0) d.set(Zerva_HS_Key_CornerRadius, layer.cornerRadius());
  if (auto color = view->backgroundColor()) d.set(Zerva_HS_Key_BackgroundColour, *color);

  if (isSensitive(*view, scan)) {
    d.set(Zerva_HS_Key_SensitiveView, true);
    // The box needs a background entry to be drawn at all.
    if (!d.contains(Zerva_HS_Key_BackgroundColour)) d.set(Zerva_HS_Key_BackgroundColour, HVOpaqueObject{"no colour"});
    return d;
  }

  const bool alertPicture = dynamic_cast<const UIAlertView*>(view.get()) && !containsSensitive(*view, scan);
  describeContent(view, d);
  if (alertPicture) {
    if (auto picture = pictureOf(*view)) d.set(Zerva_HS_Key_DirectImage, picture);
    return d;  // the picture shows the alert's subviews
  }

  const CGRect childClip = layer.masksToBounds() || dynamic_cast<const UIWindow*>(view.get())
                               ? CGRectIntersection(clip, rect)
                               : clip;
  auto children = std::make_shared<HVHierarchyArray>();
  for (const auto& sub : view->subviews()) {
    if (auto child = describe(sub, childClip, scan, nullptr)) children->push_back(std::move(*child));
  }
  if (!children->empty()) d.set(Zerva_HS_Key_Views, std::shared_ptr<const HVHierarchyArray>(children));
  return d;
}

void HVHierarchyScanner::describeContent(const std::shared_ptr<UIView>& view, HVHierarchyDictionary& d) const {
  auto title = std::make_shared<HVHierarchyDictionary>();
  bool hasContent = false;
  if (auto label = std::dynamic_pointer_cast<UILabel>(view)) {
    title->set(Zerva_HS_Key_ViewTitle_Text, label->text());
    if (auto attributed = label->attributedText()) title->set(Zerva_HS_Key_ViewTitle_AttrText, attributed);
    title->set(Zerva_HS_Key_ViewTitle_Font, label->font());
    title->set(Zerva_HS_Key_ViewTitle_Align, static_cast<double>(label->textAlignment()));
    title->set(Zerva_HS_Key_ViewTitle_NumberOfTextLines, static_cast<double>(label->numberOfLines()));
    title->set(Zerva_HS_Key_ViewTitle_LineBreak, static_cast<double>(label->lineBreakMode()));
    d.set(Zerva_HS_Key_ForegroundColour, label->textColor());
    hasContent = true;
  } else if (auto field = std::dynamic_pointer_cast<UITextField>(view)) {
    // Not sensitive here: a plain field shows its text, or its hint in grey.
    title->set(Zerva_HS_Key_ViewTitle_Text, field->displayedText());
    title->set(Zerva_HS_Key_ViewTitle_Font, field->font());
    title->set(Zerva_HS_Key_ViewTitle_Align, static_cast<double>(field->textAlignment()));
    title->set(Zerva_HS_Key_ViewTitle_NumberOfTextLines, 1.0);
    title->set(Zerva_HS_Key_ViewTitle_LineBreak, static_cast<double>(NSLineBreakByTruncatingTail));
    d.set(Zerva_HS_Key_ForegroundColour, field->text().empty() ? UIColor::colorWithWhite(0.7, 1) : field->textColor());
    hasContent = true;
  } else if (auto imageView = std::dynamic_pointer_cast<UIImageView>(view)) {
    d.set(Zerva_HS_Key_ImageView, true);
    if (auto image = imageView->image()) d.set(Zerva_HS_Key_DirectImage, std::shared_ptr<const UIImage>(image));
    hasContent = true;
  } else if (std::dynamic_pointer_cast<UIAlertView>(view)) {
    d.set(Zerva_HS_Key_AlertView, true);
    hasContent = true;
  }
  if (title->size() > 0) d.set(Zerva_HS_Key_ViewTitle, std::shared_ptr<const HVHierarchyDictionary>(title));
  // Content is drawn only for views with a background entry; "no colour" lets it be drawn alone.
  if (hasContent && !d.contains(Zerva_HS_Key_BackgroundColour)) {
    d.set(Zerva_HS_Key_BackgroundColour, HVOpaqueObject{"no colour"});
  }
}

}  // namespace zerva
