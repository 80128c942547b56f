#pragma once
// Proves that no secret pixel reaches a session video: records a scene whose secret content is
// drawn in one reserved colour (SecretPalette), decodes the video and looks for that colour in
// every frame. The library half of `zerva-scene audit`; scene generators call run() directly.
//
// What is secret in a scene, how it is found and why the colour tolerance holds: docs/audit.md.

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/CGGeometry.h"
#include "scene/SceneModel.h"

namespace zerva {

class ZRViewVideoHandler;

struct LeakAuditOptions {
  /// Where the session video, report and leak pictures go (made when missing). Empty: a fresh
  /// temporary folder, removed at the end unless a leak was found or the audit failed (the
  /// failure's message then names it).
  std::string outputFolder;
  /// A PNG of each frame with a leak, the leaked pixels outlined (outputFolder/leaks/NNNN.png).
  bool writeLeakPictures = true;
  /// Called on the main thread as the scene plays: scene seconds done, of total, frames so far.
  std::function<void(double done, double total, std::size_t frames)> progress;
  /// Test seam: called with the handler after the SDK settings are applied and before the scene
  /// plays, so that tests can install faults. Production callers leave it empty.
  std::function<void(const std::shared_ptr<ZRViewVideoHandler>&)> prepareHandler;
};

/// One decoded frame in which secret pixels showed.
struct LeakedFrame {
  std::size_t index = 0;         // among the decoded frames
  double presentationTime = 0;   // seconds
  std::size_t leakedPixels = 0;  // video pixels
  CGRect bounds = CGRectZero;    // around them, in video pixels
  std::string picture;           // the PNG written for it; empty when none
};

struct LeakAuditResult {
  enum class Status {
    Clean = 0,     // every frame audited, no secret pixel
    Leaked = 1,    // at least one secret pixel in a frame
    BadScene = 2,  // the loader refused the scene
    Failed = 3,    // the recording, the video or an output file
  };
  Status status = Status::Clean;
  /// Why the scene was refused or the audit failed, for people; empty otherwise.
  std::string message;

  std::size_t framesAudited = 0;
  std::size_t pixelsLeaked = 0;
  std::vector<LeakedFrame> leakedFrames;
  /// Scene colours the audit moved away from the secret colour ("app.screens.Login.view...: #FE02FD").
  std::vector<std::string> recoloured;
  /// The closest any decoded pixel outside a leak came to the secret colour (distance as
  /// SecretPalette measures it); the margin left under the tolerance.
  double nearestCleanDistance = 0;
  std::string videoPath;
  std::string reportPath;
  double recordSeconds = 0;  // wall time playing and recording the scene
  double scanSeconds = 0;    // wall time decoding and scanning the video

  /// Lines for people: frames audited, pixels leaked, each leaked frame, times.
  std::string summary() const;
};

class LeakAudit {
 public:
  static constexpr const char* kVideoFile = "session.mp4";
  static constexpr const char* kReportFile = "audit.json";
  static constexpr const char* kLeaksFolder = "leaks";
  /// The scene's pictures, recoloured where they came too close to the secret colour.
  static constexpr const char* kPicturesFolder = "pictures";

  /// Main thread (it runs the main run loop and the handler singleton). The scene is copied,
  /// its secret content recoloured, and recorded as `zerva-scene record` records it.
  static LeakAuditResult run(const Scene& scene, const LeakAuditOptions& options);
  /// Loads the scene file first (BadScene with the loader's message when it is refused).
  static LeakAuditResult runFile(const std::string& scenePath, const LeakAuditOptions& options);

 private:
  static LeakAuditResult runIn(const Scene& scene, const LeakAuditOptions& options, const std::string& folder,
                               bool temporary);
};

}  // namespace zerva
