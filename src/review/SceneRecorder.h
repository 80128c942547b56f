#pragma once
// Records a scene into a folder for people to look at: plays it through the handler singleton
// (on a manual clock, or in real time), and writes the session video, a contact sheet of its
// frames, mask previews and a report. The library half of `zerva-scene record`, kept here so that
// tests drive the same code as the command.
//
// src/review/ holds this and its parts (decoding the video back, drawing sheets and previews,
// the report): tooling around the component, not part of it, and not needed by scenes alone.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "handler/ZRFrameInspector.h"
#include "review/RecordingReport.h"
#include "review/VideoFrameReader.h"
#include "scene/SceneModel.h"

namespace zerva {

class ScenePlayer;
class ZRViewVideoHandler;

struct SceneRecordingOptions {
  std::string scenePath;
  /// The scene, already loaded (and perhaps changed): played instead of reading scenePath,
  /// which then only names it in the report.
  std::optional<Scene> scene;
  std::string outputFolder;
  bool realtime = false;
  /// 0: no mask previews; N: every N-th frame.
  int maskEvery = 1;
  /// Called on the main thread as the scene plays: scene seconds done, of total, frames so far.
  std::function<void(double done, double total, std::size_t frames)> progress;
  /// Main thread, right before each of the timeline's calls is performed.
  std::function<void(const SceneCall& call, ScenePlayer& player)> beforeCall;
  /// Once the handler is set up (SDK settings applied, frame inspector set), before the scene plays.
  std::function<void(const std::shared_ptr<ZRViewVideoHandler>& handler)> beforePlay;
  /// Main thread, at the end of each run of the frame driver.
  std::function<void(const ZRFrameCaptureRun& run)> afterCaptureRun;
  bool contactSheet = true;
  /// Keep the decoded video in Result::video.
  bool keepVideo = false;
};

class SceneRecorder {
 public:
  enum class Status {
    Recorded = 0,
    Failed = 1,    // the output folder, the recording or an output file
    BadScene = 2,  // the loader refused the scene
  };
  struct Result {
    Status status = Status::Recorded;
    /// Why it failed, for people; names the file or folder at fault.
    std::string message;
    RecordingReport report;
    /// With keepVideo, every frame of the session video as decoded.
    DecodedVideo video;
  };

  /// Output files, in the output folder.
  static constexpr const char* kVideoFile = "session.mp4";
  static constexpr const char* kContactSheetFile = "contact-sheet.png";
  static constexpr const char* kMasksFolder = "masks";
  static constexpr const char* kReportFile = "report.json";

  /// Main thread (it runs the main run loop). The folder is checked before anything is played.
  static Result record(const SceneRecordingOptions& options);
};

}  // namespace zerva
