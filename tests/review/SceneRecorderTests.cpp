// Recording a scene into its outputs: the video, contact sheet, mask previews and report, with
// the report's counts and times checked against the video as ffprobe reads it; and the two
// refusals that come before anything is recorded.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "platform/UIImage.h"
#include "review/SceneRecorder.h"
#include "support/TestOutputFolder.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

namespace fs = std::filesystem;

// A small app: a sensitive view, a secure field the handler hides by itself, a rectangle pushed
// by a hybrid framework, and a pause; no start call, so it is recorded from 0 to its end.
constexpr const char* kScene = R"({
  "device": {"screen": [200, 300], "scale": 1, "os": "17.0"},
  "sdk": {"schematicCapture": false, "sensitiveViewColor": "#00FF00"},
  "app": {
    "windows": [{"name": "main", "key": true, "background": "#FFFFFF", "root": "Home"}],
    "screens": {"Home": {"view": {"type": "view", "frame": [0, 0, 200, 300], "background": "#FFFFFF",
      "children": [
        {"type": "view", "name": "secret", "frame": [20, 20, 160, 40], "background": "#FF00FF"},
        {"type": "textField", "name": "pin", "frame": [20, 80, 160, 30], "secure": true, "background": "#EEEEEE"},
        {"type": "view", "name": "banner", "frame": [0, 200, 200, 60], "background": "#0000FF"}
      ]}}}
  },
  "timeline": [
    {"at": 0.0, "do": "call", "call": {"method": "addSensitiveView", "view": "secret", "blockGestures": true}},
    {"at": 0.0, "do": "call", "call": {"method": "addRectsToOcclude", "rects": [[10, 130, 60, 20]], "identity": "promo"}},
    {"at": 0.5, "do": "call", "call": {"method": "gestureBlockedBySensitiveView", "point": [100, 40], "view": "secret"}},
    {"at": 1.0, "do": "call", "call": {"method": "pauseScreenRecordingForDuration", "duration": 0.4}},
    {"at": 2.0, "do": "set", "view": "banner", "background": "#FF0000"}
  ]
})";

class SceneRecorderTest : public TestOutputFolder {
 protected:
  SceneRecorderTest() : TestOutputFolder("zr-review") {}

  std::string writeScene(const std::string& text) {
    const fs::path path = folder_ / "scene.json";
    std::ofstream(path) << text;
    return path.string();
  }
};

TEST_F(SceneRecorderTest, WritesEveryOutputAndTheReportAgreesWithTheVideo) {
  const fs::path out = folder_ / "out";
  SceneRecordingOptions options;
  options.scenePath = writeScene(kScene);
  options.outputFolder = out.string();
  const auto result = SceneRecorder::record(options);
  ASSERT_EQ(result.status, SceneRecorder::Status::Recorded) << result.message;

  const auto probe = probeVideo((out / "session.mp4").string());
  ASSERT_TRUE(probe.readable);
  EXPECT_EQ(probe.codec, "h264");
  ASSERT_GE(probe.framePtsMs.size(), 6u);

  nlohmann::json report;
  std::ifstream(out / "report.json") >> report;
  const auto& frames = report["frames"];
  ASSERT_EQ(frames["inVideo"].get<std::size_t>(), probe.framePtsMs.size());
  EXPECT_EQ(frames["real"]["appended"].get<std::size_t>() + frames["schematic"]["appended"].get<std::size_t>() +
                frames["blank"]["appended"].get<std::size_t>() + frames["repeatedAtStop"].get<std::size_t>(),
            probe.framePtsMs.size());
  EXPECT_GE(frames["blank"]["appended"].get<std::size_t>(), 1u) << "the pause gives blank frames";
  EXPECT_EQ(frames["schematic"]["captured"].get<std::size_t>(), 0u);
  const auto& times = report["presentationTimes"];
  ASSERT_EQ(times.size(), probe.framePtsMs.size());
  for (std::size_t i = 0; i < times.size(); ++i) {
    EXPECT_NEAR(times[i].get<double>() * 1000.0, static_cast<double>(probe.framePtsMs[i]), 1.0) << "frame " << i;
  }
  // Times rise, and the last frames come near the scene's end, 2 s in.
  EXPECT_TRUE(std::is_sorted(probe.framePtsMs.begin(), probe.framePtsMs.end()));
  EXPECT_GE(probe.framePtsMs.back(), 1700);

  // Each real frame names where its rectangles came from.
  std::set<std::string> sources;
  for (const auto& frame : report["videoFrames"]) {
    if (frame["kind"] != "real") continue;
    for (const auto& hidden : frame["hidden"]) sources.insert(hidden["source"].get<std::string>());
  }
  EXPECT_TRUE(sources.count("sensitive view"));
  EXPECT_TRUE(sources.count("automatic text field"));
  EXPECT_TRUE(sources.count("manual"));
  EXPECT_FALSE(sources.count("unknown"));

  const auto& capture = report["captureTimeMs"];
  EXPECT_GT(capture["frames"].get<std::size_t>(), 0u);
  EXPECT_GT(capture["p50"].get<double>(), 0.0);
  EXPECT_LE(capture["p50"].get<double>(), capture["p95"].get<double>());
  EXPECT_LE(capture["p95"].get<double>(), capture["max"].get<double>());

  EXPECT_EQ(report["video"]["bytes"].get<std::uintmax_t>(), fs::file_size(out / "session.mp4"));
  ASSERT_EQ(report["gestureAnswers"].size(), 1u);
  EXPECT_TRUE(report["gestureAnswers"][0]["blocked"].get<bool>());
  EXPECT_TRUE(report["outcome"].contains("path"));
  EXPECT_FALSE(report["outcome"].contains("error"));

  auto sheet = UIImage::imageWithContentsOfFile((out / "contact-sheet.png").string());
  ASSERT_TRUE(sheet) << sheet.error().localizedDescription();
  std::size_t masks = 0;
  for (const auto& entry : fs::directory_iterator(out / "masks")) masks += entry.path().extension() == ".png";
  EXPECT_EQ(masks, report["masks"]["written"].get<std::size_t>());
  EXPECT_GE(masks, probe.framePtsMs.size() - 1);
  auto read = UIImage::imageWithContentsOfFile((out / "masks" / "0000.png").string());
  ASSERT_TRUE(read) << read.error().localizedDescription();
  const auto& preview = *read;
  // Both panels: the app's picture (magenta secret) on the left, the recorded one (green box)
  // on the right, each 200 points wide.
  EXPECT_GT(preview->size().width, 400);
}

TEST_F(SceneRecorderTest, ABadSceneIsRefusedWithTheLoadersMessageBeforeAnyOutput) {
  const fs::path out = folder_ / "out";
  SceneRecordingOptions options;
  std::string scene = kScene;
  scene.replace(scene.find(R"("view": "secret", "blockGestures")"), 16, R"("view": "nobody")");
  options.scenePath = writeScene(scene);
  options.outputFolder = out.string();
  const auto result = SceneRecorder::record(options);
  EXPECT_EQ(result.status, SceneRecorder::Status::BadScene);
  // The loader's own message: the file, the JSON path and what was expected there.
  EXPECT_NE(result.message.find("scene.json: $.timeline[0].call.view"), std::string::npos) << result.message;
  EXPECT_NE(result.message.find("nobody"), std::string::npos) << result.message;
  EXPECT_FALSE(fs::exists(out));
}

TEST_F(SceneRecorderTest, AnUnwritableFolderFailsNamingItBeforeAnythingIsRecorded) {
  // A folder below a plain file can never be made, whoever runs the test.
  std::ofstream(folder_ / "plain-file") << "x";
  const fs::path out = folder_ / "plain-file" / "out";
  SceneRecordingOptions options;
  options.scenePath = writeScene(kScene);
  options.outputFolder = out.string();
  const auto result = SceneRecorder::record(options);
  EXPECT_EQ(result.status, SceneRecorder::Status::Failed);
  EXPECT_NE(result.message.find(out.string()), std::string::npos) << result.message;
  EXPECT_TRUE(result.report.scene.empty()) << "nothing is played";
}

}  // namespace
}  // namespace zerva::testing
