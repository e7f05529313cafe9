// Owners for the objects of the FFmpeg libraries, and what the program lends to the module.
#pragma once

#include <memory>

#include "sources/clip.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libavutil/timecode.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace media {

struct format_closer {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct codec_closer {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct frame_freer {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct packet_freer {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct scaler_freer {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
struct resampler_freer {
  void operator()(SwrContext* context) const { swr_free(&context); }
};

using format_ptr = std::unique_ptr<AVFormatContext, format_closer>;
using codec_ptr = std::unique_ptr<AVCodecContext, codec_closer>;
using frame_ptr = std::unique_ptr<AVFrame, frame_freer>;
using packet_ptr = std::unique_ptr<AVPacket, packet_freer>;
using scaler_ptr = std::unique_ptr<SwsContext, scaler_freer>;
using resampler_ptr = std::unique_ptr<SwrContext, resampler_freer>;

// Set before anything is opened.
const sources::module_host& host();

// lib::parallel_rows() on the program's threads.
template <class Body>
void parallel_rows(int rows, long long items, Body&& body) {
  host().parallel_rows(
      rows, items,
      [](void* self, int first, int last) { (*static_cast<std::remove_reference_t<Body>*>(self))(first, last); },
      &body);
}

}  // namespace media
