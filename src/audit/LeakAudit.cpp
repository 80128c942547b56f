// The leak audit: prepare the scene, record it as `zerva-scene record` does, scan every decoded
// frame for the secret colour, and write what was found. Main thread.

#include "audit/LeakAudit.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <system_error>

#include <nlohmann/json.hpp>

#include "audit/LeakScanner.h"
#include "audit/SecretPalette.h"
#include "audit/SecretScene.h"
#include "platform/NSError.h"
#include "platform/StringWithFormat.h"
#include "platform/UIImage.h"
#include "review/SceneRecorder.h"
#include "scene/SceneLoader.h"

namespace fs = std::filesystem;

namespace zerva {

namespace {

using Status = LeakAuditResult::Status;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

/// The result so far, ended with `status` and why; what was counted stays.
LeakAuditResult stopped(Status status, std::string message, LeakAuditResult result = {}) {
  result.status = status;
  result.message = std::move(message);
  return result;
}

/// A fresh folder under the system's temporary folder; empty when none can be made.
std::string makeTemporaryFolder() {
  std::error_code ec;
  std::string pattern = (fs::temp_directory_path(ec) / "zerva-audit-XXXXXX").string();
  if (ec || !mkdtemp(pattern.data())) return {};
  return pattern;
}

/// The leak pictures of an earlier run would read as this run's.
void removeEarlierPictures(const fs::path& folder) {
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(folder, ec)) {
    if (entry.path().extension() == ".png") fs::remove(entry.path(), ec);
  }
}

nlohmann::json toJson(const LeakAuditResult& result) {
  nlohmann::json leaked = nlohmann::json::array();
  for (const auto& frame : result.leakedFrames) {
    leaked.push_back({{"index", frame.index},
                      {"presentationTime", frame.presentationTime},
                      {"leakedPixels", frame.leakedPixels},
                      {"bounds", {frame.bounds.origin.x, frame.bounds.origin.y, frame.bounds.size.width,
                                  frame.bounds.size.height}},
                      {"picture", frame.picture}});
  }
  return {{"framesAudited", result.framesAudited},
          {"pixelsLeaked", result.pixelsLeaked},
          {"leakedFrames", leaked},
          {"secretColor", "#FF00FF"},
          {"tolerance", SecretPalette::kTolerance},
          {"nearestCleanDistance", std::isfinite(result.nearestCleanDistance) ? result.nearestCleanDistance : -1.0},
          {"recoloured", result.recoloured},
          {"video", result.videoPath},
          {"recordSeconds", result.recordSeconds},
          {"scanSeconds", result.scanSeconds}};
}

}  // namespace

LeakAuditResult LeakAudit::runFile(const std::string& scenePath, const LeakAuditOptions& options) {
  auto scene = SceneLoader::loadFile(scenePath);
  if (!scene) return stopped(Status::BadScene, scene.error().localizedDescription());
  return run(*scene, options);
}

LeakAuditResult LeakAudit::run(const Scene& scene, const LeakAuditOptions& options) {
  if (!options.outputFolder.empty()) return runIn(scene, options, options.outputFolder, false);
  const std::string folder = makeTemporaryFolder();
  if (folder.empty()) return stopped(Status::Failed, "cannot make a temporary folder for the audit's video");
  LeakAuditResult result = runIn(scene, options, folder, true);
  switch (result.status) {
    case Status::Clean:
    case Status::BadScene: {
      // Nothing in it anybody needs.
      std::error_code ec;
      fs::remove_all(folder, ec);
      result.videoPath.clear();
      break;
    }
    case Status::Failed:
      result.message += " (what the audit wrote is kept in " + folder + ")";
      break;
    case Status::Leaked:
      break;  // the report names the folder
  }
  return result;
}

LeakAuditResult LeakAudit::runIn(const Scene& scene, const LeakAuditOptions& options, const std::string& folder,
                                 bool temporary) {
  const fs::path pictures = fs::path(folder) / kPicturesFolder;
  std::error_code ec;
  fs::remove_all(pictures, ec);
  fs::create_directories(pictures, ec);
  if (ec) return stopped(Status::Failed, "cannot create the folder " + pictures.string() + ": " + ec.message());

  std::string problem;
  auto secret = SecretScene::prepare(scene, pictures.string(), &problem);
  if (!secret) return stopped(Status::Failed, problem);

  SceneRecordingOptions recording;
  recording.scenePath = scene.file;
  recording.scene = secret->scene();
  recording.outputFolder = folder;
  recording.maskEvery = 0;
  recording.contactSheet = false;
  recording.keepVideo = true;
  recording.progress = options.progress;
  recording.beforeCall = [&secret](const SceneCall& call, ScenePlayer& player) { secret->willPerform(call, player); };
  recording.beforePlay = options.prepareHandler;
  recording.afterCaptureRun = [&secret](const ZRFrameCaptureRun& run) {
    if (run.tookPicture) secret->frameWasTaken();
  };

  const auto recordStart = Clock::now();
  auto recorded = SceneRecorder::record(recording);
  LeakAuditResult result;
  result.recoloured = secret->recoloured();
  result.recordSeconds = secondsSince(recordStart);
  result.videoPath = recorded.report.videoPath;
  if (recorded.status == SceneRecorder::Status::BadScene) return stopped(Status::BadScene, recorded.message);
  if (recorded.status != SceneRecorder::Status::Recorded) {
    return stopped(Status::Failed, recorded.message.empty() ? "the recording failed" : recorded.message,
                   std::move(result));
  }

  const auto scanStart = Clock::now();
  const fs::path leaksFolder = fs::path(folder) / kLeaksFolder;
  removeEarlierPictures(leaksFolder);
  result.nearestCleanDistance = std::numeric_limits<double>::infinity();
  const auto& frames = recorded.video.frames;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const FrameLeakScan scan = LeakScanner::scan(frames[i]);
    ++result.framesAudited;
    result.nearestCleanDistance = std::min(result.nearestCleanDistance, scan.nearestCleanDistance);
    if (scan.leakedPixels == 0) continue;
    result.pixelsLeaked += scan.leakedPixels;
    LeakedFrame leaked{i, frames[i].presentationTime, scan.leakedPixels, scan.bounds(), {}};
    if (options.writeLeakPictures) {
      fs::create_directories(leaksFolder, ec);
      if (ec) {
        return stopped(Status::Failed, "cannot create the folder " + leaksFolder.string() + ": " + ec.message(),
                       std::move(result));
      }
      auto picture = LeakScanner::drawLeaks(frames[i], scan);
      const fs::path file = leaksFolder / stringWithFormat("%04lu.png", static_cast<unsigned long>(i));
      NSErrorOrNil error = picture ? UIImageWritePNGToFile(*picture, file.string()) : NSErrorOrNil();
      if (!picture || error) {
        return stopped(Status::Failed,
                       error ? error->localizedDescription() : "cannot draw the leak picture " + file.string(),
                       std::move(result));
      }
      leaked.picture = file.string();
    }
    result.leakedFrames.push_back(std::move(leaked));
  }
  result.scanSeconds = secondsSince(scanStart);
  if (result.framesAudited == 0) {
    return stopped(Status::Failed, "the session video " + result.videoPath + " has no frames to audit");
  }
  result.status = result.pixelsLeaked > 0 ? Status::Leaked : Status::Clean;

  if (temporary && result.status == Status::Clean) return result;  // the folder goes
  result.reportPath = (fs::path(folder) / kReportFile).string();
  std::ofstream report(result.reportPath);
  report << toJson(result).dump(1) << '\n';
  report.close();
  if (!report) return stopped(Status::Failed, "cannot write the audit report " + result.reportPath, std::move(result));
  return result;
}

std::string LeakAuditResult::summary() const {
  std::string text = stringWithFormat("frames audited  %lu\npixels leaked   %lu\n", static_cast<unsigned long>(framesAudited),
                                      static_cast<unsigned long>(pixelsLeaked));
  for (const auto& frame : leakedFrames) {
    text += stringWithFormat("leak            frame %lu at %.3f s: %lu pixels in (%.0f, %.0f, %.0f x %.0f)%@\n",
                             static_cast<unsigned long>(frame.index), frame.presentationTime,
                             static_cast<unsigned long>(frame.leakedPixels), frame.bounds.origin.x,
                             frame.bounds.origin.y, frame.bounds.size.width, frame.bounds.size.height,
                             frame.picture.empty() ? std::string() : " -> " + frame.picture);
  }
  if (std::isfinite(nearestCleanDistance)) {
    text += stringWithFormat("secret colour   #FF00FF, tolerance %.0f; nearest other pixel at %.1f\n",
                             SecretPalette::kTolerance, nearestCleanDistance);
  }
  if (!recoloured.empty()) {
    text += stringWithFormat("recoloured      %lu scene colours and pictures too close to it\n",
                             static_cast<unsigned long>(recoloured.size()));
  }
  const double perFrame = framesAudited > 0 ? (recordSeconds + scanSeconds) / static_cast<double>(framesAudited) : 0;
  text += stringWithFormat("time            %.2f s recording, %.2f s scanning (%.1f ms a frame)\n", recordSeconds,
                           scanSeconds, perFrame * 1000);
  return text;
}

}  // namespace zerva
