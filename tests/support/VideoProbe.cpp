#include "support/VideoProbe.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace zerva::testing {

namespace {

std::string quoted(const std::string& path) {
  std::string out = "'";
  for (char c : path) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

std::string run(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[65536];
    std::size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    pclose(pipe);
  }
  return out;
}

}  // namespace

ProbedVideo probeVideo(const std::string& path) {
  const std::string text = run("ffprobe -v error -select_streams v:0 -show_entries "
                               "stream=codec_name,width,height,pix_fmt,time_base:frame=pts -of compact " +
                               quoted(path) + " 2>/dev/null");
  ProbedVideo video;
  std::istringstream lines(text);
  std::string line;
  std::int64_t num = 1, den = 1000;
  std::vector<std::int64_t> pts;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string section, field;
    std::getline(fields, section, '|');
    while (std::getline(fields, field, '|')) {
      const auto eq = field.find('=');
      if (eq == std::string::npos) continue;
      const std::string key = field.substr(0, eq), value = field.substr(eq + 1);
      if (section == "stream") {
        video.readable = true;
        if (key == "codec_name") video.codec = value;
        if (key == "pix_fmt") video.pixelFormat = value;
        if (key == "width") video.width = std::atoi(value.c_str());
        if (key == "height") video.height = std::atoi(value.c_str());
        if (key == "time_base") {
          video.timeBase = value;
          std::sscanf(value.c_str(), "%ld/%ld", &num, &den);
        }
      } else if (section == "frame" && key == "pts" && value != "N/A") {
        pts.push_back(std::atoll(value.c_str()));
      }
    }
  }
  for (std::int64_t p : pts) video.framePtsMs.push_back(p * num * 1000 / den);
  return video;
}

DecodedFrames decodeFrames(const std::string& path, int width, int height) {
  DecodedFrames decoded;
  decoded.width = width;
  decoded.height = height;
  const std::string bytes =
      run("ffmpeg -v error -i " + quoted(path) + " -fps_mode passthrough -f rawvideo -pix_fmt bgra - 2>/dev/null");
  const std::size_t frameBytes = static_cast<std::size_t>(width) * height * 4;
  for (std::size_t at = 0; frameBytes > 0 && at + frameBytes <= bytes.size(); at += frameBytes) {
    decoded.frames.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                bytes.begin() + static_cast<std::ptrdiff_t>(at + frameBytes));
  }
  return decoded;
}

CGPixel DecodedFrames::pixelAt(std::size_t frame, int x, int y) const {
  const std::uint8_t* p = frames.at(frame).data() + (static_cast<std::size_t>(y) * width + x) * 4;
  return {p[2], p[1], p[0], p[3]};
}

int colourDistance(const CGPixel& a, const CGPixel& b) {
  return std::max({std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
}

}  // namespace zerva::testing
