// Auditing generated scenes: generate, load, record and scan one seed, and the lines and totals
// of a run. Main thread.

#include "scenegen/GeneratedSceneAudit.h"

#include <chrono>

#include "platform/StringWithFormat.h"
#include "scene/SceneLoader.h"

namespace zerva {

LeakAuditResult GeneratedSceneAudit::audit(std::uint64_t seed) {
  const auto start = std::chrono::steady_clock::now();
  const std::string name = "seed-" + std::to_string(seed) + ".json";
  auto scene = SceneLoader::loadText(SceneGenerator::generateText(seed, options_), name, ".");
  LeakAuditResult result;
  if (scene) {
    result = LeakAudit::run(*scene, auditOptions_);
  } else {
    result.status = LeakAuditResult::Status::BadScene;
    result.message = scene.error().localizedDescription();
  }
  ++scenes_;
  frames_ += result.framesAudited;
  pixels_ += result.pixelsLeaked;
  switch (result.status) {
    case LeakAuditResult::Status::Clean: break;
    case LeakAuditResult::Status::Leaked: ++leaked_; break;
    case LeakAuditResult::Status::BadScene: ++refused_; break;
    case LeakAuditResult::Status::Failed: ++failed_; break;
  }
  seconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return result;
}

std::string GeneratedSceneAudit::line(std::uint64_t seed, const LeakAuditResult& result) const {
  const double seconds = result.recordSeconds + result.scanSeconds;
  switch (result.status) {
    case LeakAuditResult::Status::Clean:
      return stringWithFormat("seed %llu: clean, %zu frames, %.2f s", static_cast<unsigned long long>(seed),
                              result.framesAudited, seconds);
    case LeakAuditResult::Status::Leaked: {
      std::string text = stringWithFormat("seed %llu: LEAKED %zu pixels in %zu of %zu frames, %.2f s",
                                          static_cast<unsigned long long>(seed), result.pixelsLeaked,
                                          result.leakedFrames.size(), result.framesAudited, seconds);
      for (const auto& frame : result.leakedFrames) {
        text += stringWithFormat("\n  frame %zu at %.3f s: %zu pixels in %@%@", frame.index, frame.presentationTime,
                                 frame.leakedPixels, NSStringFromCGRect(frame.bounds),
                                 frame.picture.empty() ? std::string() : " (" + frame.picture + ")");
      }
      return text + "\n  reproduce: " + reproduceCommand(seed);
    }
    case LeakAuditResult::Status::BadScene:
      return stringWithFormat("seed %llu: REFUSED: %@\n  reproduce: %@", static_cast<unsigned long long>(seed),
                              result.message, reproduceCommand(seed));
    case LeakAuditResult::Status::Failed:
      break;
  }
  return stringWithFormat("seed %llu: FAILED: %@\n  reproduce: %@", static_cast<unsigned long long>(seed), result.message,
                          reproduceCommand(seed));
}

std::string GeneratedSceneAudit::totals() const {
  return stringWithFormat("%zu scenes, %zu frames audited, %zu pixels leaked; %zu scenes leaked, %zu refused, %zu failed; %.1f s",
                          scenes_, frames_, pixels_, leaked_, refused_, failed_, seconds_);
}

std::string GeneratedSceneAudit::reproduceCommand(std::uint64_t seed) const {
  const SceneGeneratorOptions defaults;
  std::string knobs;
  if (options_.seconds != defaults.seconds) knobs += stringWithFormat(" --seconds %g", options_.seconds);
  if (options_.contentScreens != defaults.contentScreens) knobs += stringWithFormat(" --screens %d", options_.contentScreens);
  const std::string file = "seed-" + std::to_string(seed) + ".json";
  return "build/release/tools/zerva-scene generate --seed " + std::to_string(seed) + knobs + " --out " + file +
         " && build/release/tools/zerva-scene audit " + file + " --out out/seed-" + std::to_string(seed);
}

}  // namespace zerva
