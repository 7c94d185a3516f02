// Owning handles for what the FFmpeg libraries allocate, and their errors as text.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <new>
#include <string>

namespace kalvetra {

struct FrameDeleter {
  void operator()(AVFrame* p) const { av_frame_free(&p); }
};
struct PacketDeleter {
  void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct CodecContextDeleter {
  void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
};
struct InputDeleter {
  void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
};
struct ScalerDeleter {
  void operator()(SwsContext* p) const { sws_freeContext(p); }
};

using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using InputPtr = std::unique_ptr<AVFormatContext, InputDeleter>;
using ScalerPtr = std::unique_ptr<SwsContext, ScalerDeleter>;

// A file's name for the libraries, which would take "a:b.mp4" for an address.
inline std::string fileAddress(const std::string& path) { return "file:" + path; }

inline FramePtr makeFrame() {
  FramePtr frame(av_frame_alloc());
  if (!frame) throw std::bad_alloc();
  return frame;
}

// A frame with picture memory of its own.
inline FramePtr makePicture(AVPixelFormat format, int width, int height) {
  FramePtr frame = makeFrame();
  frame->format = format;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
  return frame;
}

inline PacketPtr makePacket() {
  PacketPtr packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  return packet;
}

inline std::string errorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = "";
  av_strerror(code, text, sizeof text);
  return text;
}

}  // namespace kalvetra
