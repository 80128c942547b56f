// What the medium video keeps of the frames, against the goals in docs/performance.md:
//  - the encoder's screen tuning now and before, frame by frame in turn on the same content:
//    bytes per second, luma PSNR and encoding CPU together;
//  - the demo session through the real pipeline (scene calls, capture, masking, text
//    recognition, recorder): luma PSNR of every decoded frame against the frame handed to the
//    recorder, and how many of the feed's label words text recognition reads in decoded frames.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <libyuv.h>

#include "ContentFrames.h"
#include "DecodedVideo.h"
#include "DemoSession.h"
#include "RawFloors.h"
#include "handler/ZRFrameInspector.h"
#include "platform/CGImage.h"
#include "platform/UIApplication.h"
#include "platform/UILabel.h"
#include "platform/UIScrollView.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "review/VideoFrameReader.h"
#include "scene/SceneSdkSession.h"
#include "services/ScreenImageProcessor.h"
#include "services/ZRGreyImage.h"
#include "services/ZRTextRecognizer.h"

namespace zerva::bench {
namespace {

double meanOf(const std::vector<double>& values) {
  double sum = 0;
  for (double v : values) sum += v;
  return values.empty() ? 0 : sum / static_cast<double>(values.size());
}

double minOf(const std::vector<double>& values) {
  return values.empty() ? 0 : *std::min_element(values.begin(), values.end());
}

// --- The encoder's screen tuning, now and before ---------------------------------------------------

/// One encoder's account of a run.
struct EncoderRun {
  RawX264 encoder;
  std::size_t bytes = 0;
  double cpu = 0;
  EncoderRun(const ZRVideoEncoderConfig& config, const char* tuning)
      : encoder(config.width, config.height, config.constantRateFactor, config.frameRate, config.motionSearchRange,
                tuning, true) {}
  void encode(const RawPixels& frame) {
    encoder.convert(frame);
    const double t = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
    bytes += static_cast<std::size_t>(std::max(0, encoder.encode()));
    cpu += cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - t;
  }
  void report(benchmark::State& state, const std::string& prefix, int frames) const {
    state.counters[prefix + "KB_per_s"] = static_cast<double>(bytes) / 1024.0 / (frames / 10.0);
    state.counters[prefix + "psnr_mean"] = meanOf(encoder.lumaPsnr());
    state.counters[prefix + "psnr_min"] = minOf(encoder.lumaPsnr());
    state.counters[prefix + "ms"] = cpu / frames * 1000;
  }
};

// Arg: source (contentSource). x264 at medium's settings, with the screen tuning of today and the
// one before it, each frame encoded by both in turn so that both see the same machine. Bytes are
// the encoder's output without the MP4 boxes (about 1 % less than the file); PSNR is x264's of
// its reconstruction, which is what a decoder shows.
void BM_EncoderSettings(benchmark::State& state) {
  const ZRVideoEncoderConfig config = ZRSessionVideoSettings(ZRVideoQualityMedium, {390, 844}).encoderConfig();
  for (auto _ : state) {
    auto source = contentSource(static_cast<int>(state.range(0)), config.width, config.height);
    EncoderRun now(config, kScreenTuning), before(config, kScreenTuningBefore);
    RawPixels frame{config.width, config.height, {}};
    for (int i = 0; i < source->frames(); ++i) {
      const std::uint8_t* pixels = source->frame(i);
      frame.argb.assign(pixels, pixels + static_cast<std::size_t>(config.width) * config.height * 4);
      // Alternate which goes first, so that neither always meets a warm cache.
      if (i % 2 == 0) {
        now.encode(frame);
        before.encode(frame);
      } else {
        before.encode(frame);
        now.encode(frame);
      }
    }
    now.report(state, "", source->frames());
    before.report(state, "before_", source->frames());
    state.SetIterationTime(now.cpu);
  }
  state.SetLabel(kContentSourceNames[state.range(0)]);
}
BENCHMARK(BM_EncoderSettings)
    ->DenseRange(0, kContentSources - 1)
    ->ArgName("source")
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// --- The demo session through the real pipeline ----------------------------------------------------

/// Lower-case letters and digits of a word, punctuation at its ends dropped ("Hello," -> "hello").
std::string normalizedWord(const std::string& word) {
  std::size_t begin = 0, end = word.size();
  auto isWordByte = [](unsigned char c) { return std::isalnum(c) || c >= 0x80; };
  while (begin < end && !isWordByte(static_cast<unsigned char>(word[begin]))) ++begin;
  while (end > begin && !isWordByte(static_cast<unsigned char>(word[end - 1]))) --end;
  std::string out = word.substr(begin, end - begin);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

/// The words of the labels a frame shows whole and unhidden: each label's window rectangle,
/// cut by every clipping ancestor (scroll views clip), must be the label's whole rectangle and
/// touch none of the frame's hidden rectangles.
std::vector<std::string> visibleLabelWords(const std::shared_ptr<UIView>& root, const UIWindow& window,
                                           const std::vector<ZRInspectedRect>& hidden) {
  std::vector<std::string> words;
  std::vector<std::shared_ptr<UIView>> pending{root};
  while (!pending.empty()) {
    auto view = pending.back();
    pending.pop_back();
    if (view->isHidden() || view->alpha() <= 0) continue;
    for (const auto& sub : view->subviews()) pending.push_back(sub);
    auto label = std::dynamic_pointer_cast<UILabel>(view);
    if (!label || label->text().empty()) continue;
    const CGRect rect = label->convertRect(label->bounds(), window);
    CGRect shown = CGRectIntersection(rect, window.bounds());
    for (auto up = label->superview(); up; up = up->superview()) {
      if (up->clipsToBounds() || std::dynamic_pointer_cast<UIScrollView>(up)) {
        shown = CGRectIntersection(shown, up->convertRect(up->bounds(), window));
      }
    }
    if (!CGRectEqualToRect(shown, rect)) continue;
    if (std::any_of(hidden.begin(), hidden.end(), [&](const ZRInspectedRect& h) { return CGRectIntersectsRect(h.rect, rect); })) {
      continue;
    }
    std::istringstream text(label->text());
    for (std::string word; text >> word;) {
      if (auto w = normalizedWord(word); !w.empty()) words.push_back(w);
    }
  }
  return words;
}

/// Words text recognition reads in a frame image, whole, at the image's own resolution, the way
/// the processor reads a whole frame (text on white, full layout analysis).
std::set<std::string> recognizedWords(ZRTextRecognizer& recognizer, const UIImage& image) {
  const ZRGreyImage grey = ZRGreyImage::fromImage(image, 1.0).withTextOnWhite();
  std::set<std::string> words;
  for (const auto& line : recognizer.recognize(grey, {0, 0, grey.width(), grey.height()}, ZRTextRecognizer::Layout::Auto)) {
    for (const auto& word : line.words) words.insert(normalizedWord(word.text));
  }
  return words;
}

/// A frame as handed to the recorder.
struct HandedFrame {
  std::vector<std::uint8_t> luma;
  /// Feed frames only: the image and the words of its whole, unhidden labels.
  std::shared_ptr<UIImage> image;
  std::vector<std::string> labelWords;
};

/// Until the frame queue, text recognition and the recorder have nothing left.
void settleAll(ZRViewVideoHandler& handler) {
  const auto& queue = ZRViewVideoHandler::GetMakeVideoFrameQueue();
  for (int round = 0; round < 3; ++round) {
    queue->drain();
    if (auto processor = handler.imageProcessor()) processor->drain();
    queue->drain();
    handler.videoRecorder()->writerQueue()->drain();
    NSRunLoop::mainRunLoop().runPending();
  }
}

/// scenes/demo-app.json played through a handler with its sdk section and calls, on a manual
/// clock one display refresh at a time, every frame let through to the video before the next
/// (as a device whose frame work keeps up). Keeps every frame handed to the recorder.
struct DemoRecording {
  std::vector<HandedFrame> frames;
  std::string videoPath;
  int framesMissed = 0;  // two frames appended within one refresh: the first was not seen

  DemoRecording(const std::filesystem::path& folder) {
    ScopedManualClock clock;
    NSLogCapture quiet;
    std::filesystem::create_directories(folder);
    ZRPlistHandler::sharedHandler()->setStorePath((folder / "state.json").string());
    ZRResetHandlerFileStatics();
    NSErrorOrNil error;
    auto scene = SceneLoader::loadFile(ZERVA_SOURCE_DIR "/scenes/demo-app.json", &error);
    ScenePlayer player(std::move(*scene));
    auto handler = ZRViewVideoHandler::create();
    handler->videoRecorder()->setRecordingsFolder(folder.string());
    std::mutex mutex;
    std::vector<ZRInspectedRect> lastHidden;  // by mutex: the last masked frame's
    handler->setFrameInspector(std::make_shared<ZRFrameInspector>(nullptr, [&](const ZRFrameInspection& frame) {
      std::lock_guard lock(mutex);
      lastHidden = frame.hidden;
    }));
    SceneSdkSession session(player.scene(), player, handler);
    session.applySdkSettings();
    player.setCallHandler([&session](const SceneCall& call) { session.perform(call); });
    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    player.start(loop);
    const double total = player.scene().duration();
    auto feed = player.screenNamed("Feed");
    std::int64_t counted = 0;
    for (double done = 0; done <= total; done += 1.0 / 60.0) {
      loop.runUntilDate(player.startTime() + done);
      settleAll(*handler);
      const std::int64_t inVideo = handler->numFramesInVideo();
      if (inVideo == counted) continue;
      framesMissed += static_cast<int>(inVideo - counted - 1);
      counted = inVideo;
      HandedFrame handed;
      auto image = handler->lastVideoFrameImage();
      const CGImage& px = *image->CGImage();
      handed.luma = lumaOf(px.data(), static_cast<int>(px.width()), static_cast<int>(px.height()), px.bytesPerRow());
      const auto screens = handler->currentVisibleScreens();
      auto window = UIApplication::sharedApplication()->keyWindow();
      if (!screens.empty() && screens.back() == "Feed" && window && !handler->screenRecordingIsPaused()) {
        std::lock_guard lock(mutex);
        handed.image = image;
        handed.labelWords = visibleLabelWords(feed->view(), *window, lastHidden);
      }
      frames.push_back(std::move(handed));
    }
    settleAll(*handler);
    if (handler->isRecording()) session.stopRecording(1);
    loop.runUntil([&] { return session.stopCompletionDelivered(); }, 60);
    settleAll(*handler);
    player.stop();
    handler->setFrameInspector(nullptr);
    ZRViewVideoHandler::setSchematicCapture(true);  // the scene's sdk section switched it off
    if (auto outcome = session.recordingOutcome(); outcome && outcome->path) videoPath = *outcome->path;
  }
};

// The demo at medium through the real pipeline. PSNR: each decoded frame's luma against the luma
// of the frame handed to the recorder (the recorder's conversion). Words: of the labels the feed
// shows whole and unhidden in its frames, the share that text recognition reads in the decoded
// frame, and for comparison in the frame as handed over (what the video's size alone costs).
void BM_DemoThroughPipeline(benchmark::State& state) {
  const auto folder = std::filesystem::temp_directory_path() / ("zr-bench-demo-" + std::to_string(getpid()));
  for (auto _ : state) {
    DemoRecording recording(folder);
    std::vector<double> psnr;
    std::size_t index = 0;
    int width = 0;
    const int decoded = decodeLuma(recording.videoPath, [&](const std::uint8_t* y, int stride, int w, int h) {
      if (index >= recording.frames.size()) return;
      width = w;
      const auto& luma = recording.frames[index++].luma;
      // A frame handed over at another size than the video's would be scaled by the recorder.
      if (luma.size() == static_cast<std::size_t>(w) * h) psnr.push_back(lumaPsnr(y, stride, luma, w, h));
    });
    NSErrorOrNil error;
    auto video = VideoFrameReader::readFile(recording.videoPath, true, &error);
    auto created = ZRTextRecognizer::create("eng");
    if (!video || !created) {
      state.SkipWithError(video ? created.error().localizedDescription().c_str() : "the demo's video cannot be read");
      return;
    }
    auto recognizer = std::move(*created);
    int words = 0, readDecoded = 0, readHanded = 0, feedFrames = 0;
    for (std::size_t i = 0; i < recording.frames.size() && i < video->frames.size(); ++i) {
      const HandedFrame& handed = recording.frames[i];
      if (!handed.image || handed.labelWords.empty()) continue;
      ++feedFrames;
      const auto fromVideo = recognizedWords(*recognizer, *video->frames[i].image());
      const auto fromHanded = recognizedWords(*recognizer, *handed.image);
      for (const auto& word : handed.labelWords) {
        ++words;
        readDecoded += fromVideo.count(word) ? 1 : 0;
        readHanded += fromHanded.count(word) ? 1 : 0;
      }
    }
    // The video lasts from its first frame to the end of its last (a frame interval).
    const double seconds = video && !video->frames.empty() ? video->frames.back().presentationTime + 0.1 : 0;
    state.counters["video_s"] = seconds;
    state.counters["KB_per_s"] =
        seconds > 0 ? static_cast<double>(std::filesystem::file_size(recording.videoPath)) / 1024.0 / seconds : 0;
    state.counters["frames_handed"] = static_cast<double>(recording.frames.size());
    state.counters["frames_decoded"] = decoded;
    state.counters["frames_missed"] = recording.framesMissed;
    state.counters["width"] = width;
    state.counters["frames_compared"] = static_cast<double>(psnr.size());
    state.counters["psnr_mean"] = meanOf(psnr);
    state.counters["psnr_min"] = minOf(psnr);
    state.counters["psnr_below_30"] =
        static_cast<double>(std::count_if(psnr.begin(), psnr.end(), [](double p) { return p < 30; }));
    state.counters["feed_frames"] = feedFrames;
    state.counters["label_words"] = words;
    state.counters["read_decoded_pct"] = words ? 100.0 * readDecoded / words : 0;
    state.counters["read_handed_pct"] = words ? 100.0 * readHanded / words : 0;
  }
  std::error_code ec;
  std::filesystem::remove_all(folder, ec);
  state.SetLabel("demo session, medium, real pipeline");
}
BENCHMARK(BM_DemoThroughPipeline)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
}  // namespace zerva::bench

BENCHMARK_MAIN();
