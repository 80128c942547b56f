#include "services/ZRMp4VideoWriter.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libavutil/log.h>
}
#include <libyuv/convert_from_argb.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <mutex>

#include "platform/NSLog.h"
#include "platform/StringWithFormat.h"
#include "services/ZRVideoRecorderErrors.h"

namespace zerva {

namespace {

// H.264 level 5.2 tops out near 4096 x 2304; screens need far less. Beyond this is a mistake.
constexpr int kMaxSide = 8192;
constexpr int kIOBufferSize = 64 * 1024;
constexpr AVRational kTimeBase{1, 1000};
// The MP4 muxer takes no step between two frames of 2^31 - 1 time-base units or more (about
// 24.8 days at milliseconds): it would move the later frame to a millisecond after the earlier.
// A longer gap is shortened to this, and every later frame moved back by as much.
constexpr std::int64_t kMaxFrameGap = std::int64_t{24} * 24 * 3600 * 1000;
constexpr const char* kFinishing = "failed while finishing the video";

struct AVDeleter {
  void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
  void operator()(AVFrame* f) const { av_frame_free(&f); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
  // Custom output: the context never owns its AVIOContext, which is freed on its own.
  void operator()(AVFormatContext* f) const { avformat_free_context(f); }  // also runs the muxer's deinit
  void operator()(AVIOContext* io) const {
    av_freep(&io->buffer);
    avio_context_free(&io);
  }
  void operator()(std::uint8_t* buffer) const { av_free(buffer); }
};
template <typename T>
using AVUniquePtr = std::unique_ptr<T, AVDeleter>;

std::string avErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

// x264 and the muxer talk at "info" level on every open; the host app's log is not the place.
void quietFFmpegOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (av_log_get_level() > AV_LOG_ERROR) av_log_set_level(AV_LOG_ERROR);
  });
}

NSError outputError(int err, const std::string& path) {
  if (err == ENOSPC || err == EDQUOT) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorDiskFull,
                                "The disk is full: the video file \"" + path + "\" could not be written (" +
                                    std::strerror(err) + ").",
                                path);
  }
  return ZRVideoRecorderError(ZRVideoRecorderErrorWriteFailed,
                              "The video file \"" + path + "\" could not be written: " + std::strerror(err) + ".", path);
}

}  // namespace

struct ZRMp4VideoWriter::Impl {
  ZRVideoEncoderConfig config;
  int encodedWidth = 0;
  int encodedHeight = 0;
  AVUniquePtr<AVCodecContext> codec;
  AVUniquePtr<AVFrame> frame;
  AVUniquePtr<AVPacket> received;
  // The newest encoded frame: written once the next one tells its duration.
  AVUniquePtr<AVPacket> held;
  bool holding = false;

  AVUniquePtr<AVFormatContext> format;
  AVUniquePtr<AVIOContext> io;
  AVStream* stream = nullptr;
  std::unique_ptr<ZRVideoOutput> output;
  int outputErrno = 0;
  // Where the output stands, and where its last whole fragment (or the header) ends: a failed
  // write is cut back to there, so that no torn fragment stays at the end of the file.
  std::int64_t position = 0;
  std::int64_t wholeBytes = 0;

  std::int64_t bytesWritten = 0;
  std::int64_t framesEncoded = 0;
  std::int64_t lastPts = -1;         // on the video's time line
  std::int64_t lastGivenPts = -1;    // as the caller gave it
  std::int64_t shortenedBy = 0;      // what gaps beyond kMaxFrameGap took out of the time line
  ZRVideoEncoderFault fault;
  NSErrorOrNil failure;
  // The failure is the encoder's alone: the file is sound, and finish() still writes what came
  // out of the encoder.
  bool onlyEncoderFailed = false;
  bool finished = false;

  ~Impl() { releaseFile(); }

  std::string path() const { return output ? output->path() : std::string(); }

  static int writeOut(void* opaque, std::uint8_t* data, int size) {
    auto* self = static_cast<Impl*>(opaque);
    if (self->outputErrno != 0) return AVERROR(self->outputErrno);
    if (const int err = self->output->write(data, static_cast<std::size_t>(size)); err != 0) {
      self->outputErrno = err;
      return AVERROR(err);
    }
    self->bytesWritten += size;
    self->position += size;
    return size;
  }

  static std::int64_t seekOut(void* opaque, std::int64_t offset, int whence) {
    auto* self = static_cast<Impl*>(opaque);
    if (whence & AVSEEK_SIZE) return AVERROR(ENOSYS);
    const std::int64_t at = self->output->seek(offset, whence & ~AVSEEK_FORCE);
    if (at < 0) return AVERROR(static_cast<int>(-at));
    self->position = at;
    return at;
  }

  // The error of a failed muxer call: the output's own when it was the cause.
  NSError muxError(int ret, const char* what) const {
    if (outputErrno != 0) return outputError(outputErrno, path());
    return ZRVideoRecorderError(ZRVideoRecorderErrorWriteFailed,
                                stringWithFormat("The video file \"%@\" could not be written (%s): %@.", path(), what,
                                                 avErrorText(ret)),
                                path());
  }

  NSErrorOrNil writeHeld() {
    holding = false;
    held->stream_index = stream->index;
    av_packet_rescale_ts(held.get(), kTimeBase, stream->time_base);
    const int ret = av_write_frame(format.get(), held.get());
    av_packet_unref(held.get());
    if (ret < 0) return muxError(ret, "frame");
    // Hand a finished fragment to the file at once, so that a killed process leaves it behind.
    avio_flush(io.get());
    if (outputErrno != 0) return outputError(outputErrno, path());
    // The muxer writes a fragment whole, so everything out so far ends on a fragment boundary.
    wholeBytes = position;
    return std::nullopt;
  }

  NSErrorOrNil takePacket(AVPacket* packet) {
    NSErrorOrNil error;
    if (holding) {
      held->duration = std::clamp<std::int64_t>(packet->dts - held->dts, 1, kMaxFrameGap);
      error = writeHeld();
    }
    av_packet_move_ref(held.get(), packet);
    holding = true;
    ++framesEncoded;
    return error;
  }

  // The encoder's two calls; a test's fault answers in their place when it says so.
  int sendFrame(const AVFrame* f) {
    const int injected = fault ? fault(ZRVideoEncoderStep::sendFrame, f ? f->pts : lastPts) : 0;
    return injected < 0 ? injected : avcodec_send_frame(codec.get(), f);
  }

  int receivePacket() {
    const int injected = fault ? fault(ZRVideoEncoderStep::receivePacket, lastPts) : 0;
    return injected < 0 ? injected : avcodec_receive_packet(codec.get(), received.get());
  }

  NSError encoderError(int ret, const std::string& what) const {
    return ZRVideoRecorderError(
        ZRVideoRecorderErrorEncodingFailed,
        stringWithFormat("The H.264 encoder (%@) %@: %@.", config.encoderName, what, avErrorText(ret)), path());
  }

  static std::string atFrame(std::int64_t pts) {
    return stringWithFormat("the frame at %.3f s", static_cast<double>(pts) / 1000.0);
  }

  // Writes out what the encoder has ready, after the last frame sent or, `finishing`, after
  // the end. A failure fails the writer (fail or failEncoder).
  NSErrorOrNil drainEncoder(bool finishing) {
    for (;;) {
      const int ret = receivePacket();
      if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF) return std::nullopt;
      if (ret < 0) {
        failEncoder(encoderError(ret, finishing ? kFinishing : "failed on " + atFrame(lastPts)));
        return failure;
      }
      if (NSErrorOrNil error = takePacket(received.get())) {
        fail(*error);
        return failure;
      }
    }
  }

  bool fileIsSound() const { return !failure || onlyEncoderFailed; }

  void fail(const NSError& error) {
    if (!failure) failure = error;
    onlyEncoderFailed = false;
    cutToWholeFragment();
  }

  // Nothing was written part-way: the file stays as it is, open for what the encoder gave.
  void failEncoder(const NSError& error) {
    if (failure) return;
    failure = error;
    onlyEncoderFailed = true;
  }

  // A write that failed part-way (a full disk takes what fits) leaves a torn fragment, which
  // players read as invalid data: the file goes back to its last whole fragment.
  void cutToWholeFragment() {
    // A failed write may have left part of its bytes: the position no longer tells.
    if (!output || (position == wholeBytes && outputErrno == 0)) return;
    if (const int err = output->truncate(wholeBytes); err != 0) {
      NSLog(stringWithFormat("Zerva: ZRMp4VideoWriter: could not cut \"%@\" back to its last whole fragment: %s",
                             path(), std::strerror(err)));
      return;
    }
    position = wholeBytes;
  }

  void releaseFile() {
    if (format) format->pb = nullptr;
    format.reset();
    io.reset();
  }
};

ZRMp4VideoWriter::ZRMp4VideoWriter(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

ZRMp4VideoWriter::~ZRMp4VideoWriter() {
  // An owner that wants the outcome calls finish() itself; here the file is only closed.
  if (impl_ && !impl_->finished) (void)finish();
}

std::int64_t ZRMp4VideoWriter::presentationTimeMs(double seconds) { return std::llround(seconds * 1000.0); }

NSResult<std::unique_ptr<ZRMp4VideoWriter>> ZRMp4VideoWriter::create(const ZRVideoEncoderConfig& config) {
  quietFFmpegOnce();
  if (config.width <= 0 || config.height <= 0 || config.width > kMaxSide || config.height > kMaxSide) {
    return ZRVideoRecorderError(
        ZRVideoRecorderErrorInvalidFrameSize,
        stringWithFormat("The video frame size %dx%d cannot be encoded: width and height must be 1 to %d pixels.",
                         config.width, config.height, kMaxSide));
  }
  if (!std::isfinite(config.frameRate) || config.frameRate <= 0) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorInvalidFrameSize,
                                stringWithFormat("The frame rate %g cannot be encoded.", config.frameRate));
  }
  const AVCodec* encoder = avcodec_find_encoder_by_name(config.encoderName.c_str());
  if (!encoder || encoder->type != AVMEDIA_TYPE_VIDEO) {
    return ZRVideoRecorderError(
        ZRVideoRecorderErrorEncoderUnavailable,
        "The video encoder \"" + config.encoderName + "\" is not available in this FFmpeg build.");
  }

  auto impl = std::make_unique<Impl>();
  impl->config = config;
  impl->encodedWidth = config.width + (config.width & 1);
  impl->encodedHeight = config.height + (config.height & 1);
  impl->codec.reset(avcodec_alloc_context3(encoder));
  impl->frame.reset(av_frame_alloc());
  impl->received.reset(av_packet_alloc());
  impl->held.reset(av_packet_alloc());
  if (!impl->codec || !impl->frame || !impl->received || !impl->held) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorEncoderUnavailable,
                                "Out of memory while setting up the video encoder.");
  }

  AVCodecContext* c = impl->codec.get();
  c->width = impl->encodedWidth;
  c->height = impl->encodedHeight;
  c->pix_fmt = AV_PIX_FMT_YUV420P;
  c->time_base = kTimeBase;
  // Without this hint x264 assumes 1000 frames a second (the time base) and starves each frame.
  c->framerate = av_d2q(config.frameRate, 100000);
  c->gop_size = std::max(1, static_cast<int>(std::lround(config.frameRate * config.keyframeIntervalSeconds)));
  c->max_b_frames = 0;
  c->thread_count = std::max(1, config.threads);
  // libyuv's ARGBToI420 is BT.601 in limited range; the pixels themselves are sRGB.
  c->color_range = AVCOL_RANGE_MPEG;
  c->colorspace = AVCOL_SPC_SMPTE170M;
  c->color_primaries = AVCOL_PRI_BT709;
  c->color_trc = AVCOL_TRC_IEC61966_2_1;
  c->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;  // MP4 keeps SPS/PPS in the sample description

  AVDictionary* options = nullptr;
  av_dict_set(&options, "preset", config.preset.c_str(), 0);
  // No B-frames and no look-ahead: frames leave the encoder as they come, memory stays flat.
  av_dict_set(&options, "tune", "zerolatency", 0);
  av_dict_set_int(&options, "crf", config.constantRateFactor, 0);
  if (config.tuneForScreens) {
    av_dict_set(&options, "motion-est", "umh", 0);
    c->me_range = config.motionSearchRange;
    c->me_subpel_quality = 6;
    av_dict_set(&options, "psy", "0", 0);
    // Sub-8x8 motion partitions cost 40 % of the encoding of a scroll and save a few % of its
    // bytes; weighted prediction (fades) finds nothing on screens. At x264's scene-cut threshold
    // the first frame of a scroll passed for a new scene and was coded whole; at half of it only
    // a new screen does (its key frame also keeps a new screen's colours clean).
    av_dict_set(&options, "x264-params", "partitions=i8x8,i4x4:weightp=0:scenecut=20", 0);
  }
  const int opened = avcodec_open2(c, encoder, &options);
  av_dict_free(&options);
  if (opened < 0) {
    return ZRVideoRecorderError(
        ZRVideoRecorderErrorEncoderUnavailable,
        stringWithFormat("The video encoder \"%@\" refused %dx%d (preset %@, crf %d): %@.", config.encoderName,
                         impl->encodedWidth, impl->encodedHeight, config.preset, config.constantRateFactor,
                         avErrorText(opened)));
  }

  AVFrame* f = impl->frame.get();
  f->format = AV_PIX_FMT_YUV420P;
  f->width = impl->encodedWidth;
  f->height = impl->encodedHeight;
  f->color_range = c->color_range;
  f->colorspace = c->colorspace;
  if (av_frame_get_buffer(f, 0) < 0) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorEncoderUnavailable,
                                "Out of memory while setting up the video encoder.");
  }
  return std::unique_ptr<ZRMp4VideoWriter>(new ZRMp4VideoWriter(std::move(impl)));
}

void ZRMp4VideoWriter::setEncoderFault(ZRVideoEncoderFault fault) { impl_->fault = std::move(fault); }

NSErrorOrNil ZRMp4VideoWriter::startFile(std::unique_ptr<ZRVideoOutput> output) {
  Impl& d = *impl_;
  if (d.format || d.finished || !output) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorWriteFailed, "The video writer has no file to start.");
  }
  d.output = std::move(output);
  AVFormatContext* format = nullptr;
  const int allocated = avformat_alloc_output_context2(&format, nullptr, "mp4", nullptr);
  d.format.reset(format);
  if (allocated < 0 || !d.format) {
    d.fail(ZRVideoRecorderError(ZRVideoRecorderErrorEncoderUnavailable,
                                "The MP4 muxer is not available in this FFmpeg build.", d.path()));
    return d.failure;
  }
  d.stream = avformat_new_stream(d.format.get(), nullptr);
  AVUniquePtr<std::uint8_t> buffer(static_cast<std::uint8_t*>(av_malloc(kIOBufferSize)));
  if (buffer) {
    // On success the context owns the buffer (and may swap it for another of its own).
    d.io.reset(avio_alloc_context(buffer.get(), kIOBufferSize, 1, &d, nullptr, &Impl::writeOut, &Impl::seekOut));
    if (d.io) buffer.release();
  }
  if (!d.stream || !d.io || avcodec_parameters_from_context(d.stream->codecpar, d.codec.get()) < 0) {
    d.fail(ZRVideoRecorderError(ZRVideoRecorderErrorWriteFailed, "Out of memory while starting the video file.",
                                d.path()));
    return d.failure;
  }
  d.stream->time_base = kTimeBase;
  d.stream->avg_frame_rate = d.codec->framerate;
  d.format->pb = d.io.get();
  d.format->flags |= AVFMT_FLAG_CUSTOM_IO;

  AVDictionary* options = nullptr;
  // Fragments from the start: moof+mdat pairs, nothing to patch at the end. The moov waits for
  // the first fragment (delay_moov) so that it can carry an edit list: without one the first
  // frame is moved to 0 and a recording whose first frame came late loses its offset.
  av_dict_set(&options, "movflags", "frag_keyframe+empty_moov+delay_moov+default_base_moof", 0);
  av_dict_set_int(&options, "frag_duration", std::llround(d.config.fragmentSeconds * 1e6), 0);
  av_dict_set_int(&options, "video_track_timescale", kTimeBase.den, 0);
  const int ret = avformat_write_header(d.format.get(), &options);
  av_dict_free(&options);
  if (ret < 0) {
    d.fail(d.muxError(ret, "header"));
    return d.failure;
  }
  avio_flush(d.io.get());
  if (d.outputErrno != 0) {
    d.fail(outputError(d.outputErrno, d.path()));
  } else {
    d.wholeBytes = d.position;
  }
  return d.failure;
}

NSErrorOrNil ZRMp4VideoWriter::encodeFrame(const ZRBGRAFrame& source, double seconds) {
  Impl& d = *impl_;
  if (d.failure) return d.failure;
  if (!d.format || d.finished) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorNotRecording, "The video file is not open for frames.");
  }
  if (!source.isValid() || source.width != d.config.width || source.height != d.config.height) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorFrameRefused,
                                stringWithFormat("A frame of %dx%d pixels does not fit the %dx%d video.", source.width,
                                                 source.height, d.config.width, d.config.height));
  }
  // Ten million seconds keeps the milliseconds well inside 64 bits and is far beyond a session.
  if (!std::isfinite(seconds) || seconds < 0 || seconds > 1e7) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorFrameRefused,
                                stringWithFormat("The frame time %g is not a time on the recording.", seconds));
  }
  const std::int64_t given = presentationTimeMs(seconds);
  if (given <= d.lastGivenPts) {
    return ZRVideoRecorderError(
        ZRVideoRecorderErrorFrameRefused,
        stringWithFormat("The frame time %.3f s is not after the previous frame's (%.3f s).", seconds,
                         static_cast<double>(d.lastGivenPts) / 1000.0));
  }
  std::int64_t pts = given - d.shortenedBy;
  std::int64_t shortening = 0;
  if (d.lastPts >= 0 && pts - d.lastPts > kMaxFrameGap) {
    shortening = pts - d.lastPts - kMaxFrameGap;
    pts = d.lastPts + kMaxFrameGap;
  }

  AVFrame* f = d.frame.get();
  if (av_frame_make_writable(f) < 0) {
    return ZRVideoRecorderError(ZRVideoRecorderErrorEncodingFailed, "Out of memory while converting a frame.");
  }
  libyuv::ARGBToI420(source.pixels, static_cast<int>(source.bytesPerRow), f->data[0], f->linesize[0], f->data[1],
                     f->linesize[1], f->data[2], f->linesize[2], source.width, source.height);
  // Odd sides: the conversion already wrote the rounded-up chroma; repeat the last luma column/row.
  if (d.encodedWidth > source.width) {
    for (int y = 0; y < source.height; ++y) {
      std::uint8_t* row = f->data[0] + static_cast<std::ptrdiff_t>(y) * f->linesize[0];
      row[source.width] = row[source.width - 1];
    }
  }
  if (d.encodedHeight > source.height) {
    std::memcpy(f->data[0] + static_cast<std::ptrdiff_t>(source.height) * f->linesize[0],
                f->data[0] + static_cast<std::ptrdiff_t>(source.height - 1) * f->linesize[0],
                static_cast<std::size_t>(d.encodedWidth));
  }
  f->pts = pts;

  const int sent = d.sendFrame(f);
  if (sent < 0) {
    d.failEncoder(d.encoderError(sent, "refused " + Impl::atFrame(pts)));
    return d.failure;
  }
  d.lastPts = pts;
  d.lastGivenPts = given;
  if (shortening > 0) {
    d.shortenedBy += shortening;
    NSLog(stringWithFormat("Zerva: ZRMp4VideoWriter: a gap of %.0f s between two frames is shortened to %.0f s; "
                           "later frames move back by as much.",
                           static_cast<double>(shortening + kMaxFrameGap) / 1000.0,
                           static_cast<double>(kMaxFrameGap) / 1000.0));
  }
  return d.drainEncoder(/*finishing=*/false);
}

NSErrorOrNil ZRMp4VideoWriter::finish() {
  Impl& d = *impl_;
  if (d.finished) return d.failure;
  d.finished = true;
  if (d.format && !d.failure) {
    // What the encoder still holds; a failure here fails the writer, whose file stays sound.
    if (const int flushed = d.sendFrame(nullptr); flushed < 0) {
      d.failEncoder(d.encoderError(flushed, kFinishing));
    } else {
      (void)d.drainEncoder(/*finishing=*/true);
    }
  }
  if (d.format && d.fileIsSound()) {
    NSErrorOrNil error;
    if (d.holding) {
      d.held->duration = std::max<std::int64_t>(1, std::llround(1000.0 / d.config.frameRate));
      error = d.writeHeld();
    }
    if (!error) {
      const int ret = av_write_trailer(d.format.get());
      avio_flush(d.io.get());
      if (ret < 0) error = d.muxError(ret, "index");
      else if (d.outputErrno != 0) error = outputError(d.outputErrno, d.path());
      else d.wholeBytes = d.position;
    }
    if (error) d.fail(*error);
  }
  d.releaseFile();
  if (d.output) {
    if (const int err = d.output->close(); err != 0) d.fail(outputError(err, d.path()));
  }
  return d.failure;
}

int ZRMp4VideoWriter::encodedWidth() const { return impl_->encodedWidth; }
int ZRMp4VideoWriter::encodedHeight() const { return impl_->encodedHeight; }
std::int64_t ZRMp4VideoWriter::framesEncoded() const { return impl_->framesEncoded; }
std::int64_t ZRMp4VideoWriter::bytesWritten() const { return impl_->bytesWritten; }
std::int64_t ZRMp4VideoWriter::lastPresentationTimeMs() const { return impl_->lastPts; }

}  // namespace zerva
