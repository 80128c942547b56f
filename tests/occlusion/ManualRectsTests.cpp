// Rectangles from hybrid frameworks: plain and grouped adds, the on-demand source, the
// rendering-pause hook, and SDK calls from several threads at once.

#include <cmath>
#include <future>
#include <latch>
#include <thread>

#include "occlusion/OcclusionTestSupport.h"

namespace zerva::testing {
namespace {

using ManualRects = OcclusionTest;

TEST_F(ManualRects, MalformedQuadruplesAreDroppedAndPlainAddsCollapseDuplicates) {
  handler_->addRectsForManualOcclusion({{10, 20, 100, 50}, {0, 0, 0, 10}, {1, 2, 3}, {5, 5, 10, -1},
                                        {0, 0, HUGE_VAL, 10}, {NAN, 0, 10, 10}, {0, 0, 10, NAN}});
  EXPECT_EQ(handler_->manualOcclusionRects(), ZRRectStringList{rectString(10, 20, 100, 50)});
  handler_->addRectsToOcclude({{10, 20, 100, 50}, {1, 1, 2, 2}});
  EXPECT_EQ(handler_->manualOcclusionRects(), (ZRRectStringList{rectString(10, 20, 100, 50), rectString(1, 1, 2, 2)}));
}

TEST_F(ManualRects, AGroupReplacesItsOwnRectanglesAndTheMergeReplacesPlainOnes) {
  ZRLogUtility::setVerboseLoggingEnabled(true);
  handler_->addRectsForManualOcclusion({{9, 9, 9, 9}});
  handler_->addRectsForManualOcclusion({{1, 1, 1, 1}, {2, 2, 2, 2}}, "A");
  handler_->addRectsToOcclude({{3, 3, 3, 3}}, "B");
  EXPECT_EQ(handler_->manualOcclusionRects(),
            (ZRRectStringList{rectString(1, 1, 1, 1), rectString(2, 2, 2, 2), rectString(3, 3, 3, 3)}));
  handler_->addRectsForManualOcclusion({{4, 4, 4, 4}}, "A");
  EXPECT_EQ(handler_->manualOcclusionRects(), (ZRRectStringList{rectString(4, 4, 4, 4), rectString(3, 3, 3, 3)}));

  // Without an identity or rectangles nothing is built: the groups stay as they are.
  handler_->addRectsForManualOcclusion({}, "A");
  handler_->addRectsForManualOcclusion({{5, 5, 5, 5}}, "");
  EXPECT_EQ(handler_->manualOcclusionRects(), (ZRRectStringList{rectString(4, 4, 4, 4), rectString(3, 3, 3, 3)}));
  EXPECT_EQ(log_.count("Zerva: VVH: Manual occlusion rects need an identity and rects"), 2u);
}

TEST_F(ManualRects, TheOnDemandSourceAnswersInsteadOfTheFrameLists) {
  handler_->setOcclusionRects(ZRRectStringList{"view"});
  std::optional<ZRRectStringList> answer;
  handler_->occludeRectsOnNextFrame([](ZRViewVideoHandler::RectsReply reply) {
    reply({{1, 2, 3, 4}, {0, 0, 0, 0}});
    reply({{7, 7, 7, 7}});  // a second answer is ignored
  });
  handler_->callOnDemandRectForOcclusionBlock([&](ZRRectStringList rects) {
    EXPECT_FALSE(answer) << "answered twice";
    answer = rects;
  });
  EXPECT_EQ(answer, ZRRectStringList{rectString(1, 2, 3, 4)});
  EXPECT_EQ(handler_->occlusionRects(), ZRRectStringList{"view"}) << "left for the frame lists' own hand-over";

  handler_->occludeRectsOnNextFrame(nullptr);
  handler_->callOnDemandRectForOcclusionBlock([&](ZRRectStringList rects) { answer = rects; });
  EXPECT_EQ(answer, ZRRectStringList{"view"});
  EXPECT_EQ(handler_->occlusionRects(), std::nullopt);
}

TEST_F(ManualRects, ThePauseHookIsCalledUnderTheMonitorAndMayReplyLaterOnAnotherThread) {
  std::optional<bool> paused;
  handler_->pauseRenderingDuringOcclusionFrameGeneration([&](bool value) { paused = value; });
  EXPECT_EQ(paused, false) << "no hook: not paused, at once";

  // The hook runs while the frame holds the monitor; it replies from a thread of its own.
  bool monitorHeldDuringHook = false;
  std::thread replier;
  ZRViewVideoHandler::PausedReply pendingReply;
  handler_->pauseForOcclusionNextFrame([&](ZRViewVideoHandler::PausedReply reply) {
    monitorHeldDuringHook = std::async(std::launch::async, [&] {
                              const bool free = handler_->monitor().try_lock();
                              if (free) handler_->monitor().unlock();
                              return !free;
                            }).get();
    pendingReply = std::move(reply);
  });
  int sourceCalls = 0;
  handler_->occludeRectsOnNextFrame([&](ZRViewVideoHandler::RectsReply reply) {
    ++sourceCalls;
    reply({});
  });

  handler_->fetchOcclusionRectAndProcessImage(window_->frame(), false);
  EXPECT_TRUE(monitorHeldDuringHook);
  ASSERT_TRUE(pendingReply);
  EXPECT_EQ(sourceCalls, 0) << "nothing happens before the host replies";
  replier = std::thread([reply = pendingReply] {
    reply(true);
    reply(true);  // a host that answers twice still makes one frame
  });
  replier.join();
  EXPECT_EQ(sourceCalls, 1);

  // Not paused: the on-demand source is not asked.
  handler_->pauseForOcclusionNextFrame([](ZRViewVideoHandler::PausedReply reply) { reply(false); });
  handler_->fetchOcclusionRectAndProcessImage(window_->frame(), false);
  EXPECT_EQ(sourceCalls, 1);

  // Paused without a source: the frame takes the frame lists, which the hand-over empties.
  handler_->occludeRectsOnNextFrame(nullptr);
  handler_->pauseForOcclusionNextFrame([](ZRViewVideoHandler::PausedReply reply) { reply(true); });
  handler_->addRectsForManualOcclusion({{1, 1, 1, 1}});
  handler_->fetchOcclusionRectAndProcessImage(window_->frame(), false);
  EXPECT_EQ(handler_->manualOcclusionRects(), std::nullopt);
}

TEST_F(ManualRects, SDKCallsFromSeveralThreadsKeepEveryGroupAndEveryView) {
  constexpr int kThreads = 4;
  std::vector<std::shared_ptr<UIView>> views;
  for (int i = 0; i < kThreads; ++i) views.push_back(addView(CGRectMake(10 * i, 10, 5, 5)));
  const auto identity = [](int t) { return "group" + std::to_string(t); };

  // SDK threads change the registry, the rectangles and the hiding while frames are handed over.
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 200; ++round) {
        handler_->addSensitiveView(views[t], round % 2 == 0);
        handler_->removeSensitiveView(views[t]);
        handler_->addSensitiveView(views[t], true);
        handler_->addRectsForManualOcclusion({{double(t), double(round), 1, 1}}, identity(t));
        handler_->addRectsToOcclude({{double(t), 0, 2, 2}});
        handler_->occludeScreenAPI(round % 3 == 0, true);
        handler_->addVisibleScreen("screen" + std::to_string(round % 5), identity(t));
      }
    });
  }
  for (int frame = 0; frame < 50; ++frame) {
    handler_->listOfOccludedDictionaries(false);
    handler_->copyAndResetOcclusionRects();
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(entryCount(), size_t{kThreads});
  EXPECT_EQ(handler_->listOfActiveSensitiveViews(true).size(), size_t{kThreads});
  EXPECT_EQ(handler_->visibleScreenNames().size(), size_t{kThreads});

  // Groups added at the same moment by different threads all reach the frame.
  for (int frame = 0; frame < 400; ++frame) {
    handler_->copyAndResetOcclusionRects();
    std::latch start(kThreads);
    threads.clear();
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        start.arrive_and_wait();
        handler_->addRectsForManualOcclusion({{double(t), double(frame), 1, 1}}, identity(t));
      });
    }
    for (auto& thread : threads) thread.join();
    ASSERT_EQ(handler_->manualOcclusionRects().value_or(ZRRectStringList{}).size(), size_t{kThreads}) << frame;
  }
}

}  // namespace
}  // namespace zerva::testing
