#include "sources/media/sound.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace media {
namespace {

constexpr int sample_bytes = 2;
constexpr int most_samples_a_second = 1'536'000;  // beyond any recorder; silence is made at the rate that a file claims

struct sound_decoder {
  stream_choice input;
  codec_ptr decoder;
  resampler_ptr resampler;
  frame_ptr form{av_frame_alloc()};  // what the resampler takes: layout, format and rate, no samples
  int channels = 0;
  int rate = 0;

  bool prepare(const AVFrame& frame) {
    resampler.reset();
    if (!form || av_channel_layout_copy(&form->ch_layout, &frame.ch_layout) < 0) return false;
    form->format = frame.format;
    form->sample_rate = frame.sample_rate;
    AVChannelLayout out;
    av_channel_layout_default(&out, channels);
    SwrContext* context = nullptr;
    const int error = swr_alloc_set_opts2(&context, &out, AV_SAMPLE_FMT_S16, rate, &form->ch_layout,
                                          static_cast<AVSampleFormat>(form->format), form->sample_rate, 0, nullptr);
    resampler.reset(context);
    if (error >= 0 && swr_init(context) >= 0) return true;
    resampler.reset();
    return false;
  }

  bool is_prepared_for(const AVFrame& frame) const {
    return frame.format == form->format && frame.sample_rate == form->sample_rate &&
           av_channel_layout_compare(&frame.ch_layout, &form->ch_layout) == 0;
  }

  // Appends the frame's samples; a null frame takes what the resampler still holds. Joined recordings change their
  // form in the middle.
  bool append(AVFrame* frame, std::vector<std::uint8_t>& data) {
    if (resampler && frame && !is_prepared_for(*frame)) {
      append(nullptr, data);
      resampler.reset();
    }
    if (!resampler && !(frame && prepare(*frame))) return false;
    const int in = frame ? frame->nb_samples : 0;
    const int room = swr_get_out_samples(resampler.get(), in);
    if (room <= 0) return room == 0;
    const std::size_t before = data.size();
    data.resize(before + static_cast<std::size_t>(room) * channels * sample_bytes);
    std::uint8_t* out = data.data() + before;
    const auto planes = frame ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr;
    const int got = swr_convert(resampler.get(), &out, room, planes, in);
    data.resize(before + static_cast<std::size_t>(std::max(got, 0)) * channels * sample_bytes);
    return got >= 0;
  }
};

}  // namespace

std::shared_ptr<const sources::wave_context> decode_sound(sources::clip_kind kind, const std::string& path,
                                                          const timing& picture) {
  sound_decoder sound;
  if (open_container(kind, path, AVMEDIA_TYPE_AUDIO, sound.input) < 0) return nullptr;
  sound.decoder = open_decoder(sound.input, 1, 0, reading_style::in_order);
  if (!sound.decoder) return nullptr;
  sound.rate = sound.decoder->sample_rate;
  sound.channels = std::clamp(sound.decoder->ch_layout.nb_channels, 1, 2);
  if (sound.rate < 1 || sound.rate > most_samples_a_second) return nullptr;

  auto wave = std::make_shared<sources::wave_context>();
  wave->sample_rate = static_cast<std::uint32_t>(sound.rate);
  wave->bits = 8 * sample_bytes;
  wave->channels = static_cast<std::uint32_t>(sound.channels);
  const AVRational time_base = sound.input.file->streams[sound.input.stream]->time_base;
  const double picture_start = static_cast<double>(picture.sound_origin) * av_q2d(picture.time_base);

  // The length in the header is a hint: the block grows where it was too short.
  const double told = static_cast<double>(sound.input.file->duration) / AV_TIME_BASE;
  const double told_bytes = told * sound.rate * sound.channels * sample_bytes;
  if (told_bytes > 0.0) wave->data.reserve(static_cast<std::size_t>(std::min(told_bytes, 512e6)) + (1 << 16));

  packet_ptr packet(av_packet_alloc());
  frame_ptr frame(av_frame_alloc());
  long long cut = 0;  // samples in front of frame 0
  bool started = false;
  const auto take_frames = [&] {
    while (avcodec_receive_frame(sound.decoder.get(), frame.get()) == 0) {
      if (!started && frame->best_effort_timestamp != AV_NOPTS_VALUE) {
        const double late = static_cast<double>(frame->best_effort_timestamp) * av_q2d(time_base) - picture_start;
        const long long samples = std::llrint(late * sound.rate);
        // A gap beyond a minute is a broken time stamp, not silence.
        if (samples > 0 && samples < 60LL * sound.rate)
          wave->data.resize(static_cast<std::size_t>(samples) * sound.channels * sample_bytes);
        cut = std::clamp(-samples, 0LL, 60LL * sound.rate);
      }
      started = true;
      sound.append(frame.get(), wave->data);
      av_frame_unref(frame.get());
    }
  };
  while (av_read_frame(sound.input.file.get(), packet.get()) >= 0) {
    if (packet->stream_index == sound.input.stream && avcodec_send_packet(sound.decoder.get(), packet.get()) >= 0)
      take_frames();
    av_packet_unref(packet.get());
  }
  avcodec_send_packet(sound.decoder.get(), nullptr);
  take_frames();
  if (!started) return nullptr;
  sound.append(nullptr, wave->data);
  const std::size_t drop = std::min(wave->data.size(), static_cast<std::size_t>(cut) * sound.channels * sample_bytes);
  wave->data.erase(wave->data.begin(), wave->data.begin() + static_cast<std::ptrdiff_t>(drop));
  return wave;
}

}  // namespace media
