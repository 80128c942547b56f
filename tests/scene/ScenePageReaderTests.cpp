#include <gtest/gtest.h>

#include "scene/ScenePageReader.h"
#include "services/ZRWebViewTracker.h"

namespace zerva {
namespace {

TEST(ScenePageReader, ReadsElementsShorthandsAndNesting) {
  auto page = ScenePageReader::pageWithJSON(R"({
    "definesOcclusionFunction": true,
    "scripts": ["var loaded = 1;"],
    "body": [
      {"tag": "FORM", "frame": [0, 0, 390, 300], "visibility": "hidden", "children": [
        {"tag": "input", "type": "password", "id": "pw", "classes": ["a", "b"], "frame": [10, 20, 200, 30],
         "attributes": {"Data-Zerva-Sensitive": "", "name": "secret"}, "value": "hunter2"},
        {"tag": "p", "hidden": true, "display": "flex", "text": "hi", "frame": [0, 900, 50, 100]}
      ]}
    ]})");
  ASSERT_TRUE(page) << page.error().localizedDescription();
  // The SDK's snippet runs first, as the page's own script.
  EXPECT_EQ(page->scripts, (std::vector<std::string>{ZRWebViewTracker::pageScript(), "var loaded = 1;"}));
  ASSERT_EQ(page->body.size(), 1u);
  const WebElement& form = page->body[0];
  EXPECT_EQ(form.tagName, "form");
  EXPECT_EQ(form.visibility, "hidden");
  ASSERT_EQ(form.children.size(), 2u);
  const WebElement& input = form.children[0];
  EXPECT_EQ(input.attributes, (std::map<std::string, std::string>{
                                  {"type", "password"}, {"id", "pw"}, {"class", "a b"},
                                  {"data-zerva-sensitive", ""}, {"name", "secret"}}));
  EXPECT_EQ(input.classList(), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(input.frame, CGRectMake(10, 20, 200, 30));
  EXPECT_EQ(input.value, "hunter2");
  const WebElement& p = form.children[1];
  EXPECT_TRUE(p.hasAttribute("hidden"));
  EXPECT_EQ(p.computedDisplay(), "flex");  // the author's display beats the hidden attribute's
  // The content reaches the farthest frame.
  EXPECT_EQ(page->resolvedContentSize(), CGSizeMake(390, 1000));
}

TEST(ScenePageReader, RefusesBadDocumentsNamingThePath) {
  struct Case {
    const char* json;
    const char* path;
  };
  const Case cases[] = {
      {R"({"body": [{"tag": "input", "frame": [0, 0, -1, 10]}]})", "$.body[0].frame[2]"},
      {R"({"body": [{"tag": "input", "frame": [0, 0, 10]}]})", "$.body[0].frame"},
      {R"({"body": [{"tag": "div", "children": [{"tag": "i", "visibility": "gone"}]}]})",
       "$.body[0].children[0].visibility"},
      {R"({"body": [{"tag": "div", "colour": "red"}]})", "$.body[0].colour"},
      {R"({"body": [{"frame": [0, 0, 1, 1]}]})", "$.body[0].tag"},
      {R"({"body": [{"tag": "x y"}]})", "$.body[0].tag"},
      {R"({"body": [{"tag": "input", "type": "text", "attributes": {"type": "password"}}]})", "$.body[0].type"},
      {R"({"body": [{"tag": "input", "attributes": {"name": 3}}]})", "$.body[0].attributes.name"},
      {R"({"body": [{"tag": "input", "classes": ["a b"]}]})", "$.body[0].classes[0]"},
      {R"({"scripts": [1]})", "$.scripts[0]"},
      {R"({"contentSize": [100]})", "$.contentSize"},
      {R"({"body": {}})", "$.body"},
      {R"({"body": [)", "$"},
  };
  for (const auto& c : cases) {
    auto page = ScenePageReader::pageWithJSON(c.json, "login.json");
    ASSERT_FALSE(page) << c.json;
    EXPECT_EQ(page.error().domain(), WebPageErrorDomain);
    EXPECT_NE(page.error().localizedDescription().find(std::string("login.json: ") + c.path + ": expected"),
              std::string::npos)
        << c.json << " -> " << page.error().localizedDescription();
  }
}

}  // namespace
}  // namespace zerva
