#include "sources/media/reader.h"

#include <algorithm>
#include <cstring>
#include <system_error>

namespace media {
namespace {

// Transport streams are entered anywhere. Before a key frame some decoders make pictures of gray; a stream without key
// frames is decoded all the same after so many packets.
constexpr int most_packets_to_key = 600;

// Reads in order after which more of them are expected.
constexpr int reads_to_change_style = 6;

}  // namespace

std::unique_ptr<reader> reader::open(sources::clip_kind kind, const std::string& path, const timing& timing,
                                     int lowres) {
  auto result = std::make_unique<reader>();
  if (open_container(kind, path, AVMEDIA_TYPE_VIDEO, result->input_) < 0) return nullptr;
  result->decoder_ = open_decoder(result->input_, host().thread_count(), lowres, result->style_);
  if (!result->decoder_) return nullptr;
  result->timing_ = timing;
  result->kind_ = kind;
  result->path_ = path;
  result->lowres_ = lowres;
  result->held_.reset(av_frame_alloc());
  result->pending_.reset(av_frame_alloc());
  result->packet_.reset(av_packet_alloc());
  return result;
}

bool reader::first_picture(long long& time) {
  int number = 0;
  if (!decode(pending_.get(), number)) return false;
  time = pending_->best_effort_timestamp;
  next_ = -1;
  return true;
}

const AVFrame* reader::read(int frame) {
  if (ahead_.valid()) ahead_.get();
  in_order_ = frame == next_ ? in_order_ + 1 : 0;
  if (in_order_ == reads_to_change_style) use_style(reading_style::in_order);
  return find(frame);
}

// Another decoder where the style makes a difference; false when it stays. The one for jumps holds no picture back, and
// the other is left only at a jump, so that none is lost.
bool reader::use_style(reading_style style) {
  if (style == style_ || draining_ || !input_.file || !has_styles(input_)) return false;
  codec_ptr decoder = open_decoder(input_, host().thread_count(), lowres_, style);
  if (!decoder) return false;
  decoder_ = std::move(decoder);
  style_ = style;
  return true;
}

void reader::decode_ahead() {
  if (in_order_ < 2 || pending_number_ >= 0 || !input_.file) return;
  try {
    ahead_ = std::async(std::launch::async, [this] { decode_pending(); });
  } catch (const std::system_error&) {
    // No thread to be had: the next read decodes.
  }
}

const AVFrame* reader::find(int frame) {
  if (!input_.file) return nullptr;
  const bool ahead = next_ >= 0 && frame >= next_ - 1 && frame <= next_ + timing_.walk_ahead &&
                     (held_number_ < 0 || frame >= held_number_);
  if (ahead) {
    if (const AVFrame* picture = advance_to(frame)) return picture;
  }
  // The index of a container may count in decoding order, or know no key frame near enough: each try begins earlier.
  const long long second = av_rescale_q(1, {1, 1}, timing_.time_base);
  for (const long long back : {0LL, second, 4 * second, 16 * second, 64 * second, -1LL}) {
    // Program and transport streams give few pictures a time of their own: after a jump the first of them are guesses.
    const bool needs_run_up = std::strncmp(input_.file->iformat->name, "mpeg", 4) == 0;
    if (back == 0 && needs_run_up && frame > 0) continue;
    const bool from_start = back > 0 && timing_.time_of(frame) - back <= timing_.origin;
    if (from_start || (timing_.counted && back >= 0) || !seek(frame, back)) continue;
    if (const AVFrame* picture = advance_to(frame)) return picture;
    // The stream ended after a picture that comes before the frame: going back further finds no more.
    if (held_number_ >= 0 && held_number_ < frame) break;
  }
  next_ = -1;
  return nullptr;
}

// Moves to a key frame at or before the frame less `before` time units; -1 opens the file again, since not every
// container finds its own start.
bool reader::seek(int frame, long long before) {
  int error = 0;
  if (before < 0) {
    input_.file.reset();
    error = open_container(kind_, path_, AVMEDIA_TYPE_VIDEO, input_);
  } else {
    const long long time = std::max(timing_.time_of(frame) - before, timing_.origin);
    error = av_seek_frame(input_.file.get(), input_.stream, time, AVSEEK_FLAG_BACKWARD);
  }
  if (error < 0) return false;
  draining_ = false;
  if (!use_style(reading_style::jumping)) avcodec_flush_buffers(decoder_.get());
  held_number_ = pending_number_ = decoded_number_ = -1;
  packets_to_key_ = before < 0 ? 0 : most_packets_to_key;
  next_ = 0;
  return true;
}

// The next picture in order of presentation with the frame whose slot it falls into.
bool reader::decode(AVFrame* out, int& number) {
  for (;;) {
    av_frame_unref(out);
    const int got = avcodec_receive_frame(decoder_.get(), out);
    if (got == 0) {
      const long long time = timing_.counted ? decoded_number_ + 1 : out->best_effort_timestamp;
      if (out->flags & AV_FRAME_FLAG_DISCARD) continue;
      if (out->colorspace == AVCOL_SPC_UNSPECIFIED) out->colorspace = input_.color_space;
      if (out->color_range == AVCOL_RANGE_UNSPECIFIED) out->color_range = input_.color_range;
      // A picture without a time follows the one before it.
      if (time == AV_NOPTS_VALUE && decoded_number_ < 0) continue;
      number = time == AV_NOPTS_VALUE ? decoded_number_ + 1 : timing_.frame_at(time);
      decoded_number_ = number;
      return true;
    }
    if (got != AVERROR(EAGAIN)) return false;
    if (draining_) return false;
    const int read = av_read_frame(input_.file.get(), packet_.get());
    if (read < 0) {
      draining_ = true;
      avcodec_send_packet(decoder_.get(), nullptr);
      continue;
    }
    const bool is_key = (packet_->flags & AV_PKT_FLAG_KEY) != 0;
    if (packet_->stream_index == input_.stream && (is_key || packets_to_key_-- <= 0)) {
      packets_to_key_ = 0;
      // A packet that the decoder refuses costs its own picture and no other.
      avcodec_send_packet(decoder_.get(), packet_.get());
    }
    av_packet_unref(packet_.get());
  }
}

// Decodes on until `frame` is decided. Null when the position is already past it, or at the end.
const AVFrame* reader::advance_to(int frame) {
  for (;;) {
    if (held_number_ == frame || (held_number_ >= 0 && held_number_ < frame && pending_number_ > frame)) {
      next_ = frame + 1;
      return held_.get();
    }
    if (held_number_ > frame) return nullptr;
    if (pending_number_ >= 0) {
      std::swap(held_, pending_);
      held_number_ = pending_number_;
      pending_number_ = -1;
      continue;
    }
    if (!decode_pending()) return nullptr;
  }
}

// The picture after the held one. False at the end.
bool reader::decode_pending() {
  int number = 0;
  while (decode(pending_.get(), number)) {
    if (number < 0) continue;
    if (held_number_ >= 0 && number <= held_number_) continue;  // two pictures in one slot: the first is shown
    pending_number_ = number;
    return true;
  }
  return false;
}

}  // namespace media
