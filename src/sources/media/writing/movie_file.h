// A movie that is being written.
#pragma once

#include <vector>

#include "sources/media/writing/frame_maker.h"

namespace media {

struct writer_closer {
  void operator()(AVFormatContext* context) const {
    if (context->pb) avio_closep(&context->pb);
    avformat_free_context(context);
  }
};

class movie_file : public sources::movie_writer {
 public:
  // Creates or truncates the file. Null, with the reason in `failure`.
  static std::unique_ptr<movie_file> open(const sources::writing_host& lent, const sources::movie_settings& settings,
                                          sources::movie_failure& failure);

  bool add_picture(const sources::movie_picture& picture) override;
  bool add_sound(std::span<const std::int16_t> samples) override;
  bool finish() override;
  const sources::movie_failure& failure() const override { return failure_; }
  long long bytes() const override;

 private:
  movie_file(const sources::writing_host& lent, const sources::movie_settings& settings)
      : settings_(settings), form_(form_of(settings)), maker_(form_, settings, lent) {}

  bool begin();
  AVStream* add_stream(const AVCodecContext& encoder);
  void tag_timecode(AVStream& video);
  bool encode(AVCodecContext& encoder, const AVStream& stream, const AVFrame* frame);
  void set_times();
  bool send_sound(std::size_t count);
  bool failed(int error);

  sources::movie_settings settings_;
  encoder_form form_;
  frame_maker maker_;
  std::unique_ptr<AVFormatContext, writer_closer> file_;
  codec_ptr video_encoder_;
  codec_ptr sound_encoder_;
  AVStream* video_ = nullptr;
  AVStream* sound_ = nullptr;
  packet_ptr packet_;
  long long pictures_ = 0;
  long long packets_ = 0;  // of the picture
  bool counts_packets_ = false;
  long long samples_ = 0;              // sent to the encoder
  std::vector<std::int16_t> waiting_;  // samples that are not a whole block of the encoder yet
  sources::movie_failure failure_;
};

}  // namespace media
