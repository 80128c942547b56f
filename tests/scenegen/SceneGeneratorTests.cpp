#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "scene/SceneLoader.h"
#include "scenegen/SceneGenerator.h"
#include "support/Sanitizers.h"

namespace zerva {
namespace {

std::optional<Scene> load(std::uint64_t seed, const SceneGeneratorOptions& options = {}) {
  auto scene = SceneLoader::loadText(SceneGenerator::generateText(seed, options), "seed-" + std::to_string(seed) + ".json",
                                     ".");
  EXPECT_TRUE(scene) << "seed " << seed << ": " << scene.error().localizedDescription();
  if (!scene) return std::nullopt;
  return std::move(*scene);
}

std::string webViewIn(const SceneViewDescription& view) {
  if (view.kind == SceneViewKind::WebView) return view.name;
  for (const auto& child : view.children) {
    if (auto name = webViewIn(child); !name.empty()) return name;
  }
  return "";
}

TEST(SceneGenerator, AThousandSeedsLoadThroughTheStrictLoader) {
  // Under the sanitizers the loader is slow enough that a tenth of the seeds fill the time limit.
  const std::uint64_t seeds = testing::kUnderSanitizers ? 100 : 1000;
  for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
    auto scene = load(seed);
    if (!scene) continue;
    // Short, and the recording stops at the end.
    EXPECT_LE(scene->duration(), 3.0 + 1e-9) << "seed " << seed;
    ASSERT_FALSE(scene->timeline.empty());
    const auto& last = scene->timeline.back();
    ASSERT_TRUE(last.call) << "seed " << seed;
    EXPECT_EQ(last.call->method, SceneCallMethod::StopScreenRecording) << "seed " << seed;
  }
}

TEST(SceneGenerator, KnobsAtTheirLimitsStillLoad) {
  const SceneGeneratorOptions shortest{.seconds = 0.5, .contentScreens = 2};
  const SceneGeneratorOptions longest{.seconds = 30, .contentScreens = 8, .schematicShare = 1, .improvedCaptureShare = 1,
                                      .textRecognitionShare = 1, .webShare = 1};
  for (std::uint64_t seed = 1; seed <= 50; ++seed) {
    load(seed, shortest);
    auto scene = load(seed, longest);
    if (scene) {
      EXPECT_GT(scene->duration(), 25) << "seed " << seed;
    }
  }
}

TEST(SceneGenerator, TheSameSeedGivesTheSameBytesAndSeedsDiffer) {
  std::set<std::string> texts;
  for (std::uint64_t seed = 1; seed <= 100; ++seed) {
    const std::string text = SceneGenerator::generateText(seed);
    EXPECT_EQ(text, SceneGenerator::generateText(seed)) << "seed " << seed;
    texts.insert(text);
  }
  EXPECT_EQ(texts.size(), 100u);
  EXPECT_NE(SceneGenerator::generateText(7), SceneGenerator::generateText(7, {.seconds = 4}));
}

// Every ingredient of the mix turns up within a few hundred seeds, so none silently falls out.
TEST(SceneGenerator, SeedsCoverTheWholeMix) {
  std::map<std::string, int> seen;
  for (std::uint64_t seed = 1; seed <= 300; ++seed) {
    auto scene = load(seed);
    if (!scene) continue;
    seen[scene->sdk.schematicCapture ? "schematic" : "real"]++;
    if (scene->sdk.occlusion) {
      for (const auto& rule : *scene->sdk.occlusion) seen["rule " + std::to_string(rule.type())]++;
    }
    for (const auto& [name, screen] : scene->screens) seen["presentation " + std::to_string(screen.presentation)]++;
    for (const auto& e : scene->timeline) {
      switch (e.action) {
        case SceneAction::Zoom: seen["zoom"]++; break;
        case SceneAction::Rotate: seen["rotate"]++; break;
        case SceneAction::Keyboard: seen["keyboard"]++; break;
        case SceneAction::Remove: seen["remove"]++; break;
        case SceneAction::Add: seen["add"]++; break;
        case SceneAction::Page: seen["page"]++; break;
        case SceneAction::Scroll: seen[e.duration == 0 ? "jump" : "scroll"]++; break;
        default: break;
      }
      if (!e.call) continue;
      const auto& c = *e.call;
      if (c.method == SceneCallMethod::OccludeRectsOnNextFrame && c.reply) {
        seen[c.reply->never ? "source never" : c.reply->after > 0 ? "source late" : "source at once"]++;
      }
      if (c.method == SceneCallMethod::PauseForOcclusionNextFrame && c.reply && c.reply->never) seen["pause never"]++;
      if (c.method == SceneCallMethod::AddRectsToOcclude || c.method == SceneCallMethod::AddRectsForManualOcclusion) {
        seen[c.identity ? "manual identity" : "manual"]++;
      }
      if (c.method == SceneCallMethod::PauseScreenRecordingForDuration) seen["pause"]++;
      if (c.method == SceneCallMethod::OccludeScreenAPI) seen["hide by API"]++;
      if (c.method == SceneCallMethod::OccludeScreen) seen["hide by settings"]++;
      if (c.method == SceneCallMethod::AddImageToAITextOcclusionPipeline) seen["text recognition"]++;
    }
  }
  for (const char* wanted :
       {"schematic", "real", "rule 1", "rule 2", "rule 3", "rule 4", "presentation 0", "presentation 1", "presentation 2",
        "presentation 4", "presentation 5", "presentation 7", "zoom", "rotate", "keyboard", "remove", "add", "page", "jump",
        "scroll", "source never", "source late", "source at once", "pause never", "manual identity", "manual", "pause",
        "hide by API", "hide by settings", "text recognition"}) {
    EXPECT_GT(seen[wanted], 0) << wanted;
  }
}

// What keeps a generated secret hidden is the SDK's side of the contract: a web view is
// announced before its screen shows, and the hybrid hooks, once set for the hybrid screen, stay
// to the end with nothing else shown, presented or turned (an answer still owed when they go
// would find the rectangle list already handed over).
TEST(SceneGenerator, KeepsTheSdkSideOfTheContract) {
  for (std::uint64_t seed = 1; seed <= 300; ++seed) {
    auto scene = load(seed);
    if (!scene) continue;
    std::set<std::string> announced;
    bool hooks = false;
    for (const auto& e : scene->timeline) {
      const std::string where = "seed " + std::to_string(seed) + ": " + e.path;
      if (e.call && e.call->method == SceneCallMethod::ScreenWebViewWillAppear) announced.insert(e.call->view);
      if (e.call && e.call->method == SceneCallMethod::ScreenWebViewDidDisappear) announced.erase(e.call->view);
      if (e.action == SceneAction::Show) {
        const std::string web = webViewIn(scene->screens.at(e.screen).view);
        EXPECT_TRUE(web.empty() || announced.count(web)) << where << " before its web view";
      }
      if (e.call && (e.call->method == SceneCallMethod::PauseForOcclusionNextFrame ||
                     e.call->method == SceneCallMethod::OccludeRectsOnNextFrame)) {
        EXPECT_TRUE(e.call->reply) << where << ": a hook taken away";
        hooks = true;
      }
      if (e.action == SceneAction::Show || e.action == SceneAction::Present || e.action == SceneAction::Rotate) {
        EXPECT_FALSE(hooks) << where << " while the hooks are there";
      }
      if (e.call && (e.call->method == SceneCallMethod::AddRectsToOcclude ||
                     e.call->method == SceneCallMethod::AddRectsForManualOcclusion)) {
        EXPECT_FALSE(hooks) << where << ": manual rectangles the source's answer would replace";
      }
    }
  }
}

}  // namespace
}  // namespace zerva
