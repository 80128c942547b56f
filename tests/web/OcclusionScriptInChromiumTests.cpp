// The occlusion script that the library embeds, run in a real browser (Debian's headless
// Chromium) against ordinary form pages (pages/). Each page marks what it expects with
// data-expect; the harness (harness.js) compares nothing itself: it writes the script's answers
// and the browser's own boxes of the marked elements into the page, and this test reads them
// from the dumped DOM.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "services/ZRWebViewTracker.h"

namespace zerva {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const fs::path kWebTestsDir = fs::path(ZERVA_TESTS_DIR) / "web";
constexpr const char* kHarnessMarker = "<!-- zerva-test-harness -->";
constexpr int kBrowserTimeoutSeconds = 45;

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

/// Undoes the escaping of text content in serialised HTML.
std::string unescapeHTML(std::string text) {
  const std::pair<const char*, const char*> entities[] = {
      {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&nbsp;", "\u00a0"}, {"&amp;", "&"}};
  for (const auto& [entity, character] : entities) {
    for (size_t pos = 0; (pos = text.find(entity, pos)) != std::string::npos; pos += std::strlen(character)) {
      text.replace(pos, std::strlen(entity), character);
    }
  }
  return text;
}

class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string pattern = (fs::temp_directory_path() / "zerva-chromium-XXXXXX").string();
    if (mkdtemp(pattern.data())) path_ = pattern;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

struct BrowserRun {
  std::string dom;
  std::string errorOutput;
  int status = -1;
};

/// Loads the page in headless Chromium and returns the DOM after its scripts ran.
BrowserRun dumpDOM(const fs::path& page, const fs::path& workDir) {
  const fs::path out = workDir / "dom.html", err = workDir / "stderr.txt", profile = workDir / "profile";
  std::string command = "timeout -k 5 " + std::to_string(kBrowserTimeoutSeconds) +
                        " chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                        " --disable-background-networking --disable-component-update --disable-sync"
                        " --disable-extensions --disable-dev-shm-usage --hide-scrollbars --mute-audio"
                        " --window-size=390,844 --user-data-dir='" +
                        profile.string() + "' --dump-dom 'file://" + page.string() + "' > '" + out.string() +
                        "' 2> '" + err.string() + "' < /dev/null";
  BrowserRun run;
  run.status = std::system(command.c_str());
  run.dom = readFile(out);
  run.errorOutput = readFile(err);
  return run;
}

void expectSameBoxes(const json& answer, const json& expected, const std::string& what) {
  ASSERT_TRUE(answer.is_array()) << what << ": " << answer;
  ASSERT_EQ(answer.size(), expected.size()) << what << ": answer " << answer << ", expected " << expected;
  for (size_t i = 0; i < expected.size(); ++i) {
    ASSERT_EQ(answer[i].size(), 4u) << what;
    for (size_t k = 0; k < 4; ++k) {
      EXPECT_NEAR(answer[i][k].get<double>(), expected[i][k].get<double>(), 1e-6)
          << what << " box " << i << ": answer " << answer[i] << ", expected " << expected[i];
    }
  }
}

/// For an attribute value in double quotes.
std::string escapeAttribute(std::string text) {
  std::string out;
  for (char c : text) {
    if (c == '&') out += "&amp;";
    else if (c == '"') out += "&quot;";
    else out += c;
  }
  return out;
}

const char* const kPages[] = {"login.html", "payment.html", "hidden-fields.html", "scrolled.html", "nested.html"};

// One browser start for all pages: each page runs in its own frame (a window of its own, the
// size of a phone's), and the top page gathers the frames' results once they have loaded.
std::string combinedPage(const std::string& script, const std::string& harness) {
  std::string frames;
  for (size_t i = 0; i < std::size(kPages); ++i) {
    std::string html = readFile(kWebTestsDir / "pages" / kPages[i]);
    size_t marker = html.find(kHarnessMarker);
    if (marker == std::string::npos) return "";
    html.replace(marker, std::strlen(kHarnessMarker),
                 "<pre id=\"zerva-result\"></pre>\n<script>\nvar zervaOcclusionScript = (" + script + ");\n" +
                     harness + "</script>");
    frames += "<iframe id=\"page" + std::to_string(i) +
              "\" width=\"390\" height=\"844\" style=\"border: 0; display: block\" srcdoc=\"" + escapeAttribute(html) +
              "\"></iframe>\n";
  }
  return "<!DOCTYPE html>\n<html><body style=\"margin: 0\">\n" + frames +
         R"(<pre id="zerva-results"></pre>
<script>
window.addEventListener('load', function () {
  var results = [];
  for (var i = 0; document.getElementById('page' + i); i++) {
    var pre = document.getElementById('page' + i).contentDocument.getElementById('zerva-result');
    results.push(pre && pre.textContent ? JSON.parse(pre.textContent) : {error: 'the page wrote no result'});
  }
  document.getElementById('zerva-results').textContent = JSON.stringify(results);
});
</script>
</body></html>
)";
}

TEST(OcclusionScriptInChromium, AnswersTheBoxesTheBrowserReportsForTheSensitiveElements) {
  ASSERT_EQ(std::system("command -v chromium > /dev/null 2>&1"), 0)
      << "chromium is not installed; scripts/setup.sh installs it (scripts/packages.txt)";
  TemporaryDirectory work;
  ASSERT_FALSE(work.path().empty());
  std::string page = combinedPage(ZRWebViewTracker::webViewOcclusionScript(), readFile(kWebTestsDir / "harness.js"));
  ASSERT_FALSE(page.empty()) << "a page lacks " << kHarnessMarker;
  std::ofstream(work.path() / "pages.html", std::ios::binary) << page;

  BrowserRun run = dumpDOM(work.path() / "pages.html", work.path());
  ASSERT_EQ(run.status, 0) << "chromium failed or timed out:\n" << run.errorOutput;
  const std::string open = "<pre id=\"zerva-results\">";
  size_t begin = run.dom.find(open);
  size_t end = begin == std::string::npos ? begin : run.dom.find("</pre>", begin);
  ASSERT_NE(end, std::string::npos) << run.dom;
  begin += open.size();
  json results = json::parse(unescapeHTML(run.dom.substr(begin, end - begin)), nullptr, false);
  ASSERT_TRUE(results.is_array() && results.size() == std::size(kPages)) << run.dom.substr(begin, end - begin);

  for (size_t i = 0; i < std::size(kPages); ++i) {
    SCOPED_TRACE(kPages[i]);
    const json& result = results[i];
    ASSERT_FALSE(result.contains("error")) << result["error"];
    EXPECT_EQ(result["scrollY"], result["wantedScrollY"]);
    EXPECT_FALSE(result["definedBefore"].get<bool>());
    EXPECT_TRUE(result["definedAfter"].get<bool>());
    EXPECT_FALSE(result["expectedFalse"].empty()) << "the page marks nothing it expects";
    expectSameBoxes(result["answerFalse"], result["expectedFalse"], "occludeZervaElements(false)");
    expectSameBoxes(result["answerTrue"], result["expectedTrue"], "occludeZervaElements(true)");
  }
}

}  // namespace
}  // namespace zerva
