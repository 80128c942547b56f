// The generator's frame: the features a seed picks, the device, windows and sdk section, and the
// scene put together with its timeline in time order.

#include "scenegen/SceneGenerator.h"

#include <algorithm>
#include <cmath>

namespace zerva {

namespace {

// Colours far from the audit's reserved secret colour (a saturated magenta).
const std::vector<std::string> kPalette = {"#FFFFFF", "#F2F2F7", "#E5F0FF", "#FFF4E0", "#E8F8EC", "#1C1C1E",
                                           "#3A6EA5", "#2E7D32", "#F9A825", "#6D4C41", "#455A64", "#00838F"};
const std::vector<CGSize> kScreens = {{390, 844}, {375, 667}, {428, 926}, {768, 1024}};

}  // namespace

SceneGenerator::SceneGenerator(std::uint64_t seed, SceneGeneratorOptions options)
    : random_(seed), options_(options) {
  options_.contentScreens = std::clamp(options_.contentScreens, 2, 8);
  end_ = std::max(500L, std::lround(options_.seconds * 1000));
}

std::string SceneGenerator::generateText(std::uint64_t seed, const SceneGeneratorOptions& options) {
  return SceneGenerator(seed, options).generate().dump(1) + "\n";
}

SceneGenerator::json SceneGenerator::generate() {
  json scene = json::object();
  scene["device"] = device();

  schematic_ = random_.chance(options_.schematicShare);
  improvedCapture_ = random_.chance(options_.improvedCaptureShare);
  textRecognition_ = random_.chance(options_.textRecognitionShare);
  allTextFields_ = random_.chance(0.4);
  platformType_ = random_.pick(std::vector<long>{0, 0, 1, 7});
  animatedScrolls_ = improvedCapture_ || schematic_;
  manualIdentity_ = random_.chance(0.5);
  customWord_ = random_.pick(std::vector<std::string>{"Falcon", "Orion", "Bluebird", "Nimbus"});
  planScreens();

  scene["sdk"] = sdk();
  scene["app"] = {{"windows", windows()}, {"screens", screenViews_}};
  playTimeline();

  std::stable_sort(events_.begin(), events_.end(), [](const auto& a, const auto& b) { return a.ms < b.ms; });
  json timeline = json::array();
  for (auto& e : events_) {
    json event = {{"at", static_cast<double>(e.ms) / 1000.0}};
    for (auto& [key, value] : e.event.items()) event[key] = std::move(value);
    timeline.push_back(std::move(event));
  }
  scene["timeline"] = std::move(timeline);
  return scene;
}

SceneGenerator::json SceneGenerator::device() {
  screen_ = random_.pick(kScreens);
  return {{"screen", {std::lround(screen_.width), std::lround(screen_.height)}},
          {"scale", random_.pick(std::vector<int>{1, 1, 1, 2})},
          {"os", random_.pick(std::vector<std::string>{"17.0", "17.0", "14.0", "12.4"})},
          {"orientation", "portrait"}};
}

SceneGenerator::json SceneGenerator::sdk() {
  json rules = json::array();
  if (allTextFields_) rules.push_back({{"type", "allTextFields"}});
  if (!blurredScreen_.empty()) {
    rules.push_back({{"type", "blurScreen"}, {"screens", {blurredScreen_}}, {"blurRadius", random_.between(8, 40)}});
  }
  json hidden = json::array();
  if (!hiddenScreen_.empty()) {
    // A screen hidden by the session settings or by a cover rule of the configuration.
    hiddenBySettings_ = random_.chance(0.5);
    if (hiddenBySettings_) {
      hidden.push_back({{"name", hiddenScreen_}, {"hideGestures", random_.chance(0.5)}});
    } else {
      rules.push_back({{"type", "coverScreen"}, {"screens", {hiddenScreen_}}, {"color", "#1E1E1E"}});
    }
  }
  if (textRecognition_) rules.push_back({{"type", "textRecognition"}, {"customWords", {customWord_}}});

  json sdk = {{"recordingQuality", random_.pick(std::vector<int>{0, 1, 1, 2, 3})},
              {"sensitiveViewColor", random_.pick(std::vector<std::string>{"#333333", "#000000", "#5A5A5A"})},
              {"enableImprovedScreenCapture", improvedCapture_},
              {"platformType", platformType_},
              {"schematicCapture", schematic_},
              {"platformSchematicCapture", true}};
  if (!hidden.empty()) sdk["hiddenScreens"] = hidden;
  if (!rules.empty()) sdk["occlusion"] = rules;
  return sdk;
}

SceneGenerator::json SceneGenerator::windows() const {
  json windows = json::array();
  windows.push_back({{"name", "main"}, {"key", true}, {"background", "#FFFFFF"}, {"root", screens_.front().name}});
  return windows;
}

void SceneGenerator::add(long at, json event) {
  // Nothing happens after the stop.
  if (at > end_) return;
  // Whatever moves finishes by the stop.
  if (auto d = event.find("duration"); d != event.end() && event["do"] != "call") {
    *d = std::min(d->get<double>(), static_cast<double>(end_ - at) / 1000.0);
  }
  events_.push_back({at, std::move(event)});
}

std::string SceneGenerator::name(const std::string& prefix) { return prefix + std::to_string(++names_); }

std::string SceneGenerator::color() { return random_.pick(kPalette); }

const SceneGenerator::ScreenPlan* SceneGenerator::top() const {
  return presented_ ? &screens_[*presented_] : &screens_[current_];
}

}  // namespace zerva
