#pragma once
// Reads configuration-style JSON strictly: every value is checked for its type, unknown keys are
// refused, and the first problem is kept as one message that names the document, the JSON path
// ("$.occlusion[2].screens") and what was expected there. Nothing throws.
//
// Depth: a document nested deeper than kMaxDepth arrays and objects is refused before it is
// built, with the path of the first value too deep, so that hostile input cannot exhaust the
// stack of the recursive readers that walk it.

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/NSError.h"
#include "platform/UIColor.h"

namespace zerva {

class ZRJSONReader {
 public:
  /// Arrays and objects nested deeper than this are refused (the outermost is level 1).
  static constexpr std::size_t kMaxDepth = 512;

  explicit ZRJSONReader(std::string documentName) : document_(std::move(documentName)) {}

  /// Parses text; on a syntax error, or nesting beyond kMaxDepth, records it and returns a
  /// discarded value.
  nlohmann::json parse(std::string_view text);

  bool ok() const { return error_.empty(); }
  const std::string& errorMessage() const { return error_; }
  NSError error(const std::string& domain, long code) const;
  /// Records a problem at `path` (only the first one is kept).
  void fail(const std::string& path, const std::string& expected);

  /// `value` must be an object whose keys are all among `keys`.
  bool expectObject(const nlohmann::json& value, const std::string& path, std::initializer_list<std::string_view> keys);
  bool expectArray(const nlohmann::json& value, const std::string& path);

  // Optional members of an object: absent gives nullopt without an error; a wrong type fails.
  std::optional<bool> readBool(const nlohmann::json& object, const std::string& key, const std::string& path);
  std::optional<double> readNumber(const nlohmann::json& object, const std::string& key, const std::string& path);
  std::optional<std::string> readString(const nlohmann::json& object, const std::string& key, const std::string& path);
  std::optional<std::vector<std::string>> readStrings(const nlohmann::json& object, const std::string& key,
                                                      const std::string& path);
  /// "#RRGGBB" or "#RRGGBBAA".
  std::optional<UIColor> readColor(const nlohmann::json& object, const std::string& key, const std::string& path);

  static std::string member(const std::string& path, const std::string& key) { return path + "." + key; }
  static std::string element(const std::string& path, size_t index) {
    return path + "[" + std::to_string(index) + "]";
  }

 private:
  std::string document_;
  std::string error_;
};

/// "#RRGGBB" or "#RRGGBBAA" (case-insensitive); nullopt for anything else.
std::optional<UIColor> ZRColorFromHexString(std::string_view text);
std::string ZRHexStringFromColor(const UIColor& color);

}  // namespace zerva
