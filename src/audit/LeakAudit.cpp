#include "audit/LeakAudit.h"

#include "platform/NSError.h"
#include "scene/SceneLoader.h"

namespace zerva {

LeakAuditResult LeakAudit::runFile(const std::string& scenePath, const LeakAuditOptions& options) {
  NSErrorOrNil error;
  auto scene = SceneLoader::loadFile(scenePath, &error);
  if (!scene) {
    LeakAuditResult result;
    result.status = LeakAuditResult::Status::BadScene;
    result.message = error ? error->localizedDescription() : "cannot load " + scenePath;
    return result;
  }
  return run(*scene, options);
}

LeakAuditResult LeakAudit::run(const Scene&, const LeakAuditOptions&) {
  LeakAuditResult result;
  result.status = LeakAuditResult::Status::Failed;
  result.message = "the leak audit is not built yet";
  return result;
}

std::string LeakAuditResult::summary() const {
  return "frames audited  " + std::to_string(framesAudited) + "\npixels leaked   " + std::to_string(pixelsLeaked) + "\n";
}

}  // namespace zerva
