#include "review/VideoFrameReader.h"

#include <algorithm>
#include <cerrno>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
}
#include <libyuv/convert_argb.h>

#include "platform/CGImage.h"
#include "platform/UIImage.h"

namespace zerva {

namespace {

const char* const kErrorDomain = "VideoFrameReader";

struct AVDeleter {
  void operator()(AVFormatContext* f) const { avformat_close_input(&f); }
  void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
  void operator()(AVFrame* f) const { av_frame_free(&f); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
};
template <typename T>
using AVUniquePtr = std::unique_ptr<T, AVDeleter>;

std::string avErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

/// BGRA words from a decoded picture. The recorder writes 4:2:0 in BT.601 limited range, the
/// inverse of what libyuv reads here; other layouts are not ours and are refused.
bool convertToPixels(const AVFrame& frame, DecodedVideoFrame& out) {
  if (frame.format != AV_PIX_FMT_YUV420P && frame.format != AV_PIX_FMT_YUVJ420P) return false;
  out.pixels.assign(static_cast<std::size_t>(frame.width) * frame.height, 0);
  libyuv::I420ToARGB(frame.data[0], frame.linesize[0], frame.data[1], frame.linesize[1], frame.data[2],
                     frame.linesize[2], reinterpret_cast<std::uint8_t*>(out.pixels.data()), frame.width * 4,
                     frame.width, frame.height);
  return true;
}

}  // namespace

std::shared_ptr<UIImage> DecodedVideoFrame::image() const {
  if (width <= 0 || height <= 0 || pixels.empty()) return nullptr;
  return UIImage::imageWithCGImage(
      CGImageCreateWithPixels(static_cast<std::size_t>(width), static_cast<std::size_t>(height),
                              static_cast<std::size_t>(width) * 4, pixels.data()),
      1.0);
}

std::optional<DecodedVideo> VideoFrameReader::readFile(const std::string& path, bool keepPixels, NSErrorOrNil* error) {
  auto fail = [&](long code, const std::string& what) -> std::optional<DecodedVideo> {
    if (error) *error = NSError::errorWithDomain(kErrorDomain, code, "Cannot read the video " + path + ": " + what);
    return std::nullopt;
  };

  AVFormatContext* rawFormat = nullptr;
  if (const int ret = avformat_open_input(&rawFormat, path.c_str(), nullptr, nullptr); ret < 0) {
    return fail(1, avErrorText(ret));
  }
  AVUniquePtr<AVFormatContext> format(rawFormat);
  if (const int ret = avformat_find_stream_info(format.get(), nullptr); ret < 0) return fail(2, avErrorText(ret));

  const AVCodec* decoder = nullptr;
  const int streamIndex = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
  if (streamIndex < 0 || !decoder) return fail(3, "no video stream");
  const AVStream* stream = format->streams[streamIndex];

  AVUniquePtr<AVCodecContext> codec(avcodec_alloc_context3(decoder));
  if (!codec || avcodec_parameters_to_context(codec.get(), stream->codecpar) < 0) return fail(4, "no decoder");
  if (const int ret = avcodec_open2(codec.get(), decoder, nullptr); ret < 0) return fail(4, avErrorText(ret));

  DecodedVideo video;
  video.codec = decoder->name;
  video.width = codec->width;
  video.height = codec->height;

  AVUniquePtr<AVPacket> packet(av_packet_alloc());
  AVUniquePtr<AVFrame> frame(av_frame_alloc());
  const double timeBase = av_q2d(stream->time_base);
  std::optional<std::string> conversionProblem;

  auto receiveAll = [&]() -> int {
    while (true) {
      const int ret = avcodec_receive_frame(codec.get(), frame.get());
      if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF) return 0;
      if (ret < 0) return ret;
      DecodedVideoFrame decoded;
      const std::int64_t pts = frame->best_effort_timestamp != AV_NOPTS_VALUE ? frame->best_effort_timestamp : frame->pts;
      decoded.presentationTime = pts == AV_NOPTS_VALUE ? 0.0 : static_cast<double>(pts) * timeBase;
      decoded.width = frame->width;
      decoded.height = frame->height;
      if (keepPixels && !convertToPixels(*frame, decoded)) {
        const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(frame->format));
        conversionProblem = std::string("unexpected pixel format ") + (name ? name : "unknown");
      }
      video.frames.push_back(std::move(decoded));
      av_frame_unref(frame.get());
    }
  };

  while (av_read_frame(format.get(), packet.get()) >= 0) {
    if (packet->stream_index == streamIndex) {
      const int sent = avcodec_send_packet(codec.get(), packet.get());
      if (sent < 0 && sent != AVERROR(EAGAIN)) {
        av_packet_unref(packet.get());
        return fail(5, avErrorText(sent));
      }
      if (const int ret = receiveAll(); ret < 0) {
        av_packet_unref(packet.get());
        return fail(5, avErrorText(ret));
      }
    }
    av_packet_unref(packet.get());
  }
  avcodec_send_packet(codec.get(), nullptr);
  if (const int ret = receiveAll(); ret < 0) return fail(5, avErrorText(ret));
  if (conversionProblem) return fail(6, *conversionProblem);

  std::stable_sort(video.frames.begin(), video.frames.end(),
                   [](const auto& a, const auto& b) { return a.presentationTime < b.presentationTime; });
  return video;
}

}  // namespace zerva
