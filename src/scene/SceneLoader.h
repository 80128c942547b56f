#pragma once
// Reads a scene file (docs/scenes.md) and checks all of it before anything is built: unknown
// keys, wrong types, missing image files, references to views, screens or windows that do not
// exist, negative durations. An error names the file, the JSON path and what was expected there.

#include <optional>
#include <string>

#include "platform/NSError.h"
#include "scene/SceneModel.h"

namespace zerva {

class SceneLoader {
 public:
  static std::optional<Scene> loadFile(const std::string& path, NSErrorOrNil* error);
  /// `name` names the text in messages; image files are found relative to `baseDirectory`.
  static std::optional<Scene> loadText(const std::string& text, const std::string& name,
                                       const std::string& baseDirectory, NSErrorOrNil* error);
};

}  // namespace zerva
