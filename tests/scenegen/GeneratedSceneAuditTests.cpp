#include <gtest/gtest.h>

#include <iostream>

#include "scenegen/GeneratedSceneAudit.h"

namespace zerva {
namespace {

// Seeds per test: ten in release, each test its own process well inside ctest's time-out; the
// sanitizers make a recording ten to twenty times slower, so they audit two of each ten.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kSeedsPerBatch = 2;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr int kSeedsPerBatch = 2;
#else
constexpr int kSeedsPerBatch = 10;
#endif
#else
constexpr int kSeedsPerBatch = 10;
#endif

class GeneratedScenesLeakNothing : public ::testing::TestWithParam<int> {};

// Every secret of a generated scene has a route by which the handler must hide it, whatever the
// timeline does; one pixel of one in any frame is a fault (or a generator that broke the rules).
TEST_P(GeneratedScenesLeakNothing, NoSecretPixelReachesTheVideo) {
  GeneratedSceneAudit audit;
  const int first = GetParam() * 10 + 1;
  for (int seed = first; seed < first + kSeedsPerBatch; ++seed) {
    const auto result = audit.audit(static_cast<std::uint64_t>(seed));
    EXPECT_EQ(result.status, LeakAuditResult::Status::Clean) << audit.line(static_cast<std::uint64_t>(seed), result);
  }
  std::cout << "seeds " << first << " to " << first + kSeedsPerBatch - 1 << ": " << audit.totals() << "\n";
}

INSTANTIATE_TEST_SUITE_P(Seeds1To50, GeneratedScenesLeakNothing, ::testing::Range(0, 5));

}  // namespace
}  // namespace zerva
