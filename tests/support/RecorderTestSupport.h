#pragma once
// A scratch folder per test, helpers that drive the recorder and wait for its completions, and an
// output that stands in for a disk that fills up.

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <future>
#include <unistd.h>
#include <string>
#include <vector>

#include "platform/CGContext.h"
#include "platform/NSLog.h"
#include "platform/NSRunLoop.h"
#include "services/ZRImageRenderer.h"
#include "services/ZRSessionVideoRecorder.h"
#include "services/ZRVideoOutput.h"

namespace zerva::testing {

/// Settings that encode frames of exactly `size` pixels.
inline ZRSessionVideoSettings settingsForFrameSize(CGSize size, float frameRate = 10) {
  ZRSessionVideoSettings settings(ZRVideoQualityMedium, size);
  settings.setScaleFactor(0.5f);
  settings.setScreenSize(size);
  settings.setFrameRate(frameRate);
  return settings;
}

inline std::shared_ptr<UIImage> solidImage(CGSize size, const UIColor& color, double scale = 1) {
  UIGraphicsImageRendererFormat format;
  format.setScale(scale);
  format.setOpaque(true);
  return UIGraphicsImageRenderer(size, format).imageWithActions([&](UIGraphicsImageRendererContext& context) {
    CGContextSetFillColorWithColor(context.CGContext(), color.cgColor());
    CGContextFillRect(context.CGContext(), CGRect{CGPointZero, size});
  });
}

// Stands in for a device that fills up after a number of bytes. Like a real disk it takes what
// fits of the write that overflows it, then answers ENOSPC.
class FillingOutput final : public ZRVideoOutput {
 public:
  FillingOutput(std::unique_ptr<ZRVideoOutput> file, std::size_t room) : file_(std::move(file)), room_(room) {}
  int write(const std::uint8_t* data, std::size_t size) override {
    if (size > room_) {
      if (room_ > 0) file_->write(data, room_);
      room_ = 0;
      return ENOSPC;
    }
    room_ -= size;
    return file_->write(data, size);
  }
  std::int64_t seek(std::int64_t offset, int whence) override { return file_->seek(offset, whence); }
  int truncate(std::int64_t size) override { return file_->truncate(size); }
  int close() override { return file_->close(); }
  const std::string& path() const override { return file_->path(); }

 private:
  std::unique_ptr<ZRVideoOutput> file_;
  std::size_t room_;
};

/// Files that hold `room` bytes at most.
inline ZRSessionVideoRecorder::OutputFactory fillAfter(std::size_t room) {
  return [room](const std::string& path, int* err) -> std::unique_ptr<ZRVideoOutput> {
    auto file = ZRVideoOutputCreateFile(path, err);
    if (!file) return nullptr;
    return std::make_unique<FillingOutput>(std::move(file), room);
  };
}

class RecorderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    folder_ = std::filesystem::temp_directory_path() /
              ("zr-recorder-" + std::string(info->test_suite_name()) + "-" + info->name() + "-" +
               std::to_string(::getpid()));
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    recorder_ = std::make_shared<ZRSessionVideoRecorder>();
    recorder_->setRecordingsFolder(folder_.string());
  }

  void TearDown() override {
    recorder_.reset();
    std::error_code ec;
    std::filesystem::remove_all(folder_, ec);
  }

  struct StartResult {
    bool success = false;
    NSErrorOrNil error;
    bool onMainThread = false;
  };

  /// Starts and runs the main run loop until the start completion has run.
  StartResult start(const ZRSessionVideoSettings& settings) {
    StartResult result;
    bool done = false;
    recorder_->startRecordingWithSettings(settings, [&](bool success, NSErrorOrNil error) {
      result = {success, std::move(error), NSRunLoop::mainRunLoop().isCurrentThread()};
      done = true;
    });
    EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return done; }));
    return result;
  }

  /// Appends without waiting; the future answers the completion's success.
  std::future<bool> append(std::shared_ptr<UIImage> image, double time) {
    auto promise = std::make_shared<std::promise<bool>>();
    auto future = promise->get_future();
    recorder_->appendImage(std::move(image), time, [promise](bool success) { promise->set_value(success); });
    return future;
  }

  bool appendAndWait(std::shared_ptr<UIImage> image, double time) { return append(std::move(image), time).get(); }

  struct StopResult {
    std::shared_ptr<ZRRecordingFile> file;
    NSErrorOrNil error;
  };

  StopResult stop() {
    std::promise<StopResult> promise;
    recorder_->stopRecordingWithCompletionHandler(
        [&](std::shared_ptr<ZRRecordingFile> file, NSErrorOrNil error) { promise.set_value({file, error}); });
    return promise.get_future().get();
  }

  std::vector<std::filesystem::path> filesInFolder() const {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) files.push_back(entry.path());
    return files;
  }

  NSLogCapture log_;  // keeps the recorder's error lines out of the test output
  std::filesystem::path folder_;
  std::shared_ptr<ZRSessionVideoRecorder> recorder_;
};

}  // namespace zerva::testing
