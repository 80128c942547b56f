#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "services/ZRLogUtility.h"
#include "services/ZRPlistHandler.h"
#include "services/ServicesTestSupport.h"

namespace zerva {
namespace {

using testing::ServicesTest;
using testing::freshDir;
namespace fs = std::filesystem;

TEST_F(ServicesTest, SessionVideoCountSurvivesARestartOfTheProcess) {
  const fs::path store = freshDir("plist") / "nested" / "state.json";
  {
    ZRPlistHandler handler(store.string());
    handler.increaseSessionVideoCount();
    EXPECT_FALSE(handler.lastError());
  }
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ZRPlistHandler handler(store.string());
    handler.increaseSessionVideoCount();
    _exit(handler.lastError() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(ZRPlistHandler(store.string()).sessionVideoCount(), 2);

  // An unreadable file is set aside, not overwritten.
  std::ofstream(store) << "{not json";
  ZRPlistHandler damaged(store.string());
  EXPECT_EQ(damaged.sessionVideoCount(), 0);
  damaged.increaseSessionVideoCount();
  EXPECT_TRUE(fs::exists(store.string() + ".unreadable"));
  EXPECT_EQ(ZRPlistHandler(store.string()).sessionVideoCount(), 1);

  // A store that cannot be written says so and keeps counting in memory.
  const fs::path blocked = freshDir("plist-blocked") / "file";
  std::ofstream(blocked) << "x";
  ZRPlistHandler unwritable((blocked / "state.json").string());
  unwritable.increaseSessionVideoCount();
  EXPECT_EQ(unwritable.sessionVideoCount(), 1);
  ASSERT_TRUE(unwritable.lastError());
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("plist-saveFailed").size(), 1u);
}

}  // namespace
}  // namespace zerva
