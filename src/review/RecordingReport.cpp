#include "review/RecordingReport.h"

#include <algorithm>
#include <cmath>

#include "platform/StringWithFormat.h"
#include "review/VideoFrameReader.h"

namespace zerva {

namespace {

// The video's time base is a millisecond; a frame's time is rounded to it.
constexpr double kSameTime = 0.0015;

double percentile(std::vector<double> sorted, double fraction) {
  if (sorted.empty()) return 0;
  // Nearest rank: the smallest value with at least `fraction` of the values at or below it.
  const auto rank = static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(sorted.size())));
  return sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1];
}

nlohmann::json rectJson(const ZRInspectedRect& hidden) {
  return {{"source", ZRHiddenRectSourceName(hidden.source)},
          {"rect", {hidden.rect.origin.x, hidden.rect.origin.y, hidden.rect.size.width, hidden.rect.size.height}}};
}

nlohmann::json countsJson(const RecordingReport::KindCounts& counts) {
  return {{"driverRuns", counts.runs},
          {"captured", counts.captured},
          {"skipped", counts.skipped},
          {"appended", counts.appended}};
}

}  // namespace

void RecordingReport::compile(const std::vector<ZRFrameCaptureRun>& runs,
                              const std::vector<FrameInspectionLog::Frame>& frames, const DecodedVideo& video) {
  std::vector<double> captureMs;
  bool slow = false;
  for (const auto& run : runs) {
    if (run.kind == ZRInspectedFrameKind::Blank) {
      if (run.tookPicture) ++blankCaptured;
    } else {
      auto& counts = run.kind == ZRInspectedFrameKind::Schematic ? schematic : real;
      ++counts.runs;
      if (!run.tookPicture) ++counts.skipped;
      captureMs.push_back(run.realSeconds * 1000.0);
    }
    if (run.slowCapturePath != slow) {
      ++(run.slowCapturePath ? slowPathEntries : slowPathExits);
      slow = run.slowCapturePath;
    }
  }
  std::sort(captureMs.begin(), captureMs.end());
  captureTime = {captureMs.size(), percentile(captureMs, 0.50), percentile(captureMs, 0.95),
                 captureMs.empty() ? 0.0 : captureMs.back()};

  // Blank frames that the stop adds are counted where they reach the video; those of pauses here.
  for (const auto& frame : frames) {
    if (frame.kind == ZRInspectedFrameKind::Real) ++real.captured;
    if (frame.kind == ZRInspectedFrameKind::Schematic) ++schematic.captured;
  }

  std::vector<const FrameInspectionLog::Frame*> byTime;
  for (const auto& frame : frames) byTime.push_back(&frame);
  std::stable_sort(byTime.begin(), byTime.end(),
                   [](const auto* a, const auto* b) { return a->presentationTime < b->presentationTime; });

  videoFrames.clear();
  std::size_t next = 0;
  for (const auto& decoded : video.frames) {
    VideoFrame entry;
    entry.index = videoFrames.size();
    entry.presentationTime = decoded.presentationTime;
    // Frames never appended (dropped once the stop began) are passed over.
    while (next < byTime.size() && byTime[next]->presentationTime < decoded.presentationTime - kSameTime) ++next;
    if (next < byTime.size() && std::abs(byTime[next]->presentationTime - decoded.presentationTime) <= kSameTime) {
      const auto& frame = *byTime[next++];
      entry.kind = ZRInspectedFrameKindName(frame.kind);
      entry.hidden = frame.hidden;
      if (frame.kind == ZRInspectedFrameKind::Real) ++real.appended;
      if (frame.kind == ZRInspectedFrameKind::Schematic) ++schematic.appended;
      if (frame.kind == ZRInspectedFrameKind::Blank) ++blankAppended;
    } else {
      // The stop appends the last picture again where the video would end in a long gap.
      entry.kind = "repeated";
      ++repeatedAtStop;
    }
    videoFrames.push_back(std::move(entry));
  }
  videoFrameCount = videoFrames.size();
  videoWidth = video.width;
  videoHeight = video.height;
  videoCodec = video.codec;
  videoSeconds = videoFrames.empty() ? 0.0 : videoFrames.back().presentationTime;
  videoBytesPerSecond = videoSeconds > 0 ? static_cast<double>(videoBytes) / videoSeconds : 0.0;
}

nlohmann::json RecordingReport::toJson() const {
  nlohmann::json json;
  json["scene"] = scene;
  json["clock"] = realtime ? "real" : "manual";
  json["sceneSeconds"] = sceneSeconds;
  json["wallSeconds"] = wallSeconds;
  json["frames"] = {{"real", countsJson(real)},
                    {"schematic", countsJson(schematic)},
                    {"blank", {{"captured", blankCaptured}, {"appended", blankAppended}}},
                    {"repeatedAtStop", repeatedAtStop},
                    {"inVideo", videoFrameCount}};
  nlohmann::json times = nlohmann::json::array();
  nlohmann::json list = nlohmann::json::array();
  for (const auto& frame : videoFrames) {
    times.push_back(frame.presentationTime);
    nlohmann::json hidden = nlohmann::json::array();
    for (const auto& rect : frame.hidden) hidden.push_back(rectJson(rect));
    list.push_back({{"index", frame.index},
                    {"presentationTime", frame.presentationTime},
                    {"kind", frame.kind},
                    {"hidden", std::move(hidden)}});
  }
  json["presentationTimes"] = std::move(times);
  json["captureTimeMs"] = {{"frames", captureTime.count},
                           {"p50", captureTime.p50Ms},
                           {"p95", captureTime.p95Ms},
                           {"max", captureTime.maxMs},
                           {"clock", "real"}};
  json["slowPath"] = {{"entries", slowPathEntries}, {"exits", slowPathExits}};
  json["video"] = {{"path", videoPath},     {"bytes", videoBytes},   {"seconds", videoSeconds},
                   {"bytesPerSecond", videoBytesPerSecond}, {"width", videoWidth}, {"height", videoHeight},
                   {"codec", videoCodec}};
  nlohmann::json gestures = nlohmann::json::array();
  for (const auto& answer : gestureAnswers) {
    gestures.push_back(
        {{"at", answer.at}, {"point", {answer.point.x, answer.point.y}}, {"view", answer.view}, {"blocked", answer.blocked}});
  }
  json["gestureAnswers"] = std::move(gestures);
  nlohmann::json outcomeJson = {{"stopReason", outcome.stopReason}, {"delivered", outcome.delivered}};
  if (outcome.recorderPath) outcomeJson["path"] = *outcome.recorderPath;
  if (outcome.error) {
    outcomeJson["error"] = {{"domain", outcome.error->domain()},
                            {"code", outcome.error->code()},
                            {"description", outcome.error->localizedDescription()}};
  }
  json["outcome"] = std::move(outcomeJson);
  json["contactSheet"] = contactSheet;
  json["masks"] = {{"folder", masksFolder}, {"written", masksWritten}};
  json["videoFrames"] = std::move(list);
  return json;
}

std::string RecordingReport::summary() const {
  std::string text;
  text += stringWithFormat("%@: %.2f s of scene on the %@ clock in %.2f s\n", scene, sceneSeconds,
                           std::string(realtime ? "real" : "manual"), wallSeconds);
  for (const auto* counts : {&real, &schematic}) {
    text += stringWithFormat("  %@ frames: %lu captured, %lu skipped, %lu in the video\n",
                             std::string(counts == &real ? "real" : "schematic"),
                             static_cast<unsigned long>(counts->captured), static_cast<unsigned long>(counts->skipped),
                             static_cast<unsigned long>(counts->appended));
  }
  text += stringWithFormat("  blank frames: %lu for pauses, %lu in the video; %lu repeated at the stop\n",
                           static_cast<unsigned long>(blankCaptured), static_cast<unsigned long>(blankAppended),
                           static_cast<unsigned long>(repeatedAtStop));
  if (!videoFrames.empty()) {
    text += stringWithFormat("  video: %lu frames from %.3f s to %.3f s, %lu bytes, %.0f bytes/s (%@ %dx%d)\n",
                             static_cast<unsigned long>(videoFrameCount), videoFrames.front().presentationTime,
                             videoSeconds, static_cast<unsigned long>(videoBytes), videoBytesPerSecond, videoCodec,
                             videoWidth, videoHeight);
  }
  text += stringWithFormat("  capture time per frame (real clock): p50 %.2f ms, p95 %.2f ms, max %.2f ms; "
                           "slow path entered %lu, left %lu\n",
                           captureTime.p50Ms, captureTime.p95Ms, captureTime.maxMs,
                           static_cast<unsigned long>(slowPathEntries), static_cast<unsigned long>(slowPathExits));
  for (const auto& answer : gestureAnswers) {
    text += stringWithFormat("  gesture at %.2f s on (%.0f, %.0f)%@: %@\n", answer.at, answer.point.x, answer.point.y,
                             answer.view.empty() ? std::string() : " " + answer.view,
                             std::string(answer.blocked ? "dropped" : "kept"));
  }
  if (outcome.error) {
    text += stringWithFormat("  ended with error %@ %ld: %@\n", outcome.error->domain(), outcome.error->code(),
                             outcome.error->localizedDescription());
  } else if (outcome.recorderPath) {
    text += stringWithFormat("  ended (stop reason %lu): %@\n", outcome.stopReason, *outcome.recorderPath);
  } else {
    text += stringWithFormat("  ended (stop reason %lu) without a file\n", outcome.stopReason);
  }
  return text;
}

}  // namespace zerva
