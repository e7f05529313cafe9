#include "sources/media/writing/encoding.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace media {
namespace {

struct encoding {
  const char* codec;
  const char* encoder;
  AVPixelFormat plain;
  AVPixelFormat with_alpha;
  AVPixelFormat deep;
  AVPixelFormat deep_alpha;
  const char* options;
  bool even_sizes = false;
};

// Of the two encoders of ProRes the one that takes a third of the other's time. Its profiles are numbers. YUV codecs of
// 10 bits take bytes and words in the same form.
constexpr AVPixelFormat form_422 = AV_PIX_FMT_YUV422P;
constexpr AVPixelFormat form_422_10 = AV_PIX_FMT_YUV422P10LE;
constexpr AVPixelFormat form_444_10 = AV_PIX_FMT_YUV444P10LE;
constexpr AVPixelFormat form_4444_10 = AV_PIX_FMT_YUVA444P10LE;
constexpr AVPixelFormat none = AV_PIX_FMT_NONE;

constexpr encoding encodings[] = {
    {"prores_proxy", "prores_aw", form_422_10, none, form_422_10, none, "profile=0:vendor=apl0"},
    {"prores_lt", "prores_aw", form_422_10, none, form_422_10, none, "profile=1:vendor=apl0"},
    {"prores_422", "prores_aw", form_422_10, none, form_422_10, none, "profile=2:vendor=apl0"},
    {"prores_hq", "prores_aw", form_422_10, none, form_422_10, none, "profile=3:vendor=apl0"},
    {"prores_4444", "prores_aw", form_444_10, form_4444_10, form_444_10, form_4444_10, "profile=4:vendor=apl0"},
    {"dnxhr_lb", "dnxhd", form_422, none, none, none, "profile=dnxhr_lb"},
    {"dnxhr_sq", "dnxhd", form_422, none, none, none, "profile=dnxhr_sq"},
    {"dnxhr_hq", "dnxhd", form_422, none, none, none, "profile=dnxhr_hq"},
    {"dnxhr_hqx", "dnxhd", form_422_10, none, form_422_10, none, "profile=dnxhr_hqx"},
    {"dnxhr_444", "dnxhd", form_444_10, none, form_444_10, none, "profile=dnxhr_444"},
    {"h264", "libx264", AV_PIX_FMT_YUV420P, none, none, none, "preset=medium", true},
    {"h265", "libx265", AV_PIX_FMT_YUV420P, none, none, none, "preset=medium:x265-params=log-level=none", true},
    {"mjpeg", "mjpeg", AV_PIX_FMT_YUVJ422P, none, none, none, ""},
    {"ffv1", "ffv1", AV_PIX_FMT_BGR0, AV_PIX_FMT_BGRA, AV_PIX_FMT_GBRP16LE, AV_PIX_FMT_GBRAP16LE, "level=3"},
    {"png", "png", AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_RGB48BE, AV_PIX_FMT_RGBA64BE, "pred=up"},
    {"raw", "rawvideo", AV_PIX_FMT_BGR24, AV_PIX_FMT_BGRA, none, none, ""},
};

const encoding& encoding_of(const std::string& codec) {
  return *std::find_if(std::begin(encodings), std::end(encodings),
                       [&](const encoding& row) { return row.codec == codec; });
}

// From `best` at 100 over `usual` at 90 to `worst` at 1.
int level_of(int quality, int best, int usual, int worst) {
  const double level =
      quality >= 90 ? usual + (best - usual) * (quality - 90) / 10.0 : usual + (worst - usual) * (90 - quality) / 89.0;
  return static_cast<int>(std::lrint(level));
}

void set_quality(AVCodecContext& encoder, const sources::movie_settings& settings, AVDictionary*& options) {
  if (settings.codec == "h264" || settings.codec == "h265") {
    av_dict_set_int(&options, "crf", level_of(settings.quality, 8, 18, 51), 0);
  } else if (settings.codec == "mjpeg") {
    encoder.flags |= AV_CODEC_FLAG_QSCALE;
    encoder.global_quality = level_of(settings.quality, 1, 2, 31) * FF_QP2LAMBDA;
    encoder.qmin = 1;
  }
}

// The fast encoder of ProRes takes even widths alone.
const char* encoder_name(const encoding& row, const encoder_form& form) {
  const bool fast_prores = std::string_view(row.encoder) == "prores_aw";
  return fast_prores && (form.width & 1) ? "prores_ks" : row.encoder;
}

sources::movie_failure no_encoder(const char* name) {
  return {0, std::string("This FFmpeg has no encoder ") + name};
}

}  // namespace

sources::movie_failure failure_of(int error) {
  // The system's numbers are small; the library's own are letters.
  if (error < 0 && error > -4096) return {-error, {}};
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof text);
  return {0, text};
}

encoder_form form_of(const sources::movie_settings& settings) {
  const encoding& row = encoding_of(settings.codec);
  encoder_form form;
  form.format =
      settings.deep ? (settings.alpha ? row.deep_alpha : row.deep) : (settings.alpha ? row.with_alpha : row.plain);
  // QuickTime's uncompressed pictures begin with red, or with alpha.
  if (settings.codec == "raw" && settings.container == "mov")
    form.format = settings.alpha ? AV_PIX_FMT_ARGB : AV_PIX_FMT_RGB24;
  const int odd = row.even_sizes ? 1 : 0;
  form.width = settings.width + (settings.width & odd);
  form.height = settings.height + (settings.height & odd);
  const bool jpeg = settings.codec == "mjpeg";
  const bool dnxhr = settings.codec.starts_with("dnxhr");  // says BT.709 in its own header, whatever the container says
  const AVPixFmtDescriptor* pixels = av_pix_fmt_desc_get(form.format);
  if (!pixels || (pixels->flags & AV_PIX_FMT_FLAG_RGB)) {
    form.matrix = AVCOL_SPC_RGB;
    form.full_range = true;
    return form;
  }
  form.full_range = jpeg;
  form.matrix = jpeg ? AVCOL_SPC_BT470BG : dnxhr || settings.height > 576 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
  if (pixels->log2_chroma_w > 0) form.chroma = jpeg ? AVCHROMA_LOC_CENTER : AVCHROMA_LOC_LEFT;
  return form;
}

codec_ptr open_video_encoder(const sources::movie_settings& settings, const encoder_form& form,
                             const AVOutputFormat& container, sources::movie_failure& failure) {
  const encoding& row = encoding_of(settings.codec);
  const char* const name = encoder_name(row, form);
  const AVCodec* codec = avcodec_find_encoder_by_name(name);
  if (!codec) {
    failure = no_encoder(name);
    return nullptr;
  }
  codec_ptr encoder(avcodec_alloc_context3(codec));
  if (!encoder) {
    failure = failure_of(AVERROR(ENOMEM));
    return nullptr;
  }
  encoder->width = form.width;
  encoder->height = form.height;
  encoder->pix_fmt = form.format;
  encoder->time_base = {settings.rate_denominator, settings.rate_numerator};
  encoder->framerate = {settings.rate_numerator, settings.rate_denominator};
  encoder->sample_aspect_ratio = {1, 1};
  // Slices of FFV1 take unequal time: with a thread more than processors none of these waits for the longest.
  encoder->thread_count = host().thread_count() + (settings.codec == "ffv1" ? 1 : 0);
  encoder->color_range = form.full_range ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  // What the screen shows: the primaries of BT.709, which are those of sRGB.
  encoder->color_primaries = AVCOL_PRI_BT709;
  encoder->color_trc = AVCOL_TRC_BT709;
  encoder->colorspace = form.matrix;
  encoder->chroma_sample_location = form.chroma;
  if (settings.deep && (settings.codec == "ffv1" || settings.codec == "png")) encoder->bits_per_raw_sample = 16;
  if (settings.codec == "h265" && settings.container != "mkv") encoder->codec_tag = MKTAG('h', 'v', 'c', '1');
  if (container.flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;

  AVDictionary* options = nullptr;
  av_dict_parse_string(&options, row.options, "=", ":", 0);
  if (settings.codec == "h265") av_dict_set(&options, "x265-params", "log-level=none", 0);
  // Of the other encoder of ProRes.
  if (settings.codec.starts_with("prores")) av_dict_set_int(&options, "alpha_bits", settings.alpha ? 16 : 0, 0);
  set_quality(*encoder, settings, options);
  const int error = avcodec_open2(encoder.get(), codec, &options);
  av_dict_free(&options);
  if (error < 0) {
    failure = failure_of(error);
    if (error == AVERROR(EINVAL) || error == AVERROR_EXTERNAL)
      failure = {0, "The encoder " + std::string(name) + " takes no pictures of " + std::to_string(form.width) + " x " +
                        std::to_string(form.height) + " at this rate"};
    return nullptr;
  }
  return encoder;
}

codec_ptr open_sound_encoder(const sources::movie_settings& settings, const AVOutputFormat& container,
                             sources::movie_failure& failure) {
  const bool aac = settings.container == "mp4";
  const AVCodec* codec = avcodec_find_encoder(aac ? AV_CODEC_ID_AAC : AV_CODEC_ID_PCM_S16LE);
  if (!codec) {
    failure = no_encoder(aac ? "aac" : "pcm_s16le");
    return nullptr;
  }
  codec_ptr encoder(avcodec_alloc_context3(codec));
  if (!encoder) {
    failure = failure_of(AVERROR(ENOMEM));
    return nullptr;
  }
  encoder->sample_rate = settings.sound_rate;
  encoder->time_base = {1, settings.sound_rate};
  encoder->sample_fmt = aac ? AV_SAMPLE_FMT_FLTP : AV_SAMPLE_FMT_S16;
  av_channel_layout_default(&encoder->ch_layout, 2);
  if (aac) encoder->bit_rate = std::min(256'000LL, settings.sound_rate * 6LL);
  if (container.flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  const int error = avcodec_open2(encoder.get(), codec, nullptr);
  if (error < 0) {
    failure = failure_of(error);
    return nullptr;
  }
  return encoder;
}

}  // namespace media
