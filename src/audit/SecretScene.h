#pragma once
// A scene made ready for the leak audit: everything secret in it drawn in the secret colour,
// everything else kept clear of that colour.
//
// Secret for the whole timeline, decided from the scene alone (never from what the handler
// hides): views with "secret": true, secure text fields, and web page elements a page always
// reports (password inputs, `data-zerva-sensitive`, class `zerva-sensitive`), each with all it
// contains. Secret from a call on: views the timeline passes to addSensitiveView (until
// removeSensitiveView), the screen area under the on-demand source's rectangles while the source
// answers with them, and under manual rectangles until the next frame is taken. Those follow the
// calls as they are played (willPerform), covered by secret patches on top of the key window.

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/UIColor.h"
#include "scene/SceneModel.h"

namespace zerva {

class ScenePlayer;
class UIImage;
class UIView;

class SecretScene {
 public:
  /// The scene as the audit records it. Pictures (files or generated) with pixels too close to
  /// the secret colour are replaced by recoloured copies written into `pictureFolder` (which must
  /// exist); none with *problem when one cannot be written.
  static std::optional<SecretScene> prepare(const Scene& scene, const std::string& pictureFolder,
                                            std::string* problem);

  const Scene& scene() const { return scene_; }
  /// Where a scene colour was moved away from the secret colour, as "path: #RRGGBB", or a
  /// picture's pixels, as "path: N pixels".
  const std::vector<std::string>& recoloured() const { return recoloured_; }

  /// Main thread, right before the player performs `call`: paints the views it makes secret, or
  /// gives back the colours of those it stops hiding.
  void willPerform(const SceneCall& call, ScenePlayer& player);
  /// Main thread, after a run of the frame driver that took a picture: manual rectangles cover
  /// one frame, so the content under them stops being secret.
  void frameWasTaken();

 private:
  /// A live view's own colours, kept to give back when it stops being secret.
  struct SavedLook {
    std::weak_ptr<UIView> view;
    std::optional<UIColor> background;
    std::optional<UIColor> textColor;
    std::shared_ptr<UIImage> image;
  };

  SecretScene() = default;
  void paintLive(const std::shared_ptr<UIView>& view, std::vector<SavedLook>& saved);
  static std::vector<std::shared_ptr<UIView>> addPatches(const ZRRectQuadrupleList& rects);
  static void removePatches(std::vector<std::shared_ptr<UIView>>& patches);

  Scene scene_;
  std::vector<std::string> recoloured_;
  /// Views made secret by addSensitiveView, by name, with what they looked like before.
  std::map<std::string, std::vector<SavedLook>> paintedByCall_;
  /// Secret patches over the on-demand source's rectangles, while it answers with them.
  std::vector<std::shared_ptr<UIView>> onDemandPatches_;
  /// Secret patches over manual rectangles until the next frame, by identity ("" for none).
  std::map<std::string, std::vector<std::shared_ptr<UIView>>> manualPatches_;
};

}  // namespace zerva
