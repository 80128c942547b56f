#pragma once
// The strict reader behind SceneLoader: the values a scene is made of, each checked for its type
// and range, with the first problem kept as a message naming the JSON path (ZRJSONReader). It
// remembers the views read so far, so that events can refer only to views that exist by then.

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "scene/SceneModel.h"
#include "services/ZRJSONReader.h"

namespace zerva {

/// A value of a fixed set of choices and how a scene spells it.
template <class T>
struct SceneNamed {
  const char* name;
  T value;
};

class SceneReader {
 public:
  using json = nlohmann::json;

  SceneReader(std::string file, std::filesystem::path baseDirectory)
      : json_(std::move(file)), base_(std::move(baseDirectory)) {}

  ZRJSONReader& reader() { return json_; }
  bool ok() const { return json_.ok(); }

  template <class T, size_t N>
  std::optional<T> choice(const json& object, const std::string& key, const std::string& path,
                          const SceneNamed<T> (&names)[N]) {
    auto text = json_.readString(object, key, path);
    if (!text) return std::nullopt;
    for (const auto& n : names) {
      if (*text == n.name) return n.value;
    }
    std::string known;
    for (const auto& n : names) known += std::string(known.empty() ? "" : ", ") + "\"" + n.name + "\"";
    json_.fail(ZRJSONReader::member(path, key), "one of " + known + ", found \"" + *text + "\"");
    return std::nullopt;
  }

  /// Exactly `count` finite numbers; `what` is what the message says was expected.
  std::optional<std::vector<double>> numbers(const json& object, const std::string& key, const std::string& path,
                                             size_t count, const char* what);
  std::optional<CGRect> rect(const json& o, const std::string& key, const std::string& path);
  std::optional<CGSize> size(const json& o, const std::string& key, const std::string& path);
  std::optional<CGPoint> point(const json& o, const std::string& key, const std::string& path);
  std::optional<double> ranged(const json& o, const std::string& key, const std::string& path, double lo, double hi,
                               const char* what);
  std::optional<SceneImageDescription> image(const json& value, const std::string& path);
  /// A view and its children; their names join the views that exist.
  std::optional<SceneViewDescription> view(const json& value, const std::string& path);

  std::set<std::string>& viewNames() { return viewNames_; }
  /// The kind of a view read so far; none for a name no view has.
  std::optional<SceneViewKind> viewKind(const std::string& name) const;

 private:
  ZRJSONReader json_;
  std::filesystem::path base_;
  std::set<std::string> viewNames_;
  std::map<std::string, SceneViewKind> viewKinds_;
};

}  // namespace zerva
