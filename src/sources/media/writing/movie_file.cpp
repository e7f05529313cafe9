#include "sources/media/writing/movie_file.h"

#include <algorithm>
#include <cstring>

namespace media {
namespace {

// Samples that go into one block of PCM at most.
constexpr std::size_t most_samples = 1 << 16;

const char* muxer_of(const std::string& container) {
  return container == "mkv" ? "matroska" : container.c_str();
}

}  // namespace

std::unique_ptr<movie_file> movie_file::open(const sources::writing_host& lent, const sources::movie_settings& settings,
                                             sources::movie_failure& failure) {
  av_log_set_level(AV_LOG_QUIET);
  std::unique_ptr<movie_file> movie(new movie_file(lent, settings));
  if (movie->begin()) return movie;
  failure = movie->failure_;
  return nullptr;
}

bool movie_file::begin() {
  AVFormatContext* context = nullptr;
  int error = avformat_alloc_output_context2(&context, nullptr, muxer_of(settings_.container), nullptr);
  file_.reset(context);
  if (!file_) return failed(error);
  packet_.reset(av_packet_alloc());
  if (!packet_) return failed(AVERROR(ENOMEM));
  video_encoder_ = open_video_encoder(settings_, form_, *file_->oformat, failure_);
  if (!video_encoder_) return false;
  video_ = add_stream(*video_encoder_);
  if (!video_) return failed(AVERROR(ENOMEM));
  video_->avg_frame_rate = video_->r_frame_rate = video_encoder_->framerate;
  tag_timecode(*video_);
  if (settings_.sound_rate > 0) {
    sound_encoder_ = open_sound_encoder(settings_, *file_->oformat, failure_);
    if (!sound_encoder_) return false;
    sound_ = add_stream(*sound_encoder_);
    if (!sound_) return failed(AVERROR(ENOMEM));
  }
  error = avio_open(&file_->pb, ("file:" + settings_.path).c_str(), AVIO_FLAG_WRITE);
  if (error < 0) return failed(error);
  AVDictionary* options = nullptr;
  if (settings_.container == "mov" || settings_.container == "mp4") av_dict_set(&options, "movflags", "+write_colr", 0);
  error = avformat_write_header(file_.get(), &options);
  av_dict_free(&options);
  return error >= 0 || failed(error);
}

AVStream* movie_file::add_stream(const AVCodecContext& encoder) {
  AVStream* stream = avformat_new_stream(file_.get(), nullptr);
  if (!stream || avcodec_parameters_from_context(stream->codecpar, &encoder) < 0) return nullptr;
  stream->time_base = encoder.time_base;
  return stream;
}

void movie_file::tag_timecode(AVStream& video) {
  AVTimecode checked;
  // One that this rate can't have would make the header fail.
  if (settings_.timecode.empty() ||
      av_timecode_init_from_string(&checked, video_encoder_->framerate, settings_.timecode.c_str(), nullptr) < 0)
    return;
  const bool of_stream = settings_.container == "mov" || settings_.container == "mp4";
  av_dict_set(of_stream ? &video.metadata : &file_->metadata, "timecode", settings_.timecode.c_str(), 0);
}

bool movie_file::failed(int error) {
  failure_ = failure_of(error);
  return false;
}

bool movie_file::add_picture(const sources::movie_picture& picture) {
  const frame_ptr frame = maker_.make(picture);
  if (!frame) return failed(AVERROR(ENOMEM));
  frame->pts = pictures_++;
  frame->quality = video_encoder_->global_quality;  // encoders with a fixed step take it from the picture
  return encode(*video_encoder_, *video_, frame.get());
}

bool movie_file::add_sound(std::span<const std::int16_t> samples) {
  waiting_.insert(waiting_.end(), samples.begin(), samples.end());
  const auto block = static_cast<std::size_t>(sound_encoder_->frame_size);
  while (waiting_.size() / 2 >= std::max<std::size_t>(block, 1)) {
    if (!send_sound(block > 0 ? block : std::min(waiting_.size() / 2, most_samples))) return false;
  }
  return true;
}

// Takes `count` stereo samples from those that wait.
bool movie_file::send_sound(std::size_t count) {
  const frame_ptr frame(av_frame_alloc());
  if (!frame) return failed(AVERROR(ENOMEM));
  frame->format = sound_encoder_->sample_fmt;
  frame->sample_rate = settings_.sound_rate;
  frame->nb_samples = static_cast<int>(count);
  av_channel_layout_copy(&frame->ch_layout, &sound_encoder_->ch_layout);
  if (const int error = av_frame_get_buffer(frame.get(), 0); error < 0) return failed(error);
  if (sound_encoder_->sample_fmt == AV_SAMPLE_FMT_FLTP) {
    for (std::size_t c = 0; c < 2; ++c) {
      auto* out = reinterpret_cast<float*>(frame->data[c]);
      for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<float>(waiting_[2 * i + c]) / 32768.0f;
    }
  } else {
    std::memcpy(frame->data[0], waiting_.data(), count * 2 * sizeof(std::int16_t));
  }
  waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(2 * count));
  frame->pts = samples_;
  samples_ += static_cast<long long>(count);
  return encode(*sound_encoder_, *sound_, frame.get());
}

// A null frame takes what the encoder still holds.
bool movie_file::encode(AVCodecContext& encoder, const AVStream& stream, const AVFrame* frame) {
  const auto encoder_failed = [this](int error) {
    if (error != -1) return failed(error);
    // Encoders that do not say why give this, which as a number of the system would be a want of rights.
    failure_ = {0, "The encoder failed; there may be too little memory"};
    return false;
  };
  if (const int error = avcodec_send_frame(&encoder, frame); error < 0) return encoder_failed(error);
  for (;;) {
    const int error = avcodec_receive_packet(&encoder, packet_.get());
    if (error == AVERROR(EAGAIN) || error == AVERROR_EOF) return true;
    if (error < 0) return encoder_failed(error);
    packet_->stream_index = stream.index;
    if (&stream == video_) set_times();
    av_packet_rescale_ts(packet_.get(), encoder.time_base, stream.time_base);
    const int written = av_interleaved_write_frame(file_.get(), packet_.get());
    if (written < 0) return failed(written);
    if (file_->pb->error < 0) return failed(file_->pb->error);
  }
}

// The time of decoding comes from the encoder. x265 gives none that is true for a movie of less frames than it looks
// ahead; then packets count from as early as the order of pictures asks for.
void movie_file::set_times() {
  constexpr long long farthest = 1000;  // frames between decoding and showing
  if (packet_->duration == 0) packet_->duration = 1;
  const auto is_true = [&] { return packet_->dts <= packet_->pts && packet_->dts > packet_->pts - farthest; };
  if (packets_ == 0) counts_packets_ = !is_true();
  if (counts_packets_) packet_->dts = packets_ - video_encoder_->has_b_frames;
  ++packets_;
}

bool movie_file::finish() {
  if (!encode(*video_encoder_, *video_, nullptr)) return false;
  if (sound_) {
    if (!waiting_.empty() && !send_sound(waiting_.size() / 2)) return false;
    if (!encode(*sound_encoder_, *sound_, nullptr)) return false;
  }
  if (const int error = av_write_trailer(file_.get()); error < 0) return failed(error);
  avio_flush(file_->pb);
  const int error = file_->pb->error;
  const int closed = avio_closep(&file_->pb);
  if (error < 0 || closed < 0) return failed(error < 0 ? error : closed);
  return true;
}

long long movie_file::bytes() const {
  return file_->pb ? std::max<long long>(avio_tell(file_->pb), 0) : 0;
}

}  // namespace media
