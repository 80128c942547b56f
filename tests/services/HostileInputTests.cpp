#include <gtest/gtest.h>

#include <string>

#include "scene/ScenePageReader.h"
#include "services/ZRConfigurationLoader.h"
#include "services/ZRJSONReader.h"
#include "services/ZROcclusionManager.h"
#include "services/ZervaHandler.h"

namespace zerva {
namespace {

// `levels` arrays nested inside each other, the innermost empty.
std::string nestedArrays(std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); }

std::string repeated(const std::string& part, std::size_t times) {
  std::string out;
  for (std::size_t i = 0; i < times; ++i) out += part;
  return out;
}

const std::string kTooDeep = "expected arrays and objects nested at most 512 levels deep";

TEST(HostileJSON, NestingIsRefusedAtTheLimitWithThePathOfTheFirstValueTooDeep) {
  ZRJSONReader atLimit("doc");
  atLimit.parse(nestedArrays(ZRJSONReader::kMaxDepth));
  EXPECT_TRUE(atLimit.ok()) << atLimit.errorMessage();

  ZRJSONReader beyond("doc");
  EXPECT_TRUE(beyond.parse(nestedArrays(ZRJSONReader::kMaxDepth + 1)).is_discarded());
  EXPECT_EQ(beyond.errorMessage(), "doc: $" + repeated("[0]", ZRJSONReader::kMaxDepth) + ": " + kTooDeep);

  // Members and indexes on the way are named as they are.
  ZRJSONReader mixed("doc");
  mixed.parse(R"({"a": 1, "b": [true, "x", {"c": )" + nestedArrays(600) + "}]}");
  EXPECT_EQ(mixed.errorMessage().rfind("doc: $.b[2].c[0][0]", 0), 0u) << mixed.errorMessage().substr(0, 80);
  EXPECT_EQ(mixed.errorMessage().size(), std::string("doc: $.b[2].c").size() + 3 * 509 + 2 + kTooDeep.size());

  // Syntax errors are still reported as such.
  ZRJSONReader broken("doc");
  broken.parse("[[[1,]]]");
  EXPECT_EQ(broken.errorMessage().rfind("doc: $: expected valid JSON", 0), 0u) << broken.errorMessage();
}

TEST(HostileJSON, EveryReaderRefusesTensOfThousandsOfLevels) {
  const std::string deep = nestedArrays(50000);
  const std::string deepObjects = repeated(R"({"children":[)", 30000) + repeated("]}", 30000);

  auto configuration = ZRConfigurationLoader::loadText(R"({"occlusion": )" + deep + "}", "app.json");
  ASSERT_TRUE(configuration);
  EXPECT_EQ(configuration->domain(), "ZervaConfigurationError");
  EXPECT_EQ(configuration->localizedDescription().rfind("app.json: $.occlusion[0][0][0]", 0), 0u);
  EXPECT_NE(configuration->localizedDescription().find(kTooDeep), std::string::npos);

  auto manager = std::make_shared<ZROcclusionManager>();
  EXPECT_FALSE(manager->parseOcclusionfromVerifyRequest(R"({"occlusionRules": )" + deep + "}", std::nullopt));
  EXPECT_FALSE(manager->rulesFromJSONText(deep, "rules.json"));

  auto page = ScenePageReader::pageWithJSON(R"({"body": [)" + deepObjects + "]}", "page.json");
  ASSERT_FALSE(page);
  EXPECT_EQ(page.error().localizedDescription().rfind("page.json: $.body[0].children[0].children[0]", 0), 0u);
  EXPECT_NE(page.error().localizedDescription().find(kTooDeep), std::string::npos);
}

TEST(HostileJSON, AConfigurationWhoseLogFileCannotBeOpenedIsRefusedAsItsOwnError) {
  ASSERT_FALSE(ZRConfigurationLoader::loadText(R"({"recordingQuality": 1})", "app.json"));
  auto error = ZRConfigurationLoader::loadText(
      R"({"recordingQuality": 3, "logging": {"file": "/nonexistent/dir/tags.jsonl"}})", "app.json");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), "ZervaConfigurationError");
  EXPECT_EQ(error->code(), 2);
  EXPECT_EQ(error->localizedDescription().rfind("app.json: $.logging.file: expected a file that can be opened", 0), 0u)
      << error->localizedDescription();
  EXPECT_NE(error->localizedDescription().find("/nonexistent/dir/tags.jsonl"), std::string::npos);
  EXPECT_EQ(ZervaHandler::shared()->sessionSettings()->recordingQuality(), 1u);  // nothing applied
}

}  // namespace
}  // namespace zerva
