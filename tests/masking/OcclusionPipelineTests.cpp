// The way of a frame through text recognition: what the processor is asked, what the completion
// gets, on which queue, in which order, and frames that the processor never answers.

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "support/HandlerTestSupport.h"
#include "support/RecorderTestSupport.h"
#include "platform/UIImage.h"
#include "services/ZROcclusionManager.h"

namespace zerva::testing {
namespace {

/// Keeps every record and its completion; the test answers them from a thread of its own, in
/// any order, or never.
class HeldProcessor : public ScreenImageProcessor {
 public:
  void processImage(AITextOcclusionData record, Completion completion) override {
    std::lock_guard lock(mutex_);
    records_.push_back(std::move(record));
    completions_.push_back(std::move(completion));
    arrived_.notify_all();
  }

  /// Waits until `count` records arrived (they come from the frame queue).
  void waitForRecords(size_t count) {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [&] { return records_.size() >= count; });
  }

  AITextOcclusionData record(size_t i) {
    std::lock_guard lock(mutex_);
    return records_.at(i);
  }

  /// Answers record i from another thread, as the real processor does.
  void answer(size_t i, std::vector<std::string> rects) {
    Completion completion;
    {
      std::lock_guard lock(mutex_);
      completion = completions_.at(i);
    }
    std::thread([completion, rects] { completion(rects); }).join();
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::vector<AITextOcclusionData> records_;
  std::vector<Completion> completions_;
};

struct Delivered {
  std::shared_ptr<UIImage> image;
  ZRRectStringList rects;
  double time = 0;
  bool onFrameQueue = false;
};

class OcclusionPipelineTest : public HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    processor_ = std::make_shared<HeldProcessor>();
    handler_->setImageProcessor(processor_);
  }

  void TearDown() override {
    // The held completions keep the frames (and, through them, nothing else) alive.
    handler_->setImageProcessor(nullptr);
    HandlerTest::TearDown();
  }

  ZRViewVideoHandler::PipelineCompletion collect() {
    return [this](std::shared_ptr<UIImage> image, ZRRectStringList rects, double time) {
      std::lock_guard lock(mutex_);
      delivered_.push_back({std::move(image), std::move(rects), time,
                            ZRViewVideoHandler::GetMakeVideoFrameQueue()->isCurrent()});
    };
  }

  std::vector<Delivered> delivered() {
    ZRViewVideoHandler::GetMakeVideoFrameQueue()->drain();
    std::lock_guard lock(mutex_);
    return delivered_;
  }

  std::shared_ptr<HeldProcessor> processor_;
  std::mutex mutex_;
  std::vector<Delivered> delivered_;
  const std::shared_ptr<UIImage> image_ = solidImage({40, 30}, UIColor::whiteColor());
};

TEST_F(OcclusionPipelineTest, ProcessorRectanglesFollowTheCallersAndTheTimeIsThatOfTheCall) {
  handler_->setOnCaptureVideoFrameTime(1.5);
  const ZRRectStringList callers{"{{0, 0}, {1, 1}}", "{{2, 2}, {1, 1}}"};
  handler_->processImageForAutoOcclusionAndVideoConversion(image_, callers, collect());
  handler_->setOnCaptureVideoFrameTime(2.5);  // a later frame moves on before the answer

  processor_->waitForRecords(1);
  EXPECT_TRUE(delivered().empty());  // nothing before the processor answers
  processor_->answer(0, {"{{9, 9}, {3, 3}}"});

  auto out = delivered();
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].image, image_);
  EXPECT_EQ(out[0].rects, (ZRRectStringList{"{{0, 0}, {1, 1}}", "{{2, 2}, {1, 1}}", "{{9, 9}, {3, 3}}"}));
  EXPECT_EQ(out[0].time, 1.5);
  EXPECT_TRUE(out[0].onFrameQueue);
  EXPECT_EQ(processor_->record(0).time(), 1.5);
  EXPECT_EQ(processor_->record(0).image(), image_);
}

TEST_F(OcclusionPipelineTest, RecordCarriesTheAutoOcclusionRuleOfTheVisibleScreens) {
  ZervaHandler::shared()->sessionSettings()->setRecordingQuality(2);
  handler_->processImageForAutoOcclusionAndVideoConversion(image_, {}, collect());

  ZROcclusionSetting recognise(ZROcclusionTypeTextRecognition);
  recognise.setRecognitionLanguage({"eng", "fra"});
  recognise.setCustomWords({"Acme"});
  handler_->occlusionManager()->applyOcclusionSetting(recognise, ZROcclusionSourceManual, {});
  handler_->processImageForAutoOcclusionAndVideoConversion(nullptr, {}, collect());

  processor_->waitForRecords(2);
  const auto without = processor_->record(0);
  EXPECT_EQ(without.processingType(), 3);
  EXPECT_FALSE(without.recognitionLanguages());
  EXPECT_FALSE(without.customWords());
  EXPECT_EQ(without.videoQuality(), 2);
  EXPECT_EQ(without.occlusionType(), 1);

  const auto with = processor_->record(1);
  EXPECT_EQ(with.processingType(), 1);
  EXPECT_EQ(with.recognitionLanguages(), (std::vector<std::string>{"eng", "fra"}));
  EXPECT_EQ(with.customWords(), (std::vector<std::string>{"Acme"}));

  // A nil image goes through as nil.
  processor_->answer(1, {});
  auto out = delivered();
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].image, nullptr);
}

TEST_F(OcclusionPipelineTest, CompletionsRunOnTheFrameQueueInTheOrderOfTheAnswers) {
  for (double t : {1.0, 2.0, 3.0}) {
    handler_->setOnCaptureVideoFrameTime(t);
    handler_->processImageForAutoOcclusionAndVideoConversion(image_, {}, collect());
  }
  processor_->waitForRecords(3);
  for (size_t i : {2u, 0u, 1u}) processor_->answer(i, {});
  auto out = delivered();
  ASSERT_EQ(out.size(), 3u);
  std::vector<double> times;
  for (const auto& frame : out) {
    times.push_back(frame.time);
    EXPECT_TRUE(frame.onFrameQueue);  // the serial queue: never two at once
  }
  EXPECT_EQ(times, (std::vector<double>{3.0, 1.0, 2.0}));
}

TEST_F(OcclusionPipelineTest, UnansweredFrameIsHeldWhileLaterFramesFlow) {
  for (double t : {1.0, 2.0, 3.0}) {
    handler_->setOnCaptureVideoFrameTime(t);
    handler_->processImageForAutoOcclusionAndVideoConversion(image_, {}, collect());
  }
  processor_->waitForRecords(3);
  processor_->answer(1, {});
  processor_->answer(2, {});
  auto out = delivered();
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[0].time, 2.0);
  EXPECT_EQ(out[1].time, 3.0);
}

TEST_F(OcclusionPipelineTest, SecondEntryAsksForNoRecognitionAndIgnoresTheAnswer) {
  ZROcclusionSetting recognise(ZROcclusionTypeTextRecognition);
  handler_->occlusionManager()->applyOcclusionSetting(recognise, ZROcclusionSourceManual, {});
  handler_->setOnCaptureVideoFrameTime(4.25);
  std::shared_ptr<UIImage> got;
  double gotTime = -1;
  bool onQueue = false;
  handler_->addImageToAITextOcclusionPipeline(image_, [&](std::shared_ptr<UIImage> image, double time) {
    got = std::move(image);
    gotTime = time;
    onQueue = ZRViewVideoHandler::GetMakeVideoFrameQueue()->isCurrent();
  });
  processor_->waitForRecords(1);
  const auto record = processor_->record(0);
  EXPECT_EQ(record.time(), 3.0);
  EXPECT_EQ(record.processingType(), 3);
  EXPECT_EQ(record.occlusionType(), 1);
  EXPECT_FALSE(record.recognitionLanguages());
  EXPECT_FALSE(record.customWords());
  processor_->answer(0, {"{{0, 0}, {5, 5}}"});
  ZRViewVideoHandler::GetMakeVideoFrameQueue()->drain();
  EXPECT_EQ(got, image_);
  EXPECT_EQ(gotTime, 4.25);
  EXPECT_TRUE(onQueue);
}

}  // namespace
}  // namespace zerva::testing
