#pragma once
// A fresh world for each handler test: a manual clock, a new application, configuration, screen
// tracker, session settings and log, the file statics at their start values, and a new handler
// whose recorder writes into a scratch folder. Helpers start and stop recordings, play the main
// run loop for a while, and wait for the frame queue, never by sleeping.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>

#include "handler/ZRViewVideoHandler.h"
#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/NSLog.h"
#include "platform/NSProcessInfo.h"
#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"
#include "platform/UIApplication.h"
#include "platform/UIScreen.h"
#include "services/InternalZRConfiguration.h"
#include "services/ScreenImageProcessor.h"
#include "services/ZRHeatTimeHandler.h"
#include "services/ZRLogUtility.h"
#include "services/ZRPlistHandler.h"
#include "services/ZRSessionVideoRecorder.h"
#include "services/ZervaHandler.h"

namespace zerva::testing {

class HandlerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    folder_ = std::filesystem::temp_directory_path() /
              ("zr-handler-" + std::string(info->test_suite_name()) + "-" + info->name() + "-" +
               std::to_string(::getpid()));
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);

    UIApplication::resetSharedApplication();
    InternalZRConfiguration::resetSharedConfiguration();
    ZRHeatTimeHandler::resetSharedHandler();
    ZRLogUtility::reset();
    ZervaHandler::shared()->setSessionSettings(std::make_shared<ZRSessionSettings>());
    NSProcessInfo::processInfo().setOperatingSystemVersion({17, 0, 0});
    ZRPlistHandler::sharedHandler()->setStorePath((folder_ / "state.json").string());
    ZRResetHandlerFileStatics();

    handler_ = ZRViewVideoHandler::create();
    handler_->videoRecorder()->setRecordingsFolder(folder_.string());
  }

  void TearDown() override {
    // A recording left running would keep its display link (and the handler) alive.
    if (handler_ && handler_->isRecording()) stopRecording(0);
    settle();
    handler_.reset();
    // ZERVA_KEEP_TEST_OUTPUT=1 keeps the scratch folder (videos) to look at.
    if (std::getenv("ZERVA_KEEP_TEST_OUTPUT")) return;
    std::error_code ec;
    std::filesystem::remove_all(folder_, ec);
  }

  /// Starts a recording and runs the main run loop until the recorder's start completion ran.
  bool startRecording() {
    handler_->startScreenRecording();
    return NSRunLoop::mainRunLoop().runUntil([&] { return handler_->isRecording() && handler_->displayLink(); });
  }

  struct StopOutcome {
    bool delivered = false;
    std::optional<std::string> path;
    NSErrorOrNil error;
  };
  /// Stops and waits (running the main run loop) until the outcome is delivered.
  StopOutcome stopRecording(unsigned long reason) {
    auto outcome = std::make_shared<StopOutcome>();
    auto done = std::make_shared<std::atomic<bool>>(false);
    handler_->stopScreenRecording(reason, [outcome, done](std::optional<std::string> path, NSErrorOrNil error) {
      outcome->delivered = true;
      outcome->path = std::move(path);
      outcome->error = std::move(error);
      *done = true;
    });
    NSRunLoop::mainRunLoop().runUntil([&] { return done->load(); });
    settle();
    return *outcome;
  }

  /// Plays the main run loop (frame clock, scene timers) for `seconds` of manual time.
  void runFor(double seconds) { NSRunLoop::mainRunLoop().runForTimeInterval(seconds); }

  /// Waits until the frame queue, the text recognition and the recorder have nothing left.
  void settle() {
    const auto& queue = ZRViewVideoHandler::GetMakeVideoFrameQueue();
    for (int round = 0; round < 3; ++round) {
      queue->drain();
      if (handler_ && handler_->imageProcessor()) handler_->imageProcessor()->drain();
      queue->drain();
      if (handler_ && handler_->videoRecorder()) handler_->videoRecorder()->writerQueue()->drain();
      NSRunLoop::mainRunLoop().runPending();
    }
  }

  ScopedManualClock clock_;
  NSLogCapture log_;
  std::filesystem::path folder_;
  std::shared_ptr<ZRViewVideoHandler> handler_;
};

}  // namespace zerva::testing
