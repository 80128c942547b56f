#include <gtest/gtest.h>

#include <iostream>

#include "scenegen/GeneratedSceneAudit.h"
#include "support/Sanitizers.h"

namespace zerva {
namespace {

// One seed a test, so that ctest gives each its own process: the handler is a process-wide
// singleton, and a scene must not start from what the one before it left behind. The
// sanitizers make a recording ten to twenty times slower, so there only every fifth seed runs.
constexpr int kEvery = testing::kUnderSanitizers ? 5 : 1;

class GeneratedScenesLeakNothing : public ::testing::TestWithParam<int> {};

// Every secret of a generated scene has a route by which the handler must hide it, whatever the
// timeline does; one pixel of one in any frame is a fault (or a generator that broke the rules).
TEST_P(GeneratedScenesLeakNothing, NoSecretPixelReachesTheVideo) {
  const auto seed = static_cast<std::uint64_t>(GetParam());
  if (seed % kEvery != 0) GTEST_SKIP() << "every " << kEvery << "th seed under the sanitizers";
  GeneratedSceneAudit audit;
  const auto result = audit.audit(seed);
  EXPECT_EQ(result.status, LeakAuditResult::Status::Clean) << audit.line(seed, result);
  std::cout << audit.line(seed, result) << "\n";
}

INSTANTIATE_TEST_SUITE_P(Seeds1To50, GeneratedScenesLeakNothing, ::testing::Range(1, 51));

}  // namespace
}  // namespace zerva
