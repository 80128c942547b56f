// The occlusion script that the library embeds, run in a real browser (Debian's headless
// Chromium) against ordinary form pages (pages/). Each page marks what it expects with
// data-expect; the harness (harness.js) compares nothing itself: it writes the script's answers
// and the browser's own boxes of the marked elements into the page, and this test reads them
// from the dumped DOM.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/UIImage.h"
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

// ---- Pinch zoom and pan, which only the browser's own controls can do: Chromium driven through
// its DevTools protocol over a pipe (fd 3 in, fd 4 out, messages ending in NUL).

class DevToolsBrowser {
 public:
  explicit DevToolsBrowser(const fs::path& profile) {
    int commands[2], answers[2];
    if (pipe(commands) != 0 || pipe(answers) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(commands[0], 3);
      dup2(answers[1], 4);
      const int devNull = open("/dev/null", O_RDWR);
      dup2(devNull, 0);
      dup2(devNull, 1);
      dup2(devNull, 2);
      for (int fd = 5; fd < 1024; ++fd) close(fd);
      const std::string profileFlag = "--user-data-dir=" + profile.string();
      execlp("chromium", "chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
             "--disable-extensions", "--disable-dev-shm-usage", "--hide-scrollbars", "--remote-debugging-pipe",
             "--window-size=390,844", profileFlag.c_str(), "about:blank", static_cast<char*>(nullptr));
      _exit(127);
    }
    close(commands[0]);
    close(answers[1]);
    toBrowser_ = commands[1];
    fromBrowser_ = answers[0];
  }
  ~DevToolsBrowser() {
    if (toBrowser_ >= 0) close(toBrowser_);
    if (fromBrowser_ >= 0) close(fromBrowser_);
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  bool running() const { return pid_ > 0 && toBrowser_ >= 0; }

  /// Sends a command and waits for its answer: the result, or {"error": ...}.
  json call(const std::string& method, json params = json::object(), const std::string& session = {}) {
    json message = {{"id", ++lastId_}, {"method", method}, {"params", std::move(params)}};
    if (!session.empty()) message["sessionId"] = session;
    const std::string text = message.dump() + '\0';
    if (write(toBrowser_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) return {{"error", "write"}};
    for (;;) {
      std::optional<json> m = next();
      if (!m) return {{"error", "no answer from the browser"}};
      if (m->value("id", 0) == lastId_) return m->contains("error") ? json{{"error", (*m)["error"]}} : (*m)["result"];
      if (m->contains("method")) events_.push_back((*m)["method"]);
    }
  }

  /// Waits for an event that may already have come.
  bool waitFor(const std::string& method) {
    for (;;) {
      for (const auto& e : events_) {
        if (e == method) return true;
      }
      std::optional<json> m = next();
      if (!m) return false;
      if (m->contains("method")) events_.push_back((*m)["method"]);
    }
  }

 private:
  std::optional<json> next() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kBrowserTimeoutSeconds);
    for (;;) {
      if (size_t end = buffer_.find('\0'); end != std::string::npos) {
        json m = json::parse(buffer_.substr(0, end), nullptr, false);
        buffer_.erase(0, end + 1);
        if (!m.is_discarded()) return m;
        continue;
      }
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      pollfd in{fromBrowser_, POLLIN, 0};
      if (left.count() <= 0 || poll(&in, 1, static_cast<int>(left.count())) <= 0) return std::nullopt;
      char chunk[65536];
      const ssize_t n = read(fromBrowser_, chunk, sizeof chunk);
      if (n <= 0) return std::nullopt;
      buffer_.append(chunk, static_cast<size_t>(n));
    }
  }

  pid_t pid_ = -1;
  int toBrowser_ = -1;
  int fromBrowser_ = -1;
  int lastId_ = 0;
  std::string buffer_;
  std::vector<std::string> events_;
};

std::string decodeBase64(const std::string& text) {
  std::string out;
  unsigned bits = 0;
  int count = 0;
  for (char c : text) {
    int v;
    if (c >= 'A' && c <= 'Z') v = c - 'A';
    else if (c >= 'a' && c <= 'z') v = c - 'a' + 26;
    else if (c >= '0' && c <= '9') v = c - '0' + 52;
    else if (c == '+') v = 62;
    else if (c == '/') v = 63;
    else continue;
    bits = (bits << 6) | static_cast<unsigned>(v);
    if ((count += 6) >= 8) {
      count -= 8;
      out += static_cast<char>((bits >> count) & 0xFF);
    }
  }
  return out;
}

/// Bounding boxes [x, y, w, h] of the connected magenta areas of the picture.
std::vector<std::array<int, 4>> magentaAreas(const UIImage& image) {
  const int w = static_cast<int>(image.pixelWidth()), h = static_cast<int>(image.pixelHeight());
  auto magenta = [&](int x, int y) {
    const CGPixel p = image.pixelAt(static_cast<size_t>(x), static_cast<size_t>(y));
    return p.red > 230 && p.green < 30 && p.blue > 230;
  };
  std::vector<char> seen(static_cast<size_t>(w) * h, 0);
  std::vector<std::array<int, 4>> areas;
  for (int y0 = 0; y0 < h; ++y0) {
    for (int x0 = 0; x0 < w; ++x0) {
      if (seen[static_cast<size_t>(y0) * w + x0] || !magenta(x0, y0)) continue;
      int minX = x0, minY = y0, maxX = x0, maxY = y0;
      std::vector<std::pair<int, int>> stack{{x0, y0}};
      seen[static_cast<size_t>(y0) * w + x0] = 1;
      while (!stack.empty()) {
        auto [x, y] = stack.back();
        stack.pop_back();
        minX = std::min(minX, x), maxX = std::max(maxX, x), minY = std::min(minY, y), maxY = std::max(maxY, y);
        for (auto [dx, dy] : {std::pair{1, 0}, std::pair{-1, 0}, std::pair{0, 1}, std::pair{0, -1}}) {
          const int nx = x + dx, ny = y + dy;
          if (nx < 0 || ny < 0 || nx >= w || ny >= h || seen[static_cast<size_t>(ny) * w + nx] || !magenta(nx, ny)) continue;
          seen[static_cast<size_t>(ny) * w + nx] = 1;
          stack.emplace_back(nx, ny);
        }
      }
      areas.push_back({minX, minY, maxX - minX + 1, maxY - minY + 1});
    }
  }
  return areas;
}

TEST(OcclusionScriptInChromium, BoxesFollowPinchZoomAndPanAsTheScreenShowsThem) {
  ASSERT_EQ(std::system("command -v chromium > /dev/null 2>&1"), 0) << "chromium is not installed";
  TemporaryDirectory work;
  DevToolsBrowser browser(work.path() / "profile");
  ASSERT_TRUE(browser.running());
  json target = browser.call("Target.createTarget", {{"url", "about:blank"}});
  ASSERT_TRUE(target.contains("targetId")) << target;
  json attached = browser.call("Target.attachToTarget", {{"targetId", target["targetId"]}, {"flatten", true}});
  ASSERT_TRUE(attached.contains("sessionId")) << attached;
  const std::string session = attached["sessionId"];
  auto evaluate = [&](const std::string& expression) {
    json r = browser.call("Runtime.evaluate", {{"expression", expression}, {"returnByValue", true}}, session);
    return r.contains("result") ? r["result"].value("value", json()) : r;
  };

  // A phone: the page's viewport meta counts and the page can be pinch-zoomed.
  browser.call("Page.enable", json::object(), session);
  browser.call("Emulation.setDeviceMetricsOverride",
               {{"width", 390}, {"height", 844}, {"deviceScaleFactor", 1}, {"mobile", true}}, session);
  browser.call("Page.navigate", {{"url", "file://" + (kWebTestsDir / "pages" / "zoomed.html").string()}}, session);
  ASSERT_TRUE(browser.waitFor("Page.loadEventFired"));
  evaluate("window.scrollTo(0, 120)");
  // Zoom in twice, then pan with the wheel: the shown part moves inside the layout viewport.
  browser.call("Emulation.setPageScaleFactor", {{"pageScaleFactor", 2}}, session);
  browser.call("Input.dispatchMouseEvent",
               {{"type", "mouseWheel"}, {"x", 100}, {"y", 100}, {"deltaX", 60}, {"deltaY", 100}}, session);
  const std::string where = "JSON.stringify([visualViewport.scale, visualViewport.offsetLeft, visualViewport.offsetTop, scrollY])";
  json viewport;
  for (int i = 0; i < 100; ++i) {  // the wheel lands a little later
    viewport = json::parse(evaluate(where).get<std::string>());
    if (viewport[1].get<double>() > 0) break;
    evaluate("new Promise(function (done) { requestAnimationFrame(function () { done(); }); })");
  }
  ASSERT_EQ(viewport[0].get<double>(), 2.0) << viewport;
  ASSERT_GT(viewport[1].get<double>(), 0) << "no pan: " << viewport;
  ASSERT_GT(viewport[2].get<double>(), 0) << "no pan: " << viewport;

  const json answer = evaluate("(" + ZRWebViewTracker::webViewOcclusionScript() + ")(true)");
  ASSERT_TRUE(answer.is_array()) << answer;
  ASSERT_EQ(answer.size(), 5u) << answer;

  json shot = browser.call("Page.captureScreenshot", {{"format", "png"}}, session);
  ASSERT_TRUE(shot.contains("data")) << shot.dump().substr(0, 200);
  const fs::path png = work.path() / "shown.png";
  std::ofstream(png, std::ios::binary) << decodeBase64(shot["data"].get<std::string>());
  const auto read = UIImage::imageWithContentsOfFile(png.string());
  ASSERT_TRUE(read) << read.error().localizedDescription();
  const auto& image = *read;
  ASSERT_EQ(image->pixelWidth(), 390u);
  ASSERT_EQ(image->pixelHeight(), 844u);

  // Each box, cut to the screen, is exactly one field as the screen shows it; fields off screen
  // show nothing, and nothing shown is left without its box.
  const auto areas = magentaAreas(*image);
  std::vector<std::array<int, 4>> clipped;
  for (const json& box : answer) {
    const double x = box[0], y = box[1], w = box[2], h = box[3];
    const double left = std::max(0.0, x), top = std::max(0.0, y), right = std::min(390.0, x + w),
                 bottom = std::min(844.0, y + h);
    if (right > left && bottom > top) {
      clipped.push_back({static_cast<int>(std::lround(left)), static_cast<int>(std::lround(top)),
                         static_cast<int>(std::lround(right - left)), static_cast<int>(std::lround(bottom - top))});
    }
  }
  ASSERT_EQ(clipped.size(), areas.size()) << "answer " << answer;
  ASSERT_GE(areas.size(), 2u);
  for (const auto& area : areas) {
    bool matched = false;
    for (const auto& box : clipped) {
      bool close = true;
      for (int k = 0; k < 4; ++k) close = close && std::abs(box[k] - area[k]) <= 1;
      matched = matched || close;
    }
    EXPECT_TRUE(matched) << "a field shown at [" << area[0] << ", " << area[1] << ", " << area[2] << ", " << area[3]
                         << "] has no box in " << answer;
  }
}

}  // namespace
}  // namespace zerva
