// A frame's way through text recognition: what the processor is asked, what the completion gets,
// on which queue and in which order, and a frame the processor never answers.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/UIImage.h"
#include "services/ZROcclusionManager.h"
#include "support/HandlerTestSupport.h"
#include "support/RecorderTestSupport.h"

namespace zerva::testing {
namespace {

/// Keeps every record and its completion; the test answers them from a thread of its own, in
/// any order, or never.
class HeldProcessor : public ScreenImageProcessor {
 public:
  void processImage(AITextOcclusionData record, Completion completion) override {
    std::lock_guard lock(mutex_);
    held_.emplace_back(std::move(record), std::move(completion));
    arrived_.notify_all();
  }
  /// Record i, once it arrived (records come from the frame queue); a record that never comes
  /// fails the test instead of hanging it.
  std::optional<AITextOcclusionData> record(size_t i) {
    std::unique_lock lock(mutex_);
    if (arrived_.wait_for(lock, std::chrono::seconds(20), [&] { return held_.size() > i; })) return held_[i].first;
    ADD_FAILURE() << "record " << i << " never reached the processor";
    return std::nullopt;
  }
  void answer(size_t i, std::vector<std::string> rects) {
    if (!record(i)) return;
    std::lock_guard lock(mutex_);
    std::thread([completion = held_[i].second, rects] { completion(rects); }).join();
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::vector<std::pair<AITextOcclusionData, Completion>> held_;
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
    handler_->setImageProcessor(processor_);
  }
  void TearDown() override {
    handler_->setImageProcessor(nullptr);  // held frames are never answered
    HandlerTest::TearDown();
  }

  void frame(double time, std::shared_ptr<UIImage> image, ZRRectStringList rects = {}) {
    handler_->setOnCaptureVideoFrameTime(time);
    handler_->processImageForAutoOcclusionAndVideoConversion(
        std::move(image), std::move(rects), [this](std::shared_ptr<UIImage> i, ZRRectStringList r, double t) {
          delivered_.push_back({std::move(i), std::move(r), t, ZRViewVideoHandler::GetMakeVideoFrameQueue()->isCurrent()});
        });
  }
  std::vector<Delivered> delivered() {
    ZRViewVideoHandler::GetMakeVideoFrameQueue()->drain();  // only the frame queue writes the list
    return delivered_;
  }

  std::shared_ptr<HeldProcessor> processor_ = std::make_shared<HeldProcessor>();
  std::vector<Delivered> delivered_;
  const std::shared_ptr<UIImage> image_ = solidImage({40, 30}, UIColor::whiteColor());
};

TEST_F(OcclusionPipelineTest, FoundRectanglesFollowTheCallersWithTheTimeOfTheCall) {
  frame(1.5, image_, {"{{0, 0}, {1, 1}}", "{{2, 2}, {1, 1}}"});
  handler_->setOnCaptureVideoFrameTime(2.5);  // the next frame starts before the answer
  const auto record = processor_->record(0);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->time(), 1.5);
  EXPECT_EQ(record->image(), image_);
  EXPECT_TRUE(delivered().empty());
  processor_->answer(0, {"{{9, 9}, {3, 3}}"});
  auto out = delivered();
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].image, image_);
  EXPECT_EQ(out[0].rects, (ZRRectStringList{"{{0, 0}, {1, 1}}", "{{2, 2}, {1, 1}}", "{{9, 9}, {3, 3}}"}));
  EXPECT_EQ(out[0].time, 1.5);
  EXPECT_TRUE(out[0].onFrameQueue);
}

TEST_F(OcclusionPipelineTest, RecordCarriesTheAutoOcclusionRuleOfTheVisibleScreens) {
  ZervaHandler::shared()->sessionSettings()->setRecordingQuality(2);
  frame(1, image_);
  ZROcclusionSetting recognise(ZROcclusionTypeTextRecognition);
  recognise.setRecognitionLanguage({"eng", "fra"});
  recognise.setCustomWords({"Acme"});
  handler_->occlusionManager()->applyOcclusionSetting(recognise, ZROcclusionSourceManual, {});
  frame(2, nullptr);

  const auto without = processor_->record(0), with = processor_->record(1);
  ASSERT_TRUE(without && with);
  EXPECT_EQ(without->processingType(), 3);
  EXPECT_FALSE(without->recognitionLanguages() || without->customWords());
  EXPECT_EQ(without->videoQuality(), 2);
  EXPECT_EQ(without->occlusionType(), 1);
  EXPECT_EQ(with->processingType(), 1);
  EXPECT_EQ(with->recognitionLanguages(), (std::vector<std::string>{"eng", "fra"}));
  EXPECT_EQ(with->customWords(), (std::vector<std::string>{"Acme"}));
  processor_->answer(1, {});
  ASSERT_EQ(delivered().size(), 1u);
  EXPECT_EQ(delivered()[0].image, nullptr);  // a nil image goes through as nil
}

TEST_F(OcclusionPipelineTest, FramesGoOnInTheOrderOfTheAnswersPastOneNeverAnswered) {
  for (double t : {1.0, 2.0, 3.0, 4.0}) frame(t, image_);
  for (size_t i : {2u, 0u, 3u}) processor_->answer(i, {});  // frame 2 is held for good
  std::vector<double> times;
  for (const auto& d : delivered()) {
    times.push_back(d.time);
    EXPECT_TRUE(d.onFrameQueue);  // the serial queue: never two at once
  }
  EXPECT_EQ(times, (std::vector<double>{3.0, 1.0, 4.0}));
}

TEST_F(OcclusionPipelineTest, SecondEntryAsksForNoRecognitionAndIgnoresTheAnswer) {
  handler_->occlusionManager()->applyOcclusionSetting(ZROcclusionSetting(ZROcclusionTypeTextRecognition),
                                                      ZROcclusionSourceManual, {});
  handler_->setOnCaptureVideoFrameTime(4.25);
  std::optional<Delivered> got;
  handler_->addImageToAITextOcclusionPipeline(image_, [&](std::shared_ptr<UIImage> image, double time) {
    got = Delivered{std::move(image), {}, time, ZRViewVideoHandler::GetMakeVideoFrameQueue()->isCurrent()};
  });
  const auto record = processor_->record(0);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->time(), 3.0);
  EXPECT_EQ(record->processingType(), 3);
  EXPECT_FALSE(record->recognitionLanguages() || record->customWords());
  processor_->answer(0, {"{{0, 0}, {5, 5}}"});
  ZRViewVideoHandler::GetMakeVideoFrameQueue()->drain();
  ASSERT_TRUE(got);
  EXPECT_EQ(got->image, image_);
  EXPECT_EQ(got->time, 4.25);
  EXPECT_TRUE(got->onFrameQueue);
}

}  // namespace
}  // namespace zerva::testing
