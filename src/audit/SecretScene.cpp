// Recolours a scene for the leak audit: secret content in the secret colour, other colours kept
// clear of it, pictures checked. Main thread for the live part (willPerform).

#include "audit/SecretScene.h"

#include <cmath>
#include <filesystem>
#include <functional>
#include <set>

#include <nlohmann/json.hpp>

#include "audit/SecretPalette.h"
#include "platform/CGImage.h"
#include "platform/UIApplication.h"
#include "platform/UIImage.h"
#include "platform/UIImageView.h"
#include "platform/UILabel.h"
#include "platform/UITextField.h"
#include "platform/UIView.h"
#include "platform/UIWindow.h"
#include "scene/SceneImages.h"
#include "scene/ScenePlayer.h"
#include "services/ZRJSONReader.h"

namespace fs = std::filesystem;

namespace zerva {

namespace {

// Page elements the page always reports as sensitive (docs/web-pages.md).
constexpr const char* kSensitiveAttribute = "data-zerva-sensitive";
constexpr const char* kSensitiveClass = "zerva-sensitive";
// Patches over on-demand rectangles stay above every view of the key window.
constexpr double kPatchZPosition = 1e6;

bool alwaysReported(const WebElement& element) {
  return element.domType() == "password" || element.hasAttribute(kSensitiveAttribute) ||
         element.hasClass(kSensitiveClass);
}

/// One pass over a scene's values; the first picture that cannot be made safe is the problem.
class Preparer {
 public:
  Preparer(std::vector<std::string>& recoloured, fs::path pictureFolder)
      : recoloured_(recoloured), pictureFolder_(std::move(pictureFolder)) {}

  std::string problem;
  std::set<std::string> secretViews;

  void colour(UIColor& color, const std::string& path) {
    if (!SecretPalette::isReserved(color)) return;
    recoloured_.push_back(path + ": " + ZRHexStringFromColor(color));
    color = SecretPalette::standInColor();
  }
  void colour(std::optional<UIColor>& color, const std::string& path) {
    if (color) colour(*color, path);
  }

  void image(std::optional<SceneImageDescription>& description, const std::string& path) {
    if (!description) return;
    for (size_t i = 0; i < description->colors.size(); ++i) {
      colour(description->colors[i], path + ".colors[" + std::to_string(i) + "]");
    }
    // Generated pictures blend their colours and files may hold anything: the pixels decide. A
    // picture with pixels too close becomes a copy with those pixels in the stand-in colour.
    auto picture = SceneMakeImage(*description);
    if (!picture || !problem.empty()) return;
    const auto& bitmap = picture->CGImage();
    const std::size_t width = bitmap->width(), height = bitmap->height();
    std::vector<std::uint32_t> pixels(width * height);
    std::size_t moved = 0;
    for (std::size_t y = 0; y < height; ++y) {
      for (std::size_t x = 0; x < width; ++x) {
        const CGPixel p = bitmap->pixelAt(x, y);
        std::uint32_t argb = (std::uint32_t{p.alpha} << 24) | (std::uint32_t{p.red} << 16) |
                             (std::uint32_t{p.green} << 8) | p.blue;
        if (p.alpha > 0 && SecretPalette::distance(p.red, p.green, p.blue) <= SecretPalette::kReserve) {
          const std::uint32_t grey = p.alpha / 2;  // the stand-in grey, premultiplied
          argb = (std::uint32_t{p.alpha} << 24) | (grey << 16) | (grey << 8) | grey;
          ++moved;
        }
        pixels[y * width + x] = argb;
      }
    }
    if (moved == 0) return;
    const fs::path file = pictureFolder_ / ("picture-" + std::to_string(picturesWritten_++) + ".png");
    auto copy = UIImage::imageWithCGImage(CGImageCreateWithPixels(width, height, width * 4, pixels.data()));
    NSErrorOrNil error = copy ? UIImageWritePNGToFile(*copy, file.string()) : NSErrorOrNil();
    if (!copy || error) {
      problem = path + ": cannot write its recoloured copy " + file.string() +
                (error ? ": " + error->localizedDescription() : std::string());
      return;
    }
    recoloured_.push_back(path + ": " + std::to_string(moved) + " pixels");
    description->file = file.string();
    description->pattern.clear();
  }

  void element(WebElement& e, const std::string& path, bool secret) {
    secret = secret || alwaysReported(e);
    if (secret) {
      e.color = SecretPalette::secretColor();
      e.background = SecretPalette::secretColor();
    } else {
      colour(e.color, path + ".color");
      colour(e.background, path + ".background");
    }
    for (size_t i = 0; i < e.children.size(); ++i) {
      element(e.children[i], path + ".children[" + std::to_string(i) + "]", secret);
    }
  }

  void page(std::optional<WebPage>& p, const std::string& path, bool secret) {
    if (!p) return;
    for (size_t i = 0; i < p->body.size(); ++i) element(p->body[i], path + ".body[" + std::to_string(i) + "]", secret);
  }

  void view(SceneViewDescription& v, const std::string& path, bool secret) {
    secret = secret || v.secret || (v.kind == SceneViewKind::TextField && v.secure);
    if (secret) {
      // The whole box in the secret colour: text, bullets and background alike.
      if (!v.name.empty()) secretViews.insert(v.name);
      v.background = SecretPalette::secretColor();
      v.textColor = SecretPalette::secretColor();
      v.image.reset();
    } else {
      colour(v.background, path + ".background");
      colour(v.textColor, path + ".textColor");
      image(v.image, path + ".image");
    }
    page(v.page, path + ".page", secret);
    for (size_t i = 0; i < v.children.size(); ++i) {
      view(v.children[i], path + ".children[" + std::to_string(i) + "]", secret);
    }
  }

  /// A dashboard answer is JSON text; the cover colours of its rules are moved like any other.
  void verifyResult(std::string& text, const std::string& path) {
    auto json = nlohmann::json::parse(text, nullptr, false);
    if (json.is_discarded()) return;  // the handler ignores it as well
    bool changed = false;
    std::function<void(nlohmann::json&, const std::string&)> walk = [&](nlohmann::json& node, const std::string& at) {
      if (node.is_object()) {
        for (auto& [key, value] : node.items()) {
          auto color = value.is_string() ? ZRColorFromHexString(value.get<std::string>()) : std::nullopt;
          if (key == "color" && color && SecretPalette::isReserved(*color)) {
            colour(*color, at + "." + key);
            value = ZRHexStringFromColor(*color);
            changed = true;
          } else {
            walk(value, at + "." + key);
          }
        }
      } else if (node.is_array()) {
        for (size_t i = 0; i < node.size(); ++i) walk(node[i], at + "[" + std::to_string(i) + "]");
      }
    };
    walk(json, path);
    if (changed) text = json.dump();
  }

  void rules(std::optional<ZROcclusionRules>& rules, const std::string& path) {
    if (!rules) return;
    for (size_t i = 0; i < rules->size(); ++i) {
      UIColor color = (*rules)[i].color();
      colour(color, path + "[" + std::to_string(i) + "].color");
      (*rules)[i].setColor(color);
    }
  }

 private:
  std::vector<std::string>& recoloured_;
  const fs::path pictureFolder_;
  std::size_t picturesWritten_ = 0;
};

}  // namespace

std::optional<SecretScene> SecretScene::prepare(const Scene& scene, const std::string& pictureFolder,
                                                std::string* problem) {
  SecretScene prepared;
  prepared.scene_ = scene;
  Scene& s = prepared.scene_;
  Preparer preparer(prepared.recoloured_, pictureFolder);

  preparer.colour(s.sdk.sensitiveViewColor, "$.sdk.sensitiveViewColor");
  preparer.rules(s.sdk.occlusion, "$.sdk.occlusion");
  for (size_t i = 0; i < s.windows.size(); ++i) {
    preparer.colour(s.windows[i].background, "$.app.windows[" + std::to_string(i) + "].background");
  }
  for (auto& [name, screen] : s.screens) preparer.view(screen.view, "$.app.screens." + name + ".view", false);

  for (auto& event : s.timeline) {
    const std::string& at = event.path;
    const bool secretTarget = preparer.secretViews.contains(event.view);
    switch (event.action) {
      case SceneAction::Set:
        // A secret view stays secret whatever colour the timeline gives it.
        if (secretTarget && event.background) {
          event.background = SecretPalette::secretColor();
        } else {
          preparer.colour(event.background, at + ".background");
        }
        break;
      case SceneAction::Add:
        if (event.addedView) preparer.view(*event.addedView, at + ".view", preparer.secretViews.contains(event.parent));
        break;
      case SceneAction::Page:
        preparer.page(event.page, at + ".page", secretTarget);
        break;
      case SceneAction::Call:
        if (event.call && event.call->rule) {
          UIColor color = event.call->rule->color();
          preparer.colour(color, at + ".call.rule.color");
          event.call->rule->setColor(color);
        }
        if (event.call && !event.call->verifyResult.empty()) {
          preparer.verifyResult(event.call->verifyResult, at + ".call.verifyResult");
        }
        break;
      default:
        break;
    }
    if (!preparer.problem.empty()) break;
  }
  if (!preparer.problem.empty()) {
    if (problem) *problem = preparer.problem;
    return std::nullopt;
  }
  return prepared;
}

void SecretScene::paintLive(const std::shared_ptr<UIView>& view, std::vector<SavedLook>& saved) {
  SavedLook look{view, view->backgroundColor(), std::nullopt, nullptr};
  const UIColor secret = SecretPalette::secretColor();
  view->setBackgroundColor(secret);
  if (auto label = std::dynamic_pointer_cast<UILabel>(view)) {
    look.textColor = label->textColor();
    label->setTextColor(secret);
  } else if (auto field = std::dynamic_pointer_cast<UITextField>(view)) {
    look.textColor = field->textColor();
    field->setTextColor(secret);
  } else if (auto imageView = std::dynamic_pointer_cast<UIImageView>(view)) {
    look.image = imageView->image();
    imageView->setImage(nullptr);
  }
  saved.push_back(std::move(look));
  for (const auto& child : view->subviews()) paintLive(child, saved);
}

std::vector<std::shared_ptr<UIView>> SecretScene::addPatches(const ZRRectQuadrupleList& rects) {
  std::vector<std::shared_ptr<UIView>> patches;
  auto window = UIApplication::sharedApplication()->keyWindow();
  if (!window) return patches;
  for (const auto& quadruple : rects) {
    // What the handler drops is no rectangle, and nothing under it is secret.
    if (quadruple.size() != 4 || !std::isfinite(quadruple[0]) || !std::isfinite(quadruple[1]) ||
        !std::isfinite(quadruple[2]) || !std::isfinite(quadruple[3]) || !(quadruple[2] > 0) || !(quadruple[3] > 0)) {
      continue;
    }
    auto patch = std::make_shared<UIView>(CGRectMake(quadruple[0], quadruple[1], quadruple[2], quadruple[3]));
    patch->setBackgroundColor(SecretPalette::secretColor());
    patch->layer()->setZPosition(kPatchZPosition);
    window->addSubview(patch);
    patches.push_back(std::move(patch));
  }
  return patches;
}

void SecretScene::removePatches(std::vector<std::shared_ptr<UIView>>& patches) {
  for (const auto& patch : patches) patch->removeFromSuperview();
  patches.clear();
}

void SecretScene::frameWasTaken() {
  for (auto& [identity, patches] : manualPatches_) removePatches(patches);
  manualPatches_.clear();
}

void SecretScene::willPerform(const SceneCall& call, ScenePlayer& player) {
  switch (call.method) {
    case SceneCallMethod::AddSensitiveView: {
      auto view = player.viewNamed(call.view);
      if (!view || paintedByCall_.contains(call.view)) return;
      paintLive(view, paintedByCall_[call.view]);
      return;
    }
    case SceneCallMethod::RemoveSensitiveView: {
      auto it = paintedByCall_.find(call.view);
      if (it == paintedByCall_.end()) return;
      for (const auto& look : it->second) {
        auto view = look.view.lock();
        if (!view) continue;
        view->setBackgroundColor(look.background);
        if (auto label = std::dynamic_pointer_cast<UILabel>(view); label && look.textColor) {
          label->setTextColor(*look.textColor);
        } else if (auto field = std::dynamic_pointer_cast<UITextField>(view); field && look.textColor) {
          field->setTextColor(*look.textColor);
        } else if (auto imageView = std::dynamic_pointer_cast<UIImageView>(view)) {
          imageView->setImage(look.image);
        }
      }
      paintedByCall_.erase(it);
      return;
    }
    case SceneCallMethod::OccludeRectsOnNextFrame:
      removePatches(onDemandPatches_);
      if (call.reply && !call.reply->never) onDemandPatches_ = addPatches(call.reply->rects);
      return;
    case SceneCallMethod::AddRectsToOcclude:
    case SceneCallMethod::AddRectsForManualOcclusion: {
      // A group needs an identity and rectangles, or the handler ignores it; a later group of the
      // same identity replaces the earlier one.
      if (call.identity && (call.identity->empty() || call.rects.empty())) return;
      auto& patches = manualPatches_[call.identity.value_or("")];
      if (call.identity) removePatches(patches);
      auto added = addPatches(call.rects);
      patches.insert(patches.end(), added.begin(), added.end());
      return;
    }
    default:
      return;
  }
}

}  // namespace zerva
