// Records a scene (an app and what a user does in it) into a session video with the installed
// zerva-screenvideo library, and prints the video's path.
//
//   record-a-scene SCENE.json [FOLDER]
//
// The scene plays on a manual clock: time moves only as the run loop reaches the next frame or
// scene event, so the whole scene records as fast as frames can be made.

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

#include "handler/ZRViewVideoHandler.h"
#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"
#include "services/ZRSessionVideoRecorder.h"

using namespace zerva;

namespace {

std::string describe(const NSErrorOrNil& error) {
  if (!error) return "the recorder gave neither a file nor an error";
  return error->domain() + " " + std::to_string(error->code()) + ": " + error->localizedDescription();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "usage: record-a-scene SCENE.json [FOLDER]\n");
    return 2;
  }
  if (argc == 3 && !std::filesystem::is_directory(argv[2])) {
    std::fprintf(stderr, "record-a-scene: %s is not a folder\n", argv[2]);
    return 1;
  }
  auto scene = SceneLoader::loadFile(argv[1]);
  if (!scene) {
    std::fprintf(stderr, "record-a-scene: %s\n", scene.error().localizedDescription().c_str());
    return 2;
  }

  ScopedManualClock clock;
  // The thread that runs the main run loop is the main thread: frames are captured on it.
  NSRunLoop& mainLoop = NSRunLoop::mainRunLoop();
  ScenePlayer player(std::move(*scene));
  player.start(mainLoop);  // builds the app's windows and schedules what the user does

  auto handler = ZRViewVideoHandler::sharedHandler();
  // Videos go to ~/.cache/zerva/recordings unless told otherwise.
  if (argc == 3) handler->videoRecorder()->setRecordingsFolder(argv[2]);
  handler->startScreenRecording();
  if (!mainLoop.runUntil([&] { return handler->isRecording(); })) {
    std::fprintf(stderr, "record-a-scene: the recording did not start\n");
    return 1;
  }
  mainLoop.runUntilDate(player.startTime() + player.scene().duration());

  // Stop reason 1 keeps the video. The outcome arrives on the frame queue's thread.
  std::optional<std::string> path;
  NSErrorOrNil failure;
  std::atomic<bool> delivered = false;
  handler->stopScreenRecording(1, [&](std::optional<std::string> videoPath, NSErrorOrNil stopError) {
    path = std::move(videoPath);
    failure = std::move(stopError);
    delivered = true;
  });
  if (!mainLoop.runUntil([&] { return delivered.load(); }, 60)) {
    std::fprintf(stderr, "record-a-scene: the recording did not finish within a minute\n");
    return 1;
  }
  if (!path) {
    std::fprintf(stderr, "record-a-scene: no video: %s\n", describe(failure).c_str());
    return 1;
  }
  std::printf("%s\n", path->c_str());
  return 0;
}
