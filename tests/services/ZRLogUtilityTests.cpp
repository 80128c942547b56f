#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "services/ZRLogUtility.h"
#include "services/ServicesTestSupport.h"

namespace zerva {
namespace {

using testing::ServicesTest;
using testing::freshDir;
namespace fs = std::filesystem;

TEST_F(ServicesTest, LogRecordIsBoundedAndCanGoToAFile) {
  ZRLogUtility::setRecordCapacity(3);
  for (int i = 0; i < 5; ++i) ZRLogUtility::addInternalInfoTag("tag" + std::to_string(i), {{"i", i}});
  const auto tags = ZRLogUtility::recordedTags();
  ASSERT_EQ(tags.size(), 3u);
  EXPECT_EQ(tags.front().tag, "tag2");
  EXPECT_EQ(tags.back().properties["i"], 4);

  const fs::path file = freshDir("log") / "tags.jsonl";
  ASSERT_FALSE(ZRLogUtility::setOutputFile(file.string()));
  ZRLogUtility::addInternalWarningTag("sessionRecord-failToStartVideo", {{"error", "disk full"}, {"quality", 2}});
  ZRLogUtility::addInternalVerboseTag("screenRecordingResume");
  ASSERT_FALSE(ZRLogUtility::setOutputFile(std::nullopt));
  std::ifstream in(file);
  std::string first, second;
  std::getline(in, first);
  std::getline(in, second);
  const auto line = nlohmann::json::parse(first);
  EXPECT_EQ(line["level"], "warning");
  EXPECT_EQ(line["properties"]["quality"], 2);
  EXPECT_EQ(nlohmann::json::parse(second).contains("properties"), false);
  EXPECT_TRUE(ZRLogUtility::setOutputFile("/nonexistent/dir/tags.jsonl"));
}

}  // namespace
}  // namespace zerva
