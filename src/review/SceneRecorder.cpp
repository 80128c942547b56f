#include "review/SceneRecorder.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <system_error>

#include "handler/ZRViewVideoHandler.h"
#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"
#include "platform/UIImage.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"
#include "scene/SceneSdkSession.h"
#include "services/ScreenImageProcessor.h"
#include "services/ZRSessionVideoRecorder.h"
#include "review/ContactSheet.h"
#include "review/FrameInspectionLog.h"
#include "review/VideoFrameReader.h"

namespace fs = std::filesystem;

namespace zerva {

namespace {

// Scene time between two progress reports (and two returns of the run loop in real time).
constexpr double kProgressStep = 0.1;
// The display's refresh: the manual clock's step, so that no tick is passed over.
constexpr double kDisplayRefresh = 1.0 / 60.0;
// Real seconds to wait for the recorder's start and for the stop's outcome.
constexpr double kRecorderTimeout = 60.0;
// Mask previews are PNG files named by frame index (wider than four digits past 9999).
constexpr const char* kMaskFileExtension = ".png";

/// Makes the folder (and masks/ in it) and proves it can be written, before anything is played.
/// The outputs of an earlier run are removed, so that the folder shows this run only.
std::optional<std::string> prepareOutputFolder(const fs::path& folder, bool masks) {
  std::error_code ec;
  fs::create_directories(folder, ec);
  if (ec) return "cannot create the output folder " + folder.string() + ": " + ec.message();
  const fs::path probe = folder / ".zerva-write-test";
  {
    std::ofstream file(probe);
    if (!file || !(file << "ok") || !file.flush()) return "cannot write into the output folder " + folder.string();
  }
  fs::remove(probe, ec);
  for (const char* name : {SceneRecorder::kVideoFile, SceneRecorder::kContactSheetFile, SceneRecorder::kReportFile}) {
    fs::remove(folder / name, ec);
  }
  const fs::path masksFolder = folder / SceneRecorder::kMasksFolder;
  for (const auto& entry : fs::directory_iterator(masksFolder, ec)) {
    if (entry.path().extension() == kMaskFileExtension) fs::remove(entry.path(), ec);
  }
  if (!masks) return std::nullopt;
  fs::create_directories(masksFolder, ec);
  if (ec) return "cannot create the folder " + masksFolder.string() + ": " + ec.message();
  return std::nullopt;
}

/// Moves the recorder's file to `to`, by copying where a rename cannot cross file systems.
std::optional<std::string> moveFile(const fs::path& from, const fs::path& to) {
  std::error_code ec;
  fs::remove(to, ec);
  fs::rename(from, to, ec);
  if (!ec) return std::nullopt;
  fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec);
  if (ec) return "cannot copy the video " + from.string() + " to " + to.string() + ": " + ec.message();
  fs::remove(from, ec);
  return std::nullopt;
}

/// Waits until the frame queue, the text recognition and the recorder have nothing left.
void settle(const std::shared_ptr<ZRViewVideoHandler>& handler) {
  const auto& queue = ZRViewVideoHandler::GetMakeVideoFrameQueue();
  for (int round = 0; round < 3; ++round) {
    queue->drain();
    if (auto processor = handler->imageProcessor()) processor->drain();
    queue->drain();
    if (auto recorder = handler->videoRecorder()) recorder->writerQueue()->drain();
    NSRunLoop::mainRunLoop().runPending();
  }
}

SceneRecorder::Result failure(std::string message, RecordingReport report = {}) {
  return {SceneRecorder::Status::Failed, std::move(message), std::move(report), {}};
}

}  // namespace

SceneRecorder::Result SceneRecorder::record(const SceneRecordingOptions& options) {
  std::optional<Scene> scene = options.scene;
  if (!scene) {
    NSErrorOrNil loadError;
    scene = SceneLoader::loadFile(options.scenePath, &loadError);
    if (!scene) {
      return {Status::BadScene, loadError ? loadError->localizedDescription() : "cannot load " + options.scenePath, {},
              {}};
    }
  }
  const fs::path folder(options.outputFolder);
  const bool masks = options.maskEvery > 0;
  if (auto problem = prepareOutputFolder(folder, masks)) return failure(*problem);

  RecordingReport report;
  report.scene = options.scenePath;
  report.realtime = options.realtime;
  report.sceneSeconds = scene->duration();
  const auto wallStart = std::chrono::steady_clock::now();

  // The manual clock makes every run give the same video, as fast as frames can be made.
  std::optional<ScopedManualClock> clock;
  if (!options.realtime) clock.emplace();
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  auto handler = ZRViewVideoHandler::sharedHandler();

  ScenePlayer player(std::move(*scene));
  auto log = FrameInspectionLog::create(masks ? (folder / kMasksFolder).string() : std::string(), options.maskEvery,
                                        [&player] { return player.renderScreen(1); });
  log->setRunObserver(options.afterCaptureRun);
  handler->setFrameInspector(log->makeInspector());
  // However the run ends, the handler must not report to a log that is gone.
  struct InspectorReset {
    std::shared_ptr<ZRViewVideoHandler> handler;
    ~InspectorReset() { handler->setFrameInspector(nullptr); }
  } inspectorReset{handler};

  SceneSdkSession session(player.scene(), player, handler);
  session.applySdkSettings();
  player.setCallHandler([&session, &player, &options](const SceneCall& call) {
    if (options.beforeCall) options.beforeCall(call, player);
    session.perform(call);
  });
  if (options.beforePlay) options.beforePlay(handler);
  player.start(loop);
  // A scene without a start call is recorded from its beginning to its end.
  if (!session.sceneStartsRecording()) {
    session.startRecording();
    if (!loop.runUntil([&] { return handler->isRecording() && handler->displayLink(); }, kRecorderTimeout)) {
      return failure("the recording did not start (recordScreenVideo off in the scene's sdk section?)");
    }
  }

  // On the manual clock the main thread would run through the whole scene before the frame queue
  // and text recognition finish a frame, and the stop would drop what they still hold. Playing one
  // display refresh at a time and letting every frame reach the video first is how a device
  // whose frame work keeps up behaves. In real time the clock itself waits for them.
  const double total = report.sceneSeconds;
  const double step = options.realtime ? kProgressStep : kDisplayRefresh;
  double reported = -kProgressStep;
  for (double done = 0;; done += step) {
    const double until = std::min(done, total);
    loop.runUntilDate(player.startTime() + until);
    if (!options.realtime) settle(handler);
    if (options.progress && (until - reported >= kProgressStep || until >= total)) {
      options.progress(until, total, log->frameCount());
      reported = until;
    }
    if (until >= total) break;
  }
  // A stop the scene made itself may still be on its way; only a recording still running is stopped.
  settle(handler);
  if (handler->isRecording()) session.stopRecording(1);
  loop.runUntil([&] { return session.stopCompletionDelivered(); }, kRecorderTimeout);
  settle(handler);
  player.stop();
  handler->setFrameInspector(nullptr);

  if (auto outcome = session.recordingOutcome()) {
    report.outcome = {outcome->stopReason, outcome->path, outcome->error, true};
  }
  for (const auto& answer : session.gestureAnswers()) {
    report.gestureAnswers.push_back({answer.at, answer.point, answer.view, answer.blocked});
  }
  report.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();

  const NSErrorOrNil maskError = log->finish();
  report.masksFolder = masks ? (folder / kMasksFolder).string() : std::string();
  report.masksWritten = log->masksWritten();

  std::string problem;
  DecodedVideo video;
  if (!report.outcome.recorderPath) {
    problem = report.outcome.error ? "the recording ended with an error: " + report.outcome.error->description()
                                   : "the recording ended without a file";
  } else {
    const fs::path videoPath = folder / kVideoFile;
    if (auto moveProblem = moveFile(*report.outcome.recorderPath, videoPath)) {
      problem = *moveProblem;
    } else {
      report.videoPath = videoPath.string();
      std::error_code ec;
      report.videoBytes = fs::file_size(videoPath, ec);
      NSErrorOrNil readError;
      if (auto decoded = VideoFrameReader::readFile(videoPath.string(), true, &readError)) {
        video = std::move(*decoded);
      } else {
        problem = readError->localizedDescription();
      }
    }
  }
  report.compile(log->runs(), log->frames(), video);

  if (auto sheet = options.contactSheet ? ContactSheet::draw(video) : nullptr) {
    const fs::path sheetPath = folder / kContactSheetFile;
    if (auto error = UIImageWritePNGToFile(*sheet, sheetPath.string())) {
      if (problem.empty()) problem = error->localizedDescription();
    } else {
      report.contactSheet = sheetPath.string();
    }
  }
  if (maskError && problem.empty()) problem = maskError->localizedDescription();

  const fs::path reportPath = folder / kReportFile;
  std::ofstream reportFile(reportPath);
  reportFile << report.toJson().dump(1) << '\n';
  reportFile.close();
  if (!reportFile && problem.empty()) problem = "cannot write the report " + reportPath.string();

  Result result{Status::Recorded, {}, std::move(report), {}};
  if (options.keepVideo) result.video = std::move(video);
  if (!problem.empty()) {
    result.status = Status::Failed;
    result.message = std::move(problem);
  }
  return result;
}

}  // namespace zerva
