#pragma once
// An encoder that fails on a frame. The writer asks this hook before each call into the H.264
// encoder, so that tests can make the encoder refuse a frame mid-recording (as ZRVideoOutput
// lets them fill the disk); without a hook the writer calls the encoder directly.

#include <cstdint>
#include <functional>

namespace zerva {

/// The two calls through which every frame passes the encoder.
enum class ZRVideoEncoderStep {
  /// Hands a frame to the encoder (at the end of the file: asks it for what it still holds).
  sendFrame,
  /// Takes an encoded frame back from it.
  receivePacket,
};

/// Called on the writer's thread before `step`, with the presentation time in milliseconds of
/// the frame concerned (the last one sent, for receivePacket and at the end). Answers 0 to make
/// the call, or a negative FFmpeg error code (AVERROR(EIO), AVERROR_EXTERNAL, ...) that the
/// call fails with in its place.
using ZRVideoEncoderFault = std::function<int(ZRVideoEncoderStep step, std::int64_t frameTimeMs)>;

}  // namespace zerva
