// The report's matching of inspected frames to the frames of the video, and its capture-time
// figures, on made-up logs.

#include <gtest/gtest.h>

#include "review/RecordingReport.h"
#include "review/VideoFrameReader.h"

namespace zerva::testing {
namespace {

FrameInspectionLog::Frame frameAt(double time, ZRInspectedFrameKind kind = ZRInspectedFrameKind::Real) {
  return {kind, time, time, {}};
}

DecodedVideo videoAt(std::initializer_list<double> times) {
  DecodedVideo video;
  video.width = 10;
  video.height = 20;
  for (double t : times) video.frames.push_back({t, 10, 20, {}});
  return video;
}

TEST(RecordingReportTest, VideoFramesTakeTheKindOfTheFramePresentedAtTheSameMillisecond) {
  RecordingReport report;
  report.videoBytes = 3000;
  // 0.3 never reached the video (the stop began); 1.5 is the last picture appended again.
  report.compile({}, {frameAt(0.1), frameAt(0.3), frameAt(0.7, ZRInspectedFrameKind::Blank),
                      frameAt(1.1, ZRInspectedFrameKind::Schematic)},
                 videoAt({0.1, 0.7004, 1.1, 1.5}));
  ASSERT_EQ(report.videoFrames.size(), 4u);
  EXPECT_EQ(report.videoFrames[0].kind, "real");
  EXPECT_EQ(report.videoFrames[1].kind, "blank");
  EXPECT_EQ(report.videoFrames[2].kind, "schematic");
  EXPECT_EQ(report.videoFrames[3].kind, "repeated");
  EXPECT_EQ(report.real.captured, 2u);
  EXPECT_EQ(report.real.appended, 1u);
  EXPECT_EQ(report.schematic.appended, 1u);
  EXPECT_EQ(report.blankAppended, 1u);
  EXPECT_EQ(report.repeatedAtStop, 1u);
  EXPECT_DOUBLE_EQ(report.videoSeconds, 1.5);
  EXPECT_DOUBLE_EQ(report.videoBytesPerSecond, 2000);
}

TEST(RecordingReportTest, CaptureTimesAreNearestRankPercentilesOfTheRunsThatWereNotBlank) {
  std::vector<ZRFrameCaptureRun> runs;
  for (int ms = 1; ms <= 20; ++ms) runs.push_back({ZRInspectedFrameKind::Real, ms / 1000.0, true, 0, false});
  runs.push_back({ZRInspectedFrameKind::Blank, 5.0, true, 0, false});
  runs.push_back({ZRInspectedFrameKind::Schematic, 0.030, false, 0, true});
  runs.push_back({ZRInspectedFrameKind::Real, 0.001, true, 0, false});
  RecordingReport report;
  report.compile(runs, {}, videoAt({}));
  EXPECT_EQ(report.captureTime.count, 22u);
  EXPECT_NEAR(report.captureTime.p50Ms, 10.0, 1e-9);
  EXPECT_NEAR(report.captureTime.p95Ms, 20.0, 1e-9);
  EXPECT_NEAR(report.captureTime.maxMs, 30.0, 1e-9);
  EXPECT_EQ(report.schematic.skipped, 1u);
  EXPECT_EQ(report.blankCaptured, 1u);
  EXPECT_EQ(report.slowPathEntries, 1u);
  EXPECT_EQ(report.slowPathExits, 1u);
}

}  // namespace
}  // namespace zerva::testing
