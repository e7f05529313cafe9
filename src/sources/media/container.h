// A movie file that is open for reading packets, and what it says of its picture.
#pragma once

#include <string>

#include "sources/clip.h"
#include "sources/media/library.h"

namespace media {

// Ends the opening of a file that keeps the library reading in search of a stream.
struct opening_guard {
  const AVFormatContext* context = nullptr;
  bool opening = true;
};

struct stream_choice {
  std::unique_ptr<opening_guard> guard;  // outlives the file, which asks it
  format_ptr file;
  int stream = -1;  // index of the video or audio stream
  // The colours by the container, which count where the codec says nothing.
  AVColorSpace color_space = AVCOL_SPC_UNSPECIFIED;
  AVColorRange color_range = AVCOL_RANGE_UNSPECIFIED;
};

// Opens `path` as one kind of container and finds the best stream of a type. A file that is another kind, or has no
// such stream, gives an error number of the library (negative) and an empty choice, and `words`, if given, what the
// library says of it.
int open_container(sources::clip_kind kind, const std::string& path, AVMediaType type, stream_choice& choice,
                   std::string* words = nullptr);

// How a decoder divides its work among its threads, where the codec leaves a choice: `jumping` by the slices of one
// picture, which is there as soon as can be; `in_order` by pictures, which gives more of them in a second.
enum class reading_style { jumping, in_order };

// Whether the style makes a difference, and each picture of the stream is decoded without any other one.
bool has_styles(const stream_choice& choice);

// A decoder for the stream with `threads` threads, reading at 1 / 2^lowres of the size where the codec can. Null on
// failure.
codec_ptr open_decoder(const stream_choice& choice, int threads, int lowres, reading_style style);

// Where the frames of a stream stand in time. Frame N is the picture at `origin` + N / `rate`.
struct timing {
  AVRational rate{0, 1};
  AVRational time_base{1, 1};
  long long origin = 0;  // of the first picture, in time_base units
  long long last = 0;    // of the last picture
  int frames = 0;
  int walk_ahead = 24;   // so many frames ahead are reached sooner by decoding on than by a jump
  bool counted = false;  // the stream has no times: pictures are counted from its start, in steps of 1 / rate

  long long time_of(int frame) const;
  // The frame whose slot holds `time`, to the nearest.
  int frame_at(long long time) const;
  // Takes the time of the first picture and counts the frames from there.
  void start_at(long long first_picture);

  // Decoding times stand for missing times of presentation: pictures come out later than that by the delay that the
  // first one has. The sound does not wait for them.
  bool delayed = false;
  long long sound_origin = 0;  // the time of the sound that belongs to frame 0
};

// Measures the stream: the packets that are really there decide, not the header. `origin` is the earliest of them, and
// `frames` is not set: the first picture that can be decoded decides. False when there is none. The read position is
// somewhere afterwards.
bool measure(const stream_choice& choice, int fallback_rate, timing& result);

}  // namespace media
