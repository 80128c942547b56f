#pragma once
// Reading the SDK's side of a scene: the "sdk" section and the calls of "call" events, checked
// and typed at load time like the rest of the scene (docs/scenes.md).

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "scene/SceneModel.h"
#include "scene/SceneReader.h"

namespace zerva {

/// Reads "$.sdk" into `sdk`; false with the reader's error on bad input.
bool SceneReadSdk(SceneReader& reader, const nlohmann::json& value, SceneSdkSettings& sdk);

/// Reads the "call" object of the event at `path` (its time `at`). Views must exist by then
/// (the reader knows the views read so far); screens must be screens of `scene`.
std::optional<SceneCall> SceneReadCall(SceneReader& reader, const nlohmann::json& value, const std::string& path,
                                       double at, const Scene& scene);

}  // namespace zerva
