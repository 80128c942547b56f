#pragma once
// Reads a scene file (docs/scenes.md) and checks all of it before anything is built: unknown
// keys, wrong types, missing image files, references to views, screens or windows that do not
// exist, negative durations. An error names the file, the JSON path and what was expected there.

#include <string>

#include "platform/NSResult.h"
#include "scene/SceneModel.h"

namespace zerva {

class SceneLoader {
 public:
  static NSResult<Scene> loadFile(const std::string& path);
  /// `name` names the text in messages; image files are found relative to `baseDirectory`.
  static NSResult<Scene> loadText(const std::string& text, const std::string& name, const std::string& baseDirectory);
};

}  // namespace zerva
