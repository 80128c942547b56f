// Checks scene files, renders what their app shows at given times as PNG files, records them
// through the screen-video component into a session video with a contact sheet, mask previews
// and a report (the recording itself lives in src/review/), and writes random scenes from a seed
// (src/scenegen/).

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "audit/LeakAudit.h"
#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"
#include "platform/StringWithFormat.h"
#include "platform/UIImage.h"
#include "review/SceneRecorder.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"
#include "scenegen/GeneratedSceneAudit.h"
#include "scenegen/SceneGenerator.h"

namespace fs = std::filesystem;
using namespace zerva;

namespace {

std::optional<Scene> load(const std::string& path) {
  auto scene = SceneLoader::loadFile(path);
  if (!scene) {
    std::fprintf(stderr, "zerva-scene: %s\n", scene.error().localizedDescription().c_str());
    return std::nullopt;
  }
  return std::move(*scene);
}

int validate(const std::string& path) {
  auto scene = load(path);
  if (!scene) return 1;
  std::printf("%s: ok: %zu windows, %zu screens, %zu events, %.2f s\n", path.c_str(), scene->windows.size(),
              scene->screens.size(), scene->timeline.size(), scene->duration());
  return 0;
}

int render(const std::string& path, std::vector<double> times, double every, const std::string& outDir, double scale) {
  auto scene = load(path);
  if (!scene) return 1;
  if (every > 0) {
    for (double t = 0; t <= scene->duration() + 1e-9; t += every) times.push_back(t);
  }
  if (times.empty()) times.push_back(0);
  std::sort(times.begin(), times.end());
  std::error_code ec;
  fs::create_directories(outDir, ec);
  if (ec) {
    std::fprintf(stderr, "zerva-scene: cannot create %s: %s\n", outDir.c_str(), ec.message().c_str());
    return 1;
  }
  // The manual clock makes every run give the same pictures, as fast as they can be drawn.
  ScopedManualClock clock;
  NSRunLoop& loop = NSRunLoop::currentRunLoop();
  ScenePlayer player(std::move(*scene));
  player.start(loop);
  const std::string stem = fs::path(path).stem().string();
  for (size_t i = 0; i < times.size(); ++i) {
    loop.runUntilDate(player.startTime() + times[i]);
    auto image = player.renderScreen(scale);
    const std::string file = (fs::path(outDir) / stringWithFormat("%@-%06.2f.png", stem, times[i])).string();
    if (!image) {
      std::fprintf(stderr, "zerva-scene: cannot draw the screen at %.2f s\n", times[i]);
      return 1;
    }
    if (auto error = UIImageWritePNGToFile(*image, file)) {
      std::fprintf(stderr, "zerva-scene: %s\n", error->localizedDescription().c_str());
      return 1;
    }
    std::printf("[%zu/%zu] %.2f s -> %s\n", i + 1, times.size(), times[i], file.c_str());
  }
  return 0;
}

int record(SceneRecordingOptions options) {
  // Progress only for a person watching; pipes and logs get errors alone.
  const bool interactive = isatty(STDERR_FILENO) != 0;
  if (interactive) {
    options.progress = [](double done, double total, std::size_t frames) {
      std::fprintf(stderr, "\rzerva-scene: %6.1f of %.1f s, %zu frames", done, total, frames);
      std::fflush(stderr);
    };
  }
  const auto result = SceneRecorder::record(options);
  if (interactive) std::fprintf(stderr, "\n");
  if (result.status == SceneRecorder::Status::BadScene) {
    std::fprintf(stderr, "zerva-scene: %s\n", result.message.c_str());
    return 2;
  }
  if (!result.report.scene.empty()) std::fputs(result.report.summary().c_str(), stdout);
  if (result.status != SceneRecorder::Status::Recorded) {
    std::fprintf(stderr, "zerva-scene: %s\n", result.message.c_str());
    return 1;
  }
  const auto& report = result.report;
  std::printf("session video   %s\n", report.videoPath.c_str());
  std::printf("contact sheet   %s\n", report.contactSheet.c_str());
  if (!report.masksFolder.empty()) {
    std::printf("mask previews   %s/ (%zu)\n", report.masksFolder.c_str(), report.masksWritten);
  }
  std::printf("report          %s\n", (fs::path(options.outputFolder) / SceneRecorder::kReportFile).c_str());
  return 0;
}

int generate(std::uint64_t seed, const SceneGeneratorOptions& options, const std::string& outFile) {
  const std::string text = SceneGenerator::generateText(seed, options);
  if (outFile.empty()) {
    std::fputs(text.c_str(), stdout);
    return 0;
  }
  std::FILE* file = std::fopen(outFile.c_str(), "wb");
  const bool written = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
  const bool closed = file && std::fclose(file) == 0;
  if (!written || !closed) {
    std::fprintf(stderr, "zerva-scene: cannot write %s: %s\n", outFile.c_str(), std::strerror(errno));
    return 1;
  }
  return 0;
}

int audit(const std::string& path, LeakAuditOptions options) {
  const bool interactive = isatty(STDERR_FILENO) != 0;
  if (interactive) {
    options.progress = [](double done, double total, std::size_t frames) {
      std::fprintf(stderr, "\rzerva-scene: %6.1f of %.1f s, %zu frames", done, total, frames);
      std::fflush(stderr);
    };
  }
  const auto result = LeakAudit::runFile(path, options);
  if (interactive) std::fprintf(stderr, "\n");
  switch (result.status) {
    case LeakAuditResult::Status::BadScene:
      std::fprintf(stderr, "zerva-scene: %s\n", result.message.c_str());
      return 2;
    case LeakAuditResult::Status::Failed:
      // What was audited before the failure still counts for the reader.
      if (result.framesAudited > 0) std::fputs(result.summary().c_str(), stdout);
      std::fprintf(stderr, "zerva-scene: %s\n", result.message.c_str());
      return 1;
    case LeakAuditResult::Status::Leaked:
    case LeakAuditResult::Status::Clean:
      break;
  }
  std::fputs(result.summary().c_str(), stdout);
  if (!result.reportPath.empty()) std::printf("report          %s\n", result.reportPath.c_str());
  if (result.status == LeakAuditResult::Status::Leaked) {
    std::fprintf(stderr, "zerva-scene: %s: secret content reached %zu of %zu frames\n", path.c_str(),
                 result.leakedFrames.size(), result.framesAudited);
    return 1;
  }
  return 0;
}

int auditGenerated(std::uint64_t first, std::uint64_t last, const SceneGeneratorOptions& options) {
  GeneratedSceneAudit audit(options);
  for (std::uint64_t seed = first; seed <= last; ++seed) {
    const auto result = audit.audit(seed);
    std::printf("%s\n", audit.line(seed, result).c_str());
    std::fflush(stdout);
  }
  std::printf("total: %s\n", audit.totals().c_str());
  return audit.clean() ? 0 : 1;
}

// The generator's knobs that both generating commands take.
void addGeneratorOptions(CLI::App& command, SceneGeneratorOptions& options) {
  command.add_option("--seconds", options.seconds, "scene time recorded")
      ->check(CLI::Range(0.5, 600.0))
      ->capture_default_str();
  command.add_option("--screens", options.contentScreens, "full screens at most, besides sheets")
      ->check(CLI::Range(2, 8))
      ->capture_default_str();
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Checks scene files and renders what their app shows, as PNG files."};
  app.require_subcommand(1);

  std::string validatePath;
  auto* validateCommand = app.add_subcommand("validate", "Check a scene file and say what is wrong, and where");
  validateCommand->add_option("scene", validatePath, "the scene file (JSON)")->required()->check(CLI::ExistingFile);

  std::string renderPath, outDir = "out";
  std::vector<double> times;
  double every = 0, scale = 0;
  auto* renderCommand = app.add_subcommand("render", "Play a scene and write PNGs of the screen at given times");
  renderCommand->add_option("scene", renderPath, "the scene file (JSON)")->required()->check(CLI::ExistingFile);
  renderCommand->add_option("--at", times, "seconds into the timeline (repeatable)")->check(CLI::NonNegativeNumber);
  renderCommand->add_option("--every", every, "also one picture every this many seconds")->check(CLI::PositiveNumber);
  renderCommand->add_option("--out", outDir, "folder for the PNG files")->capture_default_str();
  renderCommand->add_option("--scale", scale, "pixels per point (default: the scene's device)")->check(CLI::PositiveNumber);

  SceneRecordingOptions recordOptions;
  auto* recordCommand = app.add_subcommand(
      "record",
      "Record a scene through the screen-video component: writes DIR/session.mp4, DIR/contact-sheet.png "
      "(every frame with its time), DIR/masks/NNNN.png (each frame as the app showed it beside the frame as "
      "recorded, hidden rectangles outlined and labelled by source) and DIR/report.json, and prints a summary. "
      "Exits 2 for a scene the loader refuses, 1 when the output cannot be written or the recording fails.");
  recordCommand->add_option("scene", recordOptions.scenePath, "the scene file (JSON)")->required();
  recordCommand->add_option("--out", recordOptions.outputFolder, "folder for the outputs (made when missing)")->required();
  recordCommand->add_flag("--realtime", recordOptions.realtime,
                          "play in real time on the real clock (default: a manual clock, fast and the same every run)");
  recordCommand->add_option("--mask-every", recordOptions.maskEvery, "a mask preview for every N-th frame; 0 for none")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();

  std::uint64_t seed = 1;
  SceneGeneratorOptions generateOptions;
  std::string generateOut;
  auto* generateCommand = app.add_subcommand(
      "generate", "Write a random scene for the leak audit; the same seed gives the same bytes (docs/scene-generator.md)");
  generateCommand->add_option("--seed", seed, "the seed")->required();
  generateCommand->add_option("--out", generateOut, "the file to write (default: standard output)");
  addGeneratorOptions(*generateCommand, generateOptions);

  std::string auditPath;
  LeakAuditOptions auditOptions;
  auto* auditCommand = app.add_subcommand(
      "audit",
      "Record a scene with its secret content in a colour of its own and check every frame of the video for "
      "it: prints frames audited and pixels leaked, writes DIR/leaks/NNNN.png for each frame with a leak and "
      "DIR/audit.json. Exits 1 on any leak (or when the recording fails), 2 for a scene refused, 0 when clean.");
  auditCommand->add_option("scene", auditPath, "the scene file (JSON)")->required();
  auditCommand->add_option("--out", auditOptions.outputFolder,
                           "folder for the video, leak pictures and report (default: a temporary folder, kept "
                           "only when something leaked)");

  std::uint64_t firstSeed = 1, lastSeed = 500;
  SceneGeneratorOptions auditGeneratedOptions;
  auto* auditGeneratedCommand = app.add_subcommand(
      "audit-generated",
      "Generate and audit the scenes of seeds FIRST to LAST: a line per seed (with the commands that reproduce a "
      "seed that leaked, was refused or failed) and the totals. Exits 1 unless every seed was clean.");
  auditGeneratedCommand->add_option("--first", firstSeed, "the first seed")->capture_default_str();
  auditGeneratedCommand->add_option("--last", lastSeed, "the last seed")->capture_default_str();
  addGeneratorOptions(*auditGeneratedCommand, auditGeneratedOptions);

  CLI11_PARSE(app, argc, argv);
  if (*auditGeneratedCommand) return auditGenerated(firstSeed, lastSeed, auditGeneratedOptions);
  if (*validateCommand) return validate(validatePath);
  if (*generateCommand) return generate(seed, generateOptions, generateOut);
  if (*auditCommand) return audit(auditPath, auditOptions);
  if (*recordCommand) return record(recordOptions);
  return render(renderPath, times, every, outDir, scale);
}
