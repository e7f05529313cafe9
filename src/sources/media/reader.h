// One decoding position in a movie.
#pragma once

#include <future>
#include <string>

#include "sources/media/container.h"
#include "sources/media/picture.h"

namespace media {

// Decodes frames by number; in order without seeking. One thread at a time.
class reader {
 public:
  // Null when the file can't be opened again or the codec is missing.
  static std::unique_ptr<reader> open(sources::clip_kind kind, const std::string& path, const timing& timing,
                                      int lowres);

  // The time of the first picture that can be decoded. Only on a reader that was just opened.
  bool first_picture(long long& time);
  // The picture of a frame, valid until the next call; null when there is none.
  const AVFrame* read(int frame);
  // After two reads in order, begins to decode the next picture on a thread of its own, so that the caller's work on
  // this one costs the decoder no time. The picture at hand stays valid.
  void decode_ahead();
  // The frame that comes next without seeking.
  int next() const { return next_; }
  int lowres() const { return lowres_; }
  // For the pictures of this position; what it sets up for their form stays from one to the next.
  picture_converter& converter() { return converter_; }

 private:
  sources::clip_kind kind_{};
  std::string path_;
  stream_choice input_;  // without a file when it could not be opened again
  codec_ptr decoder_;
  timing timing_;
  int lowres_ = 0;
  int next_ = -1;         // -1 before anything was decoded
  frame_ptr held_;        // the last picture at or before the frame asked for
  frame_ptr pending_;     // the picture after it, already decoded
  int held_number_ = -1;  // -1 for none
  int pending_number_ = -1;
  int decoded_number_ = -1;  // of the last picture that came from the decoder
  packet_ptr packet_;
  picture_converter converter_;
  reading_style style_ = reading_style::jumping;
  bool draining_ = false;
  int packets_to_key_ = 0;   // that may still be passed over in search of a key frame
  int in_order_ = 0;         // reads that followed each other
  std::future<void> ahead_;  // uses what stands above, but not the held picture; the last member, it ends first

  bool use_style(reading_style style);
  const AVFrame* find(int frame);
  bool seek(int frame, long long before);
  bool decode(AVFrame* out, int& number);
  bool decode_pending();
  const AVFrame* advance_to(int frame);
};

}  // namespace media
