#pragma once
// Reads a session video back with FFmpeg and compares each decoded frame's luma with the frame
// the recorder was handed (converted the recorder's way): the PSNR figures of the video goals.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <libyuv.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zerva::bench {

/// The luma plane the recorder makes of a BGRA frame (libyuv's BT.601, as ZRMp4VideoWriter).
inline std::vector<std::uint8_t> lumaOf(const std::uint8_t* argb, int width, int height, std::size_t bytesPerRow) {
  std::vector<std::uint8_t> y(static_cast<std::size_t>(width) * height);
  libyuv::ARGBToI400(argb, static_cast<int>(bytesPerRow), y.data(), width, width, height);
  return y;
}

inline double lumaPsnr(const std::uint8_t* a, int aStride, const std::vector<std::uint8_t>& b, int width,
                       int height) {
  double sum = 0;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double d = double(a[y * aStride + x]) - double(b[static_cast<std::size_t>(y) * width + x]);
      sum += d * d;
    }
  }
  const double mse = sum / (double(width) * height);
  return mse <= 1e-10 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / mse);
}

/// Decodes every frame of the file in order, handing its luma plane to `frame`; the number of
/// frames decoded, or -1 when the file cannot be read.
inline int decodeLuma(const std::string& path, const std::function<void(const std::uint8_t*, int, int, int)>& frame) {
  AVFormatContext* format = nullptr;
  if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) return -1;
  int count = -1;
  const AVCodec* decoder = nullptr;
  const int stream = avformat_find_stream_info(format, nullptr) >= 0
                         ? av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0)
                         : -1;
  AVCodecContext* codec = stream >= 0 ? avcodec_alloc_context3(decoder) : nullptr;
  if (codec && avcodec_parameters_to_context(codec, format->streams[stream]->codecpar) >= 0 &&
      avcodec_open2(codec, decoder, nullptr) >= 0) {
    count = 0;
    AVPacket* packet = av_packet_alloc();
    AVFrame* decoded = av_frame_alloc();
    auto drain = [&] {
      while (avcodec_receive_frame(codec, decoded) >= 0) {
        frame(decoded->data[0], decoded->linesize[0], decoded->width, decoded->height);
        ++count;
      }
    };
    while (av_read_frame(format, packet) >= 0) {
      if (packet->stream_index == stream && avcodec_send_packet(codec, packet) >= 0) drain();
      av_packet_unref(packet);
    }
    avcodec_send_packet(codec, nullptr);
    drain();
    av_frame_free(&decoded);
    av_packet_free(&packet);
  }
  avcodec_free_context(&codec);
  avformat_close_input(&format);
  return count;
}

}  // namespace zerva::bench
