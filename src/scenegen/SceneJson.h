#pragma once
// Small builders of scene JSON values: rectangles in whole points and plain views.

#include <cmath>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "platform/CGGeometry.h"

namespace zerva {

/// [x, y, width, height] in whole points: generated scenes stay short and exact.
inline nlohmann::ordered_json sceneRect(double x, double y, double width, double height) {
  return nlohmann::ordered_json::array({std::lround(x), std::lround(y), std::lround(width), std::lround(height)});
}

inline nlohmann::ordered_json sceneRect(const CGRect& r) {
  return sceneRect(r.origin.x, r.origin.y, r.size.width, r.size.height);
}

/// [a, b] in whole points: sizes and offsets.
inline nlohmann::ordered_json scenePair(double a, double b) {
  return nlohmann::ordered_json::array({std::lround(a), std::lround(b)});
}

inline nlohmann::ordered_json sceneBox(const std::string& type, const nlohmann::ordered_json& frame,
                                       const std::optional<std::string>& background) {
  nlohmann::ordered_json view = {{"type", type}, {"frame", frame}};
  if (background) view["background"] = *background;
  return view;
}

}  // namespace zerva
