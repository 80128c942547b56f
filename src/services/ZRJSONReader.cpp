#include "services/ZRJSONReader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace zerva {

namespace {

const char* typeName(const nlohmann::json& v) {
  switch (v.type()) {
    case nlohmann::json::value_t::null: return "null";
    case nlohmann::json::value_t::boolean: return "a boolean";
    case nlohmann::json::value_t::string: return "a string";
    case nlohmann::json::value_t::array: return "an array";
    case nlohmann::json::value_t::object: return "an object";
    case nlohmann::json::value_t::discarded: return "nothing";
    default: return "a number";
  }
}

// Walks the text without building it and stops at the first array or object nested beyond
// the limit, keeping its path. Syntax errors are left to the real parse.
class DepthCheck final : public nlohmann::json_sax<nlohmann::json> {
 public:
  explicit DepthCheck(std::size_t limit) : limit_(limit) {}

  const std::optional<std::string>& tooDeep() const { return tooDeep_; }

  bool null() override { return value(); }
  bool boolean(bool) override { return value(); }
  bool number_integer(number_integer_t) override { return value(); }
  bool number_unsigned(number_unsigned_t) override { return value(); }
  bool number_float(number_float_t, const string_t&) override { return value(); }
  bool string(string_t&) override { return value(); }
  bool binary(binary_t&) override { return value(); }
  bool start_object(std::size_t) override { return open(false); }
  bool key(string_t& name) override {
    frames_.back().key = name;
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override { return open(true); }
  bool end_array() override { return close(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

 private:
  struct Frame {
    bool array = false;
    std::size_t next = 0;     // arrays: index of the next element
    std::string key;          // objects: the member being read
  };

  bool value() {
    if (!frames_.empty() && frames_.back().array) ++frames_.back().next;
    return true;
  }

  bool open(bool array) {
    value();
    if (frames_.size() >= limit_) {
      std::string path = "$";
      for (const Frame& f : frames_) {
        path += f.array ? ZRJSONReader::element("", f.next - 1) : ZRJSONReader::member("", f.key);
      }
      tooDeep_ = std::move(path);
      return false;
    }
    frames_.push_back({array, 0, {}});
    return true;
  }

  bool close() {
    frames_.pop_back();
    return true;
  }

  std::size_t limit_;
  std::vector<Frame> frames_;
  std::optional<std::string> tooDeep_;
};

}  // namespace

nlohmann::json ZRJSONReader::parse(std::string_view text) {
  DepthCheck depth(kMaxDepth);
  nlohmann::json::sax_parse(text.begin(), text.end(), &depth, nlohmann::json::input_format_t::json, false);
  if (depth.tooDeep()) {
    fail(*depth.tooDeep(), "arrays and objects nested at most " + std::to_string(kMaxDepth) + " levels deep");
    return nlohmann::json(nlohmann::json::value_t::discarded);
  }
  // The library reports where the syntax breaks only through its exception; it stops here.
  try {
    return nlohmann::json::parse(text.begin(), text.end());
  } catch (const nlohmann::json::exception& e) {
    fail("$", std::string("valid JSON (") + e.what() + ")");
    return nlohmann::json(nlohmann::json::value_t::discarded);
  }
}

void ZRJSONReader::fail(const std::string& path, const std::string& expected) {
  if (error_.empty()) error_ = document_ + ": " + path + ": expected " + expected;
}

NSError ZRJSONReader::error(const std::string& domain, long code) const {
  return NSError::errorWithDomain(domain, code, error_);
}

bool ZRJSONReader::expectObject(const nlohmann::json& value, const std::string& path,
                                std::initializer_list<std::string_view> keys) {
  if (!value.is_object()) {
    fail(path, std::string("an object, found ") + typeName(value));
    return false;
  }
  for (const auto& [key, member] : value.items()) {
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
      std::string known;
      for (auto k : keys) known += (known.empty() ? "" : ", ") + std::string(k);
      fail(ZRJSONReader::member(path, key), "no such key (known keys: " + known + ")");
      return false;
    }
  }
  return true;
}

bool ZRJSONReader::expectArray(const nlohmann::json& value, const std::string& path) {
  if (value.is_array()) return true;
  fail(path, std::string("an array, found ") + typeName(value));
  return false;
}

std::optional<bool> ZRJSONReader::readBool(const nlohmann::json& object, const std::string& key, const std::string& path) {
  auto it = object.find(key);
  if (it == object.end()) return std::nullopt;
  if (!it->is_boolean()) {
    fail(member(path, key), std::string("true or false, found ") + typeName(*it));
    return std::nullopt;
  }
  return it->get<bool>();
}

std::optional<double> ZRJSONReader::readNumber(const nlohmann::json& object, const std::string& key,
                                               const std::string& path) {
  auto it = object.find(key);
  if (it == object.end()) return std::nullopt;
  if (!it->is_number()) {
    fail(member(path, key), std::string("a number, found ") + typeName(*it));
    return std::nullopt;
  }
  return it->get<double>();
}

std::optional<std::string> ZRJSONReader::readString(const nlohmann::json& object, const std::string& key,
                                                    const std::string& path) {
  auto it = object.find(key);
  if (it == object.end()) return std::nullopt;
  if (!it->is_string()) {
    fail(member(path, key), std::string("a string, found ") + typeName(*it));
    return std::nullopt;
  }
  return it->get<std::string>();
}

std::optional<std::vector<std::string>> ZRJSONReader::readStrings(const nlohmann::json& object, const std::string& key,
                                                                  const std::string& path) {
  auto it = object.find(key);
  if (it == object.end()) return std::nullopt;
  const std::string at = member(path, key);
  if (!expectArray(*it, at)) return std::nullopt;
  std::vector<std::string> out;
  for (size_t i = 0; i < it->size(); ++i) {
    const auto& v = (*it)[i];
    if (!v.is_string()) {
      fail(element(at, i), std::string("a string, found ") + typeName(v));
      return std::nullopt;
    }
    out.push_back(v.get<std::string>());
  }
  return out;
}

std::optional<UIColor> ZRJSONReader::readColor(const nlohmann::json& object, const std::string& key,
                                               const std::string& path) {
  auto text = readString(object, key, path);
  if (!text) return std::nullopt;
  auto color = ZRColorFromHexString(*text);
  if (!color) fail(member(path, key), "a colour as \"#RRGGBB\" or \"#RRGGBBAA\", found \"" + *text + "\"");
  return color;
}

std::optional<UIColor> ZRColorFromHexString(std::string_view text) {
  if ((text.size() != 7 && text.size() != 9) || text[0] != '#') return std::nullopt;
  unsigned components[4] = {0, 0, 0, 255};
  for (size_t i = 0; i + 1 < text.size(); i += 2) {
    unsigned v = 0;
    for (char c : text.substr(i + 1, 2)) {
      v *= 16;
      if (c >= '0' && c <= '9') v += unsigned(c - '0');
      else if (c >= 'a' && c <= 'f') v += unsigned(c - 'a' + 10);
      else if (c >= 'A' && c <= 'F') v += unsigned(c - 'A' + 10);
      else return std::nullopt;
    }
    components[i / 2] = v;
  }
  return UIColor::colorWithRed(components[0] / 255.0, components[1] / 255.0, components[2] / 255.0, components[3] / 255.0);
}

std::string ZRHexStringFromColor(const UIColor& color) {
  double c[4];
  color.getRed(&c[0], &c[1], &c[2], &c[3]);
  char buf[16];
  auto byte = [](double v) { return static_cast<unsigned>(std::lround(v * 255)); };
  if (byte(c[3]) == 255) {
    std::snprintf(buf, sizeof buf, "#%02X%02X%02X", byte(c[0]), byte(c[1]), byte(c[2]));
  } else {
    std::snprintf(buf, sizeof buf, "#%02X%02X%02X%02X", byte(c[0]), byte(c[1]), byte(c[2]), byte(c[3]));
  }
  return buf;
}

}  // namespace zerva
