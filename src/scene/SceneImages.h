#pragma once
// Pictures for scenes: PNG files, or patterns made on the spot ("checker", "stripes",
// "gradient", and "photo", a busy picture with soft shapes and grain that video encoders find
// hard, as real photos are). The same description gives the same pixels on every machine.

#include <memory>

#include "scene/SceneModel.h"

namespace zerva {

class UIImage;

std::shared_ptr<UIImage> SceneMakeImage(const SceneImageDescription& desc);

}  // namespace zerva
